#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

using Utils::Settings;

static const SettingsHome home;

using Store = QMap<QString, QString>;

static QString textOf(const Store &store)
{
    QStringList entries;
    for (auto entry = store.begin(); entry != store.end(); ++entry)
        entries.append(entry.key() + "=" + entry.value());
    return entries.join(' ');
}

namespace {

/// What a copy does, step by step.
struct Model
{
    Store store;
    QString group;
    QStringList told;

    /// The key from the root, as a store takes it.
    QString key(const QString &name) const
    {
        return (group + "/" + name).split('/', Qt::SkipEmptyParts).join('/');
    }

    /// The names directly in \p name, of keys or of groups.
    QStringList children(const QString &name, bool areGroups) const
    {
        const QString prefix = key(name).isEmpty() ? QString() : key(name) + "/";
        QStringList names;
        for (const QString &stored : store.keys()) {
            const QString rest = stored.mid(prefix.size());
            if (stored.startsWith(prefix) && rest.contains('/') == areGroups)
                names.append(rest.section('/', 0, 0));
        }
        names.removeDuplicates();
        names.sort(Qt::CaseSensitive);
        return names;
    }

    /// False when it would never end.
    bool copy(const QString &from, const QString &to, bool recursive)
    {
        if (namesIn(from) > 40)
            return false;
        const QString target = group.isEmpty() ? to : group + "/" + to;
        for (const QString &name : children(from, /*areGroups=*/false))
            store[key(to + "/" + name)] = store[key(from + "/" + name)];
        if (recursive) {
            for (const QString &name : children(from, /*areGroups=*/true)) {
                if (!copy(from + "/" + name, to + "/" + name, true))
                    return false;
            }
        }
        told.append(target);
        return true;
    }

    static int namesIn(const QString &name) { return name.count('/'); }
};

} // namespace

class tst_Settings_groups : public QObject
{
    Q_OBJECT

private:
    int m_endless = 0;
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
        row("in a group", "g/a/x=1 g/a/s/y=2 a/z=3", "g", "a", "b", true, "g/b/x=1 g/b/s/y=2", "g/b/s g/b");
        row("a plain value",      "a=1",                   "",  "a",    "b",    true,  "",                  "b");
        row("value and group",    "a=1 a/x=2",             "",  "a",    "b",    true,  "b/x=2",             "b");
        row("nothing",            "a=1",                   "",  "c",    "b",    true,  "",                  "b");
        row("a name's beginning", "ab/x=1 a/x=2",          "",  "a",    "b",    true,  "b/x=2",             "b");
        row("onto other keys",    "a/x=1 b/x=5 b/z=6",     "",  "a",    "c",    true,  "c/x=1",             "c");
        row("inner groups first", "a/s/t/x=1 a/s/y=2 a/r/z=3", "", "a", "b",    true,  "b/s/t/x=1 b/s/y=2 b/r/z=3",
            "b/r b/s/t b/s b");
        row("groups without keys", "a/s/t/x=1", "", "a", "b", true, "b/s/t/x=1", "b/s/t b/s b");
#ifndef _WIN32 // where "P" and "p" are the same group
        row("groups by name",     "a/p/x=1 a/p!/x=2 a/P/x=3 a/p/q/x=4", "", "a", "b", true,
            "b/p/x=1 b/p!/x=2 b/P/x=3 b/p/q/x=4", "b/P b/p/q b/p b/p! b");
#endif
        row("deep paths",         "a/b/x=1",               "",  "a/b",  "c/d",  true,  "c/d/x=1",           "c/d");
        row("as it is written",   "a/x=1 a/s/y=2",         "g", "/../", "b",    true,  "",                  "g/b");
        row("needless slashes", "a/x=1 a/s/y=2", "", "/a/", "b//c", true, "b/c/x=1 b/c/s/y=2", "b//c/s b//c");
        row("from the root",      "x=1 s/y=2",             "",  "",     "b",    false, "b/x=1",             "b");
        row("into the root",      "a/x=1 a/s/y=2",         "",  "a",    "",     true,  "x=1 s/y=2",         "/s ");
        row("into its group",     "g/a/x=1 g/a/s/y=2",     "g", "a",    "",     true,  "g/x=1 g/s/y=2",     "g//s g/");
        row("onto itself",        "a/x=1 a/s/y=2",         "",  "a",    "a",    true,  "",                  "a/s a");
        row("into itself", "a/x=1 a/s/y=2", "", "a", "a/b", true, "a/b/x=1 a/b/s/y=2", "a/b/s a/b");
        row("into its group in itself", "a/x=1 a/b/y=2",   "",  "a",    "a/b",  true,  "a/b/x=1 a/b/b/x=1 a/b/b/y=2",
            "a/b/b a/b");
        row("deep into itself",   "a/x=1",                 "",  "a",    "a/b/c", true, "a/b/c/x=1",         "a/b/c");
        row("the root into itself", "x=1 b/y=2", "", "", "b", true, "b/x=1 b/b/x=1 b/b/y=2", "b/b b");
        row("deep into its group in itself", "a/x=1 a/b/y=2", "", "a", "a/b/c", true,
            "a/b/c/x=1 a/b/c/b/y=2 a/b/c/b/c/x=1 a/b/c/b/c/b/y=2", "a/b/c/b/c/b a/b/c/b/c a/b/c/b a/b/c");
        row("to a group that holds it twice", "p/g/g/x=1 p/g/x=2 p/g/g/g/x=3", "", "p/g", "p", true,
            "p/x=2 p/g/x=1 p/g/g/x=3", "p/g/g p/g p");
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

    void readsAGroupWhenTheCopyComesToIt()
    {
        home.fill("a/x=1 a/b/x=2 a/b/b/x=3");

        Settings().copyKey("a", "a/b", true);

        QCOMPARE(home.stored(), QString("a/b/b/b/x=1 a/b/b/x=1 a/b/x=1 a/x=1"));
        QCOMPARE(told(), QString("a/b/b/b a/b/b a/b"));
    }

    void copiesLevelByLevel_data()
    {
        QTest::addColumn<quint32>("seed");

        for (quint32 seed = 0; seed < 40; ++seed)
            QTest::addRow("seed %u", seed) << seed;
    }

    void copiesLevelByLevel()
    {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        const auto path = [&](int longest) {
            QStringList names;
            for (int i = random.bounded(longest + 1); i > 0; --i)
                names.append(QStringList{"a", "b", "c"}[random.bounded(3)]);
            return names.join('/');
        };

        for (int i = 0; i < 100; ++i) {
            Store before;
            for (int k = random.bounded(7); k >= 0; --k) {
                const QString group = path(4);
                before[group + (group.isEmpty() ? "" : "/") + "xyz"[random.bounded(3)]] =
                    QString::number(k);
            }
            const QString group = random.bounded(3) == 0 ? path(1) : QString();
            const QString from = path(3);
            const QString to = random.bounded(2) == 0 ? path(3) : from + "/" + path(2);
            const bool recursive = random.bounded(4) != 0;
            const QString text = textOf(before) + ": \"" + group + "\", \"" + from + "\", \"" + to +
                                 "\", " + QString::number(recursive);
            home.fill(textOf(before));
            m_recorder.calls.clear();

            Settings(group).copyKey(from, to, recursive);

            Model model{before, group, {}};
            if (model.copy(from, to, recursive)) {
                QVERIFY2(home.stored() == textOf(model.store), qPrintable(text));
                QVERIFY2(told() == model.told.join(' '), qPrintable(text));
            } else {
                ++m_endless; // the steps as they stand; what was there is copied all the same
                for (auto entry = before.begin(); entry != before.end(); ++entry)
                    QVERIFY2(home.stored().contains(entry.key() + "="), qPrintable(text));
            }
        }
    }

    void endsACopyIntoItself() { QVERIFY(m_endless > 100); }

    void skipsNamesThatAreEmpty()
    {
        home.fill("a/x=1");
        QSettings().sync();
        QFile file(home.file());
        QVERIFY(file.open(QIODevice::Append));
        file.write("\\y=2\ns\\\\z=3\n\\=4\n"); // a//y, a/s//z and a//
        file.close();
        QSettings().sync();

        Settings().copyKey("a", "b", true);

        QCOMPARE(Settings().keys("b"), QStringList("x"));
        QCOMPARE(told(), QString("b/s b"));
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
        row("the same, with a slash", "a/x=1 a/s/y=2", "", "a", "a/", true, "", "a//s a/ a");
        row("into itself", "a/x=1 a/s/y=2 b=3", "", "a", "a/b", true, "b=3", "a/b/s a/b a");
        row("onto its own group", "a/x=1 a/b/x=2 a/b/y=3", "", "a", "a/b", true, "", "a/b/b a/b a");
        row("into itself, direct", "a/x=1 a/s/y=2 a/b/z=3", "", "a", "a/b", false, "",                      "a/b a");
        row("a name's beginning", "a/x=1 ab/y=2",        "",  "a",   "ab",  true,  "ab/x=1 ab/y=2",         "ab a");
        row("out of itself", "a/b/x=1 a/b/b/y=2 a/z=3", "", "a/b", "a", true, "a/x=1 a/z=3", "a/b a a/b");
        row("the root",         "x=1 s/y=2",             "",  "",    "b",   true,  "",                      "b/s b ");
        row("the root, direct", "x=1 s/y=2",             "",  "",    "b",   false, "",                      "b ");
        row("the root as slash", "x=1 s/y=2",            "",  "/",   "b",   true,  "",                      "b/s b /");
        row("the current group", "g/x=1 x=2",            "g", "",    "b",   true,  "x=2",                   "g/b g/");
        row("into the root",    "a/x=1 a/s/y=2 z=3",     "",  "a",   "",    true,  "s/y=2 x=1 z=3",         "/s  a");
        row("the root to itself", "x=1 s/y=2",           "",  "",    "",    true,  "s/y=2 x=1",
            "@@@_temp_@@@/s @@@_temp_@@@  /s  @@@_temp_@@@");
        row("the root to itself, direct", "x=1",         "",  "",    "",    false, "x=1",
            "@@@_temp_@@@   @@@_temp_@@@");
        row("the temporary group", "@@@_temp_@@@/x=1", "", "@@@_temp_@@@", "a", true, "a/x=1", "a @@@_temp_@@@");
        row("the temporary group to itself", "@@@_temp_@@@/x=1", "", "@@@_temp_@@@", "@@@_temp_@@@",
            true, "@@@_temp_@@@/x=1", "@@@_temp_@@@ @@@_temp_@@@");
#ifndef _WIN32 // where it is the same name
        row("the temporary group, other case", "@@@_temp_@@@/x=1", "", "@@@_temp_@@@",
            "@@@_TEMP_@@@", true, "@@@_TEMP_@@@/x=1", "@@@_TEMP_@@@ @@@_temp_@@@");
#endif
        row("to the temporary group, other case", "@@@_Temp_@@@/x=1", "", "@@@_Temp_@@@",
            "@@@_temp_@@@", true, "@@@_temp_@@@/x=1", "@@@_temp_@@@ @@@_Temp_@@@");
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

#ifdef _WIN32 // where QSettings ignores the case of keys; it keeps it until it reads the file again
        QCOMPARE(home.stored().toLower(), after.toLower());
        QCOMPARE(home.storedInFile(), after);
#else
        QCOMPARE(home.stored(), after);
#endif
        QCOMPARE(this->told(), told);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_groups)
#include "tst_Settings_groups.moc"
