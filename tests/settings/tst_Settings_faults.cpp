#include "tests/support/FullDisk.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QColor>
#include <QtTest>

#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

using Utils::Settings;

static const SettingsHome home;

static QByteArray contents()
{
    QFile file(home.path() + "/Company/Tests.conf");
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

class tst_Settings_faults : public QObject
{
    Q_OBJECT

private:
    /// Runs the program of faults where its processes and mounts are its own, and fails where it
    /// tells of something.
    static void run(const QString &command, bool isPreloaded = false)
    {
        QProcess process;
        const QStringList apart = {"--mount", "--pid", "--fork", "--mount-proc", "--kill-child"};
        process.start("unshare", apart + QStringList("true"));
        if (!process.waitForFinished() || process.exitCode() != 0)
            QSKIP("needs the right to make namespaces");

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (isPreloaded) {
            environment.insert("LD_PRELOAD", SETTINGS_SHIM);
            // The check for leaks uses the calls that fail here.
            environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") +
                                                   ":verify_asan_link_order=0:detect_leaks=0");
        }
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start("unshare", apart + QStringList{SETTINGS_FAULTS, command});
        QVERIFY(process.waitForFinished(120000));
        const QByteArray output = process.readAll();
        if (process.exitCode() == 2)
            QSKIP(output);
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 "\n" + output.left(4000));
        QCOMPARE(output, QByteArray());
    }

    static QString valueOf(int i) { return QString(40, 'v') + QString::number(i); }

private Q_SLOTS:
    void init()
    {
        SettingsHome::nameApplication();
        QVERIFY(Settings().removeKey("g").removeKey("h").sync());
        home.fill("");
    }

    void tellsWhetherItIsStored()
    {
        Settings settings;
        Data::String reason = "before";
        QCOMPARE(settings.status(&reason), Settings::Stored);
        QCOMPARE(reason, Data::String());

        settings.setInt("g/k", 1);
        QCOMPARE(settings.status(), Settings::Pending);
        QCOMPARE(Settings("h").status(), Settings::Stored); // it has written what was pending
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(contents(), QByteArray("[g]\nk=1\n"));

        settings.removeKey("g/k");
        QCOMPARE(settings.status(), Settings::Pending);
        QVERIFY(settings.sync());
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(contents(), QByteArray());

        settings.setDefault("g/d", 1);
        QCOMPARE(settings.status(), Settings::Pending);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(contents(), QByteArray("[g]\nd=1\n"));

        settings.removeKey("absent");
        QVERIFY(settings.sync());
        QCOMPARE(settings.status(), Settings::Stored);
    }

    void keepsTheOldFileHoweverLittleRoomThereIs()
    {
        Settings settings;
        for (int i = 0; i < 100; ++i)
            settings.setString("g/" + QString::number(i), valueOf(i));
        QVERIFY(settings.sync());
        QByteArray old = contents();
        const int size = old.size();
        QVERIFY(size > 4096);

        int failed = 0;
        for (int room = 0; room<size + 20; room += room % 4096> 4090 || room < 200 ? 1 : 7) {
            bool isStored = false;
            {
                const FullDisk disk(room);
                settings.setInt("h/room", room % 10);
                isStored = settings.sync();
            }
            Data::String reason;
            QCOMPARE(settings.status(&reason), isStored ? Settings::Stored : Settings::Failed);
            if (isStored)
                old = contents();
            QCOMPARE(contents(), old);
            QCOMPARE(reason.isEmpty(), isStored);
            QVERIFY(isStored || reason.startsWith(home.path() + "/Company/Tests.conf: "));
            QCOMPARE(settings.getInt("h/room", -1), room % 10);
            failed += isStored ? 0 : 1;
        }

        QVERIFY(failed > 100);
        QVERIFY(settings.sync());
        QVERIFY(contents().contains("[h]\nroom="));
        QCOMPARE(contents().count("v"), 100 * 40);
    }

    void keepsTheOldFileForALongValue()
    {
        Settings settings;
        settings.setInt("g/k", 1).sync();
        const QByteArray old = contents();

        {
            const FullDisk disk(50000);
            settings.setString("g/long", QString(100000, 'x'));
            QVERIFY(!settings.sync());
        }

        QCOMPARE(contents(), old);
        QVERIFY(settings.sync());
        QCOMPARE(contents(), "[g]\nk=1\nlong=" + QByteArray(100000, 'x') + "\n");
    }

    void storesWhatAPlainObjectCouldNot()
    {
        Settings settings;
        for (int i = 0; i < 20; ++i)
            settings.setString("g/" + QString::number(i), valueOf(i));
        {
            const FullDisk disk(300);
            QSettings().sync(); // takes a part of the file for all
            QCOMPARE(contents().size(), 300);
            QVERIFY(!settings.sync());
            QCOMPARE(settings.status(), Settings::Failed);
        }

        QVERIFY(settings.sync());

        QCOMPARE(contents().count("v"), 20 * 40);
    }

    void isSeenByAPlainObjectAtOnce()
    {
        QSettings plain;
        Settings settings("g");

        settings.setValue("k", 1.5).setValue("c", QColor(1, 2, 3));
        QCOMPARE(plain.value("g/k"), QVariant(1.5));
        QCOMPARE(plain.value("g/k").userType(), int(QMetaType::Double));
        settings.removeKey("k");
        QVERIFY(!plain.contains("g/k"));

        plain.setValue("g/p", 5);
        QCOMPARE(settings.getValue("p").userType(), int(QMetaType::Int));
        plain.remove("g/c");
        QCOMPARE(settings.keys(""), QStringList("p"));
        QVERIFY(settings.sync());
        QCOMPARE(contents(), QByteArray("[g]\np=5\n"));
    }

    void storesWhatAPlainObjectChangedWithIt()
    {
        home.fill("g/a=1 g/b=2 h/c=3");
        Settings settings;
        QSettings plain;
        plain.setValue("g/typed", 7);
        plain.sync();

        plain.remove("g");
        settings.setInt("h/d", 4);
        QVERIFY(settings.sync());
        QCOMPARE(contents(), QByteArray("[h]\nc=3\nd=4\n"));

        plain.clear();
        settings.setInt("h/e", 5);
        QVERIFY(settings.sync());
        QCOMPARE(contents(), QByteArray("[h]\ne=5\n"));
    }

    void keepsTypesThoughOthersWrite()
    {
        Settings settings;
        settings.setValue("g/number", 1.5).sync();
        QSettings().setValue("g/other", 2.5);
        Settings().setInt("h/k", 1);

        QCOMPARE(settings.getValue("g/number").userType(), int(QMetaType::Double));
        QCOMPARE(settings.getValue("g/other").userType(), int(QMetaType::Double));
    }

    void findsWhatAnotherProcessWrote()
    {
        Settings settings;
        settings.setInt("g/mine", 1).sync();
        QFile file(home.file());
        QVERIFY(file.open(QIODevice::Append));
        file.write("theirs=2\n");
        file.close();

        settings.setInt("g/later", 3);
        QVERIFY(settings.sync());

        QCOMPARE(settings.getInt("g/theirs"), 2);
        QCOMPARE(contents(), QByteArray("[g]\nlater=3\nmine=1\ntheirs=2\n"));
    }

    void tellsWhenItCannotReadWhatAPlainObjectMissed()
    {
        QCoreApplication::setOrganizationName("Stale");
        const QString path = home.file();
        const auto put = [&](const QByteArray &bytes, const QDateTime &time) {
            QFile file(path);
            return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
                   file.write(bytes) == bytes.size() && file.flush() &&
                   file.setFileTime(time, QFileDevice::FileModificationTime);
        };
        const QDateTime time = QDateTime::currentDateTime();
        QVERIFY(put("[g]\nk=1\n", time));
        const QSettings plain;
        QCOMPARE(plain.value("g/k").toInt(), 1);
        QVERIFY(put("[g]\nk=2\n", time)); // of which a QSettings sees nothing
        const auto readable = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
        QVERIFY(QFile::setPermissions(path, readable));

        {
            const OrdinaryUser user(home.path());
            Settings settings("g");
            Data::String reason;
            QCOMPARE(settings.status(&reason), Settings::Failed);
            QCOMPARE(reason, Data::String(path + ": The file could not be read whole"));
            QVERIFY(!settings.sync());
        }
        QVERIFY(QFile::setPermissions(path, readable | QFile::WriteOwner));

        Settings settings("g");
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(settings.getInt("k"), 2);
    }

    void keepsKeysThatNobodyCanFind_data()
    {
        QTest::addColumn<int>("room");
        QTest::addColumn<bool>("isPlain");

        QTest::newRow("written by it") << 10000 << false;
        QTest::newRow("written by a plain object") << 10000 << true;
        QTest::newRow("a part written by a plain object") << 10 << true;
    }

    void keepsKeysThatNobodyCanFind()
    {
        QFETCH(int, room);
        QFETCH(bool, isPlain);
        Settings settings("g");
        QVERIFY(settings.setInt("k", 1).sync());
        QFile file(home.file());
        QVERIFY(file.open(QIODevice::Append));
        file.write("x\\\\y=5\n"); // edited by hand
        file.close();
        QCOMPARE(Settings("g").getInt("x//y"), 0);

        settings.setInt("k", 2);
        {
            const FullDisk disk(room);
            if (isPlain)
                QSettings().sync();
            QCOMPARE(settings.sync(), room > 100);
            const Settings another("g");
            QCOMPARE(another.status(), room > 100 ? Settings::Stored : Settings::Failed);
        }

        QVERIFY(settings.sync());
        QCOMPARE(contents(), QByteArray("[g]\nk=2\nx\\\\y=5\n"));
        QVERIFY(settings.removeKey("x").sync()); // the group above
        QCOMPARE(contents(), QByteArray("[g]\nk=2\n"));
    }

    void storesAMoveOfEverythingAfterARemoval()
    {
        Settings settings;
        QVERIFY(settings.setInt("g/a", 1).setInt("g/b", 1).sync());

        settings.removeKey("g").setInt("g/a", 2).setInt("h", 3);
        settings.renameKey("", "g", /*recursive=*/true);
        QVERIFY(settings.sync());

        QCOMPARE(contents(), QByteArray());
        settings.setInt("g/a", 4).removeKey("g").setInt("g/c", 5).setInt("g/d", 6);
        settings.removeKey("g/d");
        QVERIFY(settings.sync());
        QCOMPARE(contents(), QByteArray("[g]\nc=5\n"));
    }

    void readsAndWritesAFileFromTheEpoch()
    {
        QVERIFY(Settings("g").setInt("old", 1).sync());
        const timespec epoch[] = {{0, 0}, {0, 0}}; // as an archive without times unpacks it
        QCOMPARE(utimensat(AT_FDCWD, QFile::encodeName(home.file()), epoch, 0), 0);

        Settings settings("g");
        Data::String reason;
        QCOMPARE(settings.getInt("old"), 1);
        QVERIFY2((settings.status(&reason), reason).isEmpty(), qPrintable(reason));
        settings.setInt("new", 2);

        QVERIFY2(settings.sync(), qPrintable((settings.status(&reason), reason)));
        QCOMPARE(contents(), QByteArray("[g]\nnew=2\nold=1\n"));
    }

    void keepsToTheFoldersOfTheHostWhereItFails()
    {
        const QTemporaryDir system;
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, home.path() + "/ini");
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, system.path());
        QVERIFY(QDir().mkpath(system.path() + "/Company"));
        QFile fallback(system.path() + "/Company.ini");
        QVERIFY(fallback.open(QIODevice::WriteOnly));
        fallback.write("[g]\nfallback=9\n");
        fallback.close();

        for (const auto format : {QSettings::NativeFormat, QSettings::IniFormat}) {
            QSettings::setDefaultFormat(format);
            const bool isIni = format == QSettings::IniFormat;
            Settings settings("g");
            settings.setInt("k", 1).sync();
            {
                const FullDisk disk(0);
                settings.setInt("k", 2);
                const Settings another("g");
                QCOMPARE(another.getInt("k"), 2);
                QCOMPARE(another.getInt("fallback", 0), isIni ? 9 : 0);
                QCOMPARE(another.status(), Settings::Failed);
            }
            QVERIFY(settings.sync());
            QCOMPARE(QFile::exists(home.path() + "/ini/Company/Tests.ini"), isIni);
        }
        QSettings::setDefaultFormat(QSettings::NativeFormat);
        QCOMPARE(contents(), QByteArray("[g]\nk=2\n"));
    }

    void survivesAFullDisk() { run("fillDisk"); }

    void survivesKills() { run("killWriters"); }

    void survivesAFailedReplacement() { run("failRenames", /*isPreloaded=*/true); }

    void survivesAFailedFlush() { run("failFlushes", /*isPreloaded=*/true); }

    void survivesReadErrors() { run("failCalls", /*isPreloaded=*/true); }
};

QTEST_GUILESS_MAIN(tst_Settings_faults)
#include "tst_Settings_faults.moc"
