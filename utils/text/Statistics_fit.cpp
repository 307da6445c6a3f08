#include "utils/text/PolynomialFit.h"
#include "utils/text/Statistics.h"

#include "utils/text/Centre_p.h"
#include "utils/text/Statistics_p.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace Utils {

static const int mostDegree = 20;

namespace {

/// Whether a column has as many different values as needed.
class DifferentValues
{
public:
    explicit DifferentValues(int needed) : m_needed(static_cast<std::size_t>(needed)) {}

    void add(double value)
    {
        if (!areEnough() && std::find(m_values.begin(), m_values.end(), value) == m_values.end())
            m_values.push_back(value);
    }

    bool areEnough() const { return m_values.size() >= m_needed; }

private:
    const std::size_t m_needed;
    std::vector<double> m_values;
};

/// The triangular factor R of the QR decomposition of a matrix whose rows are added in blocks.
///
/// Each block is placed below the triangle of the previous ones, and Householder reflections turn
/// both into a new triangle. So the memory does not grow with the number of rows. The normal
/// equations would take half the time but lose half of the digits.
class Triangle
{
public:
    static constexpr int blockRows = 256;

    explicit Triangle(int columns)
        : m_columns(columns), m_block(static_cast<std::size_t>(columns) * blockRows),
          m_triangle(static_cast<std::size_t>(columns) * static_cast<std::size_t>(columns))
    {}

    /// The rows of a column of the block, for the caller to fill.
    double *column(int index)
    {
        return m_block.data() + static_cast<std::size_t>(index) * blockRows;
    }

    void addBlock(int rows)
    {
        for (int i = 0; i < m_columns; ++i)
            reflect(i, rows);
    }

    double at(int row, int column) const
    {
        return m_triangle[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns) +
                          static_cast<std::size_t>(column)];
    }

private:
    double &at(int row, int column)
    {
        return m_triangle[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns) +
                          static_cast<std::size_t>(column)];
    }

    static double product(const double *a, const double *b, int size)
    {
        double sums[4] = {}; // which do not wait for each other
        int i = 0;
        for (; i + 4 <= size; i += 4) {
            for (int lane = 0; lane < 4; ++lane)
                sums[lane] += a[i + lane] * b[i + lane];
        }
        for (; i < size; ++i)
            sums[0] += a[i] * b[i];
        return (sums[0] + sums[1]) + (sums[2] + sums[3]);
    }

    /// Makes the column \p index of the block zero.
    void reflect(int index, int rows)
    {
        double *const vector = column(index);
        const double square = product(vector, vector, rows);
        if (square == 0.0)
            return;
        const double old = at(index, index);
        const double diagonal = -std::copysign(std::sqrt(old * old + square), old);
        const double head = old - diagonal;
        const double factor = -1.0 / (diagonal * head); // 2 / (the vector's square)
        at(index, index) = diagonal;
        for (int j = index + 1; j < m_columns; ++j) {
            double *const other = column(j);
            const double part = factor * (head * at(index, j) + product(vector, other, rows));
            at(index, j) -= part * head;
            for (int i = 0; i < rows; ++i)
                other[i] -= part * vector[i];
        }
    }

    const int m_columns;
    std::vector<double> m_block;
    std::vector<double> m_triangle;
};

} // namespace

/// The triangle of the powers of the centred x, from 0 to \p degree, and of the centred y.
static Triangle triangleOf(const Selection &x, const Selection &y, const Centre &centreX,
                           const Centre &centreY, int degree)
{
    Triangle triangle(degree + 2);
    int rows = 0;
    forEachPair(x, y, [&](double valueX, double valueY) {
        const double u = centreX.distanceOf(valueX);
        double power = 1.0;
        for (int i = 0; i <= degree; ++i) {
            triangle.column(i)[rows] = power;
            power *= u;
        }
        triangle.column(degree + 1)[rows] = centreY.distanceOf(valueY);
        if (++rows == Triangle::blockRows) {
            triangle.addBlock(rows);
            rows = 0;
        }
    });
    triangle.addBlock(rows);
    return triangle;
}

/// The solution of the equations of \p triangle. Empty when the powers of x are so much alike that
/// rounding determines it.
static QVector<double> solve(const Triangle &triangle, int degree)
{
    static const double leastDiagonal = 1e-14;
    QVector<double> factors(degree + 1);
    for (int i = degree; i >= 0; --i) {
        if (std::abs(triangle.at(i, i)) <= leastDiagonal * std::abs(triangle.at(0, 0)))
            return {};
        double rest = triangle.at(i, degree + 1);
        for (int j = i + 1; j <= degree; ++j)
            rest -= triangle.at(i, j) * factors[j];
        factors[i] = rest / triangle.at(i, i);
    }
    return factors;
}

static double polynomialAt(const QVector<double> &factors, double x)
{
    double sum = factors.last();
    for (int i = factors.size() - 2; i >= 0; --i)
        sum = sum * x + factors[i];
    return sum;
}

/// The factors of the powers of x, from those of the powers of u.
static QVector<double> coefficientsOf(const PolynomialFit &fit)
{
    QVector<double> factors = fit.centred;
    for (int power = 1; power < factors.size(); ++power) {
        for (int i = 0; i < power; ++i) // a power of the scale may be too large for a double
            factors[power] *= fit.scaleX;
    }
    for (int i = 0; i < factors.size() - 1; ++i) {
        for (int j = factors.size() - 2; j >= i; --j)
            factors[j] -= factors[j + 1] * fit.centreX;
    }
    factors[0] += fit.centreY;
    return factors;
}

/// The residuals of all rows. Adds the squares of the scaled ones to \p squares.
static QVector<double> residualsOf(const Selection &x, const Selection &y, const Centre &centreX,
                                   const Centre &centreY, const QVector<double> &factors,
                                   PreciseSum &squares)
{
    const int size = std::min(x.size(), y.size());
    const double unscaled = 1.0 / centreY.scale();
    double bufferX[Selection::bufferSize];
    double bufferY[Selection::bufferSize];
    QVector<double> residuals(size);
    double *residual = residuals.data();
    for (qint64 first = 0; first < size; first += Selection::bufferSize) {
        const int begin = static_cast<int>(first);
        const int count = std::min<int>(Selection::bufferSize, size - begin);
        const double *const valuesX = x.values(begin, count, bufferX);
        const double *const valuesY = y.values(begin, count, bufferY);
        double sum = 0.0;
        for (int i = 0; i < count; ++i, ++residual) {
            *residual = Data::noValue;
            if (Data::isHole(valuesX[i]) || Data::isHole(valuesY[i]))
                continue;
            const double distance = centreY.distanceOf(valuesY[i]) -
                                    polynomialAt(factors, centreX.distanceOf(valuesX[i]));
            sum += distance * distance;
            *residual = distance * unscaled;
        }
        squares.add(sum);
    }
    return residuals;
}

static PolynomialFit fitOf(const Selection &x, const Selection &y, int degree)
{
    Centre centreX;
    Centre centreY;
    DifferentValues differentX(degree + 1);
    forEachPair(x, y, [&](double valueX, double valueY) {
        centreX.add(valueX);
        centreY.add(valueY);
        differentX.add(valueX);
    });
    centreX.finish();
    centreY.finish();
    if (!centreX.isFinite() || !centreY.isFinite() || !differentX.areEnough())
        return {};

    const Triangle triangle = triangleOf(x, y, centreX, centreY, degree);
    const QVector<double> factors = solve(triangle, degree);
    if (factors.isEmpty())
        return {};

    PolynomialFit fit;
    fit.count = centreX.count();
    fit.centreX = centreX.mean();
    fit.centreY = centreY.mean();
    fit.scaleX = centreX.scale();
    PreciseSum squares;
    fit.residuals = residualsOf(x, y, centreX, centreY, factors, squares);
    fit.residualSumSquare = squares.value() / centreY.scale() / centreY.scale();
    if (!centreY.isConstant()) {
        double explained = 0.0;
        for (int i = 1; i <= degree; ++i)
            explained += triangle.at(i, degree + 1) * triangle.at(i, degree + 1);
        fit.rSquared = explained / (explained + squares.value());
    }
    for (const double factor : factors)
        fit.centred.append(factor / centreY.scale());
    fit.coefficients = coefficientsOf(fit);
    return fit;
}

PolynomialFit Statistics::fitLine(const Data::Array &x, const Data::Array &y,
                                  const QList<int> &indices)
{
    return fitPolynomial(x, y, 1, indices);
}

PolynomialFit Statistics::fitPolynomial(const Data::Array &x, const Data::Array &y, int degree,
                                        const QList<int> &indices)
{
    if (degree < 0 || degree > mostDegree)
        return {};
    try {
        return fitOf(Selection(x, indices), Selection(y, indices), degree);
    } catch (const std::bad_alloc &) {
        return {};
    }
}

double PolynomialFit::value(double x) const
{
    if (!isValid() || Data::isHole(x))
        return Data::noValue;
    return centreY + polynomialAt(centred, (x - centreX) * scaleX);
}

} // namespace Utils
