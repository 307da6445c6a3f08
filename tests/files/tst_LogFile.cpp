#include "utils/files/LogFile.h"

#include "tests/support/Files.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTime>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <type_traits>

#include <dlfcn.h>
#include <sys/stat.h>

using Data::String;
using Utils::LogFile;

static bool staysWithoutAnApplication = false;
static QStringList messages; // of Qt

static void noteMessage(QtMsgType, const QMessageLogContext &, const QString &text)
{
    messages.append(text);
}

static QByteArray unknownPath;        // of a file whose properties cannot be determined
static bool failsToTellSizes = false; // of open files

#ifndef _WIN32 // where no call can be replaced

// In front of the calls by which Qt asks for the size of a file.

template <typename Function>
static Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

static bool isUnknown(const char *path)
{
    if (unknownPath.isEmpty() || unknownPath != path)
        return false;
    errno = EIO;
    return true;
}

static int unknownSize()
{
    errno = EIO;
    return -1;
}

extern "C" __attribute__((visibility("default"))) int statx(int folder, const char *path, int flags,
                                                            unsigned mask, struct statx *result)
{
    if (failsToTellSizes && *path == '\0') // of an open file
        return unknownSize();
    return isUnknown(path) ? -1 : next(&statx, "statx")(folder, path, flags, mask, result);
}

extern "C" __attribute__((visibility("default"))) int stat64(const char *path,
                                                             struct stat64 *result)
{
    const auto plain = next(static_cast<int (*)(const char *, struct stat64 *)>(&stat64), "stat64");
    return isUnknown(path) ? -1 : plain(path, result);
}

extern "C" __attribute__((visibility("default"))) int fstat64(int file,
                                                              struct stat64 *result) noexcept
{
    const auto plain = next(static_cast<int (*)(int, struct stat64 *)>(&fstat64), "fstat64");
    return failsToTellSizes ? unknownSize() : plain(file, result);
}

#endif

class tst_LogFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
        QVERIFY(QDir(m_folder->path()).mkdir("home"));
        m_home = m_folder->filePath("home");
        qputenv("HOME", m_home.toUtf8());
#ifdef _WIN32 // which tells the home folder by no variable
        m_home = QDir::homePath();
        QFile::remove(m_home + "/x.log");
#endif
    }

    // Where it goes

    void staysInAFreeFolder()
    {
        const String path = m_folder->filePath("x.log");
        LogFile log(path, false);

        QVERIFY(log.isValid());
        QCOMPARE(log.path(), path);
        log.append("text", false);
        QCOMPARE(contentsOf(path), QByteArray("text"));
        QVERIFY(!QFile::exists(m_home + "/x.log"));
    }

    void goesToTheHomeFolderFromAmongPrograms_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("companion"); // a file that is there
        QTest::addColumn<bool>("isRedirected");

        const auto row = [](const char *name, const char *companion, bool isRedirected) {
            QTest::addRow("%s beside %s", name, *companion ? companion : "nothing")
                << QString(name) << QString(companion) << isRedirected;
        };
        row("code/comp/x.log", "", true);
        row("code/apps/x.log", "", true);
        row("comp/code/x.log", "", true);
        row("barcode/company/x.log", "", true);
        row("code-apps/x.log", "", true);
        row("code/x.log", "", false);
        row("comp/apps/x.log", "", false);
        row("cod/comp/x.log", "", false);
        row("code/com/x.log", "", false);
        row("code/app/x.log", "", false);
        row("Code/comp/x.log", "", false);
        row("code/Comp/x.log", "", false);
        row("plain/code-comp.log", "", false); // only the folder counts
        row("code/comp.log", "", false);
        row("app.log", "app.exe", true);
        row("app.log", "app", false);
        row("app.log", "other.exe", false);
#ifndef _WIN32 // where it is the same name
        row("app.log", "app.EXE", false);
#endif
        row("a.log.log", "a.exe.exe", true);
        row("a.log.log", "a.log.exe", false);
        row("x.log/a.log", "x.exe/a.exe", true); // each ".log", in folders too
        row("x.log/a.log", "x.log/a.exe", false);
        row("a.LOG", "a.exe", false);
        row("trace.txt", "", false);
        row("trace.txt", "trace.txt", true); // its own companion
        row("trace.txt", "trace.exe", false);
    }

    void goesToTheHomeFolderFromAmongPrograms()
    {
        QFETCH(QString, name);
        QFETCH(QString, companion);
        QFETCH(bool, isRedirected);
        const String path = m_folder->filePath(name);
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        if (!companion.isEmpty())
            QVERIFY(!makeFile(m_folder->filePath(companion), "kept").isEmpty());

        LogFile log(path, false);
        log.append("text", false);

        const String expected = isRedirected ? m_home + "/" + QFileInfo(name).fileName() : path;
        QVERIFY(log.isValid());
        QCOMPARE(log.path(), expected);
        QCOMPARE(contentsOf(expected), QByteArray("text"));
        if (!companion.isEmpty())
            QCOMPARE(contentsOf(m_folder->filePath(companion)), QByteArray("kept"));
    }

    void takesABareNameAsOneInTheCurrentFolder_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isRedirected");

        // clang-format off
        QTest::newRow("a free folder") << "plain" << "x.log" << false;
        QTest::newRow("a folder of programs") << "code/comp" << "x.log" << true;
        QTest::newRow("a folder of programs, with a dot") << "code/comp" << "./x.log" << true;
        QTest::newRow("a relative folder") << "code/comp" << "sub/x.log" << false;
        QTest::newRow("a relative folder of programs") << "plain" << "code-apps/x.log" << true;
        // clang-format on
    }

    void takesABareNameAsOneInTheCurrentFolder()
    {
        QFETCH(QString, folder);
        QFETCH(QString, name);
        QFETCH(bool, isRedirected);
        const QString before = QDir::currentPath();
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });
        QVERIFY(QDir().mkpath(m_folder->filePath(folder)));
        QVERIFY(QDir::setCurrent(m_folder->filePath(folder)));
        QVERIFY(QDir().mkpath(QFileInfo(name).path()));

        const LogFile log(name, false);

        QCOMPARE(log.path(), isRedirected ? String(m_home + "/x.log") : String(name));
        QCOMPARE(QFile::exists(name), !isRedirected);
    }

    void goesToTheHomeFolderFromBesideTheRunningProgram()
    {
        SKIP_ON_WINDOWS("a program on Windows has a suffix");
        const QString folder = QCoreApplication::applicationDirPath();
        const QString name = QString("log-%1.log").arg(QCoreApplication::applicationPid());
        const QString before = QDir::currentPath();
        const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });

        QCOMPARE(LogFile(folder + "/" + name, true).path(), String(m_home + "/" + name));
        QCOMPARE(LogFile(folder + "/../" + QDir(folder).dirName() + "//" + name, true).path(),
                 String(m_home + "/" + name));
        QVERIFY(QDir::setCurrent(folder));
        QCOMPARE(LogFile(name, true).path(), String(m_home + "/" + name));
        QVERIFY(QDir::setCurrent(folder + "/.."));
        QCOMPARE(LogFile(QDir(folder).dirName() + "/" + name, true).path(),
                 String(m_home + "/" + name));
        QVERIFY(!QFile::exists(folder + "/" + name));
    }

    void staysBesideAProgramThatNoApplicationTellsOf()
    {
        if (!QFileInfo(QCoreApplication::applicationDirPath()).isWritable())
            QSKIP("this user may not write beside the program");

        QVERIFY(staysWithoutAnApplication);
    }

    void goesToTheHomeFolderFromWhereItMayNotWrite()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QVERIFY(QDir().mkpath(m_folder->filePath("locked")));
        QVERIFY(QFile::setPermissions(m_folder->filePath("locked"), QFile::Permissions(0x5555)));
        QVERIFY(QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7755)));
        const OrdinaryUser user(m_home);

        LogFile log(m_folder->filePath("locked/x.log"), false);

        QCOMPARE(log.path(), String(m_home + "/x.log"));
        QVERIFY(log.isValid());
    }

    void goesToTheHomeFolderFromAFolderThatIsMissing()
    {
        LogFile log(m_folder->filePath("missing/x.log"), false);

        QCOMPARE(log.path(), String(m_home + "/x.log"));
        QVERIFY(log.isValid());
    }

    void isNotValidWhenTheHomeFolderFailsToo()
    {
        SKIP_ON_WINDOWS("the home folder is set by no variable on Windows");
        QVERIFY(QDir(m_home).mkdir("x.log")); // no file can be there

        LogFile log(m_folder->filePath("missing/x.log"), true);

        QVERIFY(!log.isValid());
        QCOMPARE(log.path(), String(m_home + "/x.log"));
        log.append("text", true);
        QVERIFY(!log.setPath(m_folder->filePath("other.log")));
        QVERIFY(!QFile::exists(m_folder->filePath("other.log")));
    }

    void bearsAnyPath_data()
    {
        QTest::addColumn<QString>("path");

        QTest::newRow("too long") << QString("/abcdefg").repeated(500);
        QTest::newRow("the root") << "/";
        QTest::newRow("not ASCII") << "/missing/\u00e4\u65e5.log";
    }

    void bearsAnyPath()
    {
        QFETCH(QString, path);

        LogFile log(path, false);
        log.append("text", true);

        const QString name = QFileInfo(path).fileName();
        QCOMPARE(log.path(), String(name.isEmpty() ? m_home : m_home + "/" + name));
        QCOMPARE(log.isValid(), !name.isEmpty());
    }

    // What is in it

    void startsEmpty()
    {
        const QString path = makeFile(m_folder->filePath("x.log"), "of the last run");

        const LogFile log(path, false);

        QCOMPARE(contentsOf(path), QByteArray());
    }

    void appendsEntriesInUtf8()
    {
        const QString path = m_folder->filePath("x.log");
        LogFile log(path, false);

        LogFile &same = log.append("a", true).append("\u00e4\u65e5", false).append("", true);
        QCOMPARE(contentsOf(path), QByteArray("a\n\xc3\xa4\xe6\x97\xa5\n")); // not closed yet
        log.append("", false).append("b\nc\r\n", false);

        QCOMPARE(&same, &log);
        QCOMPARE(contentsOf(path), QByteArray("a\n\xc3\xa4\xe6\x97\xa5\nb\nc\r\n"));
    }

    void appendsToTheEndWhereverTheFileStands()
    {
        const QString path = m_folder->filePath("x.log");
        LogFile log(path, false);
        log.append("abc", false);

        QVERIFY(qobject_cast<QFile *>(log.object())->seek(0));
        log.append("d", false);
        QFile other(path); // which the log does not know of
        QVERIFY(other.open(QIODevice::Append) && other.write("efg") == 3);
        other.close();
        log.append("h", false);

        QCOMPARE(contentsOf(path), QByteArray("abcdefgh"));
    }

    void appendsToTheEndAlsoWhereTheSizeCannotBeTold()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const QString path = m_folder->filePath("x.log");
        LogFile log(path, false);
        log.append("abc", false);

        failsToTellSizes = true;
        log.append("d", false);
        log.append("e", false);
        const qint64 size = qobject_cast<QFile *>(log.object())->size();
        failsToTellSizes = false;

        QCOMPARE(size, qint64(0)); // which is where it went to
        QCOMPARE(contentsOf(path), QByteArray("abcde"));
    }

    void startsEachEntryWithTheTimeWhenToldTo()
    {
        const QString path = m_folder->filePath("x.log");
        LogFile log(path, false);
        log.append("before", true);
        log.setTimestamp(true);

        const QTime earliest = QTime::currentTime();
        log.append("x", true).append("y", false).append("z", false).append("", true);
        const QTime latest = QTime::currentTime();
        log.setTimestamp(false);
        log.append("after", false);

        const QString time = "(\\d\\d:\\d\\d:\\d\\d\\.\\d{3}): ";
        const QRegularExpression pattern("^before\\n" + time + "x\\n" + time + "y" + time + "z" +
                                         time + "\\nafter$");
        const auto match = pattern.match(contentsOf(path));
        QVERIFY2(match.hasMatch(), contentsOf(path).constData());
        for (int i = 1; i <= 4; ++i) {
            const QTime noted = QTime::fromString(match.captured(i), "hh:mm:ss.zzz");
            QVERIFY(noted.isValid());
            if (earliest <= latest) // else midnight lies between
                QVERIFY(earliest <= noted && noted <= latest);
        }
    }

    void writesTheDigitsOfFilesInAnyLanguage()
    {
        SKIP_ON_WINDOWS("the language of Windows is set by no variable");
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "ar_EG.UTF-8"); // which has digits of its own
        process.setProcessEnvironment(environment);

        process.start(QCoreApplication::applicationFilePath(),
                      {"startsEachEntryWithTheTimeWhenToldTo"});

        QVERIFY(process.waitForFinished(-1));
        const QByteArray output = process.readAllStandardOutput();
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, output);
        QVERIFY2(output.contains("\nPASS   : tst_LogFile::startsEachEntryWithTheTimeWhenToldTo()"),
                 output);
    }

    // Its end

    void leavesNoEmptyFileWhenToldSo_data()
    {
        QTest::addColumn<bool>("removeIfEmpty");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("isLeft");

        QTest::newRow("empty, to be removed") << true << QByteArray() << false;
        QTest::newRow("empty, to be kept") << false << QByteArray() << true;
        QTest::newRow("with text, to be removed if empty") << true << QByteArray("x") << true;
        QTest::newRow("with text, to be kept") << false << QByteArray("x") << true;
    }

    void leavesNoEmptyFileWhenToldSo()
    {
        QFETCH(bool, removeIfEmpty);
        QFETCH(QByteArray, text);
        QFETCH(bool, isLeft);
        const QString path = m_folder->filePath("x.log");

        {
            LogFile log(path, removeIfEmpty);
            log.append(String(text.constData()), false);
            QVERIFY(QFile::exists(path));
        }

        QCOMPARE(QFile::exists(path), isLeft);
        if (isLeft)
            QCOMPARE(contentsOf(path), text);
    }

    void leavesAFileWhoseSizeCannotBeTold()
    {
        const QString path = m_folder->filePath("x.log");
        {
            LogFile log(path, true);
            log.append("text", false);
            unknownPath = QFile::encodeName(path);
        }
        unknownPath.clear();

        QCOMPARE(contentsOf(path), QByteArray("text"));
    }

    void leavesNoEmptyFileInTheHomeFolderEither()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        {
            const LogFile log(m_folder->filePath("missing/x.log"), true);
            QVERIFY(QFile::exists(m_home + "/x.log"));
        }

        QVERIFY(!QFile::exists(m_home + "/x.log"));
    }

    void leavesAFileAloneThatItCouldNotOpen()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const QString path = makeFile(m_folder->filePath("x.log"), "");
        const OrdinaryUser user(m_folder->path());
        QFile::setPermissions(path, QFile::Permissions(0x4444));

        {
            LogFile log("", true);
            QVERIFY(!log.setPath(path));
        }

        QVERIFY(QFile::exists(path));
    }

    void saysNothingAtItsEndWithoutAPath()
    {
        messages.clear();
        const QtMessageHandler before = qInstallMessageHandler(noteMessage);
        std::make_unique<LogFile>("", true).reset();
        qInstallMessageHandler(before);

        QCOMPARE(messages, QStringList());
    }

    void opensNothingOfANameWithAZero()
    {
        SKIP_ON_WINDOWS("the home folder is set by no variable on Windows");
        const QString path = makeFile(m_folder->filePath("a.log"), "before");

        LogFile log(path + QChar(0), true);
        log.append("text", true);

        QVERIFY(!log.isValid());
        QCOMPARE(contentsOf(path), QByteArray("before"));
        QVERIFY(!LogFile("", false).setPath(path + QChar(0)));
        QCOMPARE(contentsOf(path), QByteArray("before"));
        QCOMPARE(QDir(m_home).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    // Without a path at first

    void opensNothingWithoutAPath()
    {
        SKIP_ON_WINDOWS("the home folder is set by no variable on Windows");
        LogFile log("", false);

        QVERIFY(!log.isValid());
        QCOMPARE(log.path(), String());
        QCOMPARE(&log.append("text", true), &log);
        QVERIFY(log.object());
        QCOMPARE(QDir(m_home).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    void opensALaterPathAsItIs()
    {
        const QString path = m_folder->filePath("code-comp.log");
        QVERIFY(QDir().mkpath(m_folder->filePath("code/comp")));
        const QString amongPrograms = m_folder->filePath("code/comp/x.log");
        makeFile(amongPrograms, "of the last run");
        LogFile log("", false);

        QVERIFY(log.setPath(amongPrograms));
        QVERIFY(log.isValid());
        QCOMPARE(log.path(), String());
        QCOMPARE(contentsOf(amongPrograms), QByteArray());
        log.append("text", false);
        QVERIFY(!log.setPath(path)); // it has a file now
        log.append("more", false);

        QCOMPARE(contentsOf(amongPrograms), QByteArray("textmore"));
        QVERIFY(!QFile::exists(path));
    }

    void mayTryALaterPathAgain()
    {
        SKIP_ON_WINDOWS("the home folder is set by no variable on Windows");
        LogFile log("", true);

        QVERIFY(!log.setPath(m_folder->filePath("missing/x.log")));
        QVERIFY(!log.isValid());
        QVERIFY(!log.setPath(""));
        QVERIFY(!QFile::exists(m_home + "/x.log"));
        QVERIFY(log.setPath(m_folder->filePath("x.log")));
        QVERIFY(log.isValid());
    }

    void takesNoLaterPathWhenItHadOne()
    {
        LogFile log(m_folder->filePath("x.log"), false);

        QVERIFY(!log.setPath(m_folder->filePath("y.log")));

        QCOMPARE(log.path(), String(m_folder->filePath("x.log")));
        QVERIFY(!QFile::exists(m_folder->filePath("y.log")));
    }

    void removesAnEmptyFileOfALaterPath()
    {
        const QString path = m_folder->filePath("x.log");
        {
            LogFile log("", true);
            QVERIFY(log.setPath(path));
        }

        QVERIFY(!QFile::exists(path));
    }

    void handsOutItsFile()
    {
        const QString path = m_folder->filePath("x.log");
        int closings = 0;
        {
            LogFile log(path, false);
            connect(qobject_cast<QFile *>(log.object()), &QFile::aboutToClose, [&] { ++closings; });
            log.append("abc", true);
            QCOMPARE(closings, 0);
        }
        QCOMPARE(closings, 1);

        LogFile log(path, false);
        qobject_cast<QFile *>(log.object())->close();
        QVERIFY(!log.isValid());
        log.append("lost", true);
        QCOMPARE(contentsOf(path), QByteArray());
    }

    void cannotBeCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<LogFile>);
        QVERIFY(!std::is_copy_assignable_v<LogFile>);
        QVERIFY(!std::is_polymorphic_v<LogFile>);
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_home;
};

int main(int argc, char **argv)
{
    const QtMessageHandler before = qInstallMessageHandler(noteMessage);
    const QString folder = QFileInfo(QString::fromLocal8Bit(argv[0])).absolutePath();
    const String path = folder + "/log-without-application.log";
    staysWithoutAnApplication = LogFile(path, true).path() == path && messages.isEmpty();
    qInstallMessageHandler(before);

    QCoreApplication application(argc, argv);
    tst_LogFile test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_LogFile.moc"
