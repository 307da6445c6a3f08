#include "utils/platform/Platform.h"

#include "utils/files/File.h"
#include "utils/platform/Platform_windows_p.h"

#include "tests/platform/windows_files.h"
#include "tests/platform/windows_processes.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Tree.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>

namespace Platform = Utils::Platform;
using Data::String;
using Utils::File;

namespace {

/// A folder of the drive C: as a drive, while it lives. Wine opens nothing on a drive that is
/// defined so; there the host makes a link.
class Drive
{
public:
    explicit Drive(const QString &folder)
    {
        const DWORD used = GetLogicalDrives();
        char letter = 'g';
        while (used & (1U << (letter - 'a')))
            ++letter;
        m_name = QString("%1:").arg(letter);
        DefineDosDeviceW(0, wide(m_name).c_str(), wide(folder).c_str());
        if (!isThere())
            runOnHost("ln -s \"../drive_c$1\" \"$WINEPREFIX/dosdevices/$2\"", folder.mid(2));
    }
    ~Drive()
    {
        DefineDosDeviceW(DDD_REMOVE_DEFINITION, wide(m_name).c_str(), nullptr);
        if (isThere())
            runOnHost("rm \"$WINEPREFIX/dosdevices/$2\"", {});
    }
    Drive(const Drive &) = delete;
    Drive &operator=(const Drive &) = delete;

    /// Such as "g:".
    QString name() const { return m_name; }

    bool isThere() const
    {
        return GetFileAttributesW(wide(m_name + "/").c_str()) != INVALID_FILE_ATTRIBUTES;
    }

private:
    /// Runs a command of the host's shell until the drive has come or gone.
    void runOnHost(const QString &command, const QString &folder) const
    {
        const bool wasThere = isThere();
        const bool hasChanged =
            QProcess::startDetached("Z:\\bin\\sh", {"-c", command, "sh", folder, m_name}) &&
            QTest::qWaitFor([&] { return isThere() != wasThere; }, 10000);
        if (!hasChanged)
            qWarning("the host has not changed the drive");
    }

    QString m_name;
};

/// What calls of the system do in the library. Calls that are not set are those of the system.
struct SystemCalls
{
    static std::function<decltype(CreateFileW)> create;
    static std::function<decltype(CreateProcessW)> start;
    static std::function<decltype(ReplaceFileW)> replace;
    static std::function<decltype(MoveFileExW)> move;
    static std::function<decltype(GetFileInformationByHandle)> information;
    static std::function<decltype(GetFileInformationByHandleEx)> informationOfClass;
    static std::function<decltype(GetFinalPathNameByHandleW)> finalPath;
    static std::function<decltype(GetFileAttributesW)> attributes;
    static std::function<decltype(SetFileAttributesW)> setAttributes;
    static std::function<decltype(WaitForSingleObject)> wait;

    static void restore()
    {
        create = nullptr;
        start = nullptr;
        replace = nullptr;
        move = nullptr;
        information = nullptr;
        informationOfClass = nullptr;
        finalPath = nullptr;
        attributes = nullptr;
        setAttributes = nullptr;
        wait = nullptr;
    }
};
std::function<decltype(CreateFileW)> SystemCalls::create;
std::function<decltype(CreateProcessW)> SystemCalls::start;
std::function<decltype(ReplaceFileW)> SystemCalls::replace;
std::function<decltype(MoveFileExW)> SystemCalls::move;
std::function<decltype(GetFileInformationByHandle)> SystemCalls::information;
std::function<decltype(GetFileInformationByHandleEx)> SystemCalls::informationOfClass;
std::function<decltype(GetFinalPathNameByHandleW)> SystemCalls::finalPath;
std::function<decltype(GetFileAttributesW)> SystemCalls::attributes;
std::function<decltype(SetFileAttributesW)> SystemCalls::setAttributes;
std::function<decltype(WaitForSingleObject)> SystemCalls::wait;

/// A folder that is read-only, while it lives. Wine lets nobody make one. Therefore it is open in
/// the ordinary way, so that nobody can remove it, and has the attribute for the library alone,
/// which closes it when it clears the attribute.
class ReadOnlyFolder
{
public:
    /// With \p isOpen it stays open also then.
    ReadOnlyFolder(const std::wstring &path, bool isOpen)
        : m_handle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS, nullptr))
    {
        SystemCalls::attributes = [this](const wchar_t *) {
            return FILE_ATTRIBUTE_DIRECTORY | (m_isReadOnly ? FILE_ATTRIBUTE_READONLY : DWORD(0));
        };
        SystemCalls::setAttributes = [this, isOpen](const wchar_t *, DWORD attributes) -> BOOL {
            m_isReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
            ++m_changes;
            if (!isOpen)
                close();
            return TRUE;
        };
    }
    ~ReadOnlyFolder()
    {
        SystemCalls::restore();
        close();
    }
    ReadOnlyFolder(const ReadOnlyFolder &) = delete;
    ReadOnlyFolder &operator=(const ReadOnlyFolder &) = delete;

    bool isReadOnly() const { return m_isReadOnly; }
    int changes() const { return m_changes; }

private:
    void close()
    {
        if (m_handle != INVALID_HANDLE_VALUE)
            CloseHandle(m_handle);
        m_handle = INVALID_HANDLE_VALUE;
    }

    HANDLE m_handle;
    bool m_isReadOnly = true;
    int m_changes = 0;
};

} // namespace

/// The function \p name of the system, of the type of \p function.
template <typename Function>
static Function *systemCall(const char *name, Function *)
{
    return reinterpret_cast<Function *>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"kernel32"), name)));
}

/// The function through which the library calls the function \p name of the system.
#define REPLACE_CALL(name, set)                                                 \
    template <typename... Arguments>                                            \
    static auto WINAPI call##name(Arguments... arguments)                       \
    {                                                                           \
        return set ? set(arguments...) : systemCall(#name, name)(arguments...); \
    }                                                                           \
    extern "C" {                                                                \
    decltype(&name) __imp_##name = call##name;                                  \
    }

REPLACE_CALL(CreateFileW, SystemCalls::create)
REPLACE_CALL(CreateProcessW, SystemCalls::start)
REPLACE_CALL(ReplaceFileW, SystemCalls::replace)
REPLACE_CALL(MoveFileExW, SystemCalls::move)
REPLACE_CALL(GetFileInformationByHandle, SystemCalls::information)
REPLACE_CALL(GetFileInformationByHandleEx, SystemCalls::informationOfClass)
REPLACE_CALL(GetFinalPathNameByHandleW, SystemCalls::finalPath)
REPLACE_CALL(GetFileAttributesW, SystemCalls::attributes)
REPLACE_CALL(SetFileAttributesW, SystemCalls::setAttributes)
REPLACE_CALL(WaitForSingleObject, SystemCalls::wait)

/// Lets the system give every file these numbers; without \p longNumber it has no long ones.
static void numberFiles(quint64 number, std::optional<int> longNumber)
{
    SystemCalls::information = [=](HANDLE file, BY_HANDLE_FILE_INFORMATION *result) -> BOOL {
        const auto call = systemCall("GetFileInformationByHandle", GetFileInformationByHandle);
        const BOOL isKnown = call(file, result);
        result->nFileIndexHigh = static_cast<DWORD>(number >> 32);
        result->nFileIndexLow = static_cast<DWORD>(number);
        return isKnown;
    };
    SystemCalls::informationOfClass = [=](HANDLE, FILE_INFO_BY_HANDLE_CLASS, void *result,
                                          DWORD size) -> BOOL {
        if (longNumber && size == sizeof(FILE_ID_INFO)) {
            std::memset(result, *longNumber, size);
            return TRUE;
        }
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    };
}

/// Lets the system know no paths of open files.
static void hidePaths()
{
    SystemCalls::finalPath = [](HANDLE, wchar_t *, DWORD, DWORD) -> DWORD {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    };
}

/// What must not be lost on Windows: roots of drives, files that others have open or save at the
/// same time, and the attributes of files.
class tst_Windows_files : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void cleanup() { SystemCalls::restore(); }

    // Paths and errors

    void aLongPathGetsAPrefix_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("result"); // "" for the same

        const QString name = "\\" + QString(240, 'x');
        QTest::newRow("long") << "C:" + name << "\\\\?\\C:" + name;
        QTest::newRow("on a server") << "\\\\s\\s" + name << "\\\\?\\UNC\\s\\s" + name;
        QTest::newRow("with the prefix") << "\\\\?\\C:" + name << "";
        QTest::newRow("with the prefix and a slash") << "\\\\?\\C:" + name + "/x"
                                                     << "\\\\?\\C:" + name + "\\x";
        QTest::newRow("with the prefix by slashes") << "//?/C:" + name << "\\\\?\\C:" + name;
        QTest::newRow("short") << "C:/x"
                               << "";
        QTest::newRow("a device") << "C:" + name + "\\NUL"
                                  << "device";
    }

    void aLongPathGetsAPrefix()
    {
        QFETCH(QString, path);
        QFETCH(QString, result);

        const QString wide = QString::fromStdWString(Platform::toWidePath(path.toStdString()));

        if (result == "device")
            QVERIFY2(!wide.contains("UNC"), qPrintable(wide));
        else
            QCOMPARE(wide, result.isEmpty() ? path : result);
    }

    void aShortRelativePathInALongFolderIsFound()
    {
        const QString folder = inFolder(QString(240 - m_folder->path().size(), 'x'));
        QVERIFY(QDir().mkpath(folder));
        const QString name = QString(60, 'y');
        const CurrentFolder current(folder);

        QVERIFY(File::write(name, "text"));
        std::FILE *const file = File::openRead(name);
        QVERIFY(file);
        std::fclose(file);
        QVERIFY(QFile::exists(folder + "/" + name));
    }

    void errorsOfTheSystemHaveNumbers_data()
    {
        QTest::addColumn<uint>("code");
        QTest::addColumn<int>("number");

        QTest::newRow("no server") << uint(ERROR_BAD_NETPATH) << ENOENT;
        QTest::newRow("no share") << uint(ERROR_BAD_NET_NAME) << ENOENT;
        QTest::newRow("no drive") << uint(ERROR_INVALID_DRIVE) << ENOENT;
        QTest::newRow("no path") << uint(ERROR_BAD_PATHNAME) << ENOENT;
        QTest::newRow("no folder") << uint(ERROR_DIRECTORY) << ENOTDIR;
        QTest::newRow("quota") << 1295U << ENOSPC;
        QTest::newRow("privilege") << uint(ERROR_PRIVILEGE_NOT_HELD) << EACCES;
        QTest::newRow("any other") << uint(ERROR_CRC) << EIO;
    }

    void errorsOfTheSystemHaveNumbers()
    {
        QFETCH(uint, code);
        QFETCH(int, number);

        QCOMPARE(Platform::errorNumber(code), number);
    }

    // The same file

    void filesWithoutNumbersAreToldApart_data()
    {
        QTest::addColumn<quint64>("number");
        QTest::addColumn<int>("longNumber"); // each byte of it; -1 when there is none

        const quint64 all = ~quint64(0);
        QTest::newRow("none") << quint64(0) << -1;
        QTest::newRow("the number of no file") << all << -1;
        QTest::newRow("both without") << quint64(0) << 0;
        QTest::newRow("both of no file") << all << 255;
    }

    void filesWithoutNumbersAreToldApart()
    {
        QFETCH(quint64, number);
        QFETCH(int, longNumber);
        const std::string a = makeFile(inFolder("one"), "one").toStdString();
        const std::string b = makeFile(inFolder("two"), "two").toStdString();
        const std::string otherCase = inFolder("ONE").toStdString();
        numberFiles(number, longNumber < 0 ? std::nullopt : std::optional<int>(longNumber));

        QCOMPARE(Platform::isSameEntry(a, b), std::optional<bool>(false));
        QVERIFY(!Platform::isSameFile(a, b));
        QCOMPARE(Platform::isSameEntry(a, otherCase), std::optional<bool>(true));
        QVERIFY(Platform::isSameFile(a, otherCase));

        QVERIFY(File::copy(inFolder("one"), inFolder("ONE")));
        QCOMPARE(contentsOf(inFolder("one")), QByteArray("one"));
        QVERIFY(File::copy(inFolder("one"), inFolder("two")));
        QCOMPARE(contentsOf(inFolder("two")), QByteArray("one"));
    }

    void filesWithTheSameShortNumberAreToldApartByTheLongOne()
    {
        const std::string a = makeFile(inFolder("one"), "one").toStdString();
        const std::string b = makeFile(inFolder("two"), "two").toStdString();
        numberFiles(7, std::nullopt);
        SystemCalls::informationOfClass = nullptr;
        hidePaths();

        QCOMPARE(Platform::isSameEntry(a, b), std::optional<bool>(false));
        QVERIFY(!Platform::isSameFile(a, b));
        QVERIFY(Platform::isSameFile(a, inFolder("ONE").toStdString()));
    }

    void filesWithShortNumbersOnlyAreToldApartByThem()
    {
        const std::string a = makeFile(inFolder("one"), "one").toStdString();
        const std::string b = makeFile(inFolder("two"), "two").toStdString();
        numberFiles(7, std::nullopt);
        SystemCalls::information = nullptr;
        hidePaths();

        QCOMPARE(Platform::isSameEntry(a, b), std::optional<bool>(false));
        QVERIFY(!Platform::isSameFile(a, b));
        QVERIFY(Platform::isSameFile(a, inFolder("ONE").toStdString()));
    }

    void filesWithoutNumbersAndPathsAreNotKnownToBeTheSame()
    {
        const std::string a = makeFile(inFolder("one"), "one").toStdString();
        const std::string b = makeFile(inFolder("two"), "two").toStdString();
        numberFiles(0, std::nullopt);
        hidePaths();

        QCOMPARE(Platform::isSameEntry(a, b), std::optional<bool>());
        QVERIFY(!Platform::isSameFile(a, b));

        QVERIFY(!File::copy(inFolder("one"), inFolder("two")));
        QCOMPARE(contentsOf(inFolder("one")), QByteArray("one"));
        QCOMPARE(contentsOf(inFolder("two")), QByteArray("two"));
    }

    void namesOfAFileWithoutPathsAreNotKnownToBeTheSame()
    {
        const std::string a = makeFile(inFolder("one"), "one").toStdString();
        QVERIFY(CreateHardLinkW(wide(inFolder("link")).c_str(), wide(inFolder("one")).c_str(),
                                nullptr));
        hidePaths();

        QCOMPARE(Platform::isSameEntry(a, inFolder("link").toStdString()), std::optional<bool>());
        QVERIFY(Platform::isSameFile(a, inFolder("link").toStdString()));
    }

    // Roots

    void theSystemKnowsRoots_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("isRoot");

        const auto row = [](const char *path, bool isRoot) {
            QTest::newRow(path) << QString(path) << isRoot;
        };
        row("C:", true);
        row("C:/", true);
        row("C:\\", true);
        row("/", true);
        row("C:/windows/..", true);
        row("C:/./", true);
        row("//?/C:", true);
        row("\\\\?\\C:\\", true);
        row("\\\\.\\C:", true);
        row("//server", true);
        row("//server/share", true);
        row("\\\\server\\share\\", true);
        row("\\\\?\\UNC\\server\\share", true);
        row("C:/windows", false);
        row("C:windows", false);
        row("//?/C:/windows", false);
        row("//server/share/folder", false);
        row("\\\\?\\UNC\\server\\share\\folder", false);
        row("folder", false);
        row("", false);
    }

    void theSystemKnowsRoots()
    {
        QFETCH(QString, path);
        QFETCH(bool, isRoot);
        const CurrentFolder current(m_folder->path());

        QCOMPARE(Platform::isRootOfDrive(path.toStdString()), isRoot);
    }

    void fileRemovesNothingOfARoot_data()
    {
        QTest::addColumn<QString>("path"); // %1 is the drive

        for (const char *const path :
             {"%1/*", "%1*", "%1\\*", "%1//*", "%1/./*", "%1/here/../*", "//?/%1/*", "/*"})
            QTest::newRow(path) << QString(path);
    }

    void fileRemovesNothingOfARoot()
    {
        QFETCH(QString, path);
        // In a drive of its own, as a mistake here would cost everything.
        for (const char *const name : {"a", "b/c", "here/a", "here/d/e"})
            QVERIFY(!makeFile(inFolder(name)).isEmpty());
        const Drive drive(m_folder->path());
        if (!drive.isThere())
            QSKIP("the system makes no drives");
        QVERIFY(!makeFile(inFolder("here/" + drive.name().left(1) + "/file")).isEmpty());
        const QStringList before = tree(m_folder->path());
        int removed = -1;
        {
            const CurrentFolder current(drive.name() + "/here");
            QVERIFY(QDir::currentPath().startsWith(drive.name(), Qt::CaseInsensitive));

            removed = File::remove(path.replace("%1", drive.name()));
        }
        QCOMPARE(removed, 0);
        QCOMPARE(tree(m_folder->path()), before);
    }

    void fileRemovesTheFilesOfTheRootThatItIsTold()
    {
        QVERIFY(!makeFile(inFolder("a")).isEmpty());
        QVERIFY(!makeFile(inFolder("here/b")).isEmpty());
        const Drive drive(m_folder->path());
        if (!drive.isThere())
            QSKIP("the system makes no drives");
        {
            const CurrentFolder current(drive.name() + "/here");
            QVERIFY(QDir::currentPath().startsWith(drive.name(), Qt::CaseInsensitive));

            QCOMPARE(File::remove(drive.name() + "/"), 1); // and not those of the current folder
        }
        QCOMPARE(tree(m_folder->path()), QStringList({"here/", "here/b"}));
    }

    // Files that are open

    void aFileThatIsReadIsReplacedByACopy_data()
    {
        QTest::addColumn<bool>("isOldReadOnly");

        QTest::newRow("writable") << false;
        QTest::newRow("read-only") << true;
    }

    void aFileThatIsReadIsReplacedByACopy()
    {
        QFETCH(bool, isOldReadOnly);
        const QString path = makeFile(inFolder("file"), "old\nb\n");
        QVERIFY(!makeFile(inFolder("other"), "new").isEmpty());
        std::FILE *const reader = File::openRead(path);
        QVERIFY(reader);
        QVERIFY(!isOldReadOnly || makeReadOnly(path));

        const bool isCopied = File::copy(inFolder("other"), path);
        const QByteArray contents = contentsOf(path);
        char line[8] = {};
        const bool isRead = std::fgets(line, sizeof(line), reader);
        std::fclose(reader);

        QVERIFY(isCopied);
        QCOMPARE(contents, QByteArray("new"));
        QVERIFY(isRead);
        QCOMPARE(QByteArray(line), QByteArray("old\n"));
        QCOMPARE(tree(m_folder->path()), QStringList({"file", "other"}));
    }

    void theNameOfARemovedFileThatIsReadIsFree()
    {
        const QString path = makeFile(inFolder("file"), "old");
        std::FILE *const reader = File::openRead(path);
        QVERIFY(reader);

        const int removed = File::remove(path);
        const bool isThere = QFile::exists(path);
        const bool isWritten = File::write(path, "new");
        std::fclose(reader);

        QCOMPARE(removed, 1);
        QVERIFY(!isThere);
        QVERIFY(isWritten);
        QCOMPARE(contentsOf(path), QByteArray("new"));
    }

    void aFileThatOthersHoldKeepsItsNameAndContents()
    {
        const QString path = makeFile(inFolder("file"), "old");
        QVERIFY(!makeFile(inFolder("other"), "new").isEmpty());
        const HANDLE holder = CreateFileW(wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        QVERIFY(holder != INVALID_HANDLE_VALUE);

        const bool isCopied = File::copy(inFolder("other"), path);
        const int removed = File::remove(path);
        CloseHandle(holder);

        QVERIFY(!isCopied);
        QCOMPARE(removed, 0);
        QCOMPARE(contentsOf(path), QByteArray("old"));
        QCOMPARE(tree(m_folder->path()), QStringList({"file", "other"}));
    }

    // Saving

    void aSafeFileIsReplacedWithoutLeavingAnything()
    {
        const QString path = makeFile(inFolder("file"), "old");

        QVERIFY(File::writeSafely(path, "new"));
        QCOMPARE(contentsOf(path), QByteArray("new"));
        QVERIFY(File::writeSafely(inFolder("other"), "text"));
        QCOMPARE(tree(m_folder->path()), QStringList({"file", "other"}));
    }

    void aFailedReplacementLosesNoContents_data()
    {
        QTest::addColumn<uint>("error");
        QTest::addColumn<bool>("isRenamed"); // the old file, to the name of the backup
        QTest::addColumn<bool>("isMoved");   // the new file, by another call
        QTest::addColumn<QByteArray>("contents");

        QTest::newRow("nothing is done, and the other call succeeds")
            << uint(ERROR_UNABLE_TO_REMOVE_REPLACED) << false << true << QByteArray("new");
        QTest::newRow("nothing is done, and the other call fails")
            << uint(ERROR_UNABLE_TO_REMOVE_REPLACED) << false << false << QByteArray("old");
        QTest::newRow("the old file is renamed, and the other call succeeds")
            << uint(ERROR_UNABLE_TO_MOVE_REPLACEMENT_2) << true << true << QByteArray("new");
        QTest::newRow("the old file is renamed, and the other call fails")
            << uint(ERROR_UNABLE_TO_MOVE_REPLACEMENT_2) << true << false << QByteArray("old");
    }

    void aFailedReplacementLosesNoContents()
    {
        QFETCH(uint, error);
        QFETCH(bool, isRenamed);
        QFETCH(bool, isMoved);
        QFETCH(QByteArray, contents);
        const QString path = makeFile(inFolder("file"), "old");
        const auto move = systemCall("MoveFileExW", MoveFileExW);
        SystemCalls::replace = [&](const wchar_t *target, const wchar_t *, const wchar_t *backup,
                                   DWORD, void *, void *) -> BOOL {
            // Without a backup, the system takes a name that it does not tell.
            const std::wstring other = backup ? backup : wide(inFolder("unknown"));
            if (isRenamed && !move(target, other.c_str(), 0))
                return FALSE;
            SetLastError(error);
            return FALSE;
        };
        SystemCalls::move = [&](const wchar_t *source, const wchar_t *target, DWORD flags) -> BOOL {
            if (!isMoved && contentsOf(QString::fromWCharArray(source)) == "new") {
                SetLastError(ERROR_ACCESS_DENIED);
                return FALSE;
            }
            return move(source, target, flags);
        };

        QCOMPARE(File::writeSafely(path, "new"), isMoved);

        QCOMPARE(contentsOf(path), contents);
        QCOMPARE(tree(m_folder->path()), QStringList("file"));
    }

    void anOldFileThatCannotGetItsNameBackIsKept()
    {
        const QString path = makeFile(inFolder("file"), "old");
        QString kept;
        const auto move = systemCall("MoveFileExW", MoveFileExW);
        SystemCalls::replace = [&](const wchar_t *target, const wchar_t *, const wchar_t *backup,
                                   DWORD, void *, void *) -> BOOL {
            kept = QString::fromWCharArray(backup);
            move(target, backup, 0);
            SetLastError(ERROR_UNABLE_TO_MOVE_REPLACEMENT_2);
            return FALSE;
        };
        SystemCalls::move = [](const wchar_t *, const wchar_t *, DWORD) -> BOOL { return FALSE; };

        QVERIFY(!File::writeSafely(path, "new"));
        QCOMPARE(contentsOf(kept), QByteArray("old"));

        SystemCalls::restore();
        QVERIFY(File::writeSafely(path, "later"));
        QCOMPARE(contentsOf(path), QByteArray("later"));
        QCOMPARE(contentsOf(kept), QByteArray("old"));
    }

    void twoReplacementsOfAFileAtTheSameTimeBothSucceed()
    {
        const std::string path = makeFile(inFolder("file"), "old").toStdString();
        Platform::FileReplacement first;
        Platform::FileReplacement second;
        QVERIFY(first.open(path) && first.write("first", 5));
        bool isSecondOpen = false;
        SystemCalls::replace = [&](const wchar_t *target, const wchar_t *source,
                                   const wchar_t *backup, DWORD flags, void *, void *) -> BOOL {
            isSecondOpen = isSecondOpen || (second.open(path) && second.write("second", 6));
            return systemCall("ReplaceFileW", ReplaceFileW)(target, source, backup, flags, nullptr,
                                                            nullptr);
        };

        QVERIFY(first.finish(/*flush=*/false));
        QVERIFY(isSecondOpen);
        QCOMPARE(contentsOf(inFolder("file")), QByteArray("first"));

        QVERIFY(second.finish(/*flush=*/false));
        QCOMPARE(contentsOf(inFolder("file")), QByteArray("second"));
        QCOMPARE(tree(m_folder->path()), QStringList("file"));
    }

    void aSafeFileRemovesWhatAKillHasLeft()
    {
        const QString left = temporaryFor("file", 0);
        QVERIFY(!makeFile(left, "left").isEmpty());
        QVERIFY(setAge(left, 3600));

        QVERIFY(File::writeSafely(inFolder("file"), "new"));

        QCOMPARE(tree(m_folder->path()), QStringList("file"));
    }

    void aSafeFileKeepsThatOfAnother()
    {
        const QString open = temporaryFor("file", 0);
        const QString young = temporaryFor("file", 1);
        QVERIFY(!makeFile(open, "open").isEmpty());
        QVERIFY(!makeFile(young, "young").isEmpty());
        QVERIFY(setAge(open, 3600));
        const HANDLE holder = CreateFileW(wide(open).c_str(), GENERIC_WRITE, 0, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        QVERIFY(holder != INVALID_HANDLE_VALUE);

        const bool isWritten = File::writeSafely(inFolder("file"), "new");
        CloseHandle(holder);

        QVERIFY(isWritten);
        QCOMPARE(contentsOf(open), QByteArray("open"));
        QCOMPARE(contentsOf(young), QByteArray("young"));
        QCOMPARE(contentsOf(inFolder("file")), QByteArray("new"));
    }

    void aSafeFileTakesAnotherNameWhileALeftOverIsBeingRemoved()
    {
        const QString path = makeFile(inFolder("file"), "old");
        const QString left = temporaryFor("file", 0);
        QVERIFY(!makeFile(left, "left").isEmpty());
        std::FILE *const reader = File::openRead(left);
        QVERIFY(reader);
        QVERIFY(DeleteFileW(wide(left).c_str()));

        const bool isWritten = File::writeSafely(path, "new");
        std::fclose(reader);

        QVERIFY(isWritten);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(tree(m_folder->path()), QStringList("file"));
    }

    void aSafeFileTellsThatNoFileCanBeCreatedInItsFolder()
    {
        const QString path = makeFile(inFolder("file"), "old");
        SystemCalls::create = [](const wchar_t *name, DWORD access, DWORD share,
                                 SECURITY_ATTRIBUTES *security, DWORD mode, DWORD flags,
                                 HANDLE model) -> HANDLE {
            if (mode != CREATE_NEW)
                return systemCall("CreateFileW", CreateFileW)(name, access, share, security, mode,
                                                              flags, model);
            SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
        };
        Platform::FileReplacement replacement;

        QVERIFY(!replacement.open(path.toStdString()));

        QCOMPARE(replacement.problem(), Platform::FileReplacement::Problem::Folder);
        QCOMPARE(replacement.error(), EACCES);
    }

    void aSafeFileWithSeveralNamesIsWrittenWhileItIsRead()
    {
        const QString path = makeFile(inFolder("file"), "old text");
        QVERIFY(CreateHardLinkW(wide(inFolder("link")).c_str(), wide(path).c_str(), nullptr));
        std::FILE *const reader = File::openRead(path);
        QVERIFY(reader);

        const bool isWritten = File::writeSafely(path, "new");
        std::fclose(reader);

        QVERIFY(isWritten);
        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(contentsOf(inFolder("link")), QByteArray("new"));
        QCOMPARE(tree(m_folder->path()), QStringList({"file", "link"}));
    }

    // Read-only files

    void aReadOnlyFolderIsRemoved()
    {
        const QString path = inFolder("folder");
        QVERIFY(QDir().mkdir(path));
        const ReadOnlyFolder folder(wide(path), /*isOpen=*/false);

        QCOMPARE(File::remove(path), 1);
        QCOMPARE(folder.changes(), 1);
        QVERIFY(!QDir(path).exists());
    }

    void aReadOnlyFolderThatCannotBeRemovedOtherwiseStaysSo()
    {
        const QString path = inFolder("folder");
        QVERIFY(QDir().mkdir(path));
        const ReadOnlyFolder folder(wide(path), /*isOpen=*/true);

        QCOMPARE(File::remove(path), 0);
        QCOMPARE(folder.changes(), 2);
        QVERIFY(folder.isReadOnly());
        QVERIFY(QDir(path).exists());
    }

    void fileMoveReplacesAReadOnlyFile_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("replaced");

        QTest::newRow("by the command") << "a"
                                        << "b"
                                        << "b";
        QTest::newRow("by the command, into a folder") << "a"
                                                       << "folder"
                                                       << "folder/a";
        QTest::newRow("by the system") << "a%"
                                       << "b"
                                       << "b";
        QTest::newRow("by the system, into a folder") << "a%"
                                                      << "folder"
                                                      << "folder/a%";
    }

    void fileMoveReplacesAReadOnlyFile()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(QString, replaced);
        QVERIFY(!makeFile(inFolder(source), "new").isEmpty());
        QVERIFY(QDir().mkpath(inFolder("folder")));
        QVERIFY(!makeFile(inFolder(replaced), "old").isEmpty());
        QVERIFY(makeReadOnly(inFolder(replaced)));
        // Wine replaces such a file.
        SystemCalls::move = [&](auto... arguments) -> BOOL {
            return !isReadOnly(inFolder(replaced)) &&
                   systemCall("MoveFileExW", MoveFileExW)(arguments...);
        };
        SystemCalls::start = [&](auto... arguments) -> BOOL {
            return !isReadOnly(inFolder(replaced)) &&
                   systemCall("CreateProcessW", CreateProcessW)(arguments...);
        };

        File::move(inFolder(source), inFolder(target));

        QCOMPARE(File::lastError(), String());
        QVERIFY(!QFile::exists(inFolder(source)));
        QCOMPARE(contentsOf(inFolder(replaced)), QByteArray("new"));
        QVERIFY(!isReadOnly(inFolder(replaced)));
    }

    void aReadOnlyFileThatIsNotReplacedByAMoveStaysSo_data()
    {
        QTest::addColumn<QString>("source");

        QTest::newRow("the move fails") << "a%";
        QTest::newRow("nothing to move") << "missing";
        QTest::newRow("the file itself") << "B";
    }

    void aReadOnlyFileThatIsNotReplacedByAMoveStaysSo()
    {
        QFETCH(QString, source);
        QVERIFY(!makeFile(inFolder("a%"), "new").isEmpty());
        const QString path = makeFile(inFolder("b"), "old");
        QVERIFY(makeReadOnly(path));
        SystemCalls::move = [](const wchar_t *, const wchar_t *, DWORD) -> BOOL { return FALSE; };

        File::move(inFolder(source), path);

        QVERIFY(isReadOnly(path));
        QCOMPARE(contentsOf(path), QByteArray("old"));
        QCOMPARE(contentsOf(inFolder("a%")), QByteArray("new"));
    }

    void aSafeCopyIsReadOnlyAsItsSource_data()
    {
        QTest::addColumn<bool>("isSourceReadOnly");
        QTest::addColumn<int>("names"); // of the old file; 0 for none

        for (const bool isReadOnly : {true, false}) {
            for (const int names : {0, 1, 2})
                QTest::addRow("%d, %d names", isReadOnly, names) << isReadOnly << names;
        }
    }

    void aSafeCopyIsReadOnlyAsItsSource()
    {
        QFETCH(bool, isSourceReadOnly);
        QFETCH(int, names);
        const QString source = makeFile(inFolder("source"), "new");
        const QString path = inFolder("file");
        QVERIFY(names == 0 || !makeFile(path, "old").isEmpty());
        QVERIFY(names < 2 ||
                CreateHardLinkW(wide(inFolder("link")).c_str(), wide(path).c_str(), nullptr));
        QVERIFY(!isSourceReadOnly || makeReadOnly(source));
        File::setSafeWriting(true);
        const auto restore = qScopeGuard([] { File::setSafeWriting(false); });

        QVERIFY(File::copy(source, path));

        QCOMPARE(contentsOf(path), QByteArray("new"));
        QCOMPARE(isReadOnly(path), isSourceReadOnly);
        QCOMPARE(isReadOnly(source), isSourceReadOnly);
    }

    void aSafeCopyThatCannotBecomeReadOnlyFails()
    {
        const QString source = makeFile(inFolder("source"), "new");
        QVERIFY(makeReadOnly(source));
        SystemCalls::setAttributes = [](const wchar_t *, DWORD) -> BOOL {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        };
        Platform::FileReplacement replacement;

        QVERIFY(replacement.copyPermissions(source.toStdString()));
        QVERIFY(replacement.open(inFolder("file").toStdString()));
        QVERIFY(!replacement.finish(/*flush=*/false));
        QCOMPARE(replacement.error(), EACCES);
    }

    void aSafeCopyHasNoPermissionsOfAMissingFile()
    {
        for (const std::string &name : {inFolder("missing").toStdString(), std::string()}) {
            Platform::FileReplacement replacement;
            QVERIFY(!replacement.copyPermissions(name));
            QCOMPARE(replacement.error(), ENOENT);
        }
    }

    // Commands

    void commandsAreThoseOfTheSystem()
    {
        QVERIFY(!makeFile(inFolder("a")).isEmpty());
        for (const char *const name : {"cmd.exe", "taskkill.exe"})
            QVERIFY(QFile::copy(WINDOWS_CHILD, inFolder(name))); // does nothing with such arguments
        QProcess program;
        program.start(WINDOWS_CHILD, {"wait"});
        QVERIFY(program.waitForStarted());
        {
            const CurrentFolder current(m_folder->path());

            File::move("a", "b");
            QVERIFY(Platform::killProcessTree(program.processId()));
        }
        QVERIFY(program.waitForFinished());
        QCOMPARE(contentsOf(inFolder("b")), QByteArray("x"));
    }

    void aKillWaitsForTheEndOfTheTree()
    {
        QProcess program;
        program.start(WINDOWS_CHILD, {"tree"});
        QVERIFY(program.waitForStarted());
        const QList<qint64> children = childrenOf(program);
        QCOMPARE(children.size(), 2);
        // A command that succeeds, whose work is done only when somebody waits for it.
        bool isCommandRun = false;
        SystemCalls::start = [&](const wchar_t *, wchar_t *, auto... arguments) -> BOOL {
            isCommandRun = true;
            wchar_t line[] = L"cmd.exe /C exit 0";
            return systemCall("CreateProcessW", CreateProcessW)(nullptr, line, arguments...);
        };
        bool isLimited = true;
        SystemCalls::wait = [&](HANDLE handle, DWORD limit) -> DWORD {
            if (limit != 0 && limit != INFINITE) {
                isLimited = isLimited && isCommandRun && limit <= 5000;
                TerminateProcess(handle, 1);
            }
            return systemCall("WaitForSingleObject", WaitForSingleObject)(handle, limit);
        };

        const bool isKilled = Platform::killProcessTree(program.processId());
        SystemCalls::restore();
        const bool isAnyRunning =
            isRunning(program.processId()) || isRunning(children[0]) || isRunning(children[1]);
        Platform::killProcessTree(program.processId()); // what the test may have left

        QVERIFY(isKilled);
        QVERIFY(isCommandRun);
        QVERIFY(isLimited);
        QVERIFY(!isAnyRunning);
        QVERIFY(program.waitForFinished());
    }

    void theCommandThatMovesGetsAbsolutePaths()
    {
        QVERIFY(!makeFile(inFolder("folder/a")).isEmpty());
        QString command;
        SystemCalls::start = [&](const wchar_t *, wchar_t *line, SECURITY_ATTRIBUTES *,
                                 SECURITY_ATTRIBUTES *, BOOL, DWORD, void *, const wchar_t *,
                                 STARTUPINFOW *, PROCESS_INFORMATION *) -> BOOL {
            command = QString::fromWCharArray(line);
            return FALSE;
        };
        const CurrentFolder current(inFolder("folder"));

        File::move("a", "../b");

        const auto native = [&](const QString &name) {
            return QDir::toNativeSeparators(inFolder(name));
        };
        QCOMPARE(command, "cmd.exe /C move /Y " + native("folder/a") + " " + native("b"));
    }

private:
    QString temporaryFor(const QString &name, int number) const
    {
        const std::string temporary = Platform::temporaryName(name.toStdString(), number);
        return inFolder(QString::fromStdString(temporary));
    }

    static bool setAge(const QString &path, int seconds)
    {
        QFile file(path);
        return file.open(QIODevice::ReadWrite) &&
               file.setFileTime(QDateTime::currentDateTime().addSecs(-seconds),
                                QFileDevice::FileModificationTime);
    }

    QString inFolder(const QString &name) const { return m_folder->path() + "/" + name; }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Windows_files)
#include "tst_Windows_files.moc"
