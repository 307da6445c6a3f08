#include "utils/files/File.h"

#include "tests/support/Print.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using Data::String;
using Utils::File;

static const bool hasBackslashes = QDir::separator() == '\\';

class tst_File_paths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void joinsWhatIsNotEmpty_data()
    {
        QTest::addColumn<QStringList>("pieces"); // six
        QTest::addColumn<String>("path");

        const auto row = [](const char *name, const QString &pieces, const char *path) {
            QTest::newRow(name) << pieces.split(',') << String(path);
        };
        row("two", "a,b,,,,", "a/b");
        row("six", "a,b,c,d,e,f", "a/b/c/d/e/f");
        row("nothing", ",,,,,", "");
        row("only the third", ",,x,,,", "x");
        row("only the last", ",,,,,x", "x");
        row("a gap", "a,,b,,,", "a/b");
        row("gaps everywhere", ",a,,b,,c", "a/b/c");
        row("separators in the pieces", "a/,/b,,,,", "a///b");
        row("only separators", "/,/,,,,", "///");
        row("a blank", " ,a,,,,", " /a");
    }

    void joinsWhatIsNotEmpty()
    {
        QFETCH(QStringList, pieces);
        QFETCH(String, path);

        QCOMPARE(File::join(pieces[0], pieces[1], pieces[2], pieces[3], pieces[4], pieces[5]),
                 path);
    }

    void joinsTwoPiecesOrMore()
    {
        QCOMPARE(File::join("a/", "b"), String("a//b"));
        QCOMPARE(File::join("", "", "x"), String("x"));
        QCOMPARE(File::join("a", "", "b"), String("a/b"));
        QCOMPARE(File::join("a", "b", "c", "d"), String("a/b/c/d"));
        QCOMPARE(File::join("a", "b", "c", "d", "e"), String("a/b/c/d/e"));
    }

    void takesThePartsOfAPathFromItsText_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<String>("base");
        QTest::addColumn<String>("withExtension");
        QTest::addColumn<String>("extension");
        QTest::addColumn<String>("parent");

        const auto row = [](const char *path, const char *base, const char *withExtension,
                            const char *extension, const char *parent) {
            QTest::newRow(*path ? path : "nothing")
                << String(path) << String(base) << String(withExtension) << String(extension)
                << String(parent);
        };
        // clang-format off
        row("/p/archive.tar.gz", "archive.tar", "archive.tar.gz", "gz", "/p");
        row("a.b.c", "a.b", "a.b.c", "c", ".");
        row("a", "a", "a", "", ".");
        row("a/", "", "", "", "a");
        row("a/b/", "", "", "", "a/b");
        row("x/data.v2", "data", "data.v2", "v2", "x");
        row(".bashrc", "", ".bashrc", "bashrc", ".");
        row("a.", "a", "a.", "", ".");
        row("", "", "", "", ".");
        row("/", "", "", "", "/");
        row("/a", "a", "a", "", "/");
        row("../x.txt", "x", "x.txt", "txt", "..");
        row("C:/x/y.log", "y", "y.log", "log", "C:/x");
        row("\xc3\xa4/\xc3\xb6.\xc3\xbc", "\xc3\xb6", "\xc3\xb6.\xc3\xbc", "\xc3\xbc", "\xc3\xa4");
        // clang-format on
    }

    void takesThePartsOfAPathFromItsText()
    {
        QFETCH(String, path);
        QFETCH(String, base);
        QFETCH(String, withExtension);
        QFETCH(String, extension);
        QFETCH(String, parent);

        QCOMPARE(File::base(path), base);
        QCOMPARE(File::base(path, false), base);
        QCOMPARE(File::base(path, true), withExtension);
        QCOMPARE(File::extension(path), extension);
        QCOMPARE(File::parentFolder(path), parent);
    }

    void cleansPaths_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<String>("clean"); // with "/"

        const auto row = [](const char *path, const char *clean) {
            QTest::newRow(*path ? path : "nothing") << String(path) << String(clean);
        };
        row("", "");
        row("/a//b/./c/../d/", "/a/b/d");
        row("//a", hasBackslashes ? "//a" : "/a"); // there it is a server
        row("/../a", "/../a");
        row("a/..", ".");
        row("./a", "a");
        row("a//b", "a/b");
        row("../a/../b", "../b");
        row("C:/a/../b", "C:/b");
    }

    void cleansPaths()
    {
        QFETCH(String, path);
        QFETCH(String, clean);

        const QString native = clean.startsWith('/') ? clean : QDir::toNativeSeparators(clean);

        QCOMPARE(File::cleanPath(path), String(native));
    }

    void knowsTheCurrentFolder()
    {
        const QTemporaryDir folder;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder.path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        QCOMPARE(QFileInfo(File::currentDir()).canonicalFilePath(),
                 QFileInfo(folder.path()).canonicalFilePath());
        QCOMPARE(File::absolutePath("a/../b", ""),
                 File::cleanPath(String(QDir::currentPath()) + "/b"));
    }

    void tellsARelativePathFromAnAbsoluteOne_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<bool>("isRelative");

        const auto row = [](const char *path, bool isRelative) {
            QTest::newRow(*path ? path : "nothing") << String(path) << isRelative;
        };
        row("", true);
        row(".", true);
        row("..", true);
        row("..\\x", true);
        row(".config/x", true);
        row("./C:/x", true);
        row("a", true);
        row("a/b", true);
        row("a/", true);
        row("/", false);
        row("/a", false);
        row("/a/b", false);
        row("//server/x", false);
        row("C:/x", false);
        row("C:/", false);
        row("x:/y/z", false);
        row("\\\\server/x", false);
        row("\\server/x", true);
        row(":/icons/x.png", true);
        row("ab:/x", true);
        // Without a "/" the folder of these is "." where there are no drives.
        row("C:", !hasBackslashes);
        row("C:x", !hasBackslashes);
        row("C:\\x", !hasBackslashes);
        row("\\\\server\\x", !hasBackslashes);
    }

    void tellsARelativePathFromAnAbsoluteOne()
    {
        QFETCH(String, path);
        QFETCH(bool, isRelative);

        QCOMPARE(File::isRelative(path), isRelative);
        QCOMPARE(File::isAbsolute(path), !isRelative);
    }

    void makesARelativePathAbsolute_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<String>("folder");
        QTest::addColumn<String>("absolute");

        const auto row = [](const char *path, const char *folder, const char *absolute) {
            QTest::addRow("%s in %s", path, folder)
                << String(path) << String(folder) << String(absolute);
        };
        row("a", "/p", "/p/a");
        row("../a", "/p/q/", "/p/a");
        row("./a//b", "/p", "/p/a/b");
        row("", "/p/", "/p");
        row("a", "C:/p", hasBackslashes ? "C:\\p\\a" : "C:/p/a");
        // An absolute path is not even cleaned.
        row("/a/../b//c/", "/p", "/a/../b//c/");
        row("C:/a/../b", "/p", "C:/a/../b");
    }

    void makesARelativePathAbsolute()
    {
        QFETCH(String, path);
        QFETCH(String, folder);
        QFETCH(String, absolute);

        QCOMPARE(File::absolutePath(path, folder), absolute);
    }

    void comparesPathsWithoutCaseAndCleaned_data()
    {
        QTest::addColumn<String>("a");
        QTest::addColumn<String>("b");
        QTest::addColumn<bool>("isSame");

        const auto row = [](const char *a, const char *b, bool isSame) {
            QTest::addRow("%s and %s", a, b) << String(a) << String(b) << isSame;
        };
        row("/a/b", "/a/b", true);
        row("/a/b", "/A/B", true);
        row("/a/b", "/a//b/", true);
        row("/a/x/../b", "/A/./B/", true);
        row("\xc3\x84/x", "\xc3\xa4/X", true);
        row("", "", true);
        row("", ".", false);
        row("a/..", ".", true);
        row("/a/b", "/a/bc", false);
        row("/a/bc", "/a/b", false);
        row("a", "./a", true);
        row("a", "/a", false);
        row("C:/A/b", "c:\\a\\B\\", hasBackslashes);
    }

    void comparesPathsWithoutCaseAndCleaned()
    {
        QFETCH(String, a);
        QFETCH(String, b);
        QFETCH(bool, isSame);

        QCOMPARE(File::isSamePath(a, b), isSame);
        QCOMPARE(File::isSamePath(b, a), isSame);
    }

    void doesNotAskTheFileSystemWhetherPathsAreTheSame()
    {
        const QTemporaryDir folder;
        const String name = QFileInfo(folder.path()).fileName();
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(QFileInfo(folder.path()).path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        QVERIFY(!File::isSamePath(folder.path(), name));
        QVERIFY(!File::isContainedIn(name, QDir::currentPath()));
    }

    void findsAPathInAFolderByItsText_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<String>("folder");
        QTest::addColumn<bool>("isContained");

        const auto row = [](const char *path, const char *folder, bool isContained) {
            QTest::addRow("%s in %s", path, folder)
                << String(path) << String(folder) << isContained;
        };
        row("/data/ab/c", "/data/ab", true);
        row("/data/abc", "/data/ab", true); // no separator is looked for
        row("/data/ab", "/data/ab", true);
        row("/data/a", "/data/ab", false);
        row("X/y", "x", true);
        row("a/../b", "a/..", true); // as they stand, though not cleaned
        row("A/../b", "a/..", true);
        row("/x/../data/ab", "/data", true);
        row("/x/../Data/ab", "/dATA/", true);
        row("/ab", "/a/", true); // cleaning takes the last "/" away
        row("/a", "", true);
        row("", "/a", false);
        row("", "", true);
        row("a/b", "/a", false);
        row("b/a", "a", false);
    }

    void findsAPathInAFolderByItsText()
    {
        QFETCH(String, path);
        QFETCH(String, folder);
        QFETCH(bool, isContained);

        QCOMPARE(File::isContainedIn(path, folder), isContained);
    }

    void matchesNamesWithTheFilterOfADialog_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<String>("filter");
        QTest::addColumn<bool>("matches");

        const auto row = [](const char *path, const char *filter, bool matches) {
            QTest::addRow("%s with %s", path, filter) << String(path) << String(filter) << matches;
        };
        row("a.png", "*.png", true);
        row("a.PNG", "Images (*.png)", true);
        row("a.png", "*.PNG", true);
        row("/p/q.x/a.jpg", "*.png *.jpg", true);
        row("/p/q.png/a.jpg", "*.png", false);
        row("a.png", "*.jpg  *.png", true);
        row("a.png", "*.png;*.jpg", false); // ";" separates nothing
        row("a.png", "a", false);
        row("a.png", "?.p[mn]g", true);
        row("xa.png", "a.*", false);
        row("a.pngx", "*.png", false);
        row("a.tar.gz", "*.tar.gz", true);
        // Brackets
        row("a.png", "Images (*.png *.xpm)", true);
        row("a.xpm", "Images (*.png *.xpm) of (*.jpg)", true);
        row("a.jpg", "Images (*.png *.xpm) of (*.jpg)", false);
        row("Images", "Images (*.png)", false);
        row("a.png", "(*.png", false); // one bracket is a plain character
        row("(a.png", "(*.png", true);
        row("a.png)", "*.png)", true);
        row("a.png", ")x (*.jpg *.png", true); // the only ")" comes before: up to the end
        row("x", ")x (*.jpg *.png", false);
        row("a.png", "Images ()", false);
        row("a.png", "x)(*.png)", true);
        // Empty pieces and names
        row("a", "", false);
        row("", "", true);
        row("/dir/", "*.jpg  *.png", true);
        row("/dir/", "*.jpg *.png", false);
        row("", "Images ()", true);
        row("", "*", true);
    }

    void matchesNamesWithTheFilterOfADialog()
    {
        QFETCH(String, path);
        QFETCH(String, filter);
        QFETCH(bool, matches);

        QCOMPARE(File::checkFilter(path, filter), matches);
    }

    void abbreviatesLongPaths_data()
    {
        QTest::addColumn<String>("path");
        QTest::addColumn<int>("maxChars");
        QTest::addColumn<int>("maxParts");
        QTest::addColumn<String>("text");

        const auto row = [](const char *name, const char *path, int maxChars, int maxParts,
                            const char *text) {
            QTest::newRow(name) << String(path) << maxChars << maxParts << String(text);
        };
        const char *const seven = "C:/one/two/three/four/five/six.txt"; // 34 characters
        // clang-format off
        row("down to the last piece", seven, 10, 3, "C:/one/.../six.txt");
        row("shorter than the limit", seven, 35, 3, seven);
        row("as long as the limit", seven, 34, 3, "C:/one/.../five/six.txt");
        row("no part allowed", seven, 34, 0, "C:/one/.../five/six.txt");
        row("one part allowed", seven, 34, 1, "C:/one/.../five/six.txt");
        row("two parts allowed", seven, 34, 2, "C:/one/.../five/six.txt");
        row("a negative number of parts", seven, 34, INT_MIN, "C:/one/.../five/six.txt");
        row("four parts", seven, 34, 4, "C:/one/.../four/five/six.txt");
        row("as many parts as pieces", seven, 34, 7, "C:/one/.../three/four/five/six.txt");
        row("more parts than pieces", seven, 10, 8, seven);
        row("any number of parts", seven, 10, INT_MAX, seven);
        row("no characters", seven, 0, 5, "C:/one/.../six.txt");
        row("a negative number of characters", seven, INT_MIN, 5, "C:/one/.../six.txt");
        row("exactly as long as allowed", "a/b/c/d/e/f/g/h", 13, 6, "a/b/.../f/g/h");
        row("one character more than allowed", "a/b/c/d/e/f/g/h", 12, 6, "a/b/.../g/h");
        row("three pieces become longer", "aa/bb/cc", 8, 3, "aa/bb/.../cc");
        row("two pieces", "aaaa/bbbb", 5, 3, "aaaa/bbbb");
        row("backslashes", "C:\\one\\two\\three\\four\\six.txt", 10, 3, "C:/one/.../six.txt");
        row("backslashes in too few pieces", "C:\\one", 3, 3, "C:\\one");
        row("a rooted path", "/one/two/three/four", 10, 3, "/one/.../four");
        row("empty pieces", "////////", 3, 3, "//.../");
        row("nothing", "", 0, 3, "");
        // clang-format on
    }

    void abbreviatesLongPaths()
    {
        QFETCH(String, path);
        QFETCH(int, maxChars);
        QFETCH(int, maxParts);
        QFETCH(String, text);

        QCOMPARE(File::abbreviateName(path, maxChars, maxParts), text);
    }

    void abbreviatesTo80CharactersAndSevenPiecesByItself()
    {
        const QString shortPieces = QString("/aaaaaaa").repeated(12).mid(1); // 95 characters
        const QString longPieces = QString("/bbbbbbbbbbbbbbbbbb").repeated(12).mid(1);

        const QString last = QString("/aaaaaaa").repeated(4);
        QCOMPARE(File::abbreviateName(shortPieces), String("aaaaaaa/aaaaaaa/..." + last));
        QCOMPARE(File::abbreviateName(longPieces),
                 String("bbbbbbbbbbbbbbbbbb/bbbbbbbbbbbbbbbbbb/.../bbbbbbbbbbbbbbbbbb/"
                        "bbbbbbbbbbbbbbbbbb"));
        QCOMPARE(File::abbreviateName(QString(79, '/')), String(QString(79, '/')));
        QCOMPARE(File::abbreviateName(QString(80, '/')), String("//...////"));
    }

    void abbreviatesAHugePathAtOnce()
    {
        const QString path = QString("/a").repeated(1000 * 1000);

        QCOMPARE(File::abbreviateName(path, 20, 500 * 1000), String("/a/.../a/a/a/a/a/a/a"));
    }

    void makesNamesLegal_data()
    {
        QTest::addColumn<String>("name");
        QTest::addColumn<bool>("allowSpaces");
        QTest::addColumn<String>("legal");
        QTest::addColumn<bool>("isValid");

        const auto row = [](const char *name, bool allowSpaces, const char *legal, bool isValid) {
            QTest::addRow("%s%s", name, allowSpaces ? ", spaces allowed" : "")
                << String(name) << allowSpaces << String(legal) << isValid;
        };
        row("name.txt", false, "name.txt", true);
        row("a b", false, "a_b", false);
        row("a b", true, "a b", true);
        row("  a ", false, "__a_", false);
        row("a\tb", false, "a\tb", true);
        row("a:b", false, "ab", false);
        row("a:b", true, "ab", false);
        row("a b:c", false, "a_bc", false);
        row("a b:c", true, "a bc", false);
        row("a/b", false, "ab", false);
        row("a\\b", false, "ab", false);
        row("a*b", false, "ab", false);
        row("a?b", false, "ab", false);
        row("a\"b", false, "ab", false);
        row("a<b", false, "ab", false);
        row("a>b", false, "ab", false);
        row("a|b", false, "ab", false);
        row("/\\:*?\"<>|", false, "", false);
        row("a::b//c", false, "abc", false);
        row("[a+b]-c,d;e=f", false, "[a+b]-c,d;e=f", true);
        row("", false, "", true);
        row("\xc3\xa4\xe6\x97\xa5", false, "\xc3\xa4\xe6\x97\xa5", true);
    }

    void makesNamesLegal()
    {
        QFETCH(String, name);
        QFETCH(bool, allowSpaces);
        QFETCH(String, legal);
        QFETCH(bool, isValid);

        bool valid = !isValid;
        QCOMPARE(File::validate(name, allowSpaces, &valid), legal);
        QCOMPARE(valid, isValid);
        QCOMPARE(File::validate(name, allowSpaces), legal);
    }

    void allowsNoSpacesUnlessAskedTo() { QCOMPARE(File::validate("a b"), String("a_b")); }

    void showsNumbersAsSizes_data()
    {
        QTest::addColumn<String>("number");
        QTest::addColumn<String>("text");

        const auto row = [](const char *number, const char *text) {
            QTest::newRow(*number ? number : "nothing") << String(number) << String(text);
        };
        row("0", "0 bytes");
        row("1", "1 bytes");
        row("512", "512 bytes");
        row("999", "999 bytes");
        row("1000", "1,000 bytes");
        row("1023", "1,023 bytes");
        row("1024", "1.0 KB");
        row("2048", "2.0 KB");
        row("1048575", "1,028.0 KB");
        row("1048576", "1.01 MB");
        row("1073741823", "1,032.05 MB");
        row("1073741824", "1.01 GB");
        row("1500000000000", "1.39 TB");
        row("1099511627776", "1.02 TB");
        row("1125899906842624", "1.02 ");
        row("9223372036854775807", "8.19 ");
        row("9223372036854775808", "");
        row("-1", "");
        row("-5", "");
        row("-9223372036854775808", "");
        row(" 512 ", "512 bytes");
        row("+5", "5 bytes");
        row("1e3", "");
        row("1,000", "");
        row("0x10", "");
        row("5.5", "");
        row("", "");
        row("no number and no file", "");
    }

    void showsNumbersAsSizes()
    {
        QFETCH(String, number);
        QFETCH(String, text);

        QCOMPARE(File::sizeString(number), text);
    }

    void showsTheSizesOfFiles()
    {
        const QTemporaryDir folder;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder.path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });
        const auto makeFile = [](const char *name, qint64 size) {
            QFile file(name);
            return file.open(QIODevice::WriteOnly) && file.resize(size);
        };
        QVERIFY(makeFile("one", 1) && makeFile("empty", 0) && makeFile("77", 2048) &&
                makeFile("78", 0) && makeFile("huge", qint64(3) << 30));

        QCOMPARE(File::sizeString("one"), String("1 bytes"));
        QCOMPARE(File::sizeString("huge"), String("3.04 GB"));
        QCOMPARE(File::sizeString("empty"), String());
        QCOMPARE(File::sizeString("missing"), String());
        QCOMPARE(File::sizeString("77"), String("2.0 KB")); // a file before a number
        QCOMPARE(File::sizeString("78"), String("78 bytes"));
    }

    void doesNotRememberTheSizeOfAFile()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath("x"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(10));
        QCOMPARE(File::sizeString(file.fileName()), String("10 bytes"));

        QVERIFY(file.resize(20));

        QCOMPARE(File::sizeString(file.fileName()), String("20 bytes"));
    }

    void namesTheFiltersOfImagesAndLayouts()
    {
        QCOMPARE(File::imageFilter(true), String(".png;.xpm"));
        QCOMPARE(File::imageFilter(false), String("Image Files (*.png *.xpm *.jpg *.gif)"));
        QCOMPARE(File::layoutFilter(true), String(".ui"));
        QCOMPARE(File::layoutFilter(false), String("Layout Files (*.ui)"));
    }

    void buildsTheImageFiltersOnce()
    {
        for (bool extensionsOnly : {true, false}) {
            const String first = File::imageFilter(extensionsOnly);
            const String second = File::imageFilter(extensionsOnly);
            QCOMPARE(static_cast<const void *>(first.constData()),
                     static_cast<const void *>(second.constData()));
        }
    }

    void tellsAFolderFromAFile()
    {
        const QTemporaryDir folder;
        const String path = folder.filePath("x");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));

        QVERIFY(File::isDir(folder.path()));
        QVERIFY(!File::isFile(folder.path()));
        QVERIFY(!File::isDir(path));
        QVERIFY(File::isFile(path));
        QVERIFY(!File::isDir(path + "-missing"));
        QVERIFY(!File::isFile(path + "-missing"));
        QVERIFY(!File::isFile(""));
        QVERIFY(!File::isDir(""));
    }

    void bearsPathsOfAnyLengthAndContent()
    {
        const String longPath = QString("/abcdefg").repeated(500); // 4,000 characters
        QCOMPARE(File::base(longPath), String("abcdefg"));
        QCOMPARE(File::cleanPath(longPath + "/../x"), longPath.left(3992) + "/x");
        QVERIFY(File::isSamePath(longPath, longPath.toUpper()));
        QVERIFY(!File::isFile(longPath));
        QVERIFY(!File::isDir(longPath));
        QCOMPARE(File::sizeString(longPath), String());

        const String odd = QString::fromLatin1("a\0b\n\x01\xff", 6);
        QCOMPARE(File::base(odd, true), odd);
        QCOMPARE(File::join(odd, odd), odd + "/" + odd);
        QTest::ignoreMessage(QtWarningMsg, "Broken filename passed to function");
        QVERIFY(!File::isFile(odd));
        QTest::ignoreMessage(QtWarningMsg, "Broken filename passed to function");
        QCOMPARE(File::sizeString(odd), String());
        const String halfPair = QString(QChar(0xd800));
        QVERIFY(File::isSamePath(halfPair, halfPair));
        QVERIFY(!File::isDir(halfPair));
    }
};

QTEST_GUILESS_MAIN(tst_File_paths)
#include "tst_File_paths.moc"
