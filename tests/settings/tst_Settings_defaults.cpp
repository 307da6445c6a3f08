#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

using Data::Variant;
using Utils::Settings;

static const SettingsHome home;

class tst_Settings_defaults : public QObject
{
    Q_OBJECT

private:
    Recorder m_recorder;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(Settings::SettingChanged().connect(
            &m_recorder, SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void init() { m_recorder.calls.clear(); }
    void cleanup() { QCOMPARE(m_recorder.calls, QStringList()); } // a default is no change

    void setsADefault_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("keepDefault");
        QTest::addColumn<QString>("after"); // with the default 1

        const auto row = [](const char *name, const char *before, const char *group,
                            const char *key, bool keepDefault, const char *after) {
            QTest::newRow(name) << QString(before) << QString(group) << QString(key) << keepDefault
                                << QString(after);
        };
        // clang-format off
        row("unset",               "",              "",  "k",   false, "k=1");
        row("unset, kept",         "",              "",  "k",   true,  "k=1 k_default=1");
        row("set",                 "k=2",           "",  "k",   false, "k=2");
        row("set, kept",           "k=2",           "",  "k",   true,  "k=2 k_default=1");
        row("kept before",         "k=2 k_default=3", "", "k",  true,  "k=2 k_default=1");
        row("not kept now",        "k_default=3",   "",  "k",   false, "k=1 k_default=3");
        row("set to empty text",   "k=",            "",  "k",   true,  "k= k_default=1");
#ifndef _WIN32 // where it is the same key
        row("set in another case", "K=2",           "",  "k",   false, "K=2 k=1");
#endif
        row("a group",             "k/x=2",         "",  "k",   false, "k=1 k/x=2");
        row("in a group",          "k=2",           "g", "k",   true,  "g/k=1 g/k_default=1 k=2");
        row("a placeholder",       "",              "",  "%1",  true,  "%1=1 %1_default=1");
        row("empty",               "k=2",           "",  "",    true,  "k=2");
        row("only a slash",        "k=2",           "",  "/",   true,  "k=2");
        // clang-format on
    }

    void setsADefault()
    {
        QFETCH(QString, before);
        QFETCH(QString, group);
        QFETCH(QString, key);
        QFETCH(bool, keepDefault);
        QFETCH(QString, after);
        home.fill(before);

        Settings(group).setDefault(key, 1, keepDefault);

        QCOMPARE(home.stored(), after);
    }

    void keepsNoDefaultUnlessToldSo()
    {
        home.fill("");

        Settings().setDefault("k", 1);

        QCOMPARE(home.stored(), QString("k=1"));
    }

    void takesTheMarkerForUnset()
    {
        home.fill("");
        QSettings().setValue("k", "aslfkhj asgflmnsdflkjsacasdlkj");
        QSettings().setValue("l", "aslfkhj asgflmnsdflkjsacasdlkJ");

        Settings().setDefault("k", 1).setDefault("l", 1);

        QCOMPARE(home.stored(), QString("k=1 l=aslfkhj asgflmnsdflkjsacasdlkJ"));
    }

    void takesAnyValueForSet()
    {
        home.fill("");
        QSettings().setValue("list", QStringList{"a", "b"});
        QSettings().setValue("invalid", QVariant());

        Settings().setDefault("list", 1).setDefault("invalid", 1);

        QCOMPARE(QSettings().value("list"), QVariant(QStringList{"a", "b"}));
        QCOMPARE(QSettings().value("invalid"), QVariant());
    }

    void storesAnInvalidDefault()
    {
        home.fill("");

        Settings().setDefault("k", Variant(), true);

        QCOMPARE(QSettings().allKeys(), (QStringList{"k", "k_default"}));
    }

    void notesFlags_data()
    {
        QTest::addColumn<bool>("canExport");
        QTest::addColumn<bool>("canReset");
        QTest::addColumn<QString>("word");

        QTest::newRow("both") << true << true << "export reset";
        QTest::newRow("no export") << false << true << "noexport reset";
        QTest::newRow("no reset") << true << false << "export noreset";
        QTest::newRow("neither") << false << false << "noexport noreset";
    }

    void notesFlags()
    {
        QFETCH(bool, canExport);
        QFETCH(bool, canReset);
        QFETCH(QString, word);
        home.fill("");

        Settings().setFlags("g", canExport, canReset);
        Settings("h").setFlags("i", canExport, canReset);
        Settings("h").setFlags("", canExport, canReset);

        QCOMPARE(home.stored(), QString("g/Default=%1 h/Default=%1 h/i/Default=%1").arg(word));
        QCOMPARE(Settings().canExport("g"), canExport);
        QCOMPARE(Settings().canReset("g"), canReset);
        QCOMPARE(Settings("h").canExport("i"), canExport);
        QCOMPARE(Settings("h").canReset("i"), canReset);
        QCOMPARE(Settings("h").canExport(""), canExport);
        QCOMPARE(Settings("h").canReset(""), canReset);
    }

    void readsFlags_data()
    {
        QTest::addColumn<QString>("stored"); // under the key "Default" of the group
        QTest::addColumn<QString>("group");
        QTest::addColumn<bool>("canExport");
        QTest::addColumn<bool>("canReset");

        // clang-format off
        QTest::newRow("none") << QString() << "g" << true << true;
        QTest::newRow("empty") << "" << "g" << true << true;
        QTest::newRow("export noreset") << "export noreset" << "g" << true << false;
        QTest::newRow("other words") << "x,noexport" << "g" << false << true;
        QTest::newRow("other case") << "NoExport NORESET" << "g" << true << true;
        QTest::newRow("recent lists") << "export reset" << "MRU" << false << true;
        QTest::newRow("recent lists, no reset") << "export noreset" << "MRU" << false << false;
        QTest::newRow("recent lists, none") << QString() << "MRU" << false << true;
        QTest::newRow("recent lists, other case") << "export reset" << "mru" << true << true;
        QTest::newRow("below recent lists") << "export reset" << "MRU/files" << true << true;
        // clang-format on
    }

    void readsFlags()
    {
        QFETCH(QString, stored);
        QFETCH(QString, group);
        QFETCH(bool, canExport);
        QFETCH(bool, canReset);
        home.fill("");
        if (!stored.isNull())
            QSettings().setValue(group + "/Default", stored);
        const Settings settings;

        QCOMPARE(settings.canExport(group), canExport);
        QCOMPARE(settings.canReset(group), canReset);
    }

    void comesBackFromTheGroupOfTheFlags()
    {
        home.fill("k=1 g/k=2");
        Settings settings;

        settings.setFlags("g", true, false);
        settings.canExport("g");
        settings.canReset("g");

        QCOMPARE(settings.getInt("k"), 1);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_defaults)
#include "tst_Settings_defaults.moc"
