// kelm settings, on settings that cannot be read, or not at once.

#include "examples/console/Host.h"
#include "examples/console/Resources.h"
#include "examples/console/commands/Commands.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "tests/support/SettingsHome.h"

#include <QtTest>

#include <cerrno>
#include <cstring>

using Kelm::Result;

static const SettingsHome home;

static const QByteArray oldText = "[MRU]\n"
                                  "files\\aa=/one\n"
                                  "files\\ab=/two\n";

class tst_Kelm_settings_unread : public QObject
{
    Q_OBJECT

private:
    /// The settings of a program that this process has not known before.
    static QString newSettings()
    {
        static int number = 0;
        QCoreApplication::setOrganizationName("Kelm");
        QCoreApplication::setApplicationName("unread" + QString::number(++number));
        return makeFile(home.file(), oldText);
    }

    /// The outcome of "kelm settings" for that program.
    static Result run(const QStringList &arguments)
    {
        QCommandLineParser parser;
        Kelm::settingsCommand.declare(parser);
        parser.parse(QStringList{"kelm", "--application", QCoreApplication::applicationName()} +
                     arguments);
        Kelm::Host host({}, Kelm::Host::Messages::Hidden);
        return Kelm::settingsCommand.run(parser, host);
    }

private Q_SLOTS:
    void initTestCase() { Kelm::loadTexts(LIBRARY_RESOURCES, "en"); }

    void tellsThatSettingsCannotBeRead_data()
    {
        QTest::addColumn<QStringList>("arguments");

        QTest::newRow("list") << QStringList{"list"};
        QTest::newRow("list of a group") << QStringList{"list", "MRU"};
        QTest::newRow("get") << QStringList{"get", "MRU/files/aa"};
        QTest::newRow("set") << QStringList{"set", "a", "1"};
        QTest::newRow("remove") << QStringList{"remove", "MRU/files/aa"};
        QTest::newRow("mru") << QStringList{"mru", "files"};
        QTest::newRow("mru --existing") << QStringList{"mru", "files", "--existing"};
        QTest::newRow("mru --add") << QStringList{"mru", "files", "--add", "/new"};
        QTest::newRow("mru --drop") << QStringList{"mru", "files", "--drop", "/two"};
        QTest::newRow("export") << QStringList{"export", home.path() + "/exported.ini"};
        QTest::newRow("reset") << QStringList{"reset"};
        QTest::newRow("diff") << QStringList{"diff"};
    }

    void tellsThatSettingsCannotBeRead()
    {
        QFETCH(QStringList, arguments);
        const QString path = newSettings();
        const ReadFault fault(path, 0);

        const Result result = run(arguments);

        QCOMPARE(result.error, "The settings cannot be stored or read: " + path + ": " +
                                   QString::fromLocal8Bit(std::strerror(EIO)));
        QCOMPARE(result.code, Kelm::WorkFailed);
    }

    void changesARecentListOrTellsWhyNot_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("changed");

        QTest::newRow("--add") << QStringList{"--add", "/new"}
                               << "MRU/files/aa=/new MRU/files/ab=/one MRU/files/ac=/two";
        QTest::newRow("--drop") << QStringList{"--drop", "/two"} << "MRU/files/aa=/one";
        QTest::newRow("both") << QStringList{"--drop", "/new", "--add", "/new"}
                              << "MRU/files/ab=/one MRU/files/ac=/two";
    }

    void changesARecentListOrTellsWhyNot()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, changed);
        const QString old = "MRU/files/aa=/one MRU/files/ab=/two";

        // The first reads fail, and the later ones do not.
        bool hasFailed = true;
        int refused = 0;
        for (int times = 0; hasFailed; ++times) {
            const QString path = newSettings();
            const ReadFault fault(path, 0, EIO, times);

            const Result result = run(QStringList{"mru", "files"} + options);

            hasFailed = fault.count() == times;
            if (result.code == Kelm::Good) {
                QCOMPARE(home.storedInFile(), changed);
                QCOMPARE(result.error, QString());
            } else {
                QVERIFY2(result.error.startsWith("The settings cannot be stored or read: " + path),
                         qPrintable(result.error));
                QCOMPARE(result.code, Kelm::WorkFailed);
                refused += home.storedInFile() == old ? 1 : 0;
            }
        }
        QVERIFY(refused > 0);
    }
};

QTEST_GUILESS_MAIN(tst_Kelm_settings_unread)
#include "tst_Kelm_settings_unread.moc"
