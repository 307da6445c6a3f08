#include "tests/support/Files.h" // makeFile
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using Utils::File;

static int examinations = 0; // of paths

#ifndef _WIN32 // where no call can be replaced

// Before the calls that Qt makes, and those of the library.

#define KELM_IN_FRONT extern "C" __attribute__((visibility("default")))

KELM_IN_FRONT int statx(int folder, const char *path, int flags, unsigned mask,
                        struct statx *result) noexcept
{
    ++examinations;
    return static_cast<int>(syscall(SYS_statx, folder, path, flags, mask, result));
}

KELM_IN_FRONT int fstatat(int folder, const char *path, struct stat *result, int flags) noexcept
{
    ++examinations;
    return static_cast<int>(syscall(SYS_newfstatat, folder, path, result, flags));
}

KELM_IN_FRONT int stat(const char *path, struct stat *result) noexcept
{
    return fstatat(AT_FDCWD, path, result, 0);
}

KELM_IN_FRONT int lstat(const char *path, struct stat *result) noexcept
{
    return fstatat(AT_FDCWD, path, result, AT_SYMLINK_NOFOLLOW);
}

#endif

class tst_File_search : public QObject
{
    Q_OBJECT

private:
    /// Makes the files, given separated by blanks, in a new folder.
    void make(const char *files)
    {
        m_temporary.reset(new QTemporaryDir);
        m_folder = m_temporary->path();
        for (const QString &file : QString(files).split(' ', Qt::SkipEmptyParts))
            QVERIFY(!makeFile(path(file)).isEmpty());
    }

    QString path(const QString &name) const { return m_folder + "/" + name; }

    void link(const QString &target, const QString &name) const
    {
        QVERIFY(QFile::link(target, path(name)));
    }

    /// \p paths below the folder, separated by blanks, in order.
    QString names(QStringList paths) const
    {
        for (QString &path : paths)
            path = path.startsWith(m_folder + "/") ? path.mid(m_folder.size() + 1) : "?" + path;
        return paths.join(' ');
    }

    QString sorted(QStringList paths) const
    {
        paths.sort();
        return names(paths);
    }

    QScopedPointer<QTemporaryDir> m_temporary;
    QString m_folder;

private Q_SLOTS:
    void searchesForFilesThatFitAFilter_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("found");

        const auto row = [](const char *filter, const char *found) {
            QTest::newRow(*filter ? filter : "nothing") << QString(filter) << QString(found);
        };
        // clang-format off
        row("*",          "A.TXT a.txt b.md c d[1].md sub/a.txt sub/sub/e.md");
        row("*.txt",      "A.TXT a.txt sub/a.txt");
        row("*.TXT",      "A.TXT a.txt sub/a.txt");
        row("*.txt;*.md", "A.TXT a.txt b.md d[1].md sub/a.txt sub/sub/e.md");
        row("*.md;*.md",  "b.md d[1].md sub/sub/e.md");
        row("?.md",       "b.md sub/sub/e.md");
        row("[bc]*",      "b.md c");
        row("d[1].md",    "");
        row("c",          "c");
        row("sub",        "");
        row("sub/*",      "");
        row("",           "");
        row(";",          "");
        row(";c;",        "c");
        row(" c",         "");
        row("*.txt *.md", "");
        row("*.txt;;",    "A.TXT a.txt sub/a.txt");
        row("\\",         "");
        row("*.cpp",      "");
        row("[z-a];c",    "c");
        // clang-format on
    }

    void searchesForFilesThatFitAFilter()
    {
        QFETCH(QString, filter);
        QFETCH(QString, found);
        if (found.contains("A.TXT"))
            SKIP_ON_WINDOWS("two of the names are the same on Windows");
        make("a.txt A.TXT b.md c d[1].md sub/a.txt sub/sub/e.md");

        QCOMPARE(sorted(File::search(m_folder, filter)), found);
    }

    void searchesOneFolderWhenToldSo()
    {
        make("a.txt sub/b.txt");

        QCOMPARE(names(File::search(m_folder, "*.txt", /*recursive=*/false)), QString("a.txt"));
        QCOMPARE(names(File::search(m_folder, "*.txt")), QString("a.txt sub/b.txt"));
    }

    void searchesInTheOrderOfTheFolder()
    {
        make("z.a y.b x.a w.c v.b u.a t.b");
        QStringList inOrder = QDir(m_folder).entryList({"*.a", "*.b"}, QDir::Files, QDir::Unsorted);
        QCOMPARE(inOrder.size(), 6);

        QCOMPARE(names(File::search(m_folder, "*.b;*.a")), inOrder.join(' '));
    }

    void searchesTheFilesOfAFolderBeforeItsSubfolders()
    {
        make("a/file b/file c/file c/d/file m n");
        QDir dir(m_folder);
        QStringList inOrder = dir.entryList(QDir::Files, QDir::Unsorted);
        dir.setFilter(QDir::AllDirs | QDir::NoDotAndDotDot);
        dir.setSorting(QDir::Unsorted);
        for (const QString &folder : dir.entryList()) {
            inOrder.append(folder + "/file");
            if (folder == "c")
                inOrder.append("c/d/file");
        }

        QCOMPARE(names(File::search(m_folder, "*")), inOrder.join(' '));
    }

    void writesPathsAsItsFolderIsWritten_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("found");

        // clang-format off
        QTest::newRow("plain") << "d" << "d/x d/e/y";
        QTest::newRow("with a slash") << "d/" << "d/x d/e/y";
        QTest::newRow("with dots") << "./e/../d" << "./e/../d/x ./e/../d/e/y";
        QTest::newRow("the current folder") << "." << "./d/x ./d/e/y";
        // clang-format on
    }

    void writesPathsAsItsFolderIsWritten()
    {
        QFETCH(QString, folder);
        QFETCH(QString, found);
        make("d/x d/e/y");
        QVERIFY(QDir(m_folder).mkdir("e"));
        const QString current = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder));

        const QString result = File::search(folder, "*").join(' ');

        QVERIFY(QDir::setCurrent(current));
        QCOMPARE(result, found);
    }

    void findsNoFilesWhereThereIsNoFolder_data()
    {
        QTest::addColumn<QString>("folder");

        QTest::newRow("empty") << "";
        QTest::newRow("missing") << "/there/is/no/such";
        QTest::newRow("a file") << QCoreApplication::applicationFilePath();
        QTest::newRow("too long") << "/" + QString("long/").repeated(2000);
        QTest::newRow("a NUL") << QString("/tmp") + QChar(0);
    }

    void findsNoFilesWhereThereIsNoFolder()
    {
        QFETCH(QString, folder);

        QCOMPARE(File::search(folder, "*"), QStringList());
        QCOMPARE(File::find(folder, "*", true), Data::String());
    }

    void stopsSearchingAtTheCount_data()
    {
        QTest::addColumn<QString>("files");
        QTest::addColumn<int>("maxCount");
        QTest::addColumn<int>("count");

        const auto row = [](const char *name, const char *files, int maxCount, int count) {
            QTest::newRow(name) << QString(files) << maxCount << count;
        };
        // clang-format off
        row("no limit",                       "a b d/c d/d",            0,  4);
        row("negative is no limit",           "a b d/c d/d",            -1, 4);
        row("within the files",               "a b c d/c",              2,  2);
        row("all files, none below",          "a b d/c d/d",            2,  2);
        row("not reached",                    "a b d/c",                5,  3);
        row("a subfolder counts anew",        "a d/c d/d d/e",          2,  3);
        row("but only one",                   "a d/c d/d e/c e/d",      2,  3);
        row("stops at the count exactly",     "d/c e/c f/c",            2,  2);
        row("each level counts anew",         "a d/a d/d/a d/d/b",      2,  4);
        row("each level up to the count",     "a b d/a d/b d/c d/d/a d/d/b d/d/c", 3, 5);
        // clang-format on
    }

    void stopsSearchingAtTheCount()
    {
        QFETCH(QString, files);
        QFETCH(int, maxCount);
        QFETCH(int, count);
        make(files.toUtf8());

        QCOMPARE(File::search(m_folder, "*", /*recursive=*/true, maxCount).size(), count);
    }

    void passesOverWhatIsHiddenOrNoFile()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        make("a .b .c/d e/.f");
        QCOMPARE(mkfifo(QFile::encodeName(path("pipe")), 0600), 0);
        link("nowhere", "broken");

        QCOMPARE(names(File::search(m_folder, "*")), QString("a"));
    }

    void examinesLinksOnly()
    {
        make("l");
        for (int i = 0; i < 100; ++i)
            QVERIFY(!makeFile(path(QString("d%1/%2").arg(i % 5).arg(i))).isEmpty());
        for (int i = 0; i < 10; ++i)
            link(path("l"), QString("d0/l%1").arg(i));

        examinations = 0;
        QCOMPARE(File::search(m_folder, "*").size(), 111);

        // What is above the folder is examined for its canonical path.
        const int above = m_folder.count('/');
        QVERIFY2(examinations <= 10 + 2 * above, qPrintable(QString::number(examinations)));
    }

    void searchesThroughLinks()
    {
        SKIP_ON_WINDOWS("links are others on Windows: see tst_Windows");
        make("d/x e/y");
        link(path("d"), "e/folder");
        link(path("e/y"), "e/file");

        QCOMPARE(sorted(File::search(path("e"), "*")), QString("e/file e/folder/x e/y"));
    }

    void searchesAFolderAgainByEachLinkFromOutside()
    {
        SKIP_ON_WINDOWS("links are others on Windows: see tst_Windows");
        make("d/x e/y");
        link(path("d"), "e/first");
        link(path("d"), "e/second");

        QCOMPARE(sorted(File::search(path("e"), "*")), QString("e/first/x e/second/x e/y"));
    }

    void followsALinkThatLeadsAboveItsFolder()
    {
        SKIP_ON_WINDOWS("links are others on Windows: see tst_Windows");
        make("x d/y");
        link(m_folder, "d/up");

        QCOMPARE(sorted(File::search(path("d"), "*")), QString("d/up/d/y d/up/x d/y"));
    }

    void endsInALoopOfLinks()
    {
        SKIP_ON_WINDOWS("links are others on Windows: see tst_Windows");
        make("x d/y e/z de/w");
        for (const char *in : {"", "d/", "e/"}) {
            const QString folder(in);
            link(m_folder, folder + "all");
            link(path("d"), folder + "one");
            link(path("e"), folder + "two");
            link(".", folder + "self");
        }
        link("circle", "circle");

        const QStringList found = File::search(m_folder, "*");

        for (const char *file : {"x", "d/y", "e/z", "de/w", "d/two/z", "two/z", "two/one/y"})
            QVERIFY2(found.contains(path(file)), file);
        QCOMPARE(QSet<QString>(found.begin(), found.end()).size(), found.size());
        QVERIFY2(found.size() < 30, qPrintable(names(found)));
    }

    void passesOverAFolderItMayNotRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        make("a shut/b open/c");
        const QFile::Permissions none;
        QVERIFY(QFile::setPermissions(path("shut"), none));

        {
            const OrdinaryUser user(m_folder);
            QCOMPARE(sorted(File::search(m_folder, "*")), QString("a open/c"));
            QCOMPARE(File::search(path("shut"), "*"), QStringList());
        }

        QVERIFY(QFile::setPermissions(path("shut"), QFile::Permissions(0x7700)));
        QCOMPARE(sorted(File::search(m_folder, "*")), QString("a open/c shut/b"));
    }

    void takesAStarInAFolderForAWildcard()
    {
        SKIP_ON_WINDOWS("no name on Windows has an asterisk");
        make("a*b/x");
        QCOMPARE(names(File::search(m_folder, "*")), QString());
        QCOMPARE(names(File::search(path("a*b"), "*")), QString());

        QVERIFY(!makeFile(path("a_B")).isEmpty());
        QCOMPARE(names(File::search(m_folder, "*")), QString("a_B a*b/x"));
        QCOMPARE(names(File::search(path("a*b"), "*")), QString("a*b/x"));
    }

    void searchesNamesOfEveryKind()
    {
        SKIP_ON_WINDOWS("names are others on Windows");
        const QStringList files = {"with blank", QString::fromUtf8("Grüße-日本.txt"), "two\nlines",
                                   QString(255, 'n'), QString::fromUtf8("😀")};
        make("");
        for (const QString &file : files)
            QVERIFY(!makeFile(path(file)).isEmpty());

        const QStringList found = File::search(m_folder, "*");

        QCOMPARE(found.size(), files.size());
        for (const QString &file : files)
            QVERIFY2(found.contains(path(file)), qPrintable(file));
        QCOMPARE(File::search(m_folder, QString::fromUtf8("GRÜ*.TXT")).size(), 1);
    }

    void endsInAFolderOfAnyDepth()
    {
        make("");
        QDir dir(m_folder);
        int depth = 0;
        const QString name(200, 'd');
        while (depth < 18) {
            QVERIFY(dir.mkdir(name) && dir.cd(name));
            ++depth;
        }
        QVERIFY(!makeFile(dir.filePath("x")).isEmpty());

        QCOMPARE(File::search(m_folder, "x").size(), 1);
    }

    void findsTheFirstFile()
    {
        make("d/x.txt d/y.md");

        QCOMPARE(File::find(path("d"), "*.md"), Data::String(path("d/y.md")));
        QCOMPARE(File::find(m_folder, "x*"), Data::String());
        QCOMPARE(File::find(m_folder, "x*", /*recursive=*/true), Data::String(path("d/x.txt")));
        QCOMPARE(File::find(path("d"), "*"), Data::String(File::search(path("d"), "*").first()));
        QCOMPARE(File::find("", "*"), Data::String());
    }

    void searchesInFilesForAText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("lines");
        QTest::addColumn<QString>("found");

        const auto row = [](const char *name, const char *text, int lines, const char *found) {
            QTest::newRow(name) << QString(text) << lines << QString(found);
        };
        // clang-format off
        row("in the first",               "alpha",      0,  "a.txt");
        row("in the second",              "beta",       0,  "b.txt");
        row("in both",                    "common",     0,  "a.txt");
        row("in another case",            "ALPHA",      0,  "");
        row("nowhere",                    "gamma",      0,  "");
        row("over two lines",             "one\nalpha", 0,  "a.txt");
        row("within the head",            "one",        1,  "a.txt");
        row("after the head",             "alpha",      1,  "");
        row("at the head's end",          "alpha",      2,  "a.txt");
        row("in a tail",                  "last",       -1, "b.txt");
        row("before a tail",              "first of b", -1, "");
        row("non-ASCII",                  "Größe",      0,  "b.txt");
        row("empty",                      "",           0,  "missing.txt");
        // clang-format on
    }

    void searchesInFilesForAText()
    {
        QFETCH(QString, text);
        QFETCH(int, lines);
        QFETCH(QString, found);
        make("");
        const QStringList files = {
            path("missing.txt"),
            makeFile(path("a.txt"), "one\nalpha common\nthree\n"),
            makeFile(path("b.txt"),
                     "first of b\nbeta common\n" + QByteArray(1000, 'x') + "\nGrößer\nlast"),
        };

        QCOMPARE(names(QStringList(File::searchInFiles(text, files, lines))),
                 found.isEmpty() ? "?" : found);
        QCOMPARE(File::searchInFiles(text, QStringList(), lines), Data::String());
    }

    void searchesInFilesThatFitAFilter()
    {
        make("");
        makeFile(path("a.md"), "text");
        makeFile(path("d/b.txt"), "text");
        makeFile(path("c.txt"), "other");
        makeFile(path(".hidden.txt"), "text");

        QCOMPARE(File::searchInFiles("text", m_folder, "*.txt"), Data::String());
        QCOMPARE(File::searchInFiles("text", m_folder, "*.txt;*.md"), Data::String(path("a.md")));
        QCOMPARE(File::searchInFiles("text", path("d"), "*"), Data::String(path("d/b.txt")));
        QCOMPARE(File::searchInFiles("text", "", "*"), Data::String());
        QCOMPARE(File::searchInFiles("", m_folder, "*.none"), Data::String());

        makeFile(path("a.md"), "first\ntext");
        QCOMPARE(File::searchInFiles("text", m_folder, "*", 1), Data::String());
        QCOMPARE(File::searchInFiles("text", m_folder, "*", 2), Data::String(path("a.md")));
    }
};

QTEST_GUILESS_MAIN(tst_File_search)
#include "tst_File_search.moc"
