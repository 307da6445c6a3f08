// Settings that other processes store at almost the same time: their file has the same size and the
// same time of modification as the one that this process knows.

#include "tests/support/CallFault.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/SettingsWatch.h"

#include <QtTest>

#include <functional>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Utils::Settings;
using Utils::SettingsWatch;

static const SettingsHome home;

static const char *const oldText = "[General]\nother=1\nours=1\n";
static const char *const newText = "[General]\nother=2\nours=1\n";

static bool setTime(const QString &path, const timespec &time)
{
    const timespec times[] = {time, time};
    return utimensat(AT_FDCWD, QFile::encodeName(path), times, 0) == 0;
}

/// Replaces the settings file by one with \p contents, which has the same time, as another process
/// does within a tick of the clock.
static bool replaceFile(const QString &path, const QByteArray &contents)
{
    const QString other = path + ".new";
    struct stat status;
    return stat(QFile::encodeName(path), &status) == 0 && !makeFile(other, contents).isEmpty() &&
           setTime(other, status.st_mtim) &&
           rename(QFile::encodeName(other), QFile::encodeName(path)) == 0;
}

using Act = std::function<void(Settings &)>;
Q_DECLARE_METATYPE(Act)

/// Changes the state of the file at a path, but not its contents, size or time. False when it
/// cannot.
using Change = bool (*)(const QString &path);
Q_DECLARE_METATYPE(Change)

static bool changeRights(const QString &path)
{
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
}
static bool addLink(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    unlink(name + ".link");
    return link(name, name + ".link") == 0;
}
static bool changeNumber(const QString &path) { return replaceFile(path, contentsOf(path)); }

class tst_Settings_processes : public QObject
{
    Q_OBJECT

private:
    QString m_path;

private Q_SLOTS:
    void init()
    {
        SettingsHome::nameApplication();
        m_path = home.file(); // which a settings file that is locked may not be asked for
        home.fill("other=1 ours=1");
        QVERIFY(Settings().sync());
        QCOMPARE(contentsOf(m_path), QByteArray(oldText));
    }

    void losesNothingWhenTwoProcessesStoreInTurn()
    {
        QProcess child;
        child.start(SETTINGS_CHILD, {"storeInTurn"});
        QVERIFY(child.waitForStarted());
        int lost = 0;
        for (int number = 1000; number < 1300; ++number) {
            const QByteArray text = QByteArray::number(number);
            Settings settings;
            settings.setInt("ours", number);
            QVERIFY(settings.sync());
            lost += !contentsOf(m_path).contains("ours=" + text + "\n");

            child.write(text + '\n');
            QVERIFY(child.waitForReadyRead());
            QCOMPARE(child.readLine(), QByteArray("stored\n"));
            const QByteArray now = contentsOf(m_path);
            lost += !now.contains("ours=" + text + "\n");
            lost += !now.contains("theirs=" + text + "\n");
            lost += settings.sync() && settings.getInt("theirs") == number ? 0 : 1;
        }
        child.closeWriteChannel();
        QVERIFY(child.waitForFinished());

        QCOMPARE(lost, 0);
    }

    void readsAFileThatLooksTheSame()
    {
        QVERIFY(replaceFile(m_path, newText));

        QCOMPARE(Settings().getInt("other"), 2);
    }

    void storesBesideWhatLooksTheSame_data()
    {
        QTest::addColumn<Act>("act");
        QTest::addColumn<QByteArray>("expected");

        const auto row = [](const char *name, const Act &act, const char *expected) {
            QTest::newRow(name) << act << QByteArray(expected);
        };
        row(
            "a value that is set", [](Settings &settings) { settings.setInt("ours", 2); },
            "[General]\nother=2\nours=2\n");
        row(
            "the same value", [](Settings &settings) { settings.setInt("ours", 1); }, newText);
        row(
            "the same key", [](Settings &settings) { settings.setInt("other", 3); },
            "[General]\nother=3\nours=1\n");
        row(
            "a value that is removed", [](Settings &settings) { settings.removeKey("ours"); },
            "[General]\nother=2\n");
        row(
            "a key that is absent", [](Settings &settings) { settings.removeKey("absent"); },
            newText);
        row(
            "a value that is set and removed",
            [](Settings &settings) { settings.setInt("new", 1).removeKey("new"); }, newText);
    }

    void storesBesideWhatLooksTheSame()
    {
        QFETCH(Act, act);
        QFETCH(QByteArray, expected);
        Settings settings;
        QVERIFY(replaceFile(m_path, newText));

        act(settings);

        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(m_path), expected);
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(settings.getInt("other"), expected.contains("other=3") ? 3 : 2);
    }

    void storesBesideWhatReplacesItsOwnFileAtOnce()
    {
        Settings settings;
        settings.setInt("ours", 2);
        {
            const CallFault unlock(
                "unlink", [this] { QVERIFY(replaceFile(m_path, "[General]\nother=2\nours=2\n")); });
            QVERIFY(settings.sync());
            QCOMPARE(unlock.count(), 1);
        }

        settings.setInt("ours", 3);

        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\nother=2\nours=3\n"));
    }

    void storesThoughTheFileIsReplacedAgain()
    {
        Settings settings;
        QVERIFY(replaceFile(m_path, newText));
        settings.setInt("ours", 2);
        struct stat status;
        QCOMPARE(stat(QFile::encodeName(m_path), &status), 0);

        // When the second attempt has locked the file, it gets the time that QSettings knows again.
        const int second = 1;
        const auto replace = [&] {
            const QString other = m_path + ".new";
            QVERIFY(!makeFile(other, "[General]\nother=4\nours=1\n").isEmpty());
            QVERIFY(setTime(other, status.st_mtim));
            QCOMPARE(rename(QFile::encodeName(other), QFile::encodeName(m_path)), 0);
        };
        const CallFault lock("flock", replace, second);
        QVERIFY(settings.sync());

        QCOMPARE(lock.count(), 1);
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\nother=4\nours=2\n"));
    }

    void reportsAFileThatLooksTheSame()
    {
        Recorder recorder;
        QVERIFY(Settings::SettingChanged().connect(
            &recorder, SLOT(pair(const Data::String &, const Data::Variant &))));
        QVERIFY(setTime(m_path, {1000000000, 0})); // long ago, which no check repeats
        SettingsWatch watch;
        QCOMPARE(watch.check(), 0);

        QVERIFY(replaceFile(m_path, newText));

        QCOMPARE(watch.check(), 1);
        QCOMPARE(recorder.calls, QStringList("sig(other, 2)"));
        QCOMPARE(watch.check(), 0);
    }

    void storesInAFileOfAnotherUser_data()
    {
        QTest::addColumn<Change>("change");

        QTest::newRow("other rights") << &changeRights;
        QTest::newRow("another link") << &addLink;
        QTest::newRow("another number") << &changeNumber;
    }

    void storesInAFileOfAnotherUser()
    {
        QFETCH(Change, change);
        const CallFault times("futimens", EPERM); // they may be set by the owner only
        Settings settings;
        for (int number = 2; number < 5; ++number) {
            QVERIFY(change(m_path));

            settings.setInt("ours", number);

            QVERIFY(settings.sync());
            QCOMPARE(contentsOf(m_path),
                     QByteArray("[General]\nother=1\nours=") + char('0' + number) + '\n');
            QCOMPARE(settings.status(), Settings::Stored);
        }

        // The same value, which QSettings does not write.
        QVERIFY(change(m_path));
        settings.setInt("ours", 4);
        QVERIFY(settings.sync());
        QCOMPARE(times.count(), 0);
    }

    void readsAPixmapInAFileOfAnotherUser()
    {
        const QByteArray text = "[General]\npixmap=@Variant(\\0\\0\\0\\x41)\nwidth=5\n";
        QVERIFY(!makeFile(m_path, text).isEmpty());
        Settings settings;
        QVERIFY(settings.sync());
        const CallFault times("futimens", EPERM);
        QVERIFY(changeRights(m_path));

        QVERIFY(settings.sync());

        QCOMPARE(Settings().status(), Settings::Stored);
        QCOMPARE(settings.getInt("width"), 5);
        settings.setInt("width", 6);
        QVERIFY(settings.sync());
        QVERIFY(contentsOf(m_path).contains("@Variant(\\0\\0\\0\\x41)\nwidth=6\n"));
    }

    void storesWhereTimesAreCoarse_data()
    {
        QTest::addColumn<int>("numLost"); // times that become the one before
        QTest::addColumn<bool>("isStored");

        QTest::newRow("fine ones") << 0 << true;
        QTest::newRow("whole seconds") << 1 << true;
        QTest::newRow("even seconds") << 2 << true;
        QTest::newRow("coarser ones") << 3 << false;
    }

    void storesWhereTimesAreCoarse()
    {
        QFETCH(int, numLost);
        QFETCH(bool, isStored);
        Settings settings;
        QVERIFY(setTime(m_path, {4000000000, 0})); // later than now, so that each step counts
        QVERIFY(settings.sync());
        QVERIFY(replaceFile(m_path, newText));
        settings.setInt("ours", 2);

        QDateTime set;
        {
            const CallFault times("futimens", 0, 0, numLost);
            const CallFault save("fsync", [&] { set = QFileInfo(m_path).lastModified(); });
            QCOMPARE(settings.sync(), isStored);
            QCOMPARE(times.count(), numLost);
        }

        if (isStored) {
            const QList<int> steps = {1, 1000, 2000}; // milliseconds
            QCOMPARE(set.toMSecsSinceEpoch(), 4000000000000 + steps[numLost]);
        }
        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\nother=2\nours=2\n"));
    }

    void storesNothingOverAnotherFileThatCannotBeReadAgain()
    {
        Settings settings;
        QVERIFY(replaceFile(m_path, newText));
        settings.setInt("ours", 2);
        {
            const CallFault times("futimens", EPERM);
            QVERIFY(!settings.sync());
            QVERIFY(times.count() > 0);
        }
        QCOMPARE(contentsOf(m_path), QByteArray(newText));

        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\nother=2\nours=2\n"));
    }

    void storesBesideWhatIsChangedInPlace()
    {
        Settings settings;
        struct stat status;
        QCOMPARE(stat(QFile::encodeName(m_path), &status), 0);
        QVERIFY(!makeFile(m_path, newText).isEmpty());
        QVERIFY(setTime(m_path, status.st_mtim));

        settings.setInt("ours", 2);

        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(m_path), QByteArray("[General]\nother=2\nours=2\n"));
    }
};

QTEST_GUILESS_MAIN(tst_Settings_processes)
#include "tst_Settings_processes.moc"
