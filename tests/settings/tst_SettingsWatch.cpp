#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/SettingsWatch.h"

#include <QtTest>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

using Utils::Settings;
using Utils::SettingsWatch;

static const SettingsHome home;

class tst_SettingsWatch : public QObject
{
    Q_OBJECT

private:
    static constexpr unsigned int never = 3600 * 1000; // milliseconds

    std::unique_ptr<Recorder> m_recorder;

    /// Another process. False when it fails.
    static bool runChild(const QStringList &arguments)
    {
        return QProcess::execute(SETTINGS_CHILD, arguments) == 0;
    }
    static bool setByChild(const char *key, const char *value)
    {
        return runChild({"setString", key, value});
    }

    QStringList seen() const { return m_recorder->calls; }

private Q_SLOTS:
    void init()
    {
        home.fill("a=1 g/b=2 g/h/c=3");
        m_recorder = std::make_unique<Recorder>();
        QVERIFY(Settings::SettingChanged().connect(
            m_recorder.get(), SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void reportsWhatAnotherProcessChanges()
    {
        SettingsWatch watch(never);
        QCOMPARE(watch.check(), 0);

        QVERIFY(setByChild("g/b", "5"));
        QVERIFY(setByChild("n", "6"));
        QVERIFY(runChild({"removeKey", "g/h"}));
        QVERIFY(setByChild("a", "1")); // as it is

        QCOMPARE(watch.check(), 3);
        QCOMPARE(seen(), QStringList({"sig(g/b, 5)", "sig(g/h/c, invalid)", "sig(n, 6)"}));
        QCOMPARE(Settings().getInt("g/b"), 5);
        QCOMPARE(watch.check(), 0);
    }

    void checksAtAnInterval()
    {
        const SettingsWatch watch(0); // which is raised to 100 ms
        QElapsedTimer time;

        QVERIFY(setByChild("a", "5"));
        time.start();

        QTRY_COMPARE(seen(), QStringList("sig(a, 5)"));
        QVERIFY2(time.elapsed() < 2000, "longer than many intervals");
        QVERIFY(setByChild("a", "6"));
        QTRY_COMPARE(seen(), QStringList({"sig(a, 5)", "sig(a, 6)"}));
    }

    void reportsAChangeAtTheNextCheck()
    {
        const int interval = 100; // ms, the shortest
        const int numChanges = 20;
        const SettingsWatch watch(interval);
        QList<qint64> delays; // ms from the change of the file to the report
        m_recorder->reaction = [&] {
            const QDateTime changed = QFileInfo(SettingsHome::file()).lastModified();
            delays.append(changed.msecsTo(QDateTime::currentDateTime()));
        };

        for (int i = 1; i <= numChanges; ++i) {
            QVERIFY(setByChild("g/b", qPrintable(QString::number(100 + i))));
            QTRY_COMPARE(seen().size(), i);
        }

        std::sort(delays.begin(), delays.end());
        qInfo("%d ms at an interval of %d ms, and at most %d ms", int(delays.at(numChanges / 2)),
              interval, int(delays.last()));
        QVERIFY2(delays.first() <= interval + 20, "even the fastest one was not at the next check");
    }

    void isHeardInBothProcesses()
    {
        const SettingsWatch watch(100);
        QProcess child;
        child.start(SETTINGS_CHILD, {"printChanges", "2"});
        QVERIFY(child.waitForReadyRead());
        QCOMPARE(child.readLine(), QByteArray("ready\n"));

        Settings().setInt("watched/x", 7);
        QTRY_VERIFY(child.canReadLine());
        QCOMPARE(child.readLine(), QByteArray("watched/x=7\n"));
        QVERIFY(setByChild("watched/y", "8"));
        QVERIFY(child.waitForFinished());

        QCOMPARE(child.readAll(), QByteArray("watched/y=8\n"));
        QTRY_COMPARE(seen(), QStringList({"sig(watched/x, 7)", "sig(watched/y, 8)"}));
    }

    void doesNotReportWhatThisProcessChanges()
    {
        SettingsWatch watch(never);
        Settings settings("g");
        settings.setInt("b", 5).setDefault("d", 1, true).addMRU("list", "path").copyKey("", "/k//");
        settings.removeMRU("list", "path").renameKey("h", "i").setInt("//x/", 1).removeKey("k");
        settings.setFlags("z", false, false);
        const QStringList own = seen();
        QCOMPARE(watch.check(), 0);
        QVERIFY(settings.sync());
        QCOMPARE(watch.check(), 0);

        QVERIFY(setByChild("a", "5"));
        settings.removeKey("").removeKey("/");
        settings.setInt("late", 1); // pending while the file is read
        QCOMPARE(watch.check(), 1);

        QCOMPARE(seen(), own + QStringList({"sig(g/late, 1)", "sig(a, 5)"}));
    }

    void doesNotReportTheWholeStoreWhenThisProcessEmptiesIt()
    {
        SettingsWatch watch(never);
        Settings().renameKey("", "all");
        const QStringList own = seen();

        QCOMPARE(watch.check(), 0);
        QCOMPARE(seen(), own);
    }

    void reportsWhatThisProcessHasReadBefore()
    {
        SettingsWatch watch(never);
        QVERIFY(setByChild("a", "5"));
        QCOMPARE(Settings().getInt("a"), 5);

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(a, 5)"));
    }

    void doesNotReportWhatThisProcessHasReplaced()
    {
        SettingsWatch watch(never);
        QVERIFY(setByChild("a", "5"));
        Settings().setInt("a", 6);

        QCOMPARE(watch.check(), 0);
        QCOMPARE(seen(), QStringList("sig(a, 6)"));
        QCOMPARE(Settings().getInt("a"), 6);
    }

    void reportsWhatAQSettingsOfTheHostChanges()
    {
        SettingsWatch watch(never);
        QSettings().setValue("g/b", 5);

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(g/b, 5)"));
    }

    void reportsThatTheFileIsGone()
    {
        SettingsWatch watch(never);
        QVERIFY(QFile::remove(home.file()));

        QCOMPARE(watch.check(), 3);
        QCOMPARE(seen(),
                 QStringList({"sig(a, invalid)", "sig(g/b, invalid)", "sig(g/h/c, invalid)"}));
    }

    void reportsEachChangeOnceWhenThereAreSeveral()
    {
        auto first = std::make_unique<SettingsWatch>(never);
        SettingsWatch second(never);
        QVERIFY(setByChild("a", "5"));
        QCOMPARE(first->check() + second.check(), 1);

        QVERIFY(setByChild("a", "6"));
        QCOMPARE(second.check() + first->check(), 1);
        first.reset();
        Settings().setInt("a", 7);
        QVERIFY(setByChild("g/b", "8"));
        QCOMPARE(second.check(), 1);

        QCOMPARE(seen(), QStringList({"sig(a, 5)", "sig(a, 6)", "sig(a, 7)", "sig(g/b, 8)"}));
    }

    void endsWhenAReceiverDeletesIt()
    {
        auto watch = std::make_unique<SettingsWatch>(never);
        m_recorder->reaction = [&] { watch.reset(); };
        QVERIFY(setByChild("a", "5"));
        QVERIFY(setByChild("g/b", "6"));

        QCOMPARE(watch->check(), 1);
        QCOMPARE(seen(), QStringList("sig(a, 5)"));
    }

    void doesNotReportWhatAReceiverSets()
    {
        SettingsWatch watch(never);
        m_recorder->reaction = [&] {
            m_recorder->reaction = nullptr;
            Settings().setInt("g/b", 7);
        };
        QVERIFY(setByChild("a", "5"));
        QVERIFY(setByChild("g/b", "6"));

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList({"sig(a, 5)", "sig(g/b, 7)"}));
        QCOMPARE(watch.check(), 0);
    }

    void reportsTheOtherChangesWhenAReceiverThrows()
    {
        SettingsWatch watch(never);
        SettingsWatch second(never);
        m_recorder->reaction = [&] {
            if (seen().size() <= 2)
                throw std::runtime_error(seen().size() == 1 ? "first" : "second");
        };
        QVERIFY(setByChild("a", "5"));
        QVERIFY(setByChild("g/b", "6"));
        QVERIFY(runChild({"removeKey", "g/h"}));

        QString caught;
        try {
            watch.check();
        } catch (const std::runtime_error &error) {
            caught = error.what();
        }

        QCOMPARE(caught, QString("first"));
        QCOMPARE(seen(), QStringList({"sig(a, 5)", "sig(g/b, 6)", "sig(g/h/c, invalid)"}));
        QCOMPARE(watch.check(), 0);
        QCOMPARE(second.check(), 0);
    }

    void reportsAgainWhatLackedMemory()
    {
        SettingsWatch watch(never);
        m_recorder->reaction = [&] {
            if (!seen().last().startsWith("sig(g/b"))
                throw std::bad_alloc();
        };
        QVERIFY(setByChild("a", "5"));
        QVERIFY(setByChild("g/b", "6"));
        QVERIFY(runChild({"removeKey", "g/h"}));
        QVERIFY(setByChild("z", "7"));
        const QStringList all({"sig(a, 5)", "sig(g/b, 6)", "sig(g/h/c, invalid)", "sig(z, 7)"});
        QVERIFY_EXCEPTION_THROWN(watch.check(), std::bad_alloc);
        QCOMPARE(seen(), all);

        const QStringList failed({"sig(a, 5)", "sig(g/h/c, invalid)", "sig(z, 7)"});
        QVERIFY_EXCEPTION_THROWN(watch.check(), std::bad_alloc);
        QCOMPARE(seen(), all + failed);

        m_recorder->reaction = nullptr;
        m_recorder->calls.clear();
        Settings().setInt("z", 8); // which reports it
        QVERIFY(setByChild("a", "9"));
        QVERIFY(setByChild("n", "1"));
        QCOMPARE(watch.check(), 3);
        QCOMPARE(seen(),
                 QStringList({"sig(z, 8)", "sig(a, 9)", "sig(g/h/c, invalid)", "sig(n, 1)"}));
        QCOMPARE(watch.check(), 0);
    }

    void reportsAgainAtTheNextInterval()
    {
        const SettingsWatch watch(100);
        m_recorder->reaction = [&] {
            m_recorder->reaction = nullptr;
            throw std::bad_alloc();
        };

        QVERIFY(setByChild("a", "5"));

        QTRY_COMPARE(seen(), QStringList({"sig(a, 5)", "sig(a, 5)"}));
    }

    void endsWhenAReceiverDeletesItAndThrows()
    {
        auto watch = std::make_unique<SettingsWatch>(never);
        m_recorder->reaction = [&] {
            watch.reset();
            throw std::bad_alloc();
        };
        QVERIFY(setByChild("a", "5"));
        QVERIFY(setByChild("g/b", "6"));

        QVERIFY_EXCEPTION_THROWN(watch->check(), std::bad_alloc);

        QCOMPARE(seen(), QStringList("sig(a, 5)"));
    }

    void triesAgainWhenTheFileCannotBeRead()
    {
        SKIP_ON_WINDOWS("a folder is read as an empty file by Qt for Windows");
        SettingsWatch watch(never);
        QVERIFY(setByChild("a", "5"));
        const QString file = home.file();
        QVERIFY(QFile::rename(file, file + ".aside"));
        QVERIFY(QDir().mkpath(file)); // a folder cannot be read
        QCOMPARE(watch.check(), 0);

        QVERIFY(QDir().rmdir(file));
        QVERIFY(QFile::rename(file + ".aside", file));
        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(a, 5)"));
    }
};

QTEST_MAIN(tst_SettingsWatch)
#include "tst_SettingsWatch.moc"
