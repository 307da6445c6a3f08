#include "tests/bindings/Interpreter.h"

#include "bindings/Modules.h"
#include "utils/feedback/Progress.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <optional>

using Utils::Progress;

/// What a script sees of a reporter that is not its own.
class tst_Bindings_progress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        initKelmUtils();
        QCOMPARE(run("from KelmUtils import Utils"), QString());
    }

    void isNoneWithoutAReporter()
    {
        const Progress popup(10, "Popup", false, false, /*popup=*/true);

        QCOMPARE(text("Utils.Progress.current()"), QString("None"));
    }

    void isTheInnermostOrdinaryReporter()
    {
        const Progress outer(10, "Outer");
        Progress inner(20, "Inner");
        const Progress popup(30, "Popup", false, false, /*popup=*/true);

        QCOMPARE(text("Utils.Progress.current().label()"), QString("Inner"));
        QCOMPARE(text("Utils.Progress.current().tick(3)"), QString("True"));
        QCOMPARE(inner.count(), 3);
    }

    void isTheScriptsOwnObject()
    {
        QCOMPARE(run("own = Utils.Progress(5)"), QString());
        QCOMPARE(text("Utils.Progress.current() is own"), QString("True"));

        QCOMPARE(run("own = None"), QString());

        QVERIFY(!Progress::current(false));
    }

    void isNotTheScriptsToEnd()
    {
        Progress progress(10, "Task");
        QCOMPARE(run("kept = Utils.Progress.current()\ndel kept"), QString());

        QCOMPARE(Progress::current(false), &progress);
        QCOMPARE(progress.label(), Data::String("Task"));
    }

    void isUsableUnderANestedOne()
    {
        Progress outer(10, "Outer");
        QCOMPARE(run("kept = Utils.Progress.current()\nnested = Utils.Progress(5)"), QString());

        QCOMPARE(text("kept.tick()"), QString("True"));

        QCOMPARE(outer.count(), 1);
        QCOMPARE(run("del nested, kept"), QString());
    }

    void cannotBeUsedBehindItsEnd()
    {
        std::optional<Progress> progress;
        progress.emplace(10, "Task");
        QCOMPARE(run("kept = Utils.Progress.current()"), QString());
        progress.reset();

        QCOMPARE(run("kept.tick()"),
                 QString("RuntimeError: wrapped C/C++ object of type Progress has been deleted"));

        progress.emplace(20, "Next"); // at the same place
        QCOMPARE(text("Utils.Progress.current().maxSteps()"), QString("20"));
        progress.reset();
        QCOMPARE(run("del kept"), QString());
    }

private:
    QString run(const QByteArray &code) { return m_python.run(code); }
    QString text(const QByteArray &expression) { return m_python.text(expression); }

    Interpreter m_python;
};

QTEST_GUILESS_MAIN(tst_Bindings_progress)
#include "tst_Bindings_progress.moc"
