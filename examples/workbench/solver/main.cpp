// A sample solver for the workbench: it computes how heat spreads in a rod, prints its progress in
// lines such as "10 %", and writes a table. Options let it behave badly, as solvers do.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTextStream>
#include <QThread>

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

/// A rod of steel, cold at first, with one end in ice and the other one in boiling water.
class Rod
{
public:
    Rod() : m_temperatures(numPoints, 20.0)
    {
        m_temperatures.front() = 0.0;
        m_temperatures.back() = 100.0;
    }

    /// Computes the next step, by explicit differences.
    void advance()
    {
        const std::vector<double> old = m_temperatures;
        for (int i = 1; i < numPoints - 1; ++i)
            m_temperatures[i] += number * (old[i - 1] - 2.0 * old[i] + old[i + 1]);
    }

    QByteArray table() const
    {
        QByteArray rows = "Position{mm},Temperature{\xc2\xb0"
                          "C}\n";
        for (int i = 0; i < numPoints; ++i)
            rows += QByteArray::number(i * 2) + ',' +
                    QByteArray::number(m_temperatures[i], 'f', 3) + '\n';
        return rows;
    }

private:
    static constexpr int numPoints = 101;
    static constexpr double number = 0.4; // of Fourier; stable up to 0.5

    std::vector<double> m_temperatures;
};

/// What the command line asks for.
struct Options
{
    double seconds = 3.0;
    QString output;
    bool fails = false;
    bool isStubborn = false;
    int numChildren = 0;
    qint64 numLines = 0; // of the flood; negative: without end
};

Options readOptions(const QCoreApplication &application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription("Computes how heat spreads in a rod.");
    parser.addHelpOption();
    parser.addOptions({
        {"seconds", "How long the computation takes.", "N", "3"},
        {"output", "The table to write.", "FILE"},
        {"fail", "Ends at 50 % with an error and exit code 3."},
        {"flood", "Prints N lines as fast as possible; without end if N is negative.", "N", "0"},
        {"stubborn", "Ignores the request to end."},
        {"children", "Starts N programs of the same kind, which do the same.", "N", "0"},
    });
    parser.process(application);
    return {parser.value("seconds").toDouble(),
            parser.value("output"),
            parser.isSet("fail"),
            parser.isSet("stubborn"),
            parser.value("children").toInt(),
            parser.value("flood").toLongLong()};
}

/// Prints \p line to standard output, which is read by a program: at once.
void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void flood(qint64 numLines)
{
    for (qint64 i = 1; i != numLines + 1; ++i)
        std::printf("residual of element %lld: %.6e\n", static_cast<long long>(i), 1.0 / double(i));
    std::fflush(stdout);
}

bool write(const QString &path, const QByteArray &table)
{
    QFile file(path);
    const bool isWritten =
        file.open(QIODevice::WriteOnly) && file.write(table) == table.size() && file.flush();
    if (!isWritten)
        std::fprintf(stderr, "solver: %s: %s\n", qPrintable(path), qPrintable(file.errorString()));
    return isWritten;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const Options options = readOptions(application);
    if (options.isStubborn)
        std::signal(SIGTERM, SIG_IGN);

    std::vector<std::unique_ptr<QProcess>> children;
    for (int i = 0; i < options.numChildren; ++i) {
        children.push_back(std::make_unique<QProcess>());
        QStringList arguments{"--seconds", QString::number(options.seconds)};
        if (options.isStubborn)
            arguments.append("--stubborn");
        children.back()->start(QCoreApplication::applicationFilePath(), arguments);
        children.back()->waitForStarted();
    }
    if (options.numChildren > 0)
        print(QString("%1 children started").arg(options.numChildren));
    if (options.numLines != 0)
        flood(options.numLines);

    Rod rod;
    const int numSteps = 2000;
    for (int step = 0; step <= numSteps; ++step) {
        if (step % (numSteps / 20) == 0)
            print(QString("%1 %").arg(step * 100 / numSteps));
        if (options.fails && step == numSteps / 2) {
            std::fprintf(stderr, "solver: the solution does not converge\n");
            return 3;
        }
        rod.advance();
        QThread::usleep(static_cast<unsigned long>(options.seconds * 1e6 / numSteps));
    }
    for (const std::unique_ptr<QProcess> &child : children)
        child->waitForFinished(-1);
    return options.output.isEmpty() || write(options.output, rod.table()) ? 0 : 1;
}
