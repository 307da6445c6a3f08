// Settings on a platform with a registry, where the case of names is ignored.

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"

#include <QtTest>

using Utils::Settings;

static const SettingsHome home;

// The linker leads calls of the function of the platform here.
bool platformHasRegistry() __asm__("__wrap__ZN5Utils8Platform11hasRegistryEv");
bool platformHasRegistry() { return true; }

class tst_Settings_registry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QSettings().clear();
        QSettings::setDefaultFormat(QSettings::NativeFormat);
    }

    /// Qt reads the value that a key of the registry has itself as the key ".".
    void namesTheValueOfAGroupItself()
    {
        QSettings().setValue("g/.", "itself");
        QSettings().setValue("g/a.", 1);
        QSettings().setValue(".", "top");
        const QString path = home.path() + "/exported.ini";

        const Settings settings;

        QCOMPARE(settings.keys("g"), QStringList({"Default", "a."}));
        QCOMPARE(settings.keys(""), QStringList("Default"));
        QVERIFY(settings.exportTo(path));
        QVERIFY(contentsOf(path).contains("\na.=1\n"));
        QVERIFY(!contentsOf(path).contains(".=itself"));
    }

    /// There, Qt passes all names in lower case to be written. Here, it passes both.
    void writesNamesInTheCaseInWhichTheyWereSetLast()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        Settings settings;
        settings.setInt("other", 1);
        QVERIFY(settings.sync());

        settings.setInt("view/width", 800).setInt("View/Width", 800);

        QVERIFY(settings.sync());
        QCOMPARE(contentsOf(home.file()), QByteArray("[General]\nother=1\n\n[View]\nWidth=800\n"));
    }

    void leavesOtherNamesAsTheyAre()
    {
        QSettings().setValue("Native/Key.", 1);
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings().setValue("Ini/.", 2);

        QCOMPARE(Settings().keys("Ini"), QStringList("."));
    }
};

QTEST_GUILESS_MAIN(tst_Settings_registry)
#include "tst_Settings_registry.moc"
