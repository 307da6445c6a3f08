// Settings where the memory ends at each allocation of an operation in turn.

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QtTest>

#include <new>

using Utils::File;
using Utils::Settings;

static const SettingsHome home;

/// The reason of the last failure as its key, as no texts are loaded.
static QString reason() { return QString(File::lastError()).section('.', -1); }

class tst_Settings_memory : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

    QString path(const char *name) const { return m_folder.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
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
