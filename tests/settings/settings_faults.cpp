// Brings settings into trouble, as its first argument says, and prints what did not go as it
// should. Run in a PID namespace of its own, by tst_Settings_faults: it kills processes, fills a
// disk that it mounts and lets system calls fail.

#include "tests/support/Files.h" // contentsOf
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QFile>
#include <QRandomGenerator>
#include <QThread>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>

#include <dlfcn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using Utils::Settings;

static int failures = 0;

#define CHECK(condition, ...)                                   \
    do {                                                        \
        if (!(condition)) {                                     \
            ++failures;                                         \
            std::printf("line %d: %s: ", __LINE__, #condition); \
            std::printf(__VA_ARGS__);                           \
            std::printf("\n");                                  \
        }                                                       \
    } while (false)

static const int keys = 300;

static void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(bytes);
}

static QString keyOf(int i) { return QStringLiteral("group%1/key%2").arg(i % 7).arg(i); }

static void setAll(Settings &settings, const QString &value)
{
    for (int i = 0; i < keys; ++i)
        settings.setString(keyOf(i), value);
}

/// How many of the keys have \p value, in the file alone.
static int count(const QByteArray &text, const QByteArray &value)
{
    return text.count("=" + value + "\n");
}

/// Runs \p function in a process of its own.
static int inProcess(const std::function<void()> &function)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        failures = 0;
        function();
        std::fflush(stdout);
        _exit(failures ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

static int fillDisk(const QString &file)
{
    const QString folder = QFileInfo(file).path();
    QDir().mkpath(folder);
    if (mount("none", folder.toUtf8().constData(), "tmpfs", 0, "size=128k,mode=777") != 0) {
        std::printf("cannot mount");
        return 2;
    }
    int failed = 0;
    int stored = 0;
    for (const int length : {1, 10, 40, 57}) {
        for (int pages = 12; pages >= 0; --pages) {
            for (const char *way : {"sync", "events", "death", "host"}) {
                inProcess([&] {
                    Settings settings;
                    setAll(settings, "old");
                    CHECK(settings.sync(), "with room");
                });
                const QByteArray old = contentsOf(file);
                CHECK(count(old, "old") == keys, "%d", count(old, "old"));
                const QByteArray value(length, 'n');

                const int status = inProcess([&] {
                    const QString filler = folder + "/filler";
                    auto settings = std::make_unique<Settings>();
                    put(filler, QByteArray(200000, 'f'));
                    QFile(filler).resize(QFileInfo(filler).size() / 4096 * 4096 - pages * 4096);

                    setAll(*settings, value);
                    CHECK(settings->status() == Settings::Pending, "not written yet");
                    Data::String reason;
                    if (std::strcmp(way, "sync") == 0) {
                        settings->sync();
                    } else if (std::strcmp(way, "events") == 0) {
                        QCoreApplication::processEvents();
                        QCoreApplication::sendPostedEvents();
                    } else if (std::strcmp(way, "death") == 0) {
                        settings = std::make_unique<Settings>();
                    } else {
                        settings->sync();
                        const Settings another; // as many as there are, and nothing is written
                        CHECK(another.getString(keyOf(0)) == QString(value), "another object");
                    }
                    const bool isStored = settings->status(&reason) == Settings::Stored;
                    const QByteArray now = contentsOf(file);
                    if (isStored) {
                        CHECK(count(now, value) == keys, "%d pages, %s: %d stored", pages, way,
                              count(now, value));
                        CHECK(reason.isEmpty(), "%s", qPrintable(reason));
                    } else {
                        CHECK(now == old, "%d pages, %s: the old file has changed", pages, way);
                        CHECK(settings->status() == Settings::Failed, "%d pages", pages);
                        CHECK(reason.contains("No space left"), "%s", qPrintable(reason));
                        CHECK(!settings->sync(), "still full");
                    }
                    CHECK(settings->getString(keyOf(5)) == QString(value), "in memory");
                    settings.reset();

                    QFile::remove(filler);
                    Settings later;
                    CHECK(later.sync(), "there is room again");
                    CHECK(later.status(&reason) == Settings::Stored, "%s", qPrintable(reason));
                    CHECK(count(contentsOf(file), value) == keys, "nothing is forgotten");
                    const QStringList left = QDir(folder).entryList(QDir::Files);
                    CHECK(left.size() == 1, "%s", qPrintable(left.join(' ')));
                    if (!failures)
                        _exit(isStored ? 2 : 4);
                });
                const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
                stored += code == 2;
                failed += code == 4;
                failures += code == 1;
            }
        }
    }
    CHECK(failed > 20 && stored > 20, "%d failed, %d stored", failed, stored);
    return 0;
}

static int killWriters(const QString &file)
{
    QRandomGenerator random(1);
    inProcess([] {
        Settings settings;
        setAll(settings, "first");
    });
    int generations = 0;
    QByteArray last = "first";
    for (int i = 0; i < 200; ++i) {
        int started[2];
        if (pipe(started) != 0)
            return 1;
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            Settings settings;
            for (int generation = 0;; ++generation) {
                setAll(settings, QStringLiteral("%1x%2").arg(i).arg(QString(generation % 60, 'g')));
                settings.sync();
                if (generation == 0 && write(started[1], "", 1) != 1)
                    _exit(1);
            }
        }
        char byte = 0;
        CHECK(read(started[0], &byte, 1) == 1, "the first generation");
        close(started[0]);
        close(started[1]);
        QThread::usleep(random.bounded(20000));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        QFile::remove(file + ".lock"); // QSettings waits half a minute for one that is not signed

        const QByteArray text = contentsOf(file);
        const int start = text.indexOf("=") + 1;
        const QByteArray value = text.mid(start, text.indexOf("\n", start) - start);
        CHECK(count(text, value) == keys, "kill %d: %d of %s", i, count(text, value),
              value.constData());
        if (value != last)
            ++generations;
        last = value;
    }
    CHECK(generations == 200, "%d", generations);
    return 0;
}

static int failCalls(const QString &file)
{
    using Arm = void (*)(int, int);
    using Left = int (*)();
    const auto failReads = reinterpret_cast<Arm>(dlsym(RTLD_DEFAULT, "failReads"));
    const auto failStats = reinterpret_cast<Arm>(dlsym(RTLD_DEFAULT, "failStats"));
    const auto failuresLeft = reinterpret_cast<Left>(dlsym(RTLD_DEFAULT, "failuresLeft"));
    if (!failReads || !failStats || !failuresLeft) {
        std::printf("not preloaded");
        return 2;
    }
    int told = 0;
    int met = 0;
    const Arm none = nullptr;
    for (const Arm arm : {failReads, failStats, none}) {
        for (const char *way : {"first", "changed", "plain"}) {
            for (const int lasting : {1, 3, 100000}) {
                for (int passed = 0; passed < (arm ? 25 : 1); ++passed) {
                    QFile::remove(file);
                    inProcess([] {
                        Settings settings;
                        setAll(settings, "old");
                        settings.setString("part/a", "gone").setString("part/b/c", "gone");
                    });
                    const QByteArray old = contentsOf(file);
                    CHECK(count(old, "old") == keys, "%d", count(old, "old"));
                    CHECK(count(old, "gone") == 2, "%d", count(old, "gone"));
                    const QByteArray name = QByteArray(way) + ", " + QByteArray::number(passed) +
                                            " passed, " + QByteArray::number(lasting) + " failed";

                    const int status = inProcess([&] {
                        std::unique_ptr<Settings> settings;
                        std::unique_ptr<QSettings> plain;
                        if (std::strcmp(way, "changed") == 0) {
                            settings = std::make_unique<Settings>();
                            put(file, old + "another=1\n");
                        }
                        if (arm)
                            arm(passed, lasting);
                        if (std::strcmp(way, "plain") == 0)
                            plain = std::make_unique<QSettings>(); // reads it in its own way
                        if (!settings)
                            settings = std::make_unique<Settings>();
                        settings->setString("new/key", "old");
                        settings->removeKey(keyOf(0));
                        settings->removeKey("part").setString("part/a/d",
                                                              "kept"); // below one of them
                        const bool isStored = settings->sync();
                        const bool hasMet = arm && failuresLeft() < lasting;
                        CHECK(isStored || settings->status() == Settings::Failed, "%s",
                              name.constData());
                        if (arm)
                            arm(-1, 0);
                        // Either the new file, without one old key, or the old one.
                        const int now = count(contentsOf(file), "old");
                        CHECK(now == keys, "%s: %d are left", name.constData(), now);

                        Data::String reason;
                        CHECK(settings->sync(), "%s: %s", name.constData(),
                              qPrintable((settings->status(&reason), reason)));
                        CHECK(settings->status() == Settings::Stored, "%s", name.constData());
                        const QByteArray text = contentsOf(file);
                        CHECK(count(text, "old") == keys, "%s: %d", name.constData(),
                              count(text, "old"));
                        CHECK(count(text, "gone") == 0, "%s: %d", name.constData(),
                              count(text, "gone"));
                        CHECK(count(text, "kept") == 1, "%s: %d", name.constData(),
                              count(text, "kept"));
                        CHECK(settings->getString(keyOf(0), "none") == "none", "removed");
                        CHECK(settings->getString(keyOf(1), "none") == "old", "%s",
                              name.constData());
                        if (!failures)
                            _exit((hasMet ? 2 : 0) + (isStored ? 0 : 4));
                    });
                    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
                    if (code == 1)
                        ++failures;
                    met += (code & 2) != 0;
                    told += (code & 4) != 0;
                }
            }
        }
    }
    CHECK(met > 100 && told > 20, "%d failures met, %d told", met, told);
    return 0;
}

/// Replaces the settings twice, where the call that \p name stands for in the preloaded library
/// fails at the first time, for the reason \p expected.
static int failOnce(const QString &file, const QByteArray &name, const char *expected)
{
    const auto fail = reinterpret_cast<void (*)(int)>(dlsym(RTLD_DEFAULT, name));
    const auto left = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, (name + "Left").constData()));
    if (!fail || !left) {
        std::printf("not preloaded");
        return 2;
    }
    Settings settings;
    setAll(settings, "old");
    CHECK(settings.sync(), "nothing fails");
    const QByteArray old = contentsOf(file);
    const QDir folder = QFileInfo(file).dir();
    const QStringList files = folder.entryList(QDir::Files);

    setAll(settings, "new");
    fail(1);
    CHECK(!settings.sync(), "the call fails");
    CHECK(left() == 0, "it was tried");
    Data::String reason;
    CHECK(settings.status(&reason) == Settings::Failed, "told");
    CHECK(reason == file + ": " + expected, "%s", qPrintable(reason));
    CHECK(contentsOf(file) == old, "the old file");
    CHECK(settings.getString(keyOf(7)) == "new", "in memory");
    CHECK(folder.entryList(QDir::Files) == files, "%s",
          qPrintable(folder.entryList(QDir::Files).join(' ')));

    CHECK(settings.sync(), "the next one does not");
    CHECK(settings.status(&reason) == Settings::Stored && reason.isEmpty(), "%s",
          qPrintable(reason));
    CHECK(count(contentsOf(file), "new") == keys, "%d", count(contentsOf(file), "new"));
    CHECK(folder.entryList(QDir::Files) == files, "%s",
          qPrintable(folder.entryList(QDir::Files).join(' ')));
    return 0;
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    SettingsHome::nameApplication();
    const QString file = qEnvironmentVariable("XDG_CONFIG_HOME") + "/Company/Tests.conf";

    int result = 1;
    if (argc == 2 && std::strcmp(argv[1], "fillDisk") == 0)
        result = fillDisk(file);
    else if (argc == 2 && std::strcmp(argv[1], "killWriters") == 0)
        result = killWriters(file);
    else if (argc == 2 && std::strcmp(argv[1], "failRenames") == 0)
        result = failOnce(file, "failRenames", "The file could not be replaced");
    else if (argc == 2 && std::strcmp(argv[1], "failFlushes") == 0)
        result = failOnce(file, "failFlushes", "Input/output error");
    else if (argc == 2 && std::strcmp(argv[1], "failCalls") == 0)
        result = failCalls(file);
    std::fflush(stdout);
    return failures ? 1 : result;
}
