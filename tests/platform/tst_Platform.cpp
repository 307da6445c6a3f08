#include "utils/platform/Platform.h"

#include "tests/support/Limits.h"
#include "tests/support/Qemu.h"
#include "tests/support/Stack.h"

#include <QDomDocument>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include <alloca.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Platform = Utils::Platform;
using namespace std::chrono_literals;

/// The free stack after \p size more bytes of it are used.
Q_NEVER_INLINE static std::size_t freeStackBelow(std::size_t size)
{
    static void *volatile used; // known elsewhere, so that the compiler keeps them
    used = alloca(size);
    return used ? Platform::freeStack() : 0;
}

/// Writes to the file of its name when the thread ends, as what a host has for its exit.
struct Trace
{
    QByteArray path;
    ~Trace()
    {
        QFile file(path);
        if (!path.isEmpty() && file.open(QIODevice::WriteOnly))
            file.write("left");
    }
};
static thread_local Trace threadTrace;
static Trace processTrace;

Q_DECLARE_METATYPE(std::function<bool()>)
Q_DECLARE_METATYPE(std::function<void(int)>)

class tst_Platform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    // The first one, as a stack that is as large as wanted stays.
    void callsOnAsLargeAStackAsTheProcessMayHave()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const std::size_t own = freeStack();
        QVERIFY(own > 0);
        QVERIFY(own <= 64 * mebibyte);
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + 20 * mebibyte);
            QVERIFY(deepStackSize() <= own);
        }
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + 1000 * mebibyte);
            QVERIFY(deepStackSize() > 300 * mebibyte);
            QVERIFY(deepStackSize() < 400 * mebibyte); // the rest is for others
        }
        QVERIFY(deepStackSize() > 2000 * mebibyte);
        QVERIFY(freeStack() <= own);
    }

    void callsOnTheSameThread()
    {
        std::thread::id caller;
        const auto function = [&] { caller = std::this_thread::get_id(); };

        callOnDeepStack(function);

        QCOMPARE(caller, std::this_thread::get_id());
    }

    void staysOnTheStackInACallWithinACall()
    {
        std::size_t outer = 0;
        std::size_t inner = 0;
        const auto innerCall = [&] { inner = freeStack(); };
        const auto outerCall = [&] {
            outer = freeStack();
            callOnDeepStack(innerCall);
        };

        callOnDeepStack(outerCall);

        QVERIFY(inner > 1000 * mebibyte);
        QVERIFY(qAbs(static_cast<qint64>(outer - inner)) < 4096);
    }

    void callsOnTheStackOfTheCallerWhileAnotherThreadUsesTheDeepOne()
    {
        std::size_t size = 0;
        const auto function = [&] { std::thread([&] { size = deepStackSize(); }).join(); };

        callOnDeepStack(function);

        QVERIFY(size > 0);
        QVERIFY(size <= 64 * mebibyte);
    }

    void passesAnExceptionOnAndIsUsedAgain()
    {
        const std::size_t before = deepStackSize();
        QString caught;

        try {
            callOnDeepStack([] { throw std::runtime_error("of the function"); });
        } catch (const std::runtime_error &error) {
            caught = error.what();
        }

        QCOMPARE(caught, QString("of the function"));
        QVERIFY(before > 1000 * mebibyte);
        QCOMPARE(deepStackSize(), before);
    }

    void passesAnExceptionOnFromACallWithinACall()
    {
        const std::size_t before = deepStackSize();
        std::size_t after = 0;
        bool isCaught = false;

        callOnDeepStack([&] {
            try {
                callOnDeepStack([] { throw std::bad_alloc(); });
            } catch (const std::bad_alloc &) {
                isCaught = true;
            }
            after = freeStack();
        });

        QVERIFY(isCaught);
        QVERIFY(after > 1000 * mebibyte);
        QCOMPARE(deepStackSize(), before);
    }

    void givesTheMemoryOfADeepRecursionBack()
    {
        std::size_t before = 0;
        std::size_t during = 0;
        const auto function = [&] {
            before = memoryHeld();
            during = recurse(200 * mebibyte);
        };

        callOnDeepStack(function);

        QVERIFY(during > before + 190 * mebibyte);
        QVERIFY(memoryHeld() < before + 100 * mebibyte);
        callOnDeepStack(function); // it can be used again
        QVERIFY(during > before + 150 * mebibyte);
    }

    void opensAFileByAUnicodePath()
    {
        const std::string path = pathOf("a \xc3\xa4 \xe6\x97\xa5 \xf0\x9f\x98\x80.txt");

        std::FILE *file = Platform::openFile(path, "wb");
        QVERIFY(file);
        QVERIFY(std::fputs("text", file) >= 0);
        QCOMPARE(std::fclose(file), 0);

        char text[8] = {};
        file = Platform::openFile(path, "rb");
        QVERIFY(file);
        QCOMPARE(std::fread(text, 1, sizeof(text), file), std::size_t(4));
        std::fclose(file);
        QCOMPARE(QByteArray(text), QByteArray("text"));
        QCOMPARE(contents("a \u00e4 \u65e5 \U0001f600.txt"), QByteArray("text"));
    }

    void tellsInErrnoHowTheOpeningWent_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("mode");
        QTest::addColumn<int>("error");

        QTest::newRow("a file") << QByteArray("file") << QByteArray("rb") << 0;
        QTest::newRow("a new file") << QByteArray("new") << QByteArray("ab") << 0;
        QTest::newRow("a missing file") << QByteArray("missing") << QByteArray("rb") << ENOENT;
        QTest::newRow("a missing folder") << QByteArray("no/file") << QByteArray("wb") << ENOENT;
        QTest::newRow("a folder, to read") << QByteArray(".") << QByteArray("rb") << EISDIR;
        QTest::newRow("a folder, to write") << QByteArray(".") << QByteArray("wb") << EISDIR;
        QTest::newRow("below a file") << QByteArray("file/x") << QByteArray("rb") << ENOTDIR;
        QTest::newRow("a name too long")
            << QByteArray(4000, 'x') << QByteArray("rb") << ENAMETOOLONG;
        QTest::newRow("a zero byte") << QByteArray("file\0x", 6) << QByteArray("rb") << ENOENT;
    }

    void tellsInErrnoHowTheOpeningWent()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, mode);
        QFETCH(int, error);
        create("file", "text");

        errno = EBADF; // of an earlier call
        std::FILE *const file = Platform::openFile(pathOf(name), mode.constData());
        const int found = errno;
        const bool isOpen = file != nullptr;
        if (file)
            std::fclose(file);

        QCOMPARE(found, error);
        QCOMPARE(isOpen, error == 0);
    }

    void tellsWhatACodeOfTheSystemMeans()
    {
        using Platform::FileFault;
        QVERIFY(Platform::systemFault(ENOENT) == FileFault::Missing);
        QVERIFY(Platform::systemFault(ENOSPC) == FileFault::Full);
        QVERIFY(Platform::systemFault(EINTR) == FileFault::Other);
        for (int code = Platform::lastSystemFault() + 1; code < 4096; ++code)
            QVERIFY(Platform::systemFault(code) == FileFault::Other);
        QCOMPARE(Platform::errorText(ENOENT), std::string()); // that of the code is the same
    }

    void comparesNoEntriesThatHaveOneNameOnly()
    {
        create("file", "text");

        QVERIFY(!Platform::isSameEntry(pathOf("file"), pathOf("file")));
        QVERIFY(!Platform::allowRemoval(pathOf("file")));
        QCOMPARE(contents("file"), QByteArray("text"));
    }

    void opensNothingByAnEmptyPath()
    {
        errno = 0;
        QVERIFY(!Platform::openFile("", "rb"));
        QCOMPARE(errno, ENOENT);
    }

    void findsNoVersionWhereProgramsCarryNone()
    {
        create("file", "text");

        QVERIFY(!Platform::fileVersion(pathOf("file")));
        QVERIFY(!Platform::fileVersion(pathOf("missing")));
        QVERIFY(!Platform::fileVersion(QCoreApplication::applicationFilePath().toStdString()));
    }

    void padsOnlyTheSecondPartOfAVersion_data()
    {
        QTest::addColumn<int>("major");
        QTest::addColumn<int>("minor");
        QTest::addColumn<int>("patch");
        QTest::addColumn<int>("build");
        QTest::addColumn<QByteArray>("text");

        QTest::newRow("one digit") << 19 << 2 << 1 << 5 << QByteArray("19.02.1.5");
        QTest::newRow("a year") << 2019 << 1 << 0 << 7 << QByteArray("2019.01.0.7");
        QTest::newRow("two digits") << 3 << 12 << 0 << 1 << QByteArray("3.12.0.1");
        QTest::newRow("the last of one digit") << 1 << 9 << 10 << 9 << QByteArray("1.09.10.9");
        QTest::newRow("the first of two digits") << 1 << 10 << 9 << 10 << QByteArray("1.10.9.10");
        QTest::newRow("all zero") << 0 << 0 << 0 << 0 << QByteArray("0.00.0.0");
        QTest::newRow("all at most")
            << 65535 << 65535 << 65535 << 65535 << QByteArray("65535.65535.65535.65535");
    }

    void padsOnlyTheSecondPartOfAVersion()
    {
        QFETCH(int, major);
        QFETCH(int, minor);
        QFETCH(int, patch);
        QFETCH(int, build);
        QFETCH(QByteArray, text);

        const std::string result =
            Platform::formatVersion({std::uint16_t(major), std::uint16_t(minor),
                                     std::uint16_t(patch), std::uint16_t(build)});

        QCOMPARE(QByteArray::fromStdString(result), text);
    }

    void namesTemporaryFilesByTheirTarget()
    {
        QCOMPARE(Platform::temporaryName("a.txt", 0), std::string(".kelm-saving-7ed582b5571bbd5a"));
        QCOMPARE(Platform::temporaryName("a.txt", 2),
                 std::string(".kelm-saving-7ed582b5571bbd5a-2"));
        QCOMPARE(Platform::temporaryName("", 0), std::string(".kelm-saving-cbf29ce484222325"));
        QCOMPARE(Platform::temporaryName("\xc3\xa4", 0).size(), std::size_t(29));
    }

    void movesOverAnExistingFile_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QByteArray>("target");

        QTest::newRow("plain") << QByteArray("a") << QByteArray("b");
        QTest::newRow("blanks") << QByteArray("a b") << QByteArray("c  d");
        QTest::newRow("not ASCII") << QByteArray("\xc3\xa4") << QByteArray("\xe6\x97\xa5");
        QTest::newRow("a shell's characters") << QByteArray("a;$(b)'\"&|*") << QByteArray("c<>`\\");
    }

    void movesOverAnExistingFile()
    {
        QFETCH(QByteArray, source);
        QFETCH(QByteArray, target);
        create(source, "new");
        create(target, "old");

        Platform::moveReplacing(pathOf(source), pathOf(target));

        QVERIFY(!exists(source));
        QCOMPARE(contents(target), QByteArray("new"));
    }

    void movesOverAReadOnlyFileWithoutAQuestion()
    {
        create("a", "new");
        create("b", "old");
        QVERIFY(QFile::setPermissions(m_folder->filePath("b"), QFile::ReadOwner));

        Platform::moveReplacing(pathOf("a"), pathOf("b"));

        QVERIFY(!exists("a"));
        QCOMPARE(contents("b"), QByteArray("new"));
    }

    void movesIntoAnExistingFolder()
    {
        create("a", "text");
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));

        Platform::moveReplacing(pathOf("a"), pathOf("folder"));

        QVERIFY(!exists("a"));
        QCOMPARE(contents("folder/a"), QByteArray("text"));
    }

    void movesAFolderWithItsContents()
    {
        QVERIFY(QDir(m_folder->path()).mkpath("folder/inner"));
        create("folder/inner/a", "text");

        Platform::moveReplacing(pathOf("folder"), pathOf("other"));

        QVERIFY(!exists("folder"));
        QCOMPARE(contents("other/inner/a"), QByteArray("text"));
    }

    void takesAPathThatLooksLikeAnOptionAsAPath()
    {
        const QString before = QDir::currentPath();
        create("-b", "text");
        QVERIFY(QDir::setCurrent(m_folder->path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        Platform::moveReplacing("-b", "--help");

        QVERIFY(!exists("-b"));
        QCOMPARE(contents("--help"), QByteArray("text"));
    }

    void movesNothingWithoutASourceAndATarget_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QByteArray>("target");

        QTest::newRow("no source") << QByteArray() << QByteArray("b");
        QTest::newRow("no target") << QByteArray("a") << QByteArray();
        QTest::newRow("a missing source") << QByteArray("missing") << QByteArray("b");
        QTest::newRow("a missing target folder") << QByteArray("a") << QByteArray("no/b");
        QTest::newRow("a zero byte in the source") << QByteArray("a\0x", 3) << QByteArray("b");
        QTest::newRow("a zero byte in the target") << QByteArray("a") << QByteArray("b\0x", 3);
    }

    void movesNothingWithoutASourceAndATarget()
    {
        QFETCH(QByteArray, source);
        QFETCH(QByteArray, target);
        create("a", "of a");
        create("b", "of b");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        Platform::moveReplacing(source.toStdString(), target.toStdString());

        QCOMPARE(contents("a"), QByteArray("of a"));
        QCOMPARE(contents("b"), QByteArray("of b"));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), (QStringList{"a", "b"}));
    }

    void movesWithoutTheCommandToo()
    {
        SKIP_UNDER_QEMU("posix_spawn() does not tell there that the program is missing");
        const QByteArray before = qgetenv("PATH");
        create("a", "new");
        create("b", "old");
        qputenv("PATH", m_folder->path().toLocal8Bit()); // which holds no "mv"
        const auto restore = qScopeGuard([&] { qputenv("PATH", before); });

        Platform::moveReplacing(pathOf("a"), pathOf("b"));

        QVERIFY(!exists("a"));
        QCOMPARE(contents("b"), QByteArray("new"));
    }

    void movesIntoAFolderWithoutTheCommandToo_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("expected");

        // clang-format off
        QTest::newRow("file") << "a" << "folder/a";
        QTest::newRow("folder") << "from" << "folder/from/b";
        // clang-format on
    }

    void movesIntoAFolderWithoutTheCommandToo()
    {
        SKIP_UNDER_QEMU("posix_spawn() does not tell there that the program is missing");
        QFETCH(QString, source);
        QFETCH(QString, expected);
        const QByteArray before = qgetenv("PATH");
        QVERIFY(QDir(m_folder->path()).mkdir("from") && QDir(m_folder->path()).mkdir("folder"));
        create("a", "new");
        create("from/b", "new");
        qputenv("PATH", m_folder->path().toLocal8Bit()); // which holds no "mv"
        const auto restore = qScopeGuard([&] { qputenv("PATH", before); });

        Platform::moveReplacing(pathOf(source.toUtf8()), pathOf("folder"));

        QVERIFY(!exists(source.toUtf8()));
        QCOMPARE(contents(expected.toUtf8()), QByteArray("new"));
    }

    void tellsWhatThereIs()
    {
        using Platform::Entry;
        create("file", "12345");
        QVERIFY(QFile::link("file", m_folder->filePath("link")));
        QVERIFY(QFile::link("nothing", m_folder->filePath("lost")));
        const timespec times[] = {{-2, 250500000}, {-2, 250500000}};
        QCOMPARE(utimensat(AT_FDCWD, pathOf("file").c_str(), times, 0), 0);

        for (const char *const name : {"file", "link"}) {
            const auto status = Platform::entryStatus(pathOf(name), /*followLinks=*/true);
            QCOMPARE(int(status.entry), int(Entry::File));
            QCOMPARE(status.size, std::int64_t(5));
            QCOMPARE(status.modified, std::int64_t(-1750)); // rounded down
        }
        const auto entry = [&](const std::string &path, bool followLinks) {
            return int(Platform::entryStatus(path, followLinks).entry);
        };
        QCOMPARE(entry(pathOf("file"), false), int(Entry::File));
        QCOMPARE(entry(pathOf("link"), false), int(Entry::Link));
        QCOMPARE(entry(pathOf("lost"), false), int(Entry::Link));
        QCOMPARE(entry(pathOf("lost"), true), int(Entry::Missing));
        QCOMPARE(entry(pathOf("none"), false), int(Entry::Missing));
        QCOMPARE(entry(pathOf("file/none"), false), int(Entry::Missing));
        QCOMPARE(entry(pathOf("link") + '\0', false), int(Entry::Missing));
        QCOMPARE(entry("", true), int(Entry::Missing));
        QCOMPARE(entry(m_folder->path().toStdString(), false), int(Entry::Folder));
        QCOMPARE(entry("/dev/null", true), int(Entry::Other));
        errno = 0;
        QCOMPARE(entry('/' + std::string(300, 'x'), true), int(Entry::Unknown)); // a longer name
        QCOMPARE(errno, ENAMETOOLONG);
    }

    void limitsTimesThatDoNotFit_data()
    {
        QTest::addColumn<qint64>("seconds");

        QTest::newRow("the last") << std::numeric_limits<qint64>::max();
        QTest::newRow("the first") << std::numeric_limits<qint64>::min();
        QTest::newRow("just too late") << std::numeric_limits<qint64>::max() / 1000 + 1;
    }

    void limitsTimesThatDoNotFit()
    {
        QFETCH(qint64, seconds);
        const QTemporaryDir folder("/dev/shm/tst_Platform-XXXXXX"); // which stores any time
        QFile file(folder.filePath("file"));
        if (!folder.isValid() || !file.open(QIODevice::WriteOnly))
            QSKIP("there is no memory file system");
        const timespec times[] = {{static_cast<time_t>(seconds), 0},
                                  {static_cast<time_t>(seconds), 0}};
        struct stat stored = {};
        QCOMPARE(futimens(file.handle(), times), 0);
        QCOMPARE(fstat(file.handle(), &stored), 0);
        if (stored.st_mtim.tv_sec != seconds)
            QSKIP("the file system stores no such time");

        const auto status = Platform::openFileStatus(file.handle());

        const qint64 most = std::numeric_limits<qint64>::max() / 2;
        QVERIFY(seconds > 0 ? status.modified > most - 1000 : status.modified < 1000 - most);
        QVERIFY(status.modified <= most && status.modified >= -most);
    }

    void tellsOneFileFromAnother()
    {
        create("file", "12345");
        create("other", "54321");
        QVERIFY(QFile::link("file", m_folder->filePath("link")));
        const timespec times[] = {{1, 0}, {1, 0}};
        QCOMPARE(utimensat(AT_FDCWD, pathOf("file").c_str(), times, 0), 0);
        QCOMPARE(utimensat(AT_FDCWD, pathOf("other").c_str(), times, 0), 0);
        const auto statusOf = [&](const char *name) {
            return Platform::entryStatus(pathOf(name), /*followLinks=*/true);
        };

        const auto file = statusOf("file");
        const auto other = statusOf("other");
        QCOMPARE(file.modified, other.modified);
        QCOMPARE(file.device, other.device);
        QVERIFY(file.number != other.number);
        QVERIFY(!(file == other));
        QVERIFY(file == statusOf("link"));
        QVERIFY(!(statusOf("none") == file));

        QFile open(m_folder->filePath("file"));
        QVERIFY(open.open(QIODevice::ReadOnly));
        QVERIFY(Platform::openFileStatus(open.handle()) == file);
        QCOMPARE(int(Platform::openFileStatus(-1).entry), int(Platform::Entry::Unknown));

        create("file", "12346");
        QCOMPARE(utimensat(AT_FDCWD, pathOf("file").c_str(), times, 0), 0);
        const auto changed = statusOf("file");
        QVERIFY(changed.number == file.number && changed.modified == file.modified);
        QVERIFY(changed.changed >= file.changed);
        QVERIFY(changed.changed > 1000000000 && changed.changed < file.changed + 3600000000000);
    }

    void tellsWhyAFolderCannotBeListed()
    {
        QVERIFY(QDir(m_folder->path()).mkdir("empty"));
        create("file", "text");

        QCOMPARE(Platform::errorOfListing(pathOf("")), 0);
        QCOMPARE(Platform::errorOfListing(pathOf("empty")), 0);
        QCOMPARE(Platform::errorOfListing(pathOf("missing")), ENOENT);
        QCOMPARE(Platform::errorOfListing(pathOf("file")), ENOTDIR);
        QCOMPARE(Platform::errorOfListing(std::string()), ENOENT);
        QCOMPARE(Platform::errorOfListing(pathOf("empty") + '\0'), ENOENT);
    }

    void findsTheWayBehindLinks()
    {
        create("file", "");
        QVERIFY(QFile::link(".", m_folder->filePath("link")));
        QVERIFY(QFile::link("nothing", m_folder->filePath("lost")));
        const std::string folder = m_folder->path().toStdString();

        const auto canonical = Platform::canonicalPath(folder);
        QVERIFY(canonical.has_value());
        QCOMPARE(Platform::canonicalPath(folder + "/link/./link/file"),
                 std::optional<std::string>(*canonical + "/file"));
        QCOMPARE(Platform::canonicalPath(folder + "/lost"), std::optional<std::string>(""));
        QCOMPARE(Platform::canonicalPath(folder + "/none"), std::optional<std::string>(""));
        QCOMPARE(Platform::canonicalPath(""), std::optional<std::string>(""));
        QCOMPARE(Platform::canonicalPath('/' + std::string(300, 'x')),
                 std::optional<std::string>());
    }

    void movesThroughTheCommandInSilenceAndWaitsForIt()
    {
        // A command of our own stands in. It takes its time, and writes to a file what it was
        // given.
        const QByteArray log = m_folder->filePath("log").toUtf8();
        create("mv", "#!/bin/sh\n"
                     "set -e\n"
                     "echo output\n"
                     "echo error >&2\n"
                     "input=$(cat)\n"
                     "sleep 0.2\n"
                     "printf '[%s]' \"$@\" \"$input\" > '" +
                         log +
                         "'\n"
                         "for stream in 0 1 2; do\n"
                         "    file=$(readlink /proc/$$/fd/$stream)\n"
                         "    printf '[%s]' \"$file\" >> '" +
                         log +
                         "'\n"
                         "done\n");
        QVERIFY(QFile::setPermissions(m_folder->filePath("mv"),
                                      QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner));
        const QByteArray before = qgetenv("PATH");
        qputenv("PATH", m_folder->path().toLocal8Bit() + ":" + before);
        const auto restore = qScopeGuard([&] { qputenv("PATH", before); });

        Platform::moveReplacing("a b", "c");

        QCOMPARE(contents("log"),
                 QByteArray("[-f][--][a b][c][][/dev/null][/dev/null][/dev/null]"));
    }

    void quotesWhatTheCommandInterpreterWouldCut_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("commandLine");

        const auto row = [](const char *name, const char *source, const char *target,
                            const char *commandLine) {
            QTest::newRow(name) << QByteArray(source) << QByteArray(target)
                                << QByteArray(commandLine);
        };
        // clang-format off
        row("plain", "C:\\a", "D:\\b", "cmd.exe /C move /Y C:\\a D:\\b");
        row("a blank in the source", "C:\\a b", "D:\\c", "cmd.exe /C move /Y \"C:\\a b\" D:\\c");
        row("a blank in the target", "C:\\a", "D:\\c d", "cmd.exe /C move /Y C:\\a \"D:\\c d\"");
        row("blanks in both", "a b", "c d", "cmd.exe /C move /Y \"a b\" \"c d\"");
        row("another command in the path", "a&del", "b|more", "cmd.exe /C move /Y \"a&del\" \"b|more\"");
        row("redirections", "a>x", "b<y", "cmd.exe /C move /Y \"a>x\" \"b<y\"");
        row("brackets and escapes", "a(1)", "b^x", "cmd.exe /C move /Y \"a(1)\" \"b^x\"");
        row("separators of arguments", "a,b;c", "d=e", "cmd.exe /C move /Y \"a,b;c\" \"d=e\"");
        row("places in a template", "%2", "%1", "cmd.exe /C move /Y %2 %1");
        row("a quote in the source", "a\" & del \"", "b", "");
        row("a quote in the target", "a", "b\"", "");
        // clang-format on
    }

    void quotesWhatTheCommandInterpreterWouldCut()
    {
        QFETCH(QByteArray, source);
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, commandLine);

        const std::string result =
            Platform::moveCommandLine(source.toStdString(), target.toStdString());

        QCOMPARE(QByteArray::fromStdString(result), commandLine);
    }

    void namesTheProcessInTheCommandThatKills()
    {
        QCOMPARE(QByteArray::fromStdString(Platform::killCommandLine(4711)),
                 QByteArray("taskkill /PID 4711 /T /F"));
        QCOMPARE(QByteArray::fromStdString(Platform::killCommandLine(5000000000)),
                 QByteArray("taskkill /PID 5000000000 /T /F"));
    }

    void killsAProcessAndWhatItHasStarted()
    {
        QProcess process;
        process.start("/bin/sh", {"-c", "trap '' TERM; sleep 60 & echo $!; wait"});
        QVERIFY(process.waitForReadyRead(60000));
        const QString child = "/proc/" + QString(process.readLine().trimmed()) + "/environ";
        QVERIFY(QFile::exists(child));

        QVERIFY(!Platform::killProcessTree(0));
        QVERIFY(Platform::killProcessTree(process.processId()));

        QFile environment(child); // empty when it has ended, missing when somebody has seen that
        QVERIFY(!environment.open(QIODevice::ReadOnly) || environment.readAll().isEmpty());
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    }

    void knowsItsChildrenUntilTheyAreWaitedFor()
    {
        char program[] = "true";
        char *const arguments[] = {program, nullptr};
        pid_t child = 0;
        QCOMPARE(posix_spawnp(&child, program, nullptr, nullptr, arguments, environ), 0);

        QVERIFY(Platform::isChild(child));
        siginfo_t info = {};
        QCOMPARE(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
        QVERIFY(Platform::isChild(child)); // has ended, but keeps its number
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QVERIFY(!Platform::isChild(child));
    }

    void knowsNoChildAmongTheOthers_data()
    {
        QTest::addColumn<qint64>("id");

        QTest::newRow("this one") << qint64(getpid());
        QTest::newRow("its parent") << qint64(getppid());
        QTest::newRow("the first") << qint64(1);
        QTest::newRow("its group") << qint64(0);
        QTest::newRow("all") << qint64(-1);
        QTest::newRow("a group") << -qint64(getpid());
        QTest::newRow("beyond a number") << (qint64(1) << 32) + 1;
    }

    void knowsNoChildAmongTheOthers()
    {
        QFETCH(qint64, id);
        char program[] = "sleep";
        char seconds[] = "60";
        char *const arguments[] = {program, seconds, nullptr};
        pid_t child = 0;
        QCOMPARE(posix_spawnp(&child, program, nullptr, nullptr, arguments, environ), 0);

        const bool isChild = Platform::isChild(id);
        const bool isChildBeyond = Platform::isChild(child + (qint64(1) << 32));

        QCOMPARE(kill(child, SIGKILL), 0);
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QVERIFY(!isChild);
        QVERIFY(!isChildBeyond);
    }

    void createsAnEmptyFileWhereThereIsNone()
    {
        QVERIFY(Platform::createNewFile(pathOf("\xc3\xa4 b")));

        QVERIFY(exists("\xc3\xa4 b"));
        QCOMPARE(contents("\xc3\xa4 b"), QByteArray());
    }

    void leavesAloneWhatIsThereAlready()
    {
        create("file", "text");

        QVERIFY(!Platform::createNewFile(pathOf("file")));
        QVERIFY(!Platform::createNewFile(pathOf(".")));
        QVERIFY(!Platform::createNewFile(pathOf("no/file")));
        QVERIFY(!Platform::createNewFile(""));
        QVERIFY(!Platform::createNewFile(pathOf(QByteArray("cut\0x", 5))));

        QCOMPARE(contents("file"), QByteArray("text"));
        QVERIFY(!exists("cut"));
    }

    void takesTheSharedDataFolderFromTheEnvironment()
    {
        const QByteArray before = qgetenv("ALLUSERSPROFILE");
        const auto restore = qScopeGuard([&] { qputenv("ALLUSERSPROFILE", before); });

        qputenv("ALLUSERSPROFILE", "/all/\xc3\xa4");
        QCOMPARE(Platform::sharedDataFolder(), std::string("/all/\xc3\xa4"));
        qunsetenv("ALLUSERSPROFILE");
        QCOMPARE(Platform::sharedDataFolder(), std::string());
    }

    void offersTheSymbolsOfALibraryThatWasLoadedForItselfAlone()
    {
        void *const library = dlopen(GLOBAL_SYMBOLS, RTLD_NOW | RTLD_LOCAL);
        QVERIFY2(library, dlerror());
        void *const symbol = dlsym(library, "symbolOfALibrary");
        QVERIFY(symbol);
        QVERIFY(!dlsym(RTLD_DEFAULT, "symbolOfALibrary"));

        Platform::makeSymbolsGlobal(symbol);

        QCOMPARE(dlsym(RTLD_DEFAULT, "symbolOfALibrary"), symbol);
        dlclose(library);
        QCOMPARE(dlsym(RTLD_DEFAULT, "symbolOfALibrary"), symbol); // to stay
    }

    void offersNothingOfAnAddressInNoLibrary()
    {
        const int local = 0;
        Platform::makeSymbolsGlobal(nullptr);
        Platform::makeSymbolsGlobal(&local);
        QVERIFY(!dlsym(RTLD_DEFAULT, "symbolOfNoLibrary"));
    }

    void triesAFunctionInACopyOfTheProcess_data()
    {
        QTest::addColumn<std::function<bool()>>("function");
        QTest::addColumn<bool>("result");

        using Function = std::function<bool()>;
        QTest::newRow("true") << Function([] { return true; }) << true;
        QTest::newRow("false") << Function([] { return false; }) << false;
        QTest::newRow("an exit") << Function([]() -> bool { std::exit(0); }) << false;
        QTest::newRow("a quick exit") << Function([]() -> bool { _exit(0); }) << false;
        QTest::newRow("an abort") << Function([]() -> bool { std::abort(); }) << false;
        QTest::newRow("a crash") << Function([] { return raise(SIGSEGV) == 0; }) << false;
        QTest::newRow("an exception")
            << Function([]() -> bool { throw std::runtime_error("text"); }) << false;
        QTest::newRow("after its own child") << Function([] {
            const pid_t child = fork();
            if (child == 0)
                _exit(3);
            int status = 0;
            return waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 3;
        }) << true;
    }

    void triesAFunctionInACopyOfTheProcess()
    {
        QFETCH(std::function<bool()>, function);
        QFETCH(bool, result);
        int calls = 0;

        const std::optional<bool> outcome = Platform::tryInCopy(
            [&] {
                ++calls;
                return function();
            },
            60s);

        QVERIFY(outcome.has_value());
        QCOMPARE(*outcome, result);
        QCOMPARE(calls, 0);                          // here
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1); // nothing is left of it
    }

    void keepsTheWorldOfTheProcessFromItsCopy()
    {
        static const QByteArray handled = m_folder->filePath("handled").toUtf8();
        threadTrace.path = m_folder->filePath("thread").toUtf8();
        processTrace.path = m_folder->filePath("process").toUtf8();
        const auto restore = qScopeGuard([] {
            threadTrace.path.clear();
            processTrace.path.clear();
            std::signal(SIGABRT, SIG_DFL);
        });
        std::signal(SIGABRT, [](int) { // as that of a reporter of crashes
            std::fclose(std::fopen(handled.constData(), "w"));
            _exit(0);
        });
        std::FILE *const file = std::fopen(pathOf("unflushed").c_str(), "w");
        QVERIFY(file);
        std::fputs("once", file);

        QCOMPARE(Platform::tryInCopy([]() -> bool { std::exit(0); }, 60s), std::optional(false));
        QCOMPARE(Platform::tryInCopy([]() -> bool { std::abort(); }, 60s), std::optional(false));

        QVERIFY(!exists("thread"));
        QVERIFY(!exists("process"));
        QVERIFY(!exists("handled"));
        std::fclose(file);
        QCOMPARE(contents("unflushed"), QByteArray("once"));
    }

    void losesWhatACopyPrints()
    {
        const QString path = m_folder->filePath("output");
        std::fflush(stdout);
        const int original = dup(STDOUT_FILENO);
        QVERIFY(freopen(path.toUtf8().constData(), "w", stdout));
        std::fputs("before;", stdout);

        const auto outcome = Platform::tryInCopy(
            [] {
                std::puts("copy");
                return std::fflush(stdout) == 0;
            },
            60s);

        std::fflush(stdout);
        dup2(original, STDOUT_FILENO);
        ::close(original);
        QCOMPARE(outcome, std::optional(true));
        QCOMPARE(contents("output"), QByteArray("before;"));
    }

    void endsACopyThatTakesTooLongWithWhatItHasStarted()
    {
        const std::string path = pathOf("pid");
        QElapsedTimer timer;
        timer.start();

        const auto outcome = Platform::tryInCopy(
            [&]() -> bool {
                if (fork() != 0) {
                    for (;;)
                        pause();
                }
                std::FILE *const file = std::fopen((path + ".new").c_str(), "w");
                std::fprintf(file, "%d", getpid());
                std::fclose(file);
                std::rename((path + ".new").c_str(), path.c_str());
                for (;;)
                    pause();
            },
            300ms);

        QCOMPARE(outcome, std::optional(false));
        QVERIFY(timer.elapsed() >= 300);
        QVERIFY(timer.elapsed() < 5000);
        if (exists("pid")) { // else it has ended even before it wrote that
            QFile state("/proc/" + contents("pid") + "/stat");
            QVERIFY(!state.open(QIODevice::ReadOnly) || state.readAll().contains(") Z "));
        }
    }

    void copiesTheProcessAlsoWhereTheHostDoesNotWaitForChildren()
    {
        const auto original = std::signal(SIGCHLD, SIG_IGN);
        const auto restore = qScopeGuard([&] { std::signal(SIGCHLD, original); });

        QCOMPARE(Platform::tryInCopy([] { return true; }, 60s), std::optional(true));
        QCOMPARE(Platform::tryInCopy([] { return false; }, 60s), std::optional(false));
    }

    void knowsTheCharacterSetOfTheLocale()
    {
        const QByteArray before = qgetenv("LC_ALL");
        const auto restore = qScopeGuard([&] { qputenv("LC_ALL", before); });
        const QByteArray current = setlocale(LC_CTYPE, nullptr);

        qputenv("LC_ALL", "C.UTF-8");
        QCOMPARE(Platform::localeCodeset(), std::string("UTF-8"));
        qputenv("LC_ALL", "C");
        QCOMPARE(Platform::localeCodeset(), std::string("ANSI_X3.4-1968"));
        QCOMPARE(QByteArray(setlocale(LC_CTYPE, nullptr)), current);
    }

    void asksForLargePagesInLargeMemoryOnly_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isAsked");

        QTest::newRow("4 MiB") << (4 << 20) << true;
        QTest::newRow("a byte less") << (4 << 20) - 1 << false;
    }

    void asksForLargePagesInLargeMemoryOnly()
    {
        QFETCH(int, size);
        QFETCH(bool, isAsked);
        if (!QFile::exists("/sys/kernel/mm/transparent_hugepage/enabled"))
            QSKIP("the system has no large pages");
        SKIP_UNDER_QEMU("qemu does not ask the system for them");
        const auto length = static_cast<std::size_t>(size);
        const auto free = [](char *bytes) { std::free(bytes); };
        const std::unique_ptr<char, decltype(free)> bytes(static_cast<char *>(std::malloc(length)),
                                                          free);
        bytes.get()[0] = 'a';
        bytes.get()[length - 1] = 'z';

        Platform::useLargePages(bytes.get(), length);

        QCOMPARE(hasFlag(bytes.get(), " hg"), isAsked);
        QCOMPARE(hasFlag(bytes.get() + length - 1, " hg"), isAsked);
        QCOMPARE(bytes.get()[0], 'a');
        QCOMPARE(bytes.get()[length - 1], 'z');
    }

    void tellsTheStackThatIsLeft_data()
    {
        QTest::addColumn<uint>("stack");
        QTest::newRow("256 KiB") << (256U << 10);
        QTest::newRow("1 MiB") << (1U << 20);
        QTest::newRow("64 MiB") << (64U << 20);
    }

    void tellsTheStackThatIsLeft()
    {
        QFETCH(uint, stack);
        std::size_t left = 0;
        std::size_t leftBelow = 0;
        onStack(stack, [&] {
            left = Platform::freeStack();
            leftBelow = freeStackBelow(50 * 1000);
        });

        // A thread keeps some of it for itself.
        QVERIFY2(left <= stack && left > stack - (64U << 10), QByteArray::number(qulonglong(left)));
        QVERIFY(leftBelow <= left - 50 * 1000 && leftBelow > left - 100 * 1000);
    }

    void tellsTheStackOfTheFirstThread()
    {
        rlimit limit;
        QCOMPARE(getrlimit(RLIMIT_STACK, &limit), 0);
        if (limit.rlim_cur == RLIM_INFINITY)
            QSKIP("the stack has no limit");

        const std::size_t left = Platform::freeStack();

        QVERIFY(left <= limit.rlim_cur);
        QVERIFY(left > limit.rlim_cur / 2);
    }

    void countsMoreThanALevelOfElementsTakes_data()
    {
        QTest::addColumn<std::function<void(int)>>("work");

        using Work = std::function<void(int)>;
        const auto read = [](const QByteArray &text) {
            QDomDocument document;
            document.setContent(text);
            return document;
        };
        const auto nested = [](int levels) {
            return QByteArray("<a>").repeated(levels) + QByteArray("</a>").repeated(levels);
        };
        QTest::newRow("parsing and destroying") << Work([=](int levels) { read(nested(levels)); });
        QTest::newRow("copying") << Work([=](int levels) { read(nested(levels)).cloneNode(); });
        QTest::newRow("groups in a declaration") << Work([=](int levels) {
            read("<!DOCTYPE a [<!ELEMENT a " + QByteArray(levels, '(') + "b" +
                 QByteArray(levels, ')') + ">]><a/>");
        });
    }

    void countsMoreThanALevelOfElementsTakes()
    {
        QFETCH(std::function<void(int)>, work);

        const std::size_t few = stackUsed([&] { work(1000); });
        const std::size_t many = stackUsed([&] { work(4000); });

        const std::size_t level = (many - few) / 3000;
        QVERIFY(level > 0);
        // A quarter is left for what is not the same for each level.
        QVERIFY2(level * 5 / 4 <= Platform::stackOfXmlLevel(),
                 QByteArray::number(qulonglong(level)));
    }

private:
    /// Whether the memory at \p address has \p flag, as /proc names the flags.
    static bool hasFlag(const char *address, const QByteArray &flag)
    {
        QFile file("/proc/self/smaps");
        file.open(QIODevice::ReadOnly);
        bool isThere = false;
        for (const QByteArray &line : file.readAll().split('\n')) {
            const QList<QByteArray> range = line.left(line.indexOf(' ')).split('-');
            if (range.size() == 2 && !range.at(0).isEmpty()) {
                const auto place = reinterpret_cast<quintptr>(address);
                isThere = range.at(0).toULongLong(nullptr, 16) <= place &&
                          place < range.at(1).toULongLong(nullptr, 16);
            } else if (isThere && line.startsWith("VmFlags:")) {
                return line.contains(flag);
            }
        }
        return false;
    }

    std::string pathOf(const QByteArray &name) const
    {
        return (m_folder->path().toUtf8() + "/" + name).toStdString();
    }

    bool exists(const QByteArray &name) const
    {
        return QFile::exists(m_folder->filePath(QString::fromUtf8(name)));
    }

    static constexpr std::size_t mebibyte = 1 << 20;

    template <typename Function>
    static void callOnDeepStack(const Function &function)
    {
        Platform::callOnDeepStack([](void *called) { (*static_cast<const Function *>(called))(); },
                                  const_cast<Function *>(&function));
    }

    static std::size_t freeStack() { return Platform::freeStack(); }

    /// What is free on the stack in a call.
    static std::size_t deepStackSize()
    {
        std::size_t size = 0;
        callOnDeepStack([&] { size = freeStack(); });
        return size;
    }

    /// How many bytes of the stack of a thread \p function uses.
    static std::size_t stackUsed(const std::function<void()> &function)
    {
        const std::size_t size = 64 * mebibyte; // zero until it is used
        void *const stack =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (stack == MAP_FAILED)
            return 0;
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, stack, size);
        pthread_t thread = {};
        const auto call = [](void *called) -> void * {
            (*static_cast<const std::function<void()> *>(called))();
            return nullptr;
        };
        const bool isStarted = pthread_create(&thread, &attributes, call,
                                              const_cast<std::function<void()> *>(&function)) == 0;
        pthread_attr_destroy(&attributes);
        if (isStarted)
            pthread_join(thread, nullptr);

        const auto *const words = static_cast<const std::uint64_t *>(stack);
        const auto *const end = words + size / sizeof(std::uint64_t);
        const auto *const lowest =
            std::find_if(words, end, [](std::uint64_t word) { return word != 0; });
        const std::size_t used = static_cast<std::size_t>(end - lowest) * sizeof(std::uint64_t);
        munmap(stack, size);
        return used;
    }

    /// The memory of this process that is in use, in bytes.
    static std::size_t memoryHeld()
    {
        QFile statistics("/proc/self/statm");
        statistics.open(QIODevice::ReadOnly);
        const std::size_t pages = statistics.readAll().split(' ').value(1).toULongLong();
        return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    }

    /// The memory in use when a recursion has used \p size bytes of the stack.
    static std::size_t recurse(std::size_t size)
    {
        volatile char used[1000];
        for (std::size_t i = 0; i < sizeof(used); ++i)
            used[i] = static_cast<char>(size);
        const std::size_t held = size < sizeof(used) ? memoryHeld() : recurse(size - sizeof(used));
        return held + (used[0] - used[1]);
    }

    void create(const QByteArray &name, const QByteArray &text) const
    {
        QFile file(m_folder->filePath(QString::fromUtf8(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), qint64(text.size()));
    }

    QByteArray contents(const QByteArray &name) const
    {
        QFile file(m_folder->filePath(QString::fromUtf8(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not to be read");
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Platform)
#include "tst_Platform.moc"
