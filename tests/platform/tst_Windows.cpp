#include "utils/platform/Platform.h"

#include "utils/base/LastError_p.h"
#include "utils/csv/CSVReader.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/MemoryChecker.h"
#include "utils/files/File.h"
#include "utils/files/FileByteReader.h"
#include "utils/process/Process.h"
#include "utils/settings/Settings.h"

#include "tests/platform/windows_files.h"
#include "tests/platform/windows_processes.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Tree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <type_traits>

// After <windows.h>, of which it needs types.
#include <shellapi.h>

namespace Platform = Utils::Platform;
using Data::String;
using Utils::File;

/// The short path of \p path; the same path on a file system that has no short names.
static QString shortPath(const QString &path)
{
    std::wstring text(32768, L'\0');
    const DWORD length =
        GetShortPathNameW(wide(path).c_str(), text.data(), static_cast<DWORD>(text.size()));
    return QDir::fromNativeSeparators(
        QString::fromWCharArray(text.data(), static_cast<int>(length)));
}

static bool isLink(const QString &path)
{
    const DWORD attributes = GetFileAttributesW(wide(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// Makes \p link in \p folder lead to \p target, a path relative to \p folder, as a junction. Wine
/// has none, but takes a link that its host makes for one.
static bool makeJunction(const QString &folder, const QString &link, const QString &target)
{
    QProcess command;
    command.setWorkingDirectory(folder);
    command.start("cmd.exe", {"/C", "mklink", "/J", link, QDir::toNativeSeparators(target)});
    command.waitForFinished();
    if (!isLink(folder + "/" + link))
        QProcess::startDetached("Z:\\bin\\ln", {"-s", target, link}, folder);
    return QTest::qWaitFor([&] { return isLink(folder + "/" + link); }, 3000);
}

#define NEED_JUNCTION(folder, link, target)  \
    if (!makeJunction(folder, link, target)) \
    QSKIP("no junction can be made")

#define NEED_REMOVAL(link)                                     \
    if (isLink(link) && !RemoveDirectoryW(wide(link).c_str())) \
    QSKIP("the system itself, which is Wine, cannot remove such a link")

/// Opens a console for this program and those that it starts, and ignores its keys. False when the
/// system has none.
static bool openConsole()
{
    FreeConsole();
    return AllocConsole() && SetConsoleCtrlHandler([](DWORD) -> BOOL { return TRUE; }, TRUE);
}

/// A function of the system that not every release of Windows has, or null.
template <typename Function>
static std::add_pointer_t<Function> systemFunction(const char *name)
{
    return reinterpret_cast<std::add_pointer_t<Function>>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"kernel32"), name)));
}

namespace {

/// While it lives, the settings are in a part of the registry that no other program uses.
class Registry
{
public:
    Registry()
    {
        QCoreApplication::setOrganizationName("KelmUtils tests");
        QCoreApplication::setApplicationName(
            QString("tst_Windows %1").arg(QCoreApplication::applicationPid()));
        QSettings().clear();
    }
    ~Registry() { QSettings().clear(); }

    Registry(const Registry &) = delete;
    Registry &operator=(const Registry &) = delete;
};

/// A program with the standard streams that it is given. It ends with this object at the latest.
class Program
{
public:
    Program(const QString &path, const QString &argument, HANDLE input, HANDLE output,
            HANDLE errors)
    {
        std::wstring command = L"\"" + wide(path) + L"\" " + argument.toStdWString();
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = input;
        startup.hStdOutput = output;
        startup.hStdError = errors;
        m_isStarted = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                     nullptr, &startup, &m_program);
    }
    ~Program()
    {
        if (!m_isStarted)
            return;
        TerminateProcess(m_program.hProcess, 1);
        WaitForSingleObject(m_program.hProcess, 5000);
        CloseHandle(m_program.hThread);
        CloseHandle(m_program.hProcess);
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    bool isStarted() const { return m_isStarted; }

    bool waitForEnd() const
    {
        return WaitForSingleObject(m_program.hProcess, 60000) == WAIT_OBJECT_0;
    }

    uint exitCode() const
    {
        DWORD code = 0;
        return GetExitCodeProcess(m_program.hProcess, &code) ? code : uint(STILL_ACTIVE);
    }

private:
    PROCESS_INFORMATION m_program = {};
    bool m_isStarted = false;
};

/// A console for this program, while it lives. Where none opens without a window, as in Wine, the
/// program joins one without a window that the system opens for another program.
class Console
{
public:
    Console()
    {
        m_isOpen = openConsole() && GetConsoleOutputCP() != 0;
        if (m_isOpen)
            return;
        FreeConsole();
        m_program = startWithConsole();
        m_isOpen =
            m_program.hProcess &&
            QTest::qWaitFor([&] { return AttachConsole(m_program.dwProcessId) != 0; }, 10000);
    }
    ~Console()
    {
        FreeConsole();
        if (m_program.hProcess) {
            TerminateProcess(m_program.hProcess, 1);
            CloseHandle(m_program.hThread);
            CloseHandle(m_program.hProcess);
        }
        if (m_console)
            systemFunction<void(void *)>("ClosePseudoConsole")(m_console);
        for (const HANDLE file : {m_input, m_writer, m_output}) {
            if (file)
                CloseHandle(file);
        }
    }
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    bool isOpen() const { return m_isOpen; }

private:
    PROCESS_INFORMATION startWithConsole()
    {
        PROCESS_INFORMATION program = {};
        const auto create = systemFunction<HRESULT WINAPI(COORD, HANDLE, HANDLE, DWORD, void **)>(
            "CreatePseudoConsole");
        if (!create || !CreatePipe(&m_input, &m_writer, nullptr, 0))
            return program;
        m_output = CreateFileW(L"NUL", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (FAILED(create({80, 25}, m_input, m_output, 0, &m_console)))
            return program;
        const DWORD_PTR consoleAttribute = 0x20016; // PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        QByteArray bytes(static_cast<int>(size), '\0');
        auto *const list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes.data());
        InitializeProcThreadAttributeList(list, 1, 0, &size);
        UpdateProcThreadAttribute(list, 0, consoleAttribute, m_console, sizeof(m_console), nullptr,
                                  nullptr);
        STARTUPINFOEXW startup = {};
        startup.StartupInfo.cb = sizeof(startup);
        startup.lpAttributeList = list;
        std::wstring command = L"\"" + wide(WINDOWS_CHILD) + L"\" wait";
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE,
                       EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &startup.StartupInfo,
                       &program);
        DeleteProcThreadAttributeList(list);
        return program;
    }

    void *m_console = nullptr;
    HANDLE m_input = nullptr;
    HANDLE m_writer = nullptr; // of the input, which would end without it
    HANDLE m_output = nullptr;
    PROCESS_INFORMATION m_program = {};
    bool m_isOpen = false;
};

} // namespace

/// Opens a file or a part of the console that programs inherit.
static HANDLE openInherited(const std::wstring &path, DWORD access, DWORD disposition)
{
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                       disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

/// What differs on Windows: the names of files, their attributes, who may open what at the same
/// time, and the commands of the system.
class tst_Windows : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    // Names

    void fileCopyKeepsAFileThatIsCopiedToItsShortName()
    {
        const QString path = makeFile(inFolder("A Long File Name.text"), "text");
        const QString other = shortPath(path);
        if (other == path || other.isEmpty())
            QSKIP("the file system has no short names");

        QVERIFY(File::copy(path, other));
        QCOMPARE(contentsOf(path), QByteArray("text"));
        QVERIFY(File::copy(other, path));
        QCOMPARE(contentsOf(path), QByteArray("text"));
        QCOMPARE(tree(m_folder->path()), QStringList("A Long File Name.text"));
    }

    void fileCopyKeepsAFileThatIsCopiedToItsNameInAnotherCase()
    {
        const QString path = makeFile(inFolder("File.txt"), "text");

        QVERIFY(File::copy(path, inFolder("FILE.TXT")));
        QCOMPARE(contentsOf(path), QByteArray("text"));
    }

    void fileCopyReplacesAnotherNameOfTheSameFile()
    {
        const QString path = makeFile(inFolder("file"), "text");
        QVERIFY(CreateHardLinkW(wide(inFolder("link")).c_str(), wide(path).c_str(), nullptr));

        QVERIFY(File::copy(path, inFolder("link")));

        QVERIFY(makeFile(path, "changed").size() > 0);
        QCOMPARE(contentsOf(inFolder("link")), QByteArray("text"));
    }

    void theSystemKnowsAFileByItsNames_data()
    {
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("isSame");

        QTest::newRow("the same") << "table.csv" << true;
        QTest::newRow("another case") << "TABLE.CSV" << true;
        QTest::newRow("a path of any length") << QString("./").repeated(300) + "table.csv" << true;
        QTest::newRow("a link that is named as a program") << "table.bat" << true;
        QTest::newRow("another file") << "other" << false;
        QTest::newRow("a missing file") << "missing" << false;
        QTest::newRow("a folder") << "." << false;
        QTest::newRow("a zero byte") << QString("table.csv") + QChar(0) << false;
    }

    void theSystemKnowsAFileByItsNames()
    {
        QFETCH(QString, other);
        QFETCH(bool, isSame);
        const QString path = makeFile(inFolder("table.csv"), "text");
        QVERIFY(!makeFile(inFolder("other"), "text").isEmpty());
        QVERIFY(CreateHardLinkW(wide(inFolder("table.bat")).c_str(), wide(path).c_str(), nullptr));

        const std::string a = path.toStdString();
        const std::string b = inFolder(other).toStdString();
        QCOMPARE(Platform::isSameFile(a, b), isSame);
        QCOMPARE(Platform::isSameFile(b, a), isSame);
    }

    void aTableDoesNotReplaceItsOwnFileByAnotherName()
    {
        const QByteArray text = QByteArray("1,\"2\n3\"\n").repeated(2000);
        const QString path = makeFile(inFolder("table.csv"), text);
        const QString other = inFolder("table.bat");
        QVERIFY(CreateHardLinkW(wide(other).c_str(), wide(path).c_str(), nullptr));
        Utils::CSVTable table;
        table.setQuoting(Utils::CSVTable::Rfc4180);
        QVERIFY(table.read(path, /*limit=*/4096));
        QVERIFY(table.isDemandRead());

        QVERIFY(!table.write(other));

        QCOMPARE(contentsOf(path), text);
        QCOMPARE(table.data(1999, 1), String("2\n3"));
    }

    void readersTakePathsOfAnyLength()
    {
        QString folder = m_folder->path();
        while (folder.size() < 400)
            folder += "/" + QString(40, 'x');
        const QString path = makeFile(folder + "/table.csv", "1,\"2\n3\"\n");

        Utils::CSVReader reader;
        QVERIFY(reader.read(path));
        QCOMPARE(reader.data(0, 0), QByteArray("1"));
        Utils::CSVTable table;
        table.setQuoting(Utils::CSVTable::Rfc4180);
        QVERIFY(table.read(path, /*limit=*/4096)); // no bytes
        QVERIFY(table.isDemandRead());
        QVERIFY(!table.write(path));
        QCOMPARE(table.data(0, 1), String("2\n3"));
        Utils::FileByteReader lines(path);
        QCOMPARE(lines.nextLine(), QByteArray("1,\"2"));
    }

    void fileOperationsTakePathsOfAnyLength()
    {
        QString folder = m_folder->path();
        while (folder.size() < 400)
            folder += "/" + QString(40, 'x');
        const QString path = folder + "/file.txt";

        QVERIFY(File::createDir(folder));
        QVERIFY(File::write(path, "text\n"));
        QCOMPARE(File::read(path), String("text\n"));
        QVERIFY(File::timestamp(path) > 0);
        std::FILE *const file = File::openRead(path);
        QVERIFY(file);
        std::fclose(file);
        QVERIFY(File::copy(path, folder + "/copy.txt"));
        File::move(path, folder + "/moved.txt");
        QCOMPARE(File::search(folder, "*.txt", false).size(), 2);
        QCOMPARE(File::read(folder + "/moved.txt"), String("text\n"));
        QCOMPARE(File::remove(folder + "/*"), 2);
        QVERIFY(File::search(folder, "*").isEmpty());
        QCOMPARE(File::lastError(), String()); // it can be listed
    }

    void fileLeavesDevicesAlone_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("null") << "NUL";
        QTest::newRow("null in another case") << "nul";
        QTest::newRow("the console") << "CON";
    }

    void fileLeavesDevicesAlone()
    {
        QFETCH(QString, name);
        const QString path = makeFile(inFolder("file"), "text");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        QCOMPARE(File::remove(name), 0);
        QVERIFY(!File::createDir(name));
        QCOMPARE(File::version(name), String());
        QVERIFY(File::search(m_folder->path(), name).isEmpty());

        QCOMPARE(tree(m_folder->path()).join(' '), QString("file"));
        std::FILE *const input = File::openRead(name);
        QVERIFY(!input || std::fclose(input) == 0);
        QCOMPARE(contentsOf(path), QByteArray("text"));
    }

    void fileWritesSafelyToTheNullDevice()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        QVERIFY(File::writeSafely("NUL", "lost"));

        QCOMPARE(tree(m_folder->path()), QStringList());
    }

    void fileOpensTheNullDevice()
    {
        std::FILE *const output = File::openWrite("NUL", /*append=*/false);
        QVERIFY(output);
        QVERIFY(std::fputs("lost", output) >= 0);
        QCOMPARE(std::fclose(output), 0);

        QCOMPARE(File::read("NUL"), String());
        QVERIFY(!QFile::exists(inFolder("NUL")));
    }

    // Failures

    void fileTellsWhyItCannotOpen_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");

        QTest::newRow("a missing file") << "missing" << ENOENT;
        QTest::newRow("a missing folder") << "no/file" << ENOENT;
        QTest::newRow("below a file") << "file/x" << ENOENT;
        QTest::newRow("a folder") << "folder" << EISDIR;
        QTest::newRow("a folder with a separator") << "folder/" << EISDIR;
        QTest::newRow("a forbidden character") << "a<b" << ENOENT;
    }

    void fileTellsWhyItCannotOpen()
    {
        QFETCH(QString, name);
        QFETCH(int, error);
        QVERIFY(!makeFile(inFolder("file")).isEmpty());
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));

        errno = EBADF;
        QVERIFY(!File::openRead(inFolder(name)));
        QCOMPARE(errno, error);
        QVERIFY(!File::openWrite(inFolder(name == "missing" ? "no/missing" : name), false));
        QCOMPARE(errno, error);
    }

    void theSystemTellsWhyAFolderCannotBeListed()
    {
        const std::string folder = m_folder->path().toStdString();
        QVERIFY(!makeFile(inFolder("file")).isEmpty());
        QVERIFY(QDir(m_folder->path()).mkdir("empty"));

        QCOMPARE(Platform::errorOfListing(folder), 0);
        QCOMPARE(Platform::errorOfListing(folder + "/empty"), 0);
        QCOMPARE(Platform::errorOfListing(folder + "/empty\\"), 0);
        QCOMPARE(Platform::errorOfListing(folder.substr(0, 2)), 0); // a drive
        QCOMPARE(Platform::errorOfListing(folder + "/missing"), ENOENT);
        QVERIFY(Platform::errorOfListing(folder + "/file") != 0);
        QCOMPARE(Platform::errorOfListing(std::string()), ENOENT);
        QCOMPARE(Platform::errorOfListing(folder + '\0'), ENOENT);
    }

    void aFlushTellsWhyItFails()
    {
        const std::string path = makeFile(inFolder("file"), "text").toStdString();
        std::FILE *const output = Platform::openFile(path, "a");
        QVERIFY(output);
        const bool isFlushed = Platform::flushFile(fileno(output));
        std::fclose(output);
        std::FILE *const input = Platform::openFile(path, "r"); // which may not be flushed
        QVERIFY(input);
        errno = 0;
        const bool isInputFlushed = Platform::flushFile(fileno(input));
        const int error = errno;
        std::fclose(input);

        QVERIFY(isFlushed);
        QVERIFY(!isInputFlushed);
        QCOMPARE(error, EACCES);
    }

    void theTextOfAnErrorIsThatOfItsNumber()
    {
        QCOMPARE(Utils::errorText(EISDIR), QString("Is a directory"));
        QCOMPARE(Utils::errorText(ENOENT), QString("No such file or directory"));
    }

    void theReasonIsThatOfTheFailureOfQt()
    {
        QFile file(inFolder("no/file"));
        QVERIFY(!file.open(QIODevice::WriteOnly));
        {
            const Utils::LastError operation;
            Utils::LastError::cannotWrite(file);
        }
        QCOMPARE(QByteArray(Utils::LastError::id()), QByteArray(".err.nofolder"));
    }

    // Attributes

    void fileCopyReplacesItsOwnReadOnlyCopy()
    {
        const QString path = makeFile(inFolder("file"), "one");
        const QString copy = inFolder("copy");
        QVERIFY(makeReadOnly(path));
        QVERIFY(File::copy(path, copy));

        QVERIFY(File::copy(path, copy));
        QCOMPARE(contentsOf(copy), QByteArray("one"));
        QCOMPARE(File::remove(copy), 1);
        QVERIFY(!QFile::exists(copy));
        QVERIFY(isReadOnly(path));
    }

    void fileKeepsTheAttributeOfAFileThatCannotBeRemovedOtherwise()
    {
        const QString path = makeFile(inFolder("file"), "one");
        const HANDLE holder = CreateFileW(wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        QVERIFY(holder != INVALID_HANDLE_VALUE);
        QVERIFY(makeReadOnly(path));

        const int removed = File::remove(path);
        const bool isKept = isReadOnly(path);
        CloseHandle(holder);

        QCOMPARE(removed, 0);
        QVERIFY(isKept);
    }

    // Sharing

    void aFileThatIsReadCanBeRemoved()
    {
        const QString path = makeFile(inFolder("file"), "a\nb\n");
        std::FILE *const file = File::openRead(path);
        QVERIFY(file);

        const int removed = File::remove(path);
        char line[8] = {};
        const bool isRead = std::fgets(line, sizeof(line), file);
        std::fclose(file);

        QCOMPARE(removed, 1);
        QVERIFY(isRead);
        QCOMPARE(QByteArray(line), QByteArray("a\n"));
        QVERIFY(!QFile::exists(path));
    }

    void aFileThatIsReadCanBeReplaced_data()
    {
        QTest::addColumn<bool>("isSafe");

        QTest::newRow("safe") << true;
        QTest::newRow("in place") << false;
    }

    void aFileThatIsReadCanBeReplaced()
    {
        QFETCH(bool, isSafe);
        const QString path = makeFile(inFolder("file"), "old\nb\n");
        std::FILE *const file = File::openRead(path);
        QVERIFY(file);

        const bool isWritten =
            isSafe ? File::writeSafely(path, "new\n") : File::write(path, "new\n");
        std::fclose(file);

        QVERIFY(isWritten);
        QCOMPARE(contentsOf(path), QByteArray("new\n"));
        QCOMPARE(tree(m_folder->path()), QStringList("file"));
    }

    void aFileThatIsReadIsReplacedByAMoveOrStays()
    {
        const QString path = makeFile(inFolder("file"), "old");
        QVERIFY(!makeFile(inFolder("other"), "new").isEmpty());
        std::FILE *const file = File::openRead(path);
        QVERIFY(file);

        File::move(inFolder("other"), path);
        std::fclose(file);

        // Systems before Windows 10 refuse it; then nothing is lost.
        if (QFile::exists(inFolder("other"))) {
            QCOMPARE(contentsOf(path), QByteArray("old"));
            QCOMPARE(contentsOf(inFolder("other")), QByteArray("new"));
            QVERIFY(!File::lastError().isEmpty());
        } else {
            QCOMPARE(contentsOf(path), QByteArray("new"));
        }
    }

    void aFileThatATableHoldsCanBeRemoved()
    {
        const QString path =
            makeFile(inFolder("table.csv"), QByteArray("1,\"2\n3\"\n").repeated(2000));
        {
            Utils::CSVTable table;
            table.setQuoting(Utils::CSVTable::Rfc4180);
            QVERIFY(table.read(path, /*limit=*/4096));
            QVERIFY(table.isDemandRead());

            QCOMPARE(File::remove(path), 1);

            QCOMPARE(table.data(1999, 1), String("2\n3"));
        }
        QVERIFY(!QFile::exists(path));
    }

    void aFileThatAByteReaderHoldsCanBeRemoved()
    {
        const QString path = makeFile(inFolder("file"), "a\nb\n");
        {
            Utils::FileByteReader reader(path);
            QCOMPARE(reader.nextLine(), QByteArray("a"));
            QCOMPARE(File::remove(path), 1);
        }
        QVERIFY(!QFile::exists(path));
    }

    // Junctions

    void fileRemovesAJunctionAndNotWhatItLeadsTo()
    {
        QVERIFY(!makeFile(inFolder("kept/file"), "kept").isEmpty());
        NEED_JUNCTION(m_folder->path(), "link", "kept");

        const int removed = File::remove(inFolder("link"));

        QCOMPARE(contentsOf(inFolder("kept/file")), QByteArray("kept"));
        NEED_REMOVAL(inFolder("link"));
        QCOMPARE(removed, 1);
        QVERIFY(!isLink(inFolder("link")));
    }

    void fileRemovesTheJunctionsInAFolder()
    {
        QVERIFY(!makeFile(inFolder("kept/file"), "kept").isEmpty());
        QVERIFY(!makeFile(inFolder("folder/below/file")).isEmpty());
        NEED_JUNCTION(inFolder("folder/below"), "link", "../../kept");

        const int removed = File::remove(inFolder("folder/*"));

        QCOMPARE(contentsOf(inFolder("kept/file")), QByteArray("kept"));
        NEED_REMOVAL(inFolder("folder/below/link"));
        QCOMPARE(removed, 3);
        QVERIFY(QDir(inFolder("folder")).isEmpty());
    }

    void fileSearchFollowsAJunctionOnce()
    {
        QVERIFY(!makeFile(inFolder("a/b/file.txt")).isEmpty());
        NEED_JUNCTION(inFolder("a/b"), "up", "../../a");

        QCOMPARE(File::search(m_folder->path(), "*.txt"), QStringList(inFolder("a/b/file.txt")));
    }

    void fileCopyDirFollowsAJunctionOnce()
    {
        QVERIFY(!makeFile(inFolder("a/b/file.txt")).isEmpty());
        NEED_JUNCTION(inFolder("a/b"), "up", "../../a");

        QCOMPARE(File::copyDir(inFolder("a"), inFolder("copy")), 1);

        QCOMPARE(tree(inFolder("copy")), QStringList({"a/", "a/b/", "a/b/file.txt"}));
    }

    // Times

    void fileTimestampIsThatOfTheSystem()
    {
        const QString path = makeFile(inFolder("file"));
        const HANDLE file = CreateFileW(wide(path).c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        QVERIFY(file != INVALID_HANDLE_VALUE);
        const std::uint64_t ticks = (11644473600ULL + 1000000000ULL) * 10000000ULL;
        const FILETIME time = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
        const bool isSet = SetFileTime(file, nullptr, nullptr, &time);
        CloseHandle(file);
        QVERIFY(isSet);

        QCOMPARE(File::timestamp(path), 1000000000U);
        QVERIFY(File::copy(path, inFolder("copy")));
        QVERIFY(File::timestamp(inFolder("copy")) > 0U);
    }

    // The environment

    void theEnvironmentIsThatOfQtAndOfTheCLibrary()
    {
        const QByteArray before = qgetenv("ALLUSERSPROFILE");
        const auto restore = qScopeGuard([&] { qputenv("ALLUSERSPROFILE", before); });

        QVERIFY(qputenv("ALLUSERSPROFILE", "C:\\shared"));
        QCOMPARE(Platform::sharedDataFolder(), std::string("C:\\shared"));
        QVERIFY(qunsetenv("ALLUSERSPROFILE"));
        QCOMPARE(Platform::sharedDataFolder(), std::string());
    }

    // Commands

    void fileMoveReplacesAnExistingFile_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");

        QTest::newRow("plain") << "a"
                               << "b";
        QTest::newRow("blanks") << "a b"
                                << "c d";
        QTest::newRow("not ASCII")
            << QString::fromUtf8("\xc3\xa4") << QString::fromUtf8("\xe6\x97\xa5");
        QTest::newRow("characters of commands") << "a&b"
                                                << "c^d(e)";
        QTest::newRow("a variable") << "100%TEMP%.txt"
                                    << "%OS%";
        QTest::newRow("one percent sign") << "50%"
                                          << "b";
    }

    void fileMoveReplacesAnExistingFile()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QVERIFY(!makeFile(inFolder(source), "new").isEmpty());
        QVERIFY(!makeFile(inFolder(target), "old").isEmpty());

        File::move(inFolder(source), inFolder(target));

        QVERIFY(!QFile::exists(inFolder(source)));
        QCOMPARE(contentsOf(inFolder(target)), QByteArray("new"));
    }

    void fileMoveTakesARootedPathWithoutADrive()
    {
        const QString path = makeFile(inFolder("a"), "text");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path())); // decides the drive
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        File::move(path.mid(2), inFolder("b").mid(2));

        QVERIFY(!QFile::exists(path));
        QCOMPARE(contentsOf(inFolder("b")), QByteArray("text"));
    }

    void fileMoveMovesAFileWithAPercentSignIntoAFolder()
    {
        QVERIFY(!makeFile(inFolder("5%"), "text").isEmpty());
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));

        File::move(inFolder("5%"), inFolder("folder"));

        QCOMPARE(contentsOf(inFolder("folder/5%")), QByteArray("text"));
    }

    void processKillsTheWholeTree()
    {
        QProcess program;
        program.start(WINDOWS_CHILD, {"tree"});
        QVERIFY(program.waitForStarted());
        const QList<qint64> children = childrenOf(program);
        QCOMPARE(children.size(), 2);
        QVERIFY(isRunning(children[0]));
        QVERIFY(isRunning(children[1]));

        QVERIFY(Platform::killProcessTree(program.processId()));

        QVERIFY(program.waitForFinished());
        QTRY_VERIFY(!isRunning(children[0]));
        QTRY_VERIFY(!isRunning(children[1]));
    }

    void processTreeKnowsWhatItsProgramHasLeft()
    {
        QProcess program;
        program.start(WINDOWS_CHILD, {"tree"});
        QVERIFY(program.waitForStarted());
        const QList<qint64> children = childrenOf(program);
        QCOMPARE(children.size(), 2);
        Platform::ProcessTree tree(program.processId());

        program.kill();
        QVERIFY(program.waitForFinished());
        tree.update();
        QVERIFY(!tree.ask(/*all=*/false));
        QVERIFY(tree.ask(/*all=*/true)); // they have no windows
        QVERIFY(!tree.hasEnded());
        tree.kill();

        QVERIFY(tree.hasEnded());
        QVERIFY(!isRunning(children[0]));
        QVERIFY(!isRunning(children[1]));
    }

    void processTreeOfNothingHasEnded()
    {
        for (const qint64 id : {qint64(0), qint64(1), qint64(0x7ffffff0), qint64(1) << 32}) {
            Platform::ProcessTree tree(id);
            tree.update();
            QVERIFY(tree.hasEnded());
            tree.kill();
        }
    }

    void processStopsTheWholeTree()
    {
        Utils::Process process(WINDOWS_CHILD, {"tree"});
        process.setStopPolicy(/*waitTime=*/200);
        QVERIFY(process.start());
        QTRY_COMPARE_WITH_TIMEOUT(process.output().count('\n'), 2, 60000);
        const QStringList children = process.output().remove('\r').split('\n');

        QVERIFY(process.stop());

        QVERIFY(!process.isRunning());
        QVERIFY(!isRunning(children[0].toLongLong()));
        QVERIFY(!isRunning(children[1].toLongLong()));
    }

    void processTellsThatNothingWasKilled()
    {
        QVERIFY(!Platform::killProcessTree(0));
        QVERIFY(!Platform::killProcessTree(1));
        QVERIFY(!Platform::killProcessTree(0x7ffffff0)); // has no process
    }

    void processPassesArgumentsOfAnyLanguage()
    {
        const QStringList arguments = {
            "a b",
            "",
            "\"quoted\"",
            "back\\slash\\",
            "100%TEMP%",
            QString::fromUtf8("Gr\xc3\xb6\xc3\x9f"
                              "e \xe6\x97\xa5"),
        };
        Utils::Process process(WINDOWS_CHILD, QStringList("print") + arguments);

        QVERIFY(process.start());
        QVERIFY(process.wait(/*showProgress=*/false));

        // In UTF-8, which the library expects of programs; line ends are those of the program.
        QCOMPARE(process.output().remove('\r').split('\n'), arguments + QStringList(""));
        QCOMPARE(process.exitCode(), 7);
    }

    void processReadsTheCodePageThatItIsTold()
    {
        Utils::Process process(WINDOWS_CHILD, {"bytes", "848145e1"});
        QVERIFY(process.setEncoding("IBM850"));

        QCOMPARE(process.run(), Utils::Process::RunFinished);

        QCOMPARE(process.output(), String("\u00e4\u00fcE\u00df"));
        QCOMPARE(process.exitCode(), 7);
    }

    void processQuotesAsTheSystemSplits()
    {
        const QStringList words = {"C:\\a b\\x.exe",
                                   "-f",
                                   "c d\\",
                                   "\"q\"",
                                   "",
                                   "a\\\\\"b",
                                   QString::fromUtf8("\xe6\x97\xa5 \t")};
        const Utils::Process process(words.first(), words.mid(1));

        int count = 0;
        const QString line = process.quotedCommand();
        wchar_t **const found = CommandLineToArgvW(line.toStdWString().c_str(), &count);
        QVERIFY(found);
        QStringList split;
        for (int i = 0; i < count; ++i)
            split.append(QString::fromWCharArray(found[i]));
        LocalFree(found);

        QCOMPARE(split, words);
    }

    void processStartsAProgramInAFolderOfAnyLanguage()
    {
        const QString folder = inFolder(QString::fromUtf8("\xc3\xa4 \xe6\x97\xa5"));
        QVERIFY(QDir().mkpath(folder));
        Utils::Process process(WINDOWS_CHILD, {"folder"});
        process.setWorkingDirectory(folder);

        QVERIFY(process.start());
        QVERIFY(process.wait(/*showProgress=*/false));

        QCOMPARE(process.output().trimmed(), folder);
    }

    void processGivesItsProgramTheEnvironment()
    {
        Utils::Process process(WINDOWS_CHILD, {"variable", "KELM_TEST"});
        process.setEnvironment({{"KELM_TEST", String::fromUtf8("\xe6\x97\xa5")}},
                               /*keepPath=*/true);

        QVERIFY(process.start());
        QVERIFY(process.wait(/*showProgress=*/false));

        QCOMPARE(process.output().trimmed(), QString::fromUtf8("\xe6\x97\xa5"));
    }

    void processKillsItsProgramInAnyMode()
    {
        Utils::Process process(WINDOWS_CHILD, {"wait"});
        process.setKillMode(Utils::Process::KillTree);
        QVERIFY(process.start());
        const qint64 id = process.getPID();

        process.kill();

        QTRY_VERIFY(!isRunning(id));
        QVERIFY(process.wait(/*showProgress=*/false));
    }

    // The registry

    void settingsAreInTheRegistryAlsoWithoutWindows()
    {
        const Registry registry;
        Utils::Settings().setString("Group/key", "value");

        QSettings plain;
        QCOMPARE(plain.format(), QSettings::NativeFormat);
        QCOMPARE(plain.value("Group/key").toString(), QString("value"));
        QVERIFY(!QDir("/HKEY_CURRENT_USER").exists());
        plain.setValue("Group/key", "changed");
        QCOMPARE(Utils::Settings().getString("group/KEY"), String("changed"));
    }

    void settingsInAFileIgnoreTheCaseOfKeys()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_folder->path());
        const auto restore =
            qScopeGuard([] { QSettings::setDefaultFormat(QSettings::NativeFormat); });
        QCoreApplication::setOrganizationName("Company");
        QCoreApplication::setApplicationName("Tests");

        Utils::Settings().setString("Group/Key", "value");

        QCOMPARE(Utils::Settings().getString("group/KEY"), String("value"));
        QCOMPARE(QSettings().value("Group/Key").toString(), QString("value"));
        QCOMPARE(QSettings().allKeys(), QStringList("Group/Key"));
    }

    void settingsListTheKeyDefaultByItsName()
    {
        const Registry registry;
        Utils::Settings settings;
        settings.setString("group/Default", "export reset");

        QCOMPARE(settings.keys("group"), QStringList("Default"));
        settings.copyKey("group", "copy");
        QCOMPARE(settings.getString("copy/Default"), String("export reset"));
    }

    void settingsKeepTheTemporaryGroupWhenItsCaseChanges()
    {
        const Registry registry;
        Utils::Settings settings;
        settings.setString("@@@_TEMP_@@@/key", "value");

        settings.renameKey("@@@_TEMP_@@@", "@@@_temp_@@@", /*recursive=*/true);
        QCOMPARE(settings.getString("@@@_temp_@@@/key"), String("value"));
        settings.renameKey("@@@_temp_@@@", "@@@_TEMP_@@@", /*recursive=*/true);
        QCOMPARE(settings.getString("@@@_TEMP_@@@/key"), String("value"));
    }

    void settingsRenameAGroupByItsCase()
    {
        const Registry registry;
        Utils::Settings settings;
        settings.setString("Abc/key", "value");

        settings.renameKey("Abc", "abc", /*recursive=*/true);

        QCOMPARE(settings.getString("abc/key"), String("value"));
        QVERIFY(settings.keys("@@@_temp_@@@").isEmpty());
    }

    // Other calls of the system

    void fileFindsTheVersionOfALibrary()
    {
        const QString path = inFolder(QString::fromUtf8("Gr\xc3\xb6\xc3\x9f"
                                                        "e \xe6\x97\xa5.dll"));
        QVERIFY(QFile::copy(VERSIONED, path));

        QCOMPARE(File::version(path), String("19.02.1.5"));
        QCOMPARE(File::version(QCoreApplication::applicationFilePath()), String());
        QCOMPARE(File::version(makeFile(inFolder("text"))), String());
        QCOMPARE(File::version(inFolder("missing")), String());
    }

    void fileOpensNamesOfAnyLanguage()
    {
        const QString path = inFolder(QString::fromUtf8("Gr\xc3\xb6\xc3\x9f"
                                                        "e \xe6\x97\xa5.txt"));

        std::FILE *const output = File::openWrite(path, /*append=*/false);
        QVERIFY(output);
        QVERIFY(std::fputs("text", output) >= 0);
        QCOMPARE(std::fclose(output), 0);

        QVERIFY(GetFileAttributesW(wide(path).c_str()) != INVALID_FILE_ATTRIBUTES);
        std::FILE *const input = File::openRead(path);
        QVERIFY(input);
        char text[8] = {};
        QVERIFY(std::fgets(text, sizeof(text), input));
        std::fclose(input);
        QCOMPARE(QByteArray(text), QByteArray("text"));
    }

    void fileOpensForAppendingAndForWriting()
    {
        const QString path = makeFile(inFolder("file"), "one");

        std::FILE *file = File::openWrite(path, /*append=*/true);
        QVERIFY(file);
        QVERIFY(std::fputs("two", file) >= 0);
        QCOMPARE(std::fclose(file), 0);
        QCOMPARE(contentsOf(path), QByteArray("onetwo"));

        file = File::openWrite(path, /*append=*/false);
        QVERIFY(file);
        QCOMPARE(std::fclose(file), 0);
        QCOMPARE(contentsOf(path), QByteArray());
    }

    void theLibraryCanBeLoadedAndUnloaded()
    {
        QProcess program;
        program.start(WINDOWS_CHILD, {"load", LIBRARY});

        QVERIFY(program.waitForFinished(60000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 7);
    }

    void aThreadThatHasAReasonEndsAfterTheLibraryIsUnloaded()
    {
        QProcess program;
        program.start(WINDOWS_CHILD, {"thread", WINDOWS_FAILING});

        QVERIFY(program.waitForFinished(60000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 7);
    }

    void memoryCheckerCreatesItsReportOnce()
    {
        const QString path = inFolder(QString::fromUtf8("\xc3\xa4.txt"));

        Utils::MemoryChecker::setReportFile(path);

        QVERIFY(QFile::exists(path));
        QVERIFY(!File::openRead(path)); // for this process only
        const QString other = makeFile(inFolder("other"), "kept");
        Utils::MemoryChecker::setReportFile(other);
        QCOMPARE(contentsOf(other), QByteArray("kept"));
    }

    // The console

    void kelmWatchTellsAtOnceWhatItDoes()
    {
        const QString path = makeFile(inFolder("watched"), "text");
        QProcess kelm;
        kelm.start(KELM_PROGRAM, {"watch", path, "--interval", "100", "--times", "1", "--",
                                  WINDOWS_CHILD, "print", "a b", "c"});
        kelm.setReadChannel(QProcess::StandardError);
        QVERIFY(kelm.waitForReadyRead(60000));
        QCOMPARE(QString::fromUtf8(kelm.readLine()), "Watching \"" + path + "\", Ctrl-C ends it\n");

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(1000000000),
                                 QFileDevice::FileModificationTime));
        file.close();
        QVERIFY(kelm.waitForFinished(60000));

        QCOMPARE(kelm.readAllStandardOutput().replace("\r", ""), QByteArray("a b\nc\n"));
        QVERIFY(kelm.readAllStandardError().endsWith("has failed with status 7\n"));
        QCOMPARE(kelm.exitCode(), 1);
    }

    void kelmEndsByTheKeysOfTheConsole_data()
    {
        QTest::addColumn<QString>("task");
        QTest::addColumn<uint>("key");
        QTest::addColumn<QByteArrayList>("outputs"); // a key is pressed after each
        QTest::addColumn<uint>("code");

        const uint endedByKey = 0xc000013a; // STATUS_CONTROL_C_EXIT
        QTest::newRow("Ctrl-C without a task")
            << "idle" << uint(CTRL_C_EVENT) << QByteArrayList{"Idle\n"} << 130U;
        QTest::newRow("Ctrl-C in a task")
            << "hidden" << uint(CTRL_C_EVENT) << QByteArrayList{"Hidden\n"} << 130U;
        QTest::newRow("the second Ctrl-C")
            << "deaf" << uint(CTRL_C_EVENT) << QByteArrayList{"Started\n", "Noted\n"} << 130U;
        QTest::newRow("Ctrl-Break")
            << "idle" << uint(CTRL_BREAK_EVENT) << QByteArrayList{"Idle\n"} << endedByKey;
    }

    void kelmEndsByTheKeysOfTheConsole()
    {
        QFETCH(QString, task);
        QFETCH(uint, key);
        QFETCH(QByteArrayList, outputs);
        QFETCH(uint, code);
        if (!openConsole())
            QSKIP("the system has no console");
        const auto close = qScopeGuard([] { FreeConsole(); });
        const QString errors = inFolder("errors");
        const HANDLE file = openInherited(wide(errors), GENERIC_WRITE, CREATE_NEW);
        const Program program(HOST_CHILD, task, nullptr, nullptr, file);
        CloseHandle(file);
        QVERIFY(program.isStarted());

        for (const QByteArray &output : qAsConst(outputs)) {
            QTRY_VERIFY_WITH_TIMEOUT(contentsOf(errors).contains(output), 60000);
            const bool isPressed = GenerateConsoleCtrlEvent(key, 0);
            if (!isPressed && key == CTRL_BREAK_EVENT)
                QSKIP("the system itself, which is Wine, cannot send Ctrl-Break");
            QVERIFY(isPressed);
        }

        QVERIFY(program.waitForEnd());
        QCOMPARE(program.exitCode(), code);
    }

    void kelmLeavesTheConsoleAsItWas_data()
    {
        QTest::addColumn<QString>("task");
        QTest::addColumn<int>("key"); // -1 for none
        QTest::addColumn<uint>("code");

        QTest::newRow("at its end") << "message" << -1 << 0U;
        QTest::newRow("after Ctrl-C without a task") << "idle" << CTRL_C_EVENT << 130U;
        QTest::newRow("after Ctrl-C in a task") << "cancelable" << CTRL_C_EVENT << 130U;
    }

    void kelmLeavesTheConsoleAsItWas()
    {
        QFETCH(QString, task);
        QFETCH(int, key);
        QFETCH(uint, code);
        const Console console;
        if (!console.isOpen())
            QSKIP("the system has no console");
        const DWORD readAndWrite = GENERIC_READ | GENERIC_WRITE;
        const HANDLE input = openInherited(L"CONIN$", readAndWrite, OPEN_EXISTING);
        const HANDLE output = openInherited(L"CONOUT$", readAndWrite, OPEN_EXISTING);
        const auto close = qScopeGuard([&] {
            CloseHandle(input);
            CloseHandle(output);
        });
        const auto modeOf = [](HANDLE handle) {
            DWORD mode = 0;
            return GetConsoleMode(handle, &mode) ? mode : DWORD(0);
        };
        const UINT codePage = 850;
        const DWORD inputMode = ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT;
        const DWORD outputMode = ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT;
        QVERIFY(SetConsoleOutputCP(codePage));
        QVERIFY(SetConsoleMode(input, inputMode));
        QVERIFY(SetConsoleMode(output, outputMode));

        const Program program(HOST_CHILD, task, input, output, output);
        QVERIFY(program.isStarted());
        if (key >= 0) {
            const bool hasTask = task != "idle";
            QTRY_COMPARE_WITH_TIMEOUT(GetConsoleOutputCP(), UINT(CP_UTF8), 60000);
            QTRY_VERIFY_WITH_TIMEOUT(modeOf(output) != outputMode, 60000);
            QTRY_COMPARE_WITH_TIMEOUT(modeOf(input) != inputMode, hasTask, 60000);
            QVERIFY(GenerateConsoleCtrlEvent(static_cast<DWORD>(key), 0));
        }
        QVERIFY(program.waitForEnd());

        QCOMPARE(program.exitCode(), code);
        QCOMPARE(GetConsoleOutputCP(), codePage);
        QCOMPARE(modeOf(input), inputMode);
        QCOMPARE(modeOf(output), outputMode);
    }

    void kelmIsSilentWhenNobodyReads()
    {
        SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
        HANDLE reader = nullptr;
        HANDLE writer = nullptr;
        QVERIFY(CreatePipe(&reader, &writer, &inherited, 0));
        CloseHandle(reader);
        const HANDLE errors = openInherited(wide(inFolder("errors")), GENERIC_WRITE, CREATE_NEW);
        const Program program(KELM_PROGRAM, "--help", nullptr, writer, errors);
        CloseHandle(writer);
        CloseHandle(errors);
        QVERIFY(program.isStarted());

        QVERIFY(program.waitForEnd());
        QCOMPARE(contentsOf(inFolder("errors")), QByteArray());
    }

private:
    QString inFolder(const QString &name) const { return m_folder->path() + "/" + name; }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Windows)
#include "tst_Windows.moc"
