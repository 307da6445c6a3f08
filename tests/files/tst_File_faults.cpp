// Files where calls of the system fail.

#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/files/FileReader.h"

#include "tests/support/CallFault.h"
#include "tests/support/Files.h"
#include "tests/support/Limits.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Tree.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using Data::String;
using Utils::File;
using Utils::FileReader;

static const int longLine = 17 << 20; // bytes, which are left to a QTextStream

/// The reasons, as no texts are loaded.
static const String readFault = ".Kelm.Utils.err.readfault";
static const String noRight = ".Kelm.Utils.err.noread";

/// In a folder, besides its two entries "." and "..".
static const int fileCount = 8;

/// Of the entries of such a folder: two of them at least are files, and some files are left.
static const int partRead = 4;

/// An operation on a folder tree, from a source to a target.
using Tree = std::function<void(const String &source, const String &target)>;
Q_DECLARE_METATYPE(Tree)

/// While it lives, names of files are in another encoding, as by the locale.
class NamesIn
{
public:
    explicit NamesIn(const QByteArray &encoding)
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(encoding));
    }
    ~NamesIn() { QTextCodec::setCodecForLocale(m_before); }

    NamesIn(const NamesIn &) = delete;
    NamesIn &operator=(const NamesIn &) = delete;

private:
    QTextCodec *const m_before = QTextCodec::codecForLocale();
};

class tst_File_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void cleanup() { File::setSafeWriting(false); }

    // Copies and trees

    void copiesSafelyOrTellsWhyNot_data()
    {
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<bool>("exists"); // the target

        for (const char *const function :
             {"stat", "lstat", "fstat", "readlink", "open", "openat", "read", "write", "fsync",
              "linkat", "renameat", "access", "flock", "fchmod", "close"})
        {
            QTest::addRow("%s, over a file", function) << QByteArray(function) << true;
            QTest::addRow("%s, to a new file", function) << QByteArray(function) << false;
        }
    }

    void copiesSafelyOrTellsWhyNot()
    {
        QFETCH(QByteArray, function);
        QFETCH(bool, exists);
        const QString source = makeFile(path("source"), "new contents");
        QVERIFY(QFile::setPermissions(source, QFile::Permissions(0x6664)));
        const QString target = path("target");
        File::setSafeWriting(true);
        bool hasFailed = true;
        for (int n = 0; hasFailed && n < 50; ++n) {
            QFile::remove(target);
            if (exists)
                makeFile(target, "old");
            const QByteArray before = contentsOf(target);
            bool isCopied = false;
            {
                const CallFault fault(function, EIO, n, 1);
                isCopied = File::copy(source, target);
                hasFailed = fault.count() > 0;
            }
            const String reason = File::lastError();

            const QByteArray call = function + ' ' + QByteArray::number(n);
            const QByteArray after = contentsOf(target);
            const bool isNew = after == "new contents";
            QCOMPARE(isCopied, reason.isEmpty());
            QVERIFY2(isNew || after == before, call);
            QVERIFY2(!isCopied || isNew, call);
            QVERIFY2(!isNew || isCopied || reason.endsWith(".err.notflushed"), call);
            QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden).size(),
                     after == "cannot be opened" ? 1 : 2);
        }
        QVERIFY(!hasFailed);
    }

    void copiesInChunksWithFewWritesOrTellsWhyNot()
    {
        const QByteArray contents(3 << 20, 'x'); // 768 chunks
        const QString source = makeFile(path("source"), contents);
        const Utils::Progress popup(10, "", false, false, /*popup=*/true);
        {
            const CallFault fault("write", ENOSPC, 48);
            QVERIFY(File::copy(source, path("whole")));
            QCOMPARE(fault.count(), 0);
        }
        QVERIFY(contentsOf(path("whole")) == contents);
        bool isCopied = true;
        {
            const CallFault fault("write", ENOSPC, 47);
            const CallFault noOtherWay("sendfile", ENOSPC);
            isCopied = File::copy(source, path("target"));
        }

        QVERIFY(!isCopied);
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.diskfull"));
        QVERIFY(!QFile::exists(path("target")));
    }

    void movesNothingToADriveThatIsFullAtTheEnd_data()
    {
        QTest::addColumn<bool>("flush");
        QTest::addColumn<bool>("hasNames");       // for all files: it has none without a name
        QTest::addColumn<QByteArray>("function"); // that reports it

        for (const bool flush : {false, true}) {
            for (const bool hasNames : {false, true}) {
                for (const char *const function : {"fsync", "close"})
                    QTest::addRow("%s, flush %d, names %d", function, flush, hasNames)
                        << flush << hasNames << QByteArray(function);
            }
        }
    }

    void movesNothingToADriveThatIsFullAtTheEnd()
    {
        QFETCH(bool, flush);
        QFETCH(bool, hasNames);
        QFETCH(QByteArray, function);
        const QString source = makeFile(path("source"), "new");
        const QString target = makeFile(path("target"), "old");
        File::setSafeWriting(true, flush);
        {
            const CallFault isApart("rename", EXDEV);
            const CallFault hasNoProc("access", ENOENT, hasNames ? 0 : CallFault::forever);
            const CallFault full(function, ENOSPC);
            File::move(source, target);
            QVERIFY(full.count() > 0);
        }

        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.diskfull"));
        QCOMPARE(contentsOf(source), QByteArray("new"));
        QCOMPARE(contentsOf(target), QByteArray("old"));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList({"source", "target"}));
    }

    void copiesNothingThatMayBeTheTarget()
    {
        QVERIFY(QFile::link("loop", path("loop")));
        const QString target = makeFile(path("target"), "old");
        File::setSafeWriting(true);

        QVERIFY(!File::copy(path("loop"), target));

        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.copy"));
        QCOMPARE(contentsOf(target), QByteArray("old"));
    }

    void removesNoLinkThatTheSystemKeeps_data()
    {
        QTest::addColumn<QString>("removed");

        QTest::addColumn<QByteArray>("function");

        QTest::newRow("by its name") << "folder/link" << QByteArray("unlink");
        QTest::newRow("with all in its folder") << "folder/*" << QByteArray("unlinkat");
    }

    void removesNoLinkThatTheSystemKeeps()
    {
        QFETCH(QString, removed);
        QFETCH(QByteArray, function);
        makeFile(path("below/file"));
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));
        QVERIFY(QFile::link("../below", path("folder/link")));
        int count = -1;
        {
            const CallFault fault(function, EACCES);
            count = File::remove(path(removed));
        }

        QCOMPARE(count, 0);
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.nowrite"));
        QVERIFY(QFileInfo(path("folder/link")).isSymLink());
        QVERIFY(QFile::exists(path("below/file")));
        QCOMPARE(File::remove(path(removed)), 1);
    }

    void removesNoFolderThatTheSystemKeeps()
    {
        makeFile(path("folder/below/file"));
        int count = -1;
        {
            const CallFault fault("unlinkat", EBUSY, 1);
            count = File::remove(path("folder/*"));
        }

        QCOMPARE(count, 1); // the file
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.rmdir"));
        QVERIFY(QDir(path("folder/below")).exists());
    }

    void removesNoFolderThatMayBeALink_data()
    {
        QTest::addColumn<QString>("removed");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<bool>("isLink");

        for (const bool isLink : {false, true}) {
            QTest::addRow("by its name, a %s", isLink ? "link" : "folder")
                << "folder/below" << QByteArray("lstat") << isLink;
            QTest::addRow("with all in its folder, a %s", isLink ? "link" : "folder")
                << "folder/*" << QByteArray("fstatat") << isLink;
        }
    }

    void removesNoFolderThatMayBeALink()
    {
        QFETCH(QString, removed);
        QFETCH(QByteArray, function);
        QFETCH(bool, isLink);
        makeFile(path("other/file"));
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));
        QVERIFY(isLink ? QFile::link("../other", path("folder/below"))
                       : QDir().rename(path("other"), path("folder/below")));
        int count = -1;
        {
            // The first call for a link is of the listing, and finds out what the link leads to.
            const int first = isLink && function == "fstatat" ? 1 : 0;
            const CallFault fault(function, EACCES, first);
            count = File::remove(path(removed));
        }

        QCOMPARE(count, 0);
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.rmdir"));
        QVERIFY(QFile::exists(path("folder/below/file")));
    }

    void removesNothingElsewhereWhenAFolderIsExchanged_data()
    {
        QTest::addColumn<QString>("removed");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<QByteArray>("encoding"); // of names

        for (const char *const function : {"open", "openat", "opendir", "readdir", "stat", "lstat",
                                           "fstat", "fstatat", "unlink", "unlinkat", "rmdir"})
        {
            for (const char *const encoding : {"UTF-8", "ISO-8859-1"}) {
                QTest::addRow("all, at %s, %s", function, encoding)
                    << "work/*" << QByteArray(function) << QByteArray(encoding);
                QTest::addRow("a folder, at %s, %s", function, encoding)
                    << "work/sub" << QByteArray(function) << QByteArray(encoding);
            }
        }
    }

    void removesNothingElsewhereWhenAFolderIsExchanged()
    {
        QFETCH(QString, removed);
        QFETCH(QByteArray, function);
        QFETCH(QByteArray, encoding);
        const NamesIn names(encoding);
        bool happens = true;
        for (int n = 0; happens && n < 100; ++n) {
            for (const char *const folder : {"work/sub", "work/sub/below"})
                QDir(path(folder)).removeRecursively();
            for (const char *const file :
                 {"work/sub/a", "work/sub/below/a", "kept/a", "kept/below/a"})
                makeFile(path(file));
            {
                // Another process puts a link to "kept" in the place of the folder.
                const CallFault exchange(
                    function,
                    [&] {
                        QDir().rename(path("work/sub"), path("moved"));
                        QFile::link("../kept", path("work/sub"));
                    },
                    n);
                File::remove(path(removed));
                happens = exchange.count() > 0;
            }
            QVERIFY2(QFile::exists(path("kept/a")), QByteArray::number(n));
            QVERIFY2(QFile::exists(path("kept/below/a")), QByteArray::number(n));
            QFile::remove(path("work/sub"));
            QDir(path("moved")).removeRecursively();
        }
        QVERIFY(!happens);
    }

    void removesTheSameInEachEncodingOfNames_data()
    {
        QTest::addColumn<QString>("removed");
        QTest::addColumn<QString>("exceptions");

        for (const char *const removed :
             {"top/*", "top/./*", "top", "top/sub", "top/sub/", "top/link/*", "top/link",
              "top/file", "top/none/*", "top/file/*", "top/empty/*", "top/empty", "top/locked/*",
              "top/sub/*"})
            QTest::newRow(removed) << removed << "";
        QTest::newRow("but a name") << "top/*"
                                    << "sub";
        QTest::newRow("but a pattern") << "top/*"
                                       << "*l*";
        QTest::newRow("but what no expression matches") << "top/*"
                                                        << "[k*";
        QTest::newRow("but a list") << "top/*"
                                    << "file\nlink\n\nnone";
    }

    void removesTheSameInEachEncodingOfNames()
    {
        QFETCH(QString, removed);
        QFETCH(QString, exceptions);
        QStringList results;
        for (const char *const encoding : {"UTF-8", "ISO-8859-1", "Shift_JIS"}) {
            const NamesIn names(encoding);
            makeVariety();
            const int count = File::remove(path(removed), exceptions);
            results.append(QString::number(count) + ' ' + File::lastError() + ' ' +
                           tree(m_folder->path()).join(' '));
            chmod(QFile::encodeName(path("top/locked")), 0755);
            QDir(m_folder->path() + "/top").removeRecursively();
            QDir(m_folder->path() + "/other").removeRecursively();
        }

        QCOMPARE(results.at(1), results.at(0));
        QCOMPARE(results.at(2), results.at(0));
    }

    void removesByNamesInTheEncodingOfTheLocale_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        QTest::addColumn<String>("exceptions"); // so that there is a list of names
        QTest::addColumn<QList<QByteArray>>("removed");
        QTest::addColumn<QList<QByteArray>>("kept");

        using Names = QList<QByteArray>;
        QTest::newRow("UTF-8") << QByteArray("UTF-8") << String(QStringLiteral("\u00E9\n"))
                               << Names{"\xc3\xa9t\xc3\xa9", "a"} << Names{"\xc3\xa9", "\xe9"};
        QTest::newRow("Latin") << QByteArray("ISO-8859-1") << String(QStringLiteral("\u00E9\n"))
                               << Names{"\xc3\xa9", "\xe9t\xe9", "\x81", "a"} << Names{"\xe9"};
        // A byte without a character, which Qt writes as "?".
        QTest::newRow("Greek") << QByteArray("ISO-8859-7") << String("?\n") << Names{"\xe9", "a"}
                               << Names{"\xae", "?"};
        // The first byte of two, which Qt leaves out.
        QTest::newRow("Japanese") << QByteArray("Shift_JIS") << String("a\n")
                                  << Names{"\x83\x41", "\xb1"} << Names{"a\xe9", "a"};
    }

    void removesByNamesInTheEncodingOfTheLocale()
    {
        QFETCH(QByteArray, encoding);
        QFETCH(String, exceptions);
        QFETCH(QList<QByteArray>, removed);
        QFETCH(QList<QByteArray>, kept);
        const QByteArray top = QFile::encodeName(path("top/"));
        QVERIFY(QDir(m_folder->path()).mkdir("top"));
        for (const QByteArray &name : removed + kept) {
            for (const QByteArray &folder : {name, name + "/sub"})
                QCOMPARE(mkdir(top + folder, 0755), 0);
            const int file = open(top + name + "/sub/" + name, O_CREAT | O_WRONLY, 0644);
            QVERIFY(file >= 0);
            close(file);
        }
        int count = -1;
        {
            const NamesIn names(encoding);
            count = File::remove(path("top/*"), exceptions);
        }

        QCOMPARE(count, 3 * removed.size());
        QCOMPARE(File::lastError(), String());
        for (const QByteArray &name : removed)
            QVERIFY2(access(top + name, F_OK) != 0, name.toHex());
        for (const QByteArray &name : kept)
            QVERIFY2(access(top + name + "/sub/" + name, F_OK) == 0, name.toHex());
        // Otherwise the temporary folder would stay.
        const NamesIn names("ISO-8859-1");
        QVERIFY(QDir(path("top")).removeRecursively());
    }

    void removesADeepTreeWithFewDescriptors_data()
    {
        QTest::addColumn<int>("depth");

        for (const int depth : {1, 2, 7, 8, 9, 10, 11, 100})
            QTest::newRow(QByteArray::number(depth)) << depth;
    }

    void removesADeepTreeWithFewDescriptors()
    {
        QFETCH(int, depth);
        makeDeepTree(depth);

        const int next = dup(0);
        close(next);
        int count = -1;
        {
            const Limit two(RLIMIT_NOFILE, rlim_t(next) + 2); // a folder, and one in it
            count = File::remove(path("top/*"));
        }

        QCOMPARE(count, 4 * depth);
        QCOMPARE(File::lastError(), String());
        QCOMPARE(tree(m_folder->path()), QStringList("top/"));
    }

    void leavesDescriptorsToOthersInADeepTree()
    {
        const int depth = 60;
        makeDeepTree(depth);
        const auto countOpen = [] {
            return QDir("/proc/self/fd").entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size();
        };
        const int before = countOpen();
        int most = 0;
        // The files of the last folders are removed while all above them are in use.
        std::vector<std::unique_ptr<CallFault>> looks;
        for (int i = 0; i < depth; ++i)
            looks.push_back(std::make_unique<CallFault>(
                "unlinkat", [&] { most = std::max(most, countOpen() - before); }, i));
        QCOMPARE(File::remove(path("top/*")), 4 * depth);
        while (!looks.empty())
            looks.pop_back();

        QVERIFY2(most > 0 && most <= 10, QByteArray::number(most));
    }

    /// Others need all descriptors for a moment.
    void tellsWhatAMomentWithoutDescriptorsKeeps()
    {
        const int depth = 10;
        int kept = 0;
        bool hasFailed = true;
        for (int n = 0; hasFailed && n < 1000; ++n) {
            makeDeepTree(depth);
            int count = -1;
            {
                // The second call is the one with the descriptors of the folders above.
                const CallFault fault("openat", EMFILE, n, 2);
                count = File::remove(path("top/*"));
                hasFailed = fault.count() > 0;
            }
            const int left = tree(path("top")).size();
            QCOMPARE(count, 4 * depth - left);
            QCOMPARE(File::lastError().isEmpty(), left == 0);
            kept += left > 0;
            QCOMPARE(File::remove(path("top/*")), left);
        }
        QVERIFY(!hasFailed);
        QVERIFY(kept > 0);
    }

    void goesOnInAFolderAfterAMomentWithoutDescriptors()
    {
        const QString folder = "top/1/2/3/4/5/6/7/8/9/10";
        makeFile(path(folder + "/a/file"));
        makeFile(path(folder + "/b/file"));
        int count = -1;
        {
            // When one of the two is to be removed, after the 12 folders were opened.
            const CallFault fault("openat", EMFILE, 12, 2);
            count = File::remove(path("top/*"));
            QCOMPARE(fault.count(), 2);
        }

        QCOMPARE(count, 3); // the files, and the other folder
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.rmdir"));
        QCOMPARE(File::remove(path("top/*")), 11);
    }

    void leavesAFolderOnItsWayThatIsExchangedInADeepTree()
    {
        QString folder = "top";
        for (int i = 0; i < 40; ++i)
            folder += "/d";
        makeFile(path(folder + "/file"));
        QVERIFY(QDir(m_folder->path()).mkpath("kept/d/d/d/d/d"));
        QString upper = "top";
        for (int i = 0; i < 35; ++i)
            upper += "/d";
        {
            // When the first file is removed, the folders above it are closed.
            const CallFault exchange("unlinkat", [&] {
                QDir().rename(path(upper), path("moved"));
                QFile::link(path("kept"), path(upper));
            });
            File::remove(path("top/*"));
            QCOMPARE(exchange.count(), 1);
        }

        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.rmdir"));
        QVERIFY(QDir(path("kept/d/d/d/d/d")).exists());
        QVERIFY(QDir(path("moved")).exists());
    }

    // Folders that cannot be listed, or only in part

    void removesWhatIsListedAndTellsOfTheRest_data()
    {
        QTest::addColumn<QString>("removed");
        addListings();
        addListingRows({"folder/*", "folder/*.txt", "folder"});
    }

    void removesWhatIsListedAndTellsOfTheRest()
    {
        QFETCH(QString, removed);
        QFETCH(QByteArray, function);
        QFETCH(int, first);
        QFETCH(String, reason);
        makeFiles("folder");
        int count = -1;
        {
            // A folder stays open while it is cleared; a search closes it before.
            const bool isCleared = function == "opendir" && !removed.endsWith(".txt");
            const CallFault fault(isCleared ? "openat" : function.constData(), faultOf(function),
                                  first);
            count = File::remove(path(removed));
        }

        const int left = filesIn("folder");
        QCOMPARE(File::lastError(), reason);
        QCOMPARE(count, fileCount - left);
        QVERIFY(first > 0 ? left > 0 && left < fileCount : left == fileCount);
        QCOMPARE(File::remove(path("folder/*")), left);
        QCOMPARE(File::lastError(), String());
    }

    void keepsTheExceptionsOfAListingThatBreaksOff()
    {
        makeFiles("folder");
        {
            const CallFault fault("readdir", EIO, partRead);
            QVERIFY(File::remove(path("folder/*"), "?.txt") == 0);
        }

        QCOMPARE(File::lastError(), readFault);
        QCOMPARE(filesIn("folder"), fileCount);
    }

    void removesNoFolderBelowThatCannotBeListed_data()
    {
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("first");
        QTest::addColumn<String>("reason");

        QTest::newRow("not opened") << QByteArray("openat") << 1 << noRight;
        // The folder above has three entries, and an end.
        QTest::newRow("nothing read") << QByteArray("readdir") << 4 << readFault;
    }

    void removesNoFolderBelowThatCannotBeListed()
    {
        QFETCH(QByteArray, function);
        QFETCH(int, first);
        QFETCH(String, reason);
        makeFiles("top/below");
        int count = -1;
        {
            const CallFault fault(function, faultOf(function), first);
            count = File::remove(path("top/*"));
        }

        QCOMPARE(count, 0);
        QCOMPARE(File::lastError(), reason);
        QCOMPARE(filesIn("top/below"), fileCount);
    }

    void removesAnEmptyFolderThatCannotBeListed_data()
    {
        QTest::addColumn<QString>("removed");
        QTest::addColumn<int>("first"); // of the folders that cannot be opened

        QTest::newRow("by its name") << "top/below" << 0;
        QTest::newRow("with all in the folder above") << "top/*" << 1;
    }

    void removesAnEmptyFolderThatCannotBeListed()
    {
        QFETCH(QString, removed);
        QFETCH(int, first);
        QVERIFY(QDir(m_folder->path()).mkpath("top/below"));
        int count = -1;
        {
            const CallFault fault("openat", EACCES, first);
            count = File::remove(path(removed));
            QCOMPARE(fault.count(), 1);
        }

        QCOMPARE(count, 1);
        QCOMPARE(File::lastError(), String()); // nothing is left
        QVERIFY(!QFileInfo::exists(path("top/below")));
    }

    void copiesWhatIsListedAndTellsOfTheRest_data()
    {
        QTest::addColumn<QString>("source");
        addListings();
        addListingRows({"from", "fro*"});
    }

    void copiesWhatIsListedAndTellsOfTheRest()
    {
        QFETCH(QString, source);
        QFETCH(QByteArray, function);
        QFETCH(int, first);
        QFETCH(String, reason);
        makeFiles("from");
        QVERIFY(QDir(m_folder->path()).mkdir("to"));
        // Before that the folder above is listed: with two entries of its own, and an end.
        const bool isPattern = source.contains('*');
        const int before = !isPattern ? 0 : function == "opendir" ? 1 : 5;
        int result = -1;
        {
            const CallFault fault(function, faultOf(function), before + first);
            result = File::copyDir(path(source), path("to"));
        }

        const int copied = filesIn("to/from");
        QCOMPARE(File::lastError(), reason);
        QCOMPARE(result, copied > 0 ? 1 : 0);
        QVERIFY(first > 0 ? copied > 0 && copied < fileCount : copied == 0);
        QCOMPARE(File::copyDir(path(source), path("to")), 1);
        QCOMPARE(File::lastError(), String());
        QCOMPARE(filesIn("to/from"), fileCount);
    }

    void tellsNoFailureOfATreeThatIsCopied_data()
    {
        QTest::addColumn<bool>("exists"); // the target

        QTest::newRow("new") << false;
        QTest::newRow("into a folder") << true;
    }

    void tellsNoFailureOfATreeThatIsCopied()
    {
        QFETCH(bool, exists);
        makeFile(path("from/file"), "text");
        makeFile(path("from/below/file"), "text");
        int whole = 0;
        bool hasFailed = true;
        for (int n = 0; hasFailed && n < 100; ++n) {
            QDir(path("to")).removeRecursively();
            if (exists)
                QVERIFY(QDir(m_folder->path()).mkpath("to/from"));
            {
                const CallFault fault("statx", EACCES, n, 1);
                File::copyDir(path("from"), path("to"));
                hasFailed = fault.count() > 0;
            }
            const bool isWhole = filesIn("to/from") == 1 && filesIn("to/from/below") == 1;
            QCOMPARE(File::lastError().isEmpty(), isWhole);
            whole += isWhole ? 1 : 0;
        }
        QVERIFY(!hasFailed);
        QVERIFY(whole > 3);
    }

    void tellsOfAFolderBelowThatIsNotCopied()
    {
        makeFile(path("from/file"));
        makeFile(path("from/below/file"));
        int result = -1;
        {
            const CallFault fault("opendir", EACCES, 1);
            result = File::copyDir(path("from"), path("to"));
        }

        QCOMPARE(result, 1);
        QCOMPARE(File::lastError(), noRight);
        QVERIFY(QFile::exists(path("to/from/file")));
        QCOMPARE(filesIn("to/from/below"), 0);
    }

    void findsNoFoldersForAPatternWhereNoneCanBeListed_data()
    {
        QTest::addColumn<Tree>("operation");

        QTest::newRow("File::copyDir") << Tree([](const String &source, const String &target) {
            QCOMPARE(File::copyDir(source, target), 0);
        });
        QTest::newRow("File::moveDir") << Tree(&File::moveDir);
    }

    void findsNoFoldersForAPatternWhereNoneCanBeListed()
    {
        QFETCH(Tree, operation);
        makeFile(path("top/from/file"));
        {
            const CallFault fault("opendir", EACCES, 0, 1);
            operation(path("top/*"), path("to"));
        }

        QCOMPARE(File::lastError(), noRight);
        QVERIFY(QFile::exists(path("top/from/file")));
        QVERIFY(!QFile::exists(path("to")));
    }

    void searchesWhatIsListedAndTellsOfTheRest_data()
    {
        QTest::addColumn<bool>("isRecursive");
        addListings();
        for (const bool isRecursive : {false, true}) {
            const char *const name = isRecursive ? "recursive" : "one folder";
            QTest::addRow("%s, not opened", name)
                << isRecursive << QByteArray("opendir") << 0 << noRight;
            QTest::addRow("%s, nothing read", name)
                << isRecursive << QByteArray("readdir") << 0 << readFault;
            QTest::addRow("%s, a part read", name)
                << isRecursive << QByteArray("readdir") << partRead << readFault;
        }
    }

    void searchesWhatIsListedAndTellsOfTheRest()
    {
        QFETCH(bool, isRecursive);
        QFETCH(QByteArray, function);
        QFETCH(int, first);
        QFETCH(String, reason);
        makeFiles("folder");
        QStringList found;
        {
            const CallFault fault(function, faultOf(function), first, 1);
            found = File::search(path("folder"), "*.txt", isRecursive);
        }

        QCOMPARE(File::lastError(), reason);
        QVERIFY(first > 0 ? !found.isEmpty() && found.size() < fileCount : found.isEmpty());
        QCOMPARE(File::search(path("folder"), "*.txt", isRecursive).size(), fileCount);
        QCOMPARE(File::lastError(), String());
    }

    void findsAFileBeforeAListingBreaksOff()
    {
        makeFiles("folder");
        {
            const CallFault fault("readdir", EIO, partRead);
            QVERIFY(!File::find(path("folder"), "*").isEmpty()); // it is not listed further
        }
        QCOMPARE(File::lastError(), String());
        {
            const CallFault fault("readdir", EIO, partRead);
            QCOMPARE(File::find(path("folder"), "none"), String());
        }
        QCOMPARE(File::lastError(), readFault);
    }

    void findsATextInWhatIsListed()
    {
        makeFiles("folder");
        {
            const CallFault fault("readdir", EIO, partRead);
            QVERIFY(!File::searchInFiles("text", path("folder"), "*").isEmpty());
        }
        QCOMPARE(File::lastError(), String());
        {
            const CallFault fault("readdir", EIO, partRead);
            QCOMPARE(File::searchInFiles("word", path("folder"), "*"), String());
        }
        QCOMPARE(File::lastError(), readFault);
    }

    void passesOverAFolderBelowThatCannotBeSearched()
    {
        makeFiles("folder");
        makeFile(path("folder/below/file.txt"));
        QStringList found;
        {
            const CallFault fault("opendir", EACCES, 1);
            found = File::search(path("folder"), "*.txt");
        }

        QCOMPARE(found.size(), fileCount);
        QCOMPARE(File::lastError(), String());
    }

    void keepsTheReasonWhenAPatternCannotBeLookedFor()
    {
        makeFiles("folder");
        QCOMPARE(File::read(path("none")), String());
        {
            const CallFault fault("opendir", EACCES);
            QVERIFY(!File::exists(path("folder/*.txt")));
        }
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.nofile"));
    }

    void createsNoFolderThatTheSystemOnlyPromises()
    {
        bool isCreated = true;
        {
            const CallFault fault("mkdir", 0);
            isCreated = File::createDir(path("folder/below"));
        }

        QVERIFY(!isCreated);
        QCOMPARE(File::lastError(), String(".Kelm.Utils.err.createdir"));
        QVERIFY(!QDir(path("folder")).exists());
        QVERIFY(File::createDir(path("folder/below")));
    }

    // Contents

    void readsNoEndThatItCannotGoTo_data()
    {
        QTest::addColumn<int>("first"); // of the calls that fail

        QTest::newRow("to search it") << 0;
        QTest::newRow("to read it") << 1;
    }

    void readsNoEndThatItCannotGoTo()
    {
        QFETCH(int, first);
        const QString file = makeFile(path("file"), QByteArray("a line\n").repeated(100000));
        String text;
        {
            const CallFault fault("lseek64", EIO, first);
            text = File::read(file, -3);
            QVERIFY(fault.count() > 0);
        }

        QCOMPARE(text, String());
        QCOMPARE(File::lastError(), readFault);
    }

    void readsAnEncodingDespiteASeekThatFails()
    {
        const QByteArray contents = QByteArray(100000, 'x') + "\xe4x";
        const QString file = makeFile(path("file"), contents);
        String text;
        {
            const CallFault fault("lseek64", EIO, 0, 1);
            text = File::read(file, "auto");
            QVERIFY(fault.count() > 0);
        }

        QVERIFY(text == String(QString::fromLatin1(contents)));
        QCOMPARE(File::lastError(), String());
    }

    void readsNothingInAnEncodingWhereAReadFails_data()
    {
        QTest::addColumn<String>("encoding");
        QTest::addColumn<int>("size");

        QTest::newRow("a small file") << String("windows-1252") << 1000;
        QTest::newRow("a large file") << String("windows-1252") << 100000;
        QTest::newRow("a small file, auto") << String("auto") << 1000;
        QTest::newRow("a large file, auto") << String("auto") << 100000;
    }

    void readsNothingInAnEncodingWhereAReadFails()
    {
        QFETCH(String, encoding);
        QFETCH(int, size);
        const QString file = makeFile(path("file"), QByteArray(size, '\xe4'));
        bool hasFailed = true;
        int n = 0;
        for (; hasFailed && n < 50; ++n) {
            String text;
            {
                const CallFault fault("read", EIO, n);
                text = File::read(file, encoding);
                hasFailed = fault.count() > 0;
            }
            QCOMPARE(File::lastError(), hasFailed ? readFault : String());
            QCOMPARE(text.size(), hasFailed ? 0 : size);
        }
        QVERIFY(!hasFailed && n > 1);
    }

    void findsNoEncodingWhereAReadFails()
    {
        const QString file = makeFile(path("file"), QByteArray(600000, 'x'));
        for (const int first : {0, 1}) {
            bool isGuess = false;
            String encoding;
            {
                const CallFault fault("read", EIO, first);
                encoding = File::encoding(file, &isGuess);
                QVERIFY(fault.count() > 0);
            }
            QCOMPARE(encoding, String());
            QVERIFY(isGuess);
            QCOMPARE(File::lastError(), readFault);
        }
    }

    void readsNothingInAnEncodingWithoutAFile_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<String>("reason");

        QTest::newRow("no name") << QString() << String(".Kelm.Utils.err.noname");
        QTest::newRow("missing") << "/nowhere/file" << String(".Kelm.Utils.err.nofile");
        QTest::newRow("a folder") << QDir::rootPath() << String(".Kelm.Utils.err.isfolder");
    }

    void readsNothingInAnEncodingWithoutAFile()
    {
        QFETCH(QString, name);
        QFETCH(String, reason);
        for (const char *const encoding : {"windows-1252", "auto"}) {
            QCOMPARE(File::read(name, encoding), String());
            QCOMPARE(File::lastError(), reason);
        }
    }

    void hasNoTimeOfWhatCannotBeExamined()
    {
        const QString file = makeFile(path("file"));
        {
            const CallFault fault("stat", EACCES);
            QCOMPARE(File::timestampString(file, ""), String());
            QCOMPARE(File::timestamp(file), 0u);
            QCOMPARE(fault.count(), 2);
        }
        QVERIFY(!File::timestampString(file, "").isEmpty());
    }

    // Readers of lines

    void readerEndsWhereItCannotGoOn_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("first"); // of the calls that fail

        const QByteArray line(longLine, 'x');
        QTest::newRow("to the start of UTF-16") << encodedUtf16() << QByteArray("lseek64") << 0;
        QTest::newRow("to a long line") << line << QByteArray("lseek64") << 0;
        QTest::newRow("in a long line") << line << QByteArray("read") << 300;
    }

    void readerEndsWhereItCannotGoOn()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, function);
        QFETCH(int, first);
        FileReader reader(makeFile(path("file"), contents));
        String line = "as before";
        bool isRead = true;
        {
            const CallFault fault(function, EIO, first);
            isRead = reader.readLine(line, /*trim=*/false);
            QVERIFY(fault.count() > 0);
        }

        QVERIFY(!isRead);
        QCOMPARE(line, String());
        QVERIFY(!reader.readLine(line, /*trim=*/false)); // also when the system works again
        QCOMPARE(reader.lineCount(), 0);
    }

    void readerReadsALongFirstLine_data()
    {
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<String>("encoding"); // "" for none
        QTest::addColumn<QString>("text");

        QTest::newRow("UTF-8") << QByteArray("\xc3\xa4") << String() << QStringLiteral("\u00E4");
        QTest::newRow("with a mark")
            << QByteArray("\xef\xbb\xbf\xc3\xa4") << String() << QStringLiteral("\u00E4");
        QTest::newRow("another encoding")
            << QByteArray("\x80") << String("windows-1252") << QStringLiteral("\u20AC");
    }

    void readerReadsALongFirstLine()
    {
        QFETCH(QByteArray, start);
        QFETCH(String, encoding);
        QFETCH(QString, text);
        const QString file =
            makeFile(path("file"), start + QByteArray(longLine, 'x') + "\nlast " + start.right(1));

        const auto reader = makeReader(file, encoding);
        const String first = reader->nextLine();
        const String last = reader->nextLine();

        QCOMPARE(first.size(), text.size() + longLine);
        QVERIFY(first.startsWith(text));
        QVERIFY(last.startsWith("last "));
        if (!encoding.isEmpty())
            QCOMPARE(last, String("last " + text));
        QCOMPARE(reader->lineCount(), 2);
    }

    void readerIsNotOpenWhereTheEncodingCannotBeRead()
    {
        const QString file = makeFile(path("file"), "text\n");
        bool isOpen = true;
        {
            const CallFault fault("read", EIO);
            isOpen = FileReader(file, "auto").isOpen();
            QVERIFY(fault.count() > 0);
        }

        QVERIFY(!isOpen);
        QCOMPARE(File::lastError(), readFault);
    }

    void readerReadsAPipeInItsEncoding_data()
    {
        QTest::addColumn<QByteArray>("contents");

        QTest::newRow("UTF-8") << QByteArray("gr\xc3\xbc\xc3\x9f\nl\xc3\xa4nger\nf\xc3\xbcr\n");
        QTest::newRow("windows-1252") << QByteArray("gr\xfc\xdf\nl\xe4nger\nf\xfcr\n");
    }

    void readerReadsAPipeInItsEncoding()
    {
        QFETCH(QByteArray, contents);
        const QString pipe = path("pipe");
        QCOMPARE(mkfifo(QFile::encodeName(pipe), 0600), 0);
        std::thread writer([&] {
            const int file = open(QFile::encodeName(pipe), O_WRONLY);
            (void)!write(file, contents.constData(), std::size_t(contents.size()));
            close(file);
        });

        FileReader reader(pipe, "auto");
        writer.join();
        QStringList lines;
        String line;
        while (reader.readLine(line, /*trim=*/false))
            lines.append(line);

        QCOMPARE(lines, QStringList({QStringLiteral("gr\u00FC\u00DF"),
                                     QStringLiteral("l\u00E4nger"), QStringLiteral("f\u00FCr")}));
        QCOMPARE(reader.lineCount(), 3);
    }

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }

    /// Makes as many files as fileCount in a folder.
    void makeFiles(const QString &folder) const
    {
        for (int i = 0; i < fileCount; ++i)
            makeFile(path(folder + '/' + QString::number(i) + ".txt"), "text");
    }

    int filesIn(const QString &folder) const
    {
        return QDir(path(folder)).entryList(QDir::Files).size();
    }

    /// How the listing of a folder fails: from the call number "first" of "function" on.
    static void addListings()
    {
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("first");
        QTest::addColumn<String>("reason");
    }

    static void addListingRows(const QStringList &paths)
    {
        for (const QString &path : paths) {
            const QByteArray name = path.toUtf8();
            QTest::addRow("%s, not opened", name.constData())
                << path << QByteArray("opendir") << 0 << noRight;
            QTest::addRow("%s, nothing read", name.constData())
                << path << QByteArray("readdir") << 0 << readFault;
            QTest::addRow("%s, a part read", name.constData())
                << path << QByteArray("readdir") << partRead << readFault;
        }
    }

    static int faultOf(const QByteArray &function)
    {
        return function == "opendir" || function == "openat" ? EACCES : EIO;
    }

    /// A folder "top" with entries of each kind.
    void makeVariety() const
    {
        for (const char *const name :
             {"top/file", "top/b.txt", "top/.hidden", "top/sub/file", "top/sub/deeper/file",
              "top/sub/.hidden/file", "top/locked/file", "other/file", "other/sub/file"})
            makeFile(path(name));
        QDir(path("top")).mkdir("empty");
        QFile::link("../other", path("top/link"));
        QFile::link("../../other/file", path("top/sub/link"));
        QFile::link("nowhere", path("top/broken"));
        QFile::link("/dev/null", path("top/device"));
        mkfifo(QFile::encodeName(path("top/pipe")), 0600);
    }

    /// A folder "top" with \p depth folders in each other: four entries for each, itself and two
    /// files and a folder in it.
    void makeDeepTree(int depth) const
    {
        QString folder = "top";
        for (int i = 0; i < depth; ++i) {
            folder += "/d";
            makeFile(path(folder + "/file"));
            makeFile(path(folder + "/e/file"));
        }
    }

    static std::unique_ptr<FileReader> makeReader(const QString &path, const String &encoding)
    {
        return encoding.isEmpty() ? std::make_unique<FileReader>(path)
                                  : std::make_unique<FileReader>(path, encoding);
    }

    static QByteArray encodedUtf16()
    {
        return QByteArray("\xff\xfe"
                          "a\0\n\0b\0",
                          8);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_File_faults)
#include "tst_File_faults.moc"
