// Executes its arguments:
//
//     wait            waits for a minute
//     tree            starts two children that wait, prints their numbers, and waits
//     print WORD...   prints each word on a line
//     bytes HEX       prints bytes as they are
//     folder          prints the current folder
//     variable NAME   prints the environment variable
//     load PATH       loads and unloads the library PATH, twice
//     thread PATH     calls the function "failingOperation" of the library PATH in a thread, which
//                     ends after the library has been unloaded
//
// What it prints else is UTF-8. The exit code of what does not wait is 7 after success.
#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QSemaphore>
#include <QThread>

#include <cstdio>
#include <memory>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

static const int success = 7;

static bool startWaiting()
{
    qint64 id = 0;
    const bool isStarted =
        QProcess::startDetached(QCoreApplication::applicationFilePath(), {"wait"}, {}, &id);
    std::printf("%lld\n", static_cast<long long>(id));
    return isStarted;
}

static int print(const QString &line)
{
    return std::printf("%s\n", line.toUtf8().constData()) < 0 ? 1 : success;
}

static int load(const QString &path)
{
    for (int i = 0; i < 2; ++i) {
        const HMODULE library = LoadLibraryW(path.toStdWString().c_str());
        if (!library || !FreeLibrary(library))
            return 1;
    }
    return success;
}

static int endThread(const QString &path)
{
    const HMODULE library = LoadLibraryW(path.toStdWString().c_str());
    if (!library)
        return 1;
    auto *const function = reinterpret_cast<bool (*)()>(
        reinterpret_cast<void *>(GetProcAddress(library, "failingOperation")));
    if (!function)
        return 2;
    bool hasFailed = false;
    QSemaphore called;
    QSemaphore unloaded;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        hasFailed = function();
        called.release();
        unloaded.acquire();
    }));
    thread->start();
    called.acquire();
    const bool isUnloaded = FreeLibrary(library) && !GetModuleHandleW(path.toStdWString().c_str());
    unloaded.release();
    thread->wait();
    return hasFailed && isUnloaded ? success : 3;
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString task = arguments.value(0);
    const QString word = arguments.value(1);
    if (task == "folder")
        return print(QDir::currentPath());
    if (task == "variable")
        return print(qEnvironmentVariable(word.toLatin1().constData()));
    if (task == "bytes") {
        const QByteArray bytes = QByteArray::fromHex(word.toLatin1());
        const auto size = static_cast<std::size_t>(bytes.size());
        return std::fwrite(bytes.constData(), 1, size, stdout) == size ? success : 1;
    }
    if (task == "load")
        return load(word);
    if (task == "thread")
        return endThread(word);
    if (task == "print") {
        for (const QString &line : arguments.mid(1))
            print(line);
        return success;
    }
    if (task == "tree" && (!startWaiting() || !startWaiting()))
        return 1;
    std::fflush(stdout);
    QThread::sleep(60);
    return 0;
}
