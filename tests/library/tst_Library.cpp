#include "tests/support/Windows.h"

#include <QProcess>
#include <QtTest>

#ifdef _WIN32
#define STATE_ORDER ""
#endif

// The library's own modules are there only where it was built with scripting.
#ifdef KELMUTILS_SCRIPTING
#define NUM_MODULES "2"
#define MODULES_MADE           \
    "made: module KelmUtils\n" \
    "made: module KelmData\n"
#define MODULES_GONE                                                        \
    "gone: module KelmData (signals alive, strings alive, modules alive)\n" \
    "gone: module KelmUtils (signals alive, strings alive, modules alive)\n"
#else
#define NUM_MODULES "0"
#define MODULES_MADE
#define MODULES_GONE
#endif

/// The output of \p program, then its errors and, when it is not 0, its exit code.
static QByteArray outputOf(const char *program)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, QStringList());
    process.waitForFinished(-1);
    QByteArray output = process.readAll();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        output += "exit code " + QByteArray::number(process.exitCode());
    return output;
}

class tst_Library : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makesItsStateInOrderAndReleasesItBackwards()
    {
        SKIP_ON_WINDOWS("the compiler for Windows registers no objects");
        QCOMPARE(
            outputOf(STATE_ORDER),
            QByteArray(
                "made: pending calls\n"
                "made: signal registry\n"
                "made: resource path\n"
                "made: plugin path\n"
                "made: date format serialize\n"
                "made: date format path\n"
                "made: date format ISO\n"
                "made: date format ISO ms\n"
                "made: date format default\n"
                "made: date format UI\n"
                "made: string tables\n"
                "made: XML version texts\n"
                "made: module list\n" MODULES_MADE "made: progress state\n"
                "main: 0 calls, 0 signals, 0 tables, " NUM_MODULES " modules\n"
                "gone: progress state (signals alive, strings alive, modules alive)\n" MODULES_GONE
                "gone: module list (signals alive, strings alive, modules dead)\n"
                "gone: XML version texts (signals alive, strings alive, modules dead)\n"
                "gone: string tables (signals alive, strings dead, modules dead)\n"
                "gone: date format UI (signals alive, strings dead, modules dead)\n"
                "gone: date format default (signals alive, strings dead, modules dead)\n"
                "gone: date format ISO ms (signals alive, strings dead, modules dead)\n"
                "gone: date format ISO (signals alive, strings dead, modules dead)\n"
                "gone: date format path (signals alive, strings dead, modules dead)\n"
                "gone: date format serialize (signals alive, strings dead, modules dead)\n"
                "gone: plugin path (signals alive, strings dead, modules dead)\n"
                "gone: resource path (signals alive, strings dead, modules dead)\n"
                "gone: signal registry (signals dead, strings dead, modules dead)\n"
                "gone: pending calls (signals dead, strings dead, modules dead)\n"));
    }

    void isLeftAloneByWhatDiesAfterIt()
    {
        QCOMPARE(outputOf(LATE_DEATH), QByteArray("start: signal found\n"
                                                  "initialised\n"
                                                  "start: table loaded\n"
                                                  "\"Das Skript ist beendet.\"\n"
                                                  "\"Das Skript ist beendet.\"\n"
                                                  "\"The script has finished.\"\n"
                                                  "\"The script has finished.\"\n"
                                                  "\".Kelm.Widgets.ctx.undo\"\n"
                                                  "\"Blech\"\n"
                                                  "start: invalid tags 0 100 0\n"
                                                  "start: symbols \u03b1\u03a9\n"
                                                  "start: table of 2.0 KB, columns 5\n"
                                                  "end: signal not found\n"
                                                  "end: table not loaded\n"
                                                  "\".Kelm.Utils.msg.scriptRun\"\n"
                                                  "\".Kelm.Utils.msg.scriptRun\"\n"
                                                  "\".Kelm.Utils.msg.scriptRun\"\n"
                                                  "\".Kelm.Utils.msg.scriptRun\"\n"
                                                  "\"&Undo\"\n"
                                                  "\"\"\n"
                                                  "end: invalid tags 0 200 0\n"
                                                  "end: symbols \u03b1\u03a9\n"
                                                  "end: table of 2.0 KB, columns 5\n"
                                                  "sent: yes\n"
                                                  "destroyed\n"
                                                  "text: \"\"\n"));
    }
};

QTEST_GUILESS_MAIN(tst_Library)
#include "tst_Library.moc"
