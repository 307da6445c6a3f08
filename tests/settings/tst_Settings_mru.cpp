#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

#include <dlfcn.h>

#include <sys/stat.h>

using Utils::Settings;

static const SettingsHome home;

// How often the disk is asked for each path. These functions replace the calls that Qt makes.

static QHash<QByteArray, int> queries;

#ifndef _WIN32 // where no call can be replaced

static void countQuery(const char *path)
{
    if (QByteArray(path).contains("/counted/"))
        ++queries[path];
}

template <typename Function>
static Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

extern "C" __attribute__((visibility("default"))) int statx(int folder, const char *path, int flags,
                                                            unsigned mask, struct statx *result)
{
    countQuery(path);
    return next(&statx, "statx")(folder, path, flags, mask, result);
}

extern "C" __attribute__((visibility("default"))) int stat64(const char *path,
                                                             struct stat64 *result)
{
    countQuery(path);
    return next(static_cast<int (*)(const char *, struct stat64 *)>(&stat64), "stat64")(path,
                                                                                        result);
}

extern "C" __attribute__((visibility("default"))) int lstat64(const char *path,
                                                              struct stat64 *result)
{
    countQuery(path);
    return next(&lstat64, "lstat64")(path, result);
}

extern "C" __attribute__((visibility("default"))) int access(const char *path, int mode) noexcept
{
    countQuery(path);
    return next(&access, "access")(path, mode);
}

#endif

/// The 676 names that there can be.
static QStringList entryNames()
{
    QStringList names;
    for (char first = 'a'; first <= 'z'; ++first) {
        for (char second = 'a'; second <= 'z'; ++second)
            names.append(QString(first) + second);
    }
    return names;
}

class tst_Settings_mru : public QObject
{
    Q_OBJECT

private:
    Recorder m_recorder;

    /// Stores \p entries in a list, as "aa=A ac=C".
    static void fillList(const QString &list, const QString &entries)
    {
        QSettings settings;
        settings.remove("MRU/" + list);
        for (const QString &entry : entries.split(' ', Qt::SkipEmptyParts))
            settings.setValue("MRU/" + list + "/" + entry.section('=', 0, 0),
                              entry.section('=', 1));
    }

    static QStringList numbered(const QString &prefix, int from, int to)
    {
        QStringList paths;
        for (int i = from; i != to; i += from < to ? 1 : -1)
            paths.append(prefix + QString::number(i));
        return paths;
    }

    static QString read(const QString &list)
    {
        return Settings().getMRU(list, false, -1).join(' ');
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(Settings::SettingChanged().connect(
            &m_recorder, SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void init()
    {
        home.fill("");
        m_recorder.calls.clear();
        queries.clear();
    }

    void addsAPath_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("after");

        const auto row = [](const char *name, const char *before, const char *path,
                            const char *after) {
            QTest::newRow(name) << QString(before) << QString(path) << QString(after);
        };
        // clang-format off
        row("first",            "",                    "C:\\a\\b.txt", "aa=C:/a/b.txt");
        row("at the front",     "aa=A ab=B",           "C",            "aa=C ab=A ac=B");
        row("again",            "aa=A ab=B ac=C",      "B",            "aa=B ab=A ac=C");
        row("the first again",  "aa=A ab=B",           "A",            "aa=A ab=B");
        row("the last again",   "aa=A ab=B ac=C",      "C",            "aa=C ab=A ac=B");
        row("in another case",  "aa=A ab=B",           "b",            "aa=b ab=A ac=B");
        row("with backslashes", "aa=A ab=x/y",         "x\\y",         "aa=x/y ab=A");
        row("twice before",     "aa=A ab=B ac=B",      "B",            "aa=B ab=A ac=B");
        row("twice before others", "aa=A ab=B ac=B ad=C", "B",         "aa=B ab=A ac=B ad=C");
        row("empty",            "aa=A",                "",             "aa= ab=A");
        row("no path",          "aa=A",                "?*",           "aa=?* ab=A");
        row("over a gap",       "aa=A ac=C",           "D",            "aa=D ab=A ac=C");
        row("from after a gap", "aa=A ac=C",          "C",            "aa=C ab=A ac=C");
#ifndef _WIN32 // where two of them are the same key
        row("beside others",    "AA=X aa=A zzz=Z",     "B",            "AA=X aa=B ab=X ac=A ad=Z zzz=Z");
#endif
        // clang-format on
    }

    void addsAPath()
    {
        QFETCH(QString, before);
        QFETCH(QString, path);
        QFETCH(QString, after);
        fillList("list", after);
        const QString expected = home.stored();
        fillList("list", before);

        Settings().addMRU("list", path);

        QCOMPARE(home.stored(), expected);
        QCOMPARE(m_recorder.calls, QStringList("sig(MRU/list, " + path + ")"));
    }

    void addsBelowItsGroupButTellsOfTheListAlone()
    {
        Settings("g").addMRU("a/b", "x\\y");

        QCOMPARE(home.stored(), QString("g/MRU/a/b/aa=x/y"));
        QCOMPARE(m_recorder.calls, QStringList("sig(MRU/a/b, x\\y)"));
        QCOMPARE(Settings("g").getMRU("a/b", false), QStringList("x/y"));
        QCOMPARE(Settings().getMRU("a/b", false), QStringList());
    }

    void tellsOfAPathWhenTheListHasIt()
    {
        m_recorder.reaction = [this] {
            m_recorder.reaction = nullptr;
            QCOMPARE(read("list"), QString("A"));
        };

        Settings().addMRU("list", "A");

        QVERIFY(!m_recorder.reaction);
    }

    void ignoresAListWithoutAName()
    {
        home.fill("MRU/Count=5 MRU/aa=A");

        Settings().addMRU("", "B").addMRU("/", "B").removeMRU("", "A").removeMRU("/", "A");

        QCOMPARE(home.stored(), QString("MRU/Count=5 MRU/aa=A"));
        QCOMPARE(m_recorder.calls, QStringList());
        QCOMPARE(Settings().getMRU("", false), (QStringList{"5", "A"})); // what is there
    }

    void holds676Paths()
    {
        Settings settings;
        for (int i = 0; i < 676; ++i)
            settings.addMRU("list", QString::number(i));
        QCOMPARE(Settings("MRU/list").keys(""), entryNames());
        QCOMPARE(settings.getMRU("list", false, -1), numbered("", 675, -1));

        settings.addMRU("list", "new");
        QCOMPARE(Settings("MRU/list").keys(""), entryNames());
        QCOMPARE(settings.getMRU("list", false, -1), QStringList("new") + numbered("", 675, 0));
        QCOMPARE(settings.getString("MRU/list/zz"), Data::String("1"));

        settings.addMRU("list", "1");
        QCOMPARE(settings.getMRU("list", false, -1),
                 QStringList({"1", "new"}) + numbered("", 675, 1));
    }

    void namesEntriesInOrder()
    {
        Settings settings;
        for (const QString &path : numbered("", 28, 0))
            settings.addMRU("list", path);

        const Settings list("MRU/list");
        QCOMPARE(list.getString("aa"), Data::String("1"));
        QCOMPARE(list.getString("ab"), Data::String("2"));
        QCOMPARE(list.getString("az"), Data::String("26"));
        QCOMPARE(list.getString("ba"), Data::String("27"));
        QCOMPARE(list.getString("bb"), Data::String("28"));
    }

    void givesAsManyAsAreWanted_data()
    {
        QTest::addColumn<QString>("stored"); // "MRU/Count"
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("given"); // of 30

        const auto row = [](const char *name, const QString &stored, int count, int given) {
            QTest::newRow(name) << stored << count << given;
        };
        row("20 by default", QString(), 0, 20);
        row("as is stored", "7", 0, 7);
        row("more than there are", "700", 0, 30);
        row("0 is stored", "0", 0, 30);
        row("less than 0 is stored", "-3", 0, 30);
        row("no number is stored", "many", 0, 30);
        row("as is asked", "7", 9, 9);
        row("one", QString(), 1, 1);
        row("all", "7", -1, 30);
        row("all of a very negative number", "7", INT_MIN, 30);
        row("a very large number", "7", INT_MAX, 30);
    }

    void givesAsManyAsAreWanted()
    {
        QFETCH(QString, stored);
        QFETCH(int, count);
        QFETCH(int, given);
        if (!stored.isNull())
            QSettings().setValue("MRU/Count", stored);
        {
            QSettings settings;
            const QStringList names = entryNames();
            for (int i = 0; i < 30; ++i)
                settings.setValue("MRU/list/" + names[i], QString::number(i));
        }

        QCOMPARE(Settings().getMRU("list", false, count), numbered("", 0, given));
        QCOMPARE(Settings().getMRU("absent", false, count), QStringList());
    }

    void readsItsEntriesSortedByName()
    {
        SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        fillList("list", "ba=4 ab=3 zz=5 AA=1 aa=2 zzz=6");
        QSettings().setValue("MRU/list/group/aa", "no entry");

        QCOMPARE(read("list"), QString("1 2 3 4 5 6"));
    }

    void comesBackFromTheGroupOfTheList()
    {
        home.fill("k=1 MRU/k=2 MRU/list/aa=A");
        Settings settings;

        settings.getMRU("list");
        settings.getMRU("list", false, 1);
        settings.removeMRU("list", "absent");
        settings.firstMRUPath("list");
        QCOMPARE(settings.getInt("k"), 1);
        settings.addMRU("list", "B").removeMRU("list", "B");
        QCOMPARE(settings.getInt("k"), 1);
    }

    void removesAPath_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("after");

        // clang-format off
        QTest::newRow("in the middle") << "aa=A ab=B ac=C" << "B" << "aa=A ac=C";
        QTest::newRow("twice there") << "aa=A ab=B ac=B" << "B" << "aa=A ac=B";
        QTest::newRow("backslashes") << "aa=x/y ab=B" << "x\\y" << "ab=B";
        QTest::newRow("another case") << "aa=A" << "a" << "aa=A";
        QTest::newRow("absent") << "aa=A" << "X" << "aa=A";
        QTest::newRow("the only one") << "aa=A" << "A" << "";
        QTest::newRow("empty") << "aa=A ab=" << "" << "aa=A";
        QTest::newRow("from no list") << "" << "A" << "";
        // clang-format on
    }

    void removesAPath()
    {
        QFETCH(QString, before);
        QFETCH(QString, path);
        QFETCH(QString, after);
        fillList("list", after);
        const QString expected = home.stored();
        fillList("list", before);

        Settings().removeMRU("list", path);

        QCOMPARE(home.stored(), expected);
        QCOMPARE(m_recorder.calls, QStringList());
    }

    void givesAnEntryTwiceBehindAGap()
    {
        fillList("list", "aa=A ab=B ac=C");
        Settings settings;

        settings.removeMRU("list", "B");
        QCOMPARE(read("list"), QString("A C"));
        settings.addMRU("list", "C");
        QCOMPARE(read("list"), QString("C A C"));
    }

    void givesOnlyPathsThatExist()
    {
        const QTemporaryDir folder;
        const QString there = makeFile(folder.filePath("there.txt"));
        fillList("list", "aa=/absent ab=" + there + " ac=" + folder.path() + " ad=");

        QCOMPARE(Settings().getMRU("list"), (QStringList{there, folder.path()}));
        QCOMPARE(Settings().getMRU("list", true, 1),
                 QStringList(there)); // absent ones do not count
        QCOMPARE(Settings().getMRU("list", false).size(), 4);
    }

    void givesOnlyFilesOfTheSuffixes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("suffixes");
        QTest::addColumn<bool>("given");

        // clang-format off
        QTest::newRow("the suffix") << "a.txt" << "txt" << true;
        QTest::newRow("among others") << "a.txt" << "csv;txt;xml" << true;
        QTest::newRow("in a longer one") << "a.tx" << "txt" << true;
        QTest::newRow("with dots") << "a.txt" << ".txt" << true;
        QTest::newRow("another") << "a.txt" << "csv" << false;
        QTest::newRow("another case") << "a.TXT" << "txt" << false;
        QTest::newRow("the last one") << "a.tar.gz" << "gz" << true;
        QTest::newRow("not the last one") << "a.tar.gz" << "tar" << false;
        QTest::newRow("none") << "a" << "txt" << true;
        QTest::newRow("any") << "a.txt" << "" << true;
        QTest::newRow("a folder") << "" << "txt" << true;
        // clang-format on
    }

    void givesOnlyFilesOfTheSuffixes()
    {
        QFETCH(QString, name);
        QFETCH(QString, suffixes);
        QFETCH(bool, given);
        const QTemporaryDir folder;
        const QString path = name.isEmpty() ? folder.path() : makeFile(folder.filePath(name));
        fillList("list", "aa=" + path);

        QCOMPARE(Settings().getMRU("list", true, 0, suffixes),
                 given ? QStringList(path) : QStringList());
        QCOMPARE(Settings().getMRU("list", false, 0, suffixes), QStringList(path));
    }

    void staysWithItsFirstVerdict()
    {
        const QTemporaryDir folder;
        const QString gone = makeFile(folder.filePath("gone.txt"));
        const QString late = folder.filePath("late.txt");
        const QString other = makeFile(folder.filePath("other.txt"));
        fillList("list", "aa=" + gone + " ab=" + late + " ac=" + other);
        fillList("other", "aa=" + late + " ab=" + gone);
        QCOMPARE(Settings().getMRU("list", true, 0, "txt"), (QStringList{gone, other}));

        QVERIFY(QFile::remove(gone));
        makeFile(late);

        QCOMPARE(Settings().getMRU("list"), (QStringList{gone, other}));
        QCOMPARE(Settings().getMRU("list", true, 0, "csv"), (QStringList{gone, other}));
        QCOMPARE(Settings().getMRU("other"), QStringList(gone));
    }

    void touchesTheDiskOnceForEachPath()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        const QTemporaryDir folder;
        QSettings settings;
        QSet<QByteArray> paths;
        const QStringList names = entryNames();
        for (int i = 0; i < 676; ++i) {
            // Every kind: files, folders, links to either, and what does not exist.
            const QString path = folder.filePath("counted/" + QString::number(i) + ".txt");
            if (i % 5 == 0)
                makeFile(path);
            else if (i % 5 == 1)
                QDir().mkpath(path);
            else if (i % 5 == 2)
                QVERIFY(QFile::link(folder.filePath("counted/0.txt"), path));
            else if (i % 5 == 3)
                QVERIFY(QFile::link(folder.path(), path));
            settings.setValue("MRU/list/" + names[i], path);
            paths.insert(path.toUtf8());
        }
        queries.clear();

        const QStringList found = Settings().getMRU("list", true, -1, "txt");

        QCOMPARE(found.size(), 541);
        const QList<QByteArray> asked = queries.keys();
        QCOMPARE(QSet<QByteArray>(asked.begin(), asked.end()), paths);
        for (const QByteArray &path : asked)
            QVERIFY2(queries[path] == 1, path.constData());

        queries.clear();
        QCOMPARE(Settings().getMRU("list", true, -1, "csv"), found);
        QVERIFY(queries.isEmpty());
    }

    void asksNoMoreThanItGives()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const QTemporaryDir folder;
        fillList("list", "aa=" + makeFile(folder.filePath("counted/a")) +
                             " ab=" + makeFile(folder.filePath("counted/b")));
        queries.clear();

        QCOMPARE(Settings().getMRU("list", true, 1).size(), 1);
        QCOMPARE(queries.size(), 1);
        QCOMPARE(Settings().getMRU("list", false).size(), 2);
        QCOMPARE(queries.size(), 1);
    }

    void knowsTheFolderOfItsFirstPath()
    {
        const QTemporaryDir folder;
        const QString file = makeFile(folder.filePath("d/b.txt"));
        const QString other = makeFile(folder.filePath("e/b.txt"));
        fillList("files", "aa=/absent ab=" + file + " ac=" + other);
        fillList("folders", "aa=" + folder.path() + " ab=" + file);
        fillList("absent", "aa=/absent");

        const Settings settings;
        QCOMPARE(settings.firstMRUPath("files"), Data::String(folder.filePath("d")));
        QCOMPARE(settings.firstMRUPath("folders"), Data::String(folder.path()));
        QCOMPARE(settings.firstMRUPath("absent"), Data::String());
        QCOMPARE(settings.firstMRUPath("none"), Data::String());

        fillList("doubled", "aa=" + folder.path() + "/d//b.txt"); // the separator is no folder
        QCOMPARE(settings.firstMRUPath("doubled"), Data::String(folder.filePath("d")));

        QVERIFY(QFile::remove(file)); // listed all the same, but no file any more
        QCOMPARE(settings.firstMRUPath("files"), Data::String(file));
    }
};

QTEST_GUILESS_MAIN(tst_Settings_mru)
#include "tst_Settings_mru.moc"
