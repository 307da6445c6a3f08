#include "utils/csv/CSVTable.h"

#include "tests/support/Limits.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Qemu.h"

#include <QtTest>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

using Utils::CSVTable;

enum Outcome
{
    WasRead,
    WasRefused,
    WasBroken
};

/// The outcome of \p task in a process of its own: memory that it frees would change the next one.
template <typename Task>
static Outcome inAChild(const Task &task)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(task());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? static_cast<Outcome>(WEXITSTATUS(status)) : WasBroken;
}

class tst_CSVTable_memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
    }

    void addsNothingWhereTheMemoryEnds_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QString>("comment");
        QTest::addColumn<bool>("asBytes");
        QTest::addColumn<bool>("onDemand");
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("quoted");

        const auto row = [](const char *name, const char *delimiter, const char *comment,
                            bool asBytes, bool onDemand, const char *line, int lines, bool quoted) {
            QTest::newRow(name) << QString(delimiter) << QString(comment) << asBytes << onDemand
                                << QByteArray(line) << lines << quoted;
        };
        // clang-format off
        row("text, many cells", ",", "", false, false, ",,,,,,,,,\n", 100000, false);
        row("text, many lines", ",", "", false, false, "\n", 500000, false);
        row("text with quotes", ",", "", false, false, "\",\",\"\n", 200000, true);
        row("text with comments", ",", "#", false, false, "#\na\n", 200000, false);
        row("text that is not split", ",", "", false, true, "\n", 500000, false);
        row("text with comments that is not split", ",", "#", false, true, "#\na\n", 200000, false);
        row("text between patterns", "[,;]", "", false, false, "a;b\n", 30000, false);
        row("bytes, many cells", ",", "", true, false, ",,,,,,,,,\n", 100000, false);
        row("bytes that are not split", ",", "", true, true, "\n", 500000, false);
        row("bytes that become text", ",,", "", true, false, "a,,b\n", 30000, false);
        // clang-format on
    }

    void addsNothingWhereTheMemoryEnds()
    {
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        QFETCH(QString, delimiter);
        QFETCH(QString, comment);
        QFETCH(bool, asBytes);
        QFETCH(bool, onDemand);
        QFETCH(QByteArray, line);
        QFETCH(int, lines);
        QFETCH(bool, quoted);
        const QByteArray bytes = line.repeated(lines);
        const QString text = QString::fromLatin1(bytes);
        CSVTable table(delimiter);
        table.setDemandParse(onDemand);
        table.setComment(comment);
        QVERIFY(table.setData("\"b,c\",a\\,d\nsecond"));
        table.addDelimiter("[;]", /*alternate=*/true);
        const QString before = table.stringData();
        const QStringList firstRow = table.data(0);
        const QStringList escaped = table.escapedData(0, '\\'); // whose quotes do not count

        CSVTable other(delimiter);
        other.addDelimiter("[;]", /*alternate=*/true);
        other.setData("u,v;w");
        const QStringList nextRow = other.data(0);

        const auto read = [&](int room) {
            bool isRead = false;
            {
                const Limit memory(RLIMIT_AS, memoryInUse() + static_cast<rlim_t>(room));
                isRead = asBytes ? table.setData(bytes) : table.setData(text, quoted);
            }
            if (isRead)
                return WasRead;
            const bool isAsBefore = table.numRows() == 2 && table.data(0) == firstRow &&
                                    table.stringData() == before &&
                                    table.escapedData(0, '\\') == escaped;
            table.setDemandParse(true);
            table.setData("u,v;w");
            const bool goesOn = table.numRows() == 3 && table.data(2) == nextRow;
            return isAsBefore && goesOn ? WasRefused : WasBroken;
        };
        int refusals = 0;
        Outcome outcome = WasRefused;
        for (int room = 0; outcome == WasRefused; room += (1 << 16) + room / 4) {
            outcome = inAChild([&] { return read(room); });
            refusals += outcome == WasRefused;
        }

        QCOMPARE(outcome, WasRead);
        QVERIFY(refusals > 1);
    }
};

int main(int argc, char **argv)
{
    // Freed memory returns to the system, and no second heap has memory that counts as in use.
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
    mallopt(M_ARENA_MAX, 1);
    QCoreApplication application(argc, argv);
    tst_CSVTable_memory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_CSVTable_memory.moc"
