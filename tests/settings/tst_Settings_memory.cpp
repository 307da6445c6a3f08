// Settings where the memory ends at each allocation of an operation in turn.

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/SettingsWatch.h"

#include <QDeadlineTimer>
#include <QtTest>

#include <memory>
#include <new>

using Utils::File;
using Utils::Settings;
using Utils::SettingsWatch;

Q_DECLARE_METATYPE(FailingMemory::Mode)

static const SettingsHome home;

/// The reason of the last failure as its key, as no texts are loaded.
static QString reason() { return QString(File::lastError()).section('.', -1); }

class tst_Settings_memory : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

    QString m_path; // of the settings

    QString path(const char *name) const { return m_folder.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        m_path = home.file();
        File::lastError(); // glibc ends the process when it has no memory for the first call
    }

    void exportsTheWholeFileOrNone()
    {
        home.fill("a=1 b=2 g/x=3");
        const Settings settings;
        QVERIFY(settings.exportTo(path("whole")));
        const QByteArray whole = contentsOf(path("whole"));
        const Data::String target = makeFile(path("target"), "before");

        int failures = 0;
        for (int n = 0;; ++n) {
            FailingMemory memory(n, FailingMemory::Once);
            const bool isDone = settings.exportTo(target);
            memory.end();

            QVERIFY(isDone || memory.hasFailed());
            QCOMPARE(contentsOf(target), isDone ? whole : QByteArray("before"));
            QCOMPARE(reason().isEmpty(), isDone);
            failures += !isDone && reason() == "memory";
            makeFile(target, "before");
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 10);
        QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), QStringList({"target", "whole"}));
    }

    void resetsAllOrNothing()
    {
        const QString before = "a=5 a_default=1 g/b=6 g/b_default=2 g/c_default=3";
        home.fill(before);
        const Data::String group;
        const QString after = "a=1 a_default=1 g/b=2 g/b_default=2 g/c=3 g/c_default=3";

        int failures = 0;
        for (int n = 0;; ++n) {
            Settings settings;
            FailingMemory memory(n, FailingMemory::Once);
            const bool isDone = settings.resetGroup(group);
            memory.end();

            QVERIFY(isDone || memory.hasFailed());
            QCOMPARE(home.stored(), isDone ? after : before);
            QCOMPARE(reason(), QString(isDone ? "" : "memory"));
            failures += !isDone;
            if (!memory.hasFailed())
                break;
            settings.removeKey("g/c").setInt("a", 5).setInt("g/b", 6);
        }
        QVERIFY(failures > 10);
    }

    void staysPendingWhenTheObjectEnds_data()
    {
        QTest::addColumn<FailingMemory::Mode>("mode");
        QTest::addColumn<int>("number");

        // In between, Qt itself ends the process.
        QTest::newRow("the first allocation") << FailingMemory::Once << 0;
        QTest::newRow("the new contents") << FailingMemory::Larger << 100000;
    }

    void staysPendingWhenTheObjectEnds()
    {
        QFETCH(FailingMemory::Mode, mode);
        QFETCH(int, number);
        const QString value(300000, 'x');
        home.fill("a=1");
        const Settings observer;
        auto settings = std::make_unique<Settings>();
        settings->setString("b", value);

        FailingMemory memory(number, mode);
        settings.reset();
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(observer.status() != Settings::Stored);
        QCOMPARE(observer.getString("b").size(), value.size());
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\na=1\n"));
        QVERIFY(Settings().sync());
        QCOMPARE(contentsOf(m_path), "[General]\na=1\nb=" + value.toUtf8() + "\n");
    }

    void staysPendingInTheEventLoop()
    {
        const QString value(300000, 'x');
        home.fill("a=1");
        Settings settings;
        settings.setString("b", value);

        FailingMemory memory(100000, FailingMemory::Larger);
        QCoreApplication::sendPostedEvents();
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(settings.status(), Settings::Failed);
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\na=1\n"));
        settings.setInt("c", 3);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(contentsOf(m_path), "[General]\na=1\nb=" + value.toUtf8() + "\nc=3\n");
    }

    void losesNothingThatThereIsNoMemoryToRead()
    {
        const QByteArray value(300000, 'x');
        home.fill("a=1");
        Settings settings;
        settings.sync();
        settings.setInt("b", 2);
        QVERIFY(!makeFile(m_path, "[General]\na=1\nlong=" + value + "\n").isEmpty());

        FailingMemory memory(100000, FailingMemory::Larger);
        const bool isStored = settings.sync();
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isStored);
        QCOMPARE(settings.status(), Settings::Failed);
        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(m_path), "[General]\na=1\nb=2\nlong=" + value + "\n");
    }

    void reportsAChangeThatThereWasNoMemoryToCompare()
    {
        Recorder recorder;
        QVERIFY(Settings::SettingChanged().connect(
            &recorder, SLOT(pair(const Data::String &, const Data::Variant &))));
        home.fill("a=1");
        const SettingsWatch watch(100);
        QSettings().setValue("long", QString(300000, 'x'));
        QSettings().setValue("b", 2);

        FailingMemory memory(100000, FailingMemory::Larger);
        const QDeadlineTimer end(10000);
        while (!memory.hasFailed() && !end.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(recorder.calls, QStringList());
        QTRY_COMPARE(recorder.calls.size(), 2);
        QCOMPARE(recorder.calls.first(), QString("sig(b, 2)"));
    }

    void losesNoValueWhenAGroupIsCopiedOrRenamed_data()
    {
        QTest::addColumn<QString>("to");
        QTest::addColumn<bool>("isRename");
        QTest::addColumn<QString>("after");

        QTest::newRow("copied") << "Other" << false
                                << "Other/a=1 Other/s/b=2 group/a=1 group/s/b=2";
        QTest::newRow("renamed") << "Other" << true << "Other/a=1 Other/s/b=2";
        // Through a temporary name, where nobody would find the values.
        QTest::newRow("another case") << "Group" << true << "Group/a=1 Group/s/b=2";
        QTest::newRow("the same name") << "group" << true << "group/a=1 group/s/b=2";
    }

    void losesNoValueWhenAGroupIsCopiedOrRenamed()
    {
        QFETCH(QString, to);
        QFETCH(bool, isRename);
        QFETCH(QString, after);
        const Data::String from = "group";
        const Data::String target = to;
        const auto holds = [&](const QStringList &stored, const QString &value) {
            return stored.contains("group/" + value) || stored.contains(to + '/' + value);
        };

        int failures = 0;
        for (int n = 0;; ++n) {
            home.fill("group/a=1 group/s/b=2");
            Settings settings;
            settings.sync();
            FailingMemory memory(n, FailingMemory::Once);
            try {
                if (isRename)
                    settings.renameKey(from, target, /*recursive=*/true);
                else
                    settings.copyKey(from, target, /*recursive=*/true);
            } catch (const std::bad_alloc &) {
                ++failures;
            }
            memory.end();

            const QString stored = home.stored();
            const QStringList values = stored.split(' ');
            QVERIFY2(holds(values, "a=1") && holds(values, "s/b=2"),
                     qPrintable(QString("%1: %2").arg(n).arg(stored)));
            if (memory.hasFailed())
                continue;
            QCOMPARE(stored, after);
            break;
        }
        QVERIFY(failures > 10);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_memory)
#include "tst_Settings_memory.moc"
