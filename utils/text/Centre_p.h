#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <limits>

// Sums of columns far from zero, such as times in milliseconds. A mean is rounded to a double, and
// the squares of distances from it would contain this error. So distances are summed as well, with
// the rounding errors of the additions, and the results are corrected by their sum.

namespace Utils {

/// A sum that also sums the rounding errors of its additions.
class PreciseSum
{
public:
    void add(double term)
    {
        const double next = m_sum + term;
        const double added = next - m_sum;
        m_error += (m_sum - (next - added)) + (term - added);
        m_sum = next;
    }

    void add(const PreciseSum &other)
    {
        add(other.m_sum);
        m_error += other.m_error;
    }

    double value() const
    {
        // The error of an infinite sum is NaN.
        const double corrected = m_sum + m_error;
        return std::isnan(corrected) ? m_sum : corrected;
    }

private:
    double m_sum = 0.0;
    double m_error = 0.0;
};

/// The power of two that scales numbers up to \p largest to below 1, so that their squares neither
/// overflow nor underflow. 1 for 0.
inline double scaleFor(double largest)
{
    static const int mostExponent = 1000; // the inverse is a normal number as well
    if (largest == 0.0)
        return 1.0;
    const int exponent = std::clamp(std::ilogb(largest) + 1, -mostExponent, mostExponent);
    return std::ldexp(1.0, -exponent);
}

/// The centre of a column, found value by value.
class Centre
{
public:
    void add(double value)
    {
        // Distances from the first value: rounding of their sum is in proportion to the range of
        // the values, however large these are.
        const double scaled = value * sumScale;
        m_first = m_count == 0 ? scaled : m_first;
        m_sum += scaled - m_first;
        m_low = std::min(m_low, value);
        m_high = std::max(m_high, value);
        ++m_count;
    }

    void finish()
    {
        m_isFinite = std::isfinite(m_sum);
        if (!m_isFinite || m_count == 0)
            return;
        const double mean = (m_first + m_sum / m_count) / sumScale;
        m_mean = isConstant() ? m_low : std::clamp(mean, m_low, m_high);
        const double reach = std::max(m_high - m_mean, m_mean - m_low);
        m_isFinite = std::isfinite(reach);
        m_scale = m_isFinite ? scaleFor(reach) : 1.0;
    }

    int count() const { return m_count; }
    bool isConstant() const { return m_low == m_high; }

    /// False if one of the values is NaN or infinite, or if the values are too far apart.
    bool isFinite() const { return m_isFinite; }

    /// The mean, except for its last digits.
    double mean() const { return m_mean; }
    double scale() const { return m_scale; }

    /// The distance of \p value from the mean, scaled to below 1.
    double distanceOf(double value) const { return (value - m_mean) * m_scale; }

private:
    // 2^31 scaled values have a finite sum.
    static constexpr double sumScale = 1.0 / (Q_UINT64_C(1) << 32);

    double m_low = std::numeric_limits<double>::infinity();
    double m_high = -std::numeric_limits<double>::infinity();
    double m_first = 0.0;
    double m_sum = 0.0;
    int m_count = 0;
    bool m_isFinite = true;
    double m_mean = 0.0;
    double m_scale = 1.0;
};

} // namespace Utils
