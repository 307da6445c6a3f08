// Watches of several files, in a program without an application object, where no timer runs.

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/SettingsWatch.h"

#include <QtTest>

#include <memory>

using Utils::Settings;
using Utils::SettingsWatch;

static const SettingsHome home;

/// Makes \p contents those of the settings file, last modified so many seconds ago.
static bool write(const QByteArray &contents, int secondsAgo)
{
    const QString path = home.file();
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size() &&
           file.flush() &&
           file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                            QFileDevice::FileModificationTime);
}

/// While it lives, the settings are those of another application.
class OtherApplication
{
public:
    OtherApplication() { QCoreApplication::setApplicationName("Others"); }
    ~OtherApplication() { home.nameApplication(); }
    OtherApplication(const OtherApplication &) = delete;
    OtherApplication &operator=(const OtherApplication &) = delete;
};

class tst_SettingsWatch_files : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Recorder> m_recorder;

    QStringList seen() const { return m_recorder->calls; }

private Q_SLOTS:
    void init()
    {
        QVERIFY(!QCoreApplication::instance());
        {
            const OtherApplication others;
            home.fill("");
        }
        home.fill("");
        m_recorder = std::make_unique<Recorder>();
        QVERIFY(Settings::SettingChanged().connect(
            m_recorder.get(), SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void findsAChangeByTheTimeAlone()
    {
        QVERIFY(write("[General]\nk=1\n", 3600));
        SettingsWatch watch;
        QCOMPARE(watch.check(), 0);

        QVERIFY(write("[General]\nk=2\n", 1800));

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(k, 2)"));
    }

    void findsAChangeByTheSizeAlone()
    {
        QVERIFY(write("[General]\nk=1\n", 3600));
        const QDateTime before = QFileInfo(home.file()).lastModified();
        SettingsWatch watch;
        QCOMPARE(watch.check(), 0);

        QVERIFY(write("[General]\nk=10\n", 3600));
        QFile file(home.file());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(before, QFileDevice::FileModificationTime));
        file.close();

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(k, 10)"));
    }

    void readsALaterTimeAFileThatCouldNotBeRead()
    {
        SKIP_ON_WINDOWS("a folder is read as an empty file by Qt for Windows");
        const QString path = home.file();
        QFile::remove(path);
        QVERIFY(QDir().mkpath(path)); // a folder cannot be read
        SettingsWatch watch;
        QCOMPARE(watch.check(), 0);

        QVERIFY(QDir().rmdir(path));
        QVERIFY(write("[General]\nk=1\n", 3600));

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(k, 1)"));
    }

    void keepsChangesOfThisProcessInAnotherFileApart()
    {
        QVERIFY(write("[General]\nk=1\nr=1\n", 3600));
        SettingsWatch watch;
        SettingsWatch second;
        {
            const OtherApplication others;
            Settings().setInt("k", 2).removeKey("r");
        }
        m_recorder->calls.clear();

        // The first watch knows this value as the other file's only.
        QVERIFY(write("[General]\nk=2\nr=1\n", 1800));

        QCOMPARE(watch.check(), 1);
        QCOMPARE(seen(), QStringList("sig(k, 2)"));
        QCOMPARE(second.check(), 0); // it has been reported
    }

    void reportsTheChangesOfEachFile()
    {
        QVERIFY(write("[General]\nk=1\n", 3600));
        SettingsWatch own;
        std::unique_ptr<SettingsWatch> others;
        {
            const OtherApplication application;
            QVERIFY(write("[General]\nk=1\n", 3600));
            others = std::make_unique<SettingsWatch>();
            QVERIFY(write("[General]\nk=2\n", 1800));
        }
        QVERIFY(write("[General]\nk=2\n", 1800));

        QCOMPARE(own.check(), 1);
        QCOMPARE(others->check(), 1);
        QCOMPARE(seen(), QStringList({"sig(k, 2)", "sig(k, 2)"}));
    }
};

QTEST_APPLESS_MAIN(tst_SettingsWatch_files)
#include "tst_SettingsWatch_files.moc"
