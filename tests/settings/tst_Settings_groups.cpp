#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

using Utils::Settings;

static const SettingsHome home;

class tst_Settings_groups : public QObject
{
    Q_OBJECT

private:
    Recorder m_recorder;

    /// The keys told of since the test began, in order. Each must come with the invalid value.
    QString told() const
    {
        QStringList keys = m_recorder.calls;
        for (QString &key : keys) {
            if (key.startsWith("sig(") && key.endsWith(", invalid)"))
                key = key.mid(4, key.size() - 14);
        }
        return keys.join(' ');
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(Settings::SettingChanged().connect(
            &m_recorder, SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void init()
    {
        m_recorder.calls.clear();
        m_recorder.reaction = nullptr;
    }

    void copiesAGroup_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("group"); // that the settings are in
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<bool>("recursive");
        QTest::addColumn<QString>("added"); // to what was there before
        QTest::addColumn<QString>("told");

        const auto row = [](const char *name, const char *before, const char *group,
                            const char *from, const char *to, bool recursive, const char *added,
                            const char *told) {
            QTest::newRow(name) << QString(before) << QString(group) << QString(from) << QString(to)
                                << recursive << QString(added) << QString(told);
        };
        // clang-format off
        row("direct keys",        "a/x=1 a/sub/y=2",       "",  "a",    "b",    false, "b/x=1",             "b");
        row("all keys",           "a/x=1 a/sub/y=2",       "",  "a",    "b",    true,  "b/x=1 b/sub/y=2",   "b/sub b");
        row("in a group",         "g/a/x=1 g/a/s/y=2 a/z=3", "g", "a",  "b",    true,  "g/b/x=1 g/b/s/y=2", "g/b/s g/b");
        row("a plain value",      "a=1",                   "",  "a",    "b",    true,  "",                  "b");
        row("value and group",    "a=1 a/x=2",             "",  "a",    "b",    true,  "b/x=2",             "b");
        row("nothing",            "a=1",                   "",  "c",    "b",    true,  "",                  "b");
        row("a name's beginning", "ab/x=1 a/x=2",          "",  "a",    "b",    true,  "b/x=2",             "b");
        row("onto other keys",    "a/x=1 b/x=5 b/z=6",     "",  "a",    "c",    true,  "c/x=1",             "c");
        row("inner groups first", "a/s/t/x=1 a/s/y=2 a/r/z=3", "", "a", "b",    true,  "b/s/t/x=1 b/s/y=2 b/r/z=3", "b/r b/s/t b/s b");
        row("groups without keys", "a/s/t/x=1",            "",  "a",    "b",    true,  "b/s/t/x=1",         "b/s/t b/s b");
        row("groups by name",     "a/p/x=1 a/p!/x=2 a/P/x=3 a/p/q/x=4", "", "a", "b", true, "b/p/x=1 b/p!/x=2 b/P/x=3 b/p/q/x=4", "b/P b/p/q b/p b/p! b");
        row("deep paths",         "a/b/x=1",               "",  "a/b",  "c/d",  true,  "c/d/x=1",           "c/d");
        row("as it is written",   "a/x=1 a/s/y=2",         "g", "/../", "b",    true,  "",                  "g/b");
        row("needless slashes",   "a/x=1 a/s/y=2",         "",  "/a/",  "b//c", true,  "b/c/x=1 b/c/s/y=2", "b//c/s b//c");
        row("from the root",      "x=1 s/y=2",             "",  "",     "b",    false, "b/x=1",             "b");
        row("into the root",      "a/x=1 a/s/y=2",         "",  "a",    "",     true,  "x=1 s/y=2",         "/s ");
        row("into its group",     "g/a/x=1 g/a/s/y=2",     "g", "a",    "",     true,  "g/x=1 g/s/y=2",     "g//s g/");
        row("onto itself",        "a/x=1 a/s/y=2",         "",  "a",    "a",    true,  "",                  "a/s a");
        row("into itself",        "a/x=1 a/s/y=2",         "",  "a",    "a/b",  true,  "a/b/x=1 a/b/s/y=2", "a/b/s a/b");
        row("into its group in itself", "a/x=1 a/b/y=2",   "",  "a",    "a/b",  true,  "a/b/x=1 a/b/b/y=2", "a/b/b a/b");
        row("deep into itself",   "a/x=1",                 "",  "a",    "a/b/c", true, "a/b/c/x=1",         "a/b/c");
        row("the root into itself", "x=1 b/y=2",           "",  "",     "b",    true,  "b/x=1 b/b/y=2",     "b/b b");
        row("a group out of itself", "a/b/x=1 a/b/s/y=2",  "",  "a/b",  "a",    true,  "a/x=1 a/s/y=2",     "a/s a");
        // clang-format on
    }

    void copiesAGroup()
    {
        QFETCH(QString, before);
        QFETCH(QString, group);
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(bool, recursive);
        QFETCH(QString, added);
        QFETCH(QString, told);
        home.fill(before + " " + added);
        const QString after = home.stored();
        home.fill(before);

        Settings(group).copyKey(from, to, recursive);

        QCOMPARE(home.stored(), after);
        QCOMPARE(this->told(), told);
    }

    void copiesOverWhatIsThere()
    {
        home.fill("a/x=1 a/s/y=2 b/x=5 b/z=6 b/s/y=7 b/s=8");

        Settings().copyKey("a", "b", true);

        QCOMPARE(home.stored(), QString("a/s/y=2 a/x=1 b/s=8 b/s/y=2 b/x=1 b/z=6"));
    }

    void copiesAGroupIntoItselfAsItWas()
    {
        home.fill("a/x=1 a/b/x=2 a/b/b/x=3");

        Settings().copyKey("a", "a/b", true);

        QCOMPARE(home.stored(), QString("a/b/b/b/x=3 a/b/b/x=2 a/b/x=1 a/x=1"));
        QCOMPARE(told(), QString("a/b/b/b a/b/b a/b"));
    }

    void copiesValuesWithTheirTypes()
    {
        home.fill("");
        QSettings().setValue("a/list", QStringList{"x", "y"});
        QSettings().setValue("a/number", 1.5);
        QSettings().setValue("a/nothing", QVariant());

        Settings().copyKey("a", "b");

        QCOMPARE(QSettings().value("b/list"), QVariant(QStringList{"x", "y"}));
        QCOMPARE(QSettings().value("b/number"), QVariant(1.5));
        QVERIFY(QSettings().contains("b/nothing"));
        QVERIFY(!QSettings().value("b/nothing").isValid());
    }

    void copiesDirectKeysUnlessToldOtherwise()
    {
        home.fill("a/x=1 a/s/y=2");

        Settings().copyKey("a", "b").renameKey("b", "c");

        QCOMPARE(home.stored(), QString("a/s/y=2 a/x=1 c/x=1"));
    }

    void tellsOfACopyWhenItIsThere()
    {
        home.fill("a/x=1 a/s/y=2 a/t/z=3");
        QStringList found;
        m_recorder.reaction = [&] { found.append(home.stored().section(' ', 3)); };

        Settings().copyKey("a", "b", true);

        QCOMPARE(told(), QString("b/s b/t b"));
        QCOMPARE(found,
                 (QStringList{"b/s/y=2 b/x=1", "b/s/y=2 b/t/z=3 b/x=1", "b/s/y=2 b/t/z=3 b/x=1"}));
    }

    void renamesAGroup_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("group"); // that the settings are in
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<bool>("recursive");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("told");

        const auto row = [](const char *name, const char *before, const char *group,
                            const char *from, const char *to, bool recursive, const char *after,
                            const char *told) {
            QTest::newRow(name) << QString(before) << QString(group) << QString(from) << QString(to)
                                << recursive << QString(after) << QString(told);
        };
        // clang-format off
        row("a group",          "a/x=1 a/s/y=2 c=3",     "",  "a",   "b",   true,  "b/s/y=2 b/x=1 c=3",     "b/s b a");
        row("in a group",       "g/a/x=1 a/x=2",         "g", "a",   "b",   true,  "a/x=2 g/b/x=1",         "g/b g/a");
        row("onto another",     "a/x=1 b/x=5 b/y=6",     "",  "a",   "b",   true,  "b/x=1 b/y=6",           "b a");
        row("direct keys only", "a/x=1 a/s/y=2",         "",  "a",   "b",   false, "b/x=1",                 "b a");
        row("a plain value",    "a=1 c=2",               "",  "a",   "b",   true,  "c=2",                   "b a");
        row("value and group",  "a=1 a/x=2",             "",  "a",   "b",   true,  "b/x=2",                 "b a");
        row("nothing",          "c=2",                   "",  "a",   "b",   true,  "c=2",                   "b a");
        row("other case",       "Abc/x=1 Abc/s/y=2",     "",  "Abc", "abc", true,  "abc/s/y=2 abc/x=1",
            "@@@_temp_@@@/s @@@_temp_@@@ Abc abc/s abc @@@_temp_@@@");
        row("other case in a group", "g/É/x=1",          "g", "É",   "é",   false, "g/é/x=1",
            "g/@@@_temp_@@@ g/É g/é g/@@@_temp_@@@");
        row("the same",         "a/x=1 a/s/y=2",         "",  "a",   "a",   true,  "a/s/y=2 a/x=1",
            "@@@_temp_@@@/s @@@_temp_@@@ a a/s a @@@_temp_@@@");
        row("the same, direct", "a/x=1 a/s/y=2",         "",  "a",   "a",   false, "a/x=1",
            "@@@_temp_@@@ a a @@@_temp_@@@");
        row("the same, with a slash", "a/x=1 a/s/y=2",   "",  "a",   "a/",  true,  "",                      "a//s a/ a");
        row("into itself",      "a/x=1 a/s/y=2 b=3",     "",  "a",   "a/b", true,  "b=3",                   "a/b/s a/b a");
        row("onto its own group", "a/x=1 a/b/x=2 a/b/y=3", "", "a",  "a/b", true, "",                       "a/b/b a/b a");
        row("into itself, direct", "a/x=1 a/s/y=2 a/b/z=3", "", "a", "a/b", false, "",                      "a/b a");
        row("a name's beginning", "a/x=1 ab/y=2",        "",  "a",   "ab",  true,  "ab/x=1 ab/y=2",         "ab a");
        row("out of itself",    "a/b/x=1 a/b/b/y=2 a/z=3", "", "a/b", "a",  true,  "a/x=1 a/z=3",           "a/b a a/b");
        row("the root",         "x=1 s/y=2",             "",  "",    "b",   true,  "",                      "b/s b ");
        row("the root, direct", "x=1 s/y=2",             "",  "",    "b",   false, "",                      "b ");
        row("the root as slash", "x=1 s/y=2",            "",  "/",   "b",   true,  "",                      "b/s b /");
        row("the current group", "g/x=1 x=2",            "g", "",    "b",   true,  "x=2",                   "g/b g/");
        row("into the root",    "a/x=1 a/s/y=2 z=3",     "",  "a",   "",    true,  "s/y=2 x=1 z=3",         "/s  a");
        row("the root to itself", "x=1 s/y=2",           "",  "",    "",    true,  "s/y=2 x=1",
            "@@@_temp_@@@/s @@@_temp_@@@  /s  @@@_temp_@@@");
        row("the root to itself, direct", "x=1",         "",  "",    "",    false, "x=1",
            "@@@_temp_@@@   @@@_temp_@@@");
        row("the temporary group", "@@@_temp_@@@/x=1",   "",  "@@@_temp_@@@", "a", true, "a/x=1",          "a @@@_temp_@@@");
        row("the temporary group to itself", "@@@_temp_@@@/x=1", "", "@@@_temp_@@@", "@@@_temp_@@@", true, "@@@_temp_@@@/x=1",
            "@@@_temp_@@@ @@@_temp_@@@");
        row("the temporary group, other case", "@@@_temp_@@@/x=1", "", "@@@_temp_@@@", "@@@_TEMP_@@@", true, "@@@_TEMP_@@@/x=1",
            "@@@_TEMP_@@@ @@@_temp_@@@");
        row("to the temporary group, other case", "@@@_Temp_@@@/x=1", "", "@@@_Temp_@@@", "@@@_temp_@@@", true, "@@@_temp_@@@/x=1",
            "@@@_temp_@@@ @@@_Temp_@@@");
        // clang-format on
    }

    void renamesAGroup()
    {
        QFETCH(QString, before);
        QFETCH(QString, group);
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(bool, recursive);
        QFETCH(QString, after);
        QFETCH(QString, told);
        home.fill(before);

        Settings(group).renameKey(from, to, recursive);

        QCOMPARE(home.stored(), after);
        QCOMPARE(this->told(), told);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_groups)
#include "tst_Settings_groups.moc"
