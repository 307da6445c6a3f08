#include "utils/settings/Settings.h"

#include "tests/support/FullDisk.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QtTest>

#include <memory>

using Utils::Settings;

static const SettingsHome home;

static bool canWrite = true;

/// A line "key value" for each entry.
static bool readLines(QIODevice &device, QSettings::SettingsMap &values)
{
    while (!device.atEnd()) {
        const QString line = QString::fromUtf8(device.readLine()).trimmed();
        values[line.section(' ', 0, 0)] = line.section(' ', 1);
    }
    return true;
}

static bool writeLines(QIODevice &device, const QSettings::SettingsMap &values)
{
    for (auto entry = values.begin(); entry != values.end(); ++entry)
        device.write((entry.key() + ' ' + entry->toString() + '\n').toUtf8());
    return canWrite;
}

/// Settings where the host stores its own in a format that it has made.
class tst_Settings_format : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::registerFormat("lines", readLines, writeLines));
    }

    void init()
    {
        canWrite = true;
        QSettings().clear();
    }

    void areStoredInTheFormatOfTheHost()
    {
        Settings settings;
        settings.setString("g/a", "1").setString("g/b", "2").setString("c", "3");
        QCOMPARE(settings.status(), Settings::Pending);

        QVERIFY(settings.sync());

        QCOMPARE(settings.status(), Settings::Stored);
        QVERIFY(QSettings().fileName().endsWith(".lines"));
        QCOMPARE(contents(), QByteArray("c 3\ng/a 1\ng/b 2\n"));
        QCOMPARE(Settings("g").getString("b"), Data::String("2"));
    }

    void areRemovedInTheFormatOfTheHost()
    {
        Settings settings;
        settings.setString("g/a", "1").setString("c", "3").sync();

        settings.removeKey("g/a");

        QCOMPARE(settings.status(), Settings::Pending);
        QVERIFY(settings.sync());
        QCOMPARE(contents(), QByteArray("c 3\n"));
        QCOMPARE(Settings().getString("g/a", "none"), Data::String("none"));
    }

    void tellWhereTheFormatOfTheHostCannotBeWritten()
    {
        canWrite = false;
        Settings settings;
        settings.setString("a", "1");

        QVERIFY(!settings.sync());

        Data::String reason;
        QCOMPARE(settings.status(&reason), Settings::Failed);
        QCOMPARE(reason, Data::String(QSettings().fileName() + ": The store cannot be written"));
        QCOMPARE(settings.getString("a"), Data::String("1"));
    }

    void areExportedAndImported()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("export.ini");
        Settings().setString("g/a", "1").setString("b", "2");

        QVERIFY(Settings().exportTo(path)); // before they are stored
        QVERIFY(Settings().setString("g/a", "3").removeKey("b").sync());
        QVERIFY(Settings().importFrom(path));

        QCOMPARE(Settings().getString("g/a"), Data::String("1"));
        QCOMPARE(Settings().getString("b"), Data::String("2"));
        QVERIFY(Settings().sync());
        QCOMPARE(contents(), QByteArray("b 2\ng/a 1\n"));
    }

    void areExportedAlthoughTheyCannotBeStored()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("export.ini");
        Settings settings;
        settings.setString("a", "1");
        canWrite = false;
        QVERIFY(!settings.sync());

        QVERIFY(settings.exportTo(path));

        QVERIFY(settings.setString("a", "2").importFrom(path));
        QCOMPARE(settings.getString("a"), Data::String("1"));
    }

    void areNotExportedWhenTheyCannotBeRead()
    {
        SKIP_ON_WINDOWS("a folder is read as an empty file by Qt for Windows");
        const QTemporaryDir folder;
        const QString store = QSettings().fileName();
        QFile::remove(store);
        QVERIFY(QDir().mkpath(store));

        const bool isExported = Settings().exportTo(folder.filePath("export.ini"));
        const QString why = Utils::File::lastError();
        QVERIFY(QDir().rmdir(store));

        QVERIFY(!isExported);
        QVERIFY(why.endsWith(".settings"));
        QVERIFY(!QFile::exists(folder.filePath("export.ini")));
    }

    void areThoseOfADomainWhereTheHostHasNoOrganisation()
    {
        SKIP_ON_WINDOWS("the native store is the registry on Windows");
        const QString name = QCoreApplication::organizationName();
        const QSettings::Format format = QSettings::defaultFormat();
        QSettings::setDefaultFormat(QSettings::NativeFormat);
        const auto restore = qScopeGuard([&] {
            QSettings::setDefaultFormat(format);
            QCoreApplication::setOrganizationName(name);
            QCoreApplication::setOrganizationDomain("");
        });
        QCoreApplication::setOrganizationName("");
        QCoreApplication::setOrganizationDomain("company.com");
        QSettings().setValue("a", "1");

        QCOMPARE(Settings().getString("a"), Data::String("1"));
    }

    void areThoseOfTheHostWhileOthersWaitToBeStored()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        const QSettings::Format format = QSettings::defaultFormat();
        QSettings::setDefaultFormat(QSettings::NativeFormat);
        Settings waiting;
        waiting.setString("a", "1");
        QSettings::setDefaultFormat(format);

        std::unique_ptr<Settings> settings;
        {
            const FullDisk disk(0); // so that they go on waiting
            settings = std::make_unique<Settings>();
            QCOMPARE(waiting.status(), Settings::Failed);
        }
        settings->setString("a", "2");

        QVERIFY(settings->sync());
        QCOMPARE(contents(), QByteArray("a 2\n"));
        QVERIFY(waiting.sync());
        QCOMPARE(waiting.getString("a"), Data::String("1"));
    }

private:
    static QByteArray contents()
    {
        QFile file(QSettings().fileName());
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }
};

QTEST_GUILESS_MAIN(tst_Settings_format)
#include "tst_Settings_format.moc"
