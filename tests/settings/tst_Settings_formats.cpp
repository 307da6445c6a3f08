// A host that has registered all formats of settings that Qt has room for.

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/settings/Settings.h"

#include <QtTest>

using Utils::Settings;

static const SettingsHome home;

static bool readNone(QIODevice &, QSettings::SettingsMap &) { return true; }
static bool writeNone(QIODevice &, const QSettings::SettingsMap &) { return true; }

class tst_Settings_formats : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        int count = 0;
        while (QSettings::registerFormat("none", readNone, writeNone) != QSettings::InvalidFormat)
            ++count;
        QVERIFY(count > 0);
    }

    void areThoseOfAPlainQSettings_data()
    {
        QTest::addColumn<int>("format");

        QTest::newRow("native") << int(QSettings::NativeFormat);
        QTest::newRow("ini") << int(QSettings::IniFormat);
    }

    void areThoseOfAPlainQSettings()
    {
        QFETCH(int, format);
        if (format == QSettings::NativeFormat)
            SKIP_ON_WINDOWS("the native store is the registry on Windows");
        const QSettings::Format before = QSettings::defaultFormat();
        QSettings::setDefaultFormat(QSettings::Format(format));
        const auto restore = qScopeGuard([&] { QSettings::setDefaultFormat(before); });
        home.fill("a=1 g/b=2");

        Settings settings;
        QCOMPARE(settings.getInt("a"), 1);
        settings.setInt("g/b", 5).removeKey("a").setInt("c", 7);

        QVERIFY(settings.sync());
        QCOMPARE(settings.status(), Settings::Stored);
        QCOMPARE(home.stored(), QString("c=7 g/b=5"));
        QCOMPARE(home.storedInFile(), QString("c=7 g/b=5"));
    }
};

QTEST_GUILESS_MAIN(tst_Settings_formats)
#include "tst_Settings_formats.moc"
