// The settings store beside the QSettings under it. benchmarks/report tells how names and counters
// make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSlot.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>

#include <stdexcept>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

using benchmark::State;
using Utils::Settings;

static const Data::String group = "window";
static const Data::String list = "files";
static const int longestList = 676;

static void setOurs(State &state)
{
    Settings settings(group);
    const Data::String key = "changes";
    int value = 0;
    for (auto _ : state)
        settings.setInt(key, ++value);
}

static void setWithReceiver(State &state)
{
    const Utils::SettingsSlot slot(group + '/', nullptr);
    setOurs(state);
}

static void setByQt(State &state)
{
    QSettings settings;
    settings.beginGroup(group);
    const QString key = QStringLiteral("changes");
    int value = 0;
    for (auto _ : state)
        settings.setValue(key, ++value);
}

/// Another store, with as many settings as \p count.
class FilledStore
{
public:
    explicit FilledStore(int count) : m_name(QCoreApplication::applicationName())
    {
        QCoreApplication::setApplicationName(QStringLiteral("Settings%1").arg(count));
        Settings settings(group);
        for (int i = 0; i < count; ++i)
            settings.setInt("key" + QString::number(i), i);
        if (!settings.sync())
            throw std::runtime_error("cannot store the settings");
    }
    ~FilledStore() { QCoreApplication::setApplicationName(m_name); }

    FilledStore(const FilledStore &) = delete;
    FilledStore &operator=(const FilledStore &) = delete;

private:
    const QString m_name;
};

/// Another process adds a long list in another group. QSettings parses a group of the file when it
/// is first asked for; ours reads the whole file.
static void changeByOtherProcess()
{
    const pid_t child = fork();
    if (child == 0) {
        {
            QSettings settings;
            settings.beginGroup(QStringLiteral("MRU/") + list);
            for (int i = 0; i < longestList; ++i)
                settings.setValue(QString::number(i), i);
        }
        _exit(0);
    }
    int status = 1;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("cannot change the settings from another process");
}

static void getOurs(State &state, const Data::String &key, int expected)
{
    const Settings settings(group);
    for (auto _ : state) {
        if (settings.getInt(key, -1) != expected)
            state.SkipWithError("another value");
    }
}

static void getByQt(State &state, const Data::String &key, int expected)
{
    QSettings settings;
    settings.beginGroup(group);
    for (auto _ : state) {
        if (settings.value(key, -1).toInt() != expected)
            state.SkipWithError("another value");
    }
}

/// Adds a pair that reads from a store of its own, which no other benchmark changes.
static void addGet(const std::string &detail, int count, bool isChanged, const Data::String &key,
                   int expected)
{
    const auto inStore = [=](void (*get)(State &, const Data::String &, int)) {
        return [=](State &state) {
            const FilledStore store(count);
            if (isChanged)
                changeByOtherProcess();
            get(state, key, expected);
        };
    };
    addPair("getInt beside QSettings::value", detail, 1.2, inStore(getOurs), inStore(getByQt));
}

static void setByObjectEach(State &state, int count)
{
    const FilledStore store(count);
    int value = 0;
    for (auto _ : state)
        Settings(group).setInt("key1", ++value);
}

static void setByQtEach(State &state, int count)
{
    const FilledStore store(count);
    int value = 0;
    for (auto _ : state) {
        QSettings settings;
        settings.beginGroup(group);
        settings.setValue(QStringLiteral("key1"), ++value);
    }
}

static void makeOurs(State &state)
{
    for (auto _ : state) {
        Settings settings(group);
        benchmark::DoNotOptimize(settings);
    }
}

static void makeByToolkit(State &state)
{
    for (auto _ : state) {
        QSettings settings;
        settings.beginGroup(group);
        benchmark::DoNotOptimize(settings);
    }
}

/// A folder with as many files as a recent list has paths. Through a link to it the files have new
/// names, which have not been checked yet.
class RecentFiles
{
public:
    explicit RecentFiles(const QString &root) : m_root(root)
    {
        QDir(m_root).mkdir(QStringLiteral("files"));
        for (int i = 0; i < longestList; ++i) {
            QFile file(path(QStringLiteral("files"), i));
            if (!file.open(QIODevice::WriteOnly))
                throw std::runtime_error("cannot write " + file.fileName().toStdString());
        }
    }

    /// Makes the recent list one of paths that were never asked for.
    void renew()
    {
        const QString link = QStringLiteral("link%1").arg(m_links++);
        QFile::link(m_root + QStringLiteral("/files"), m_root + QLatin1Char('/') + link);

        QSettings settings;
        settings.beginGroup(QStringLiteral("MRU/") + list);
        for (int i = 0; i < longestList; ++i) {
            const QString name = QString(QChar('a' + i / 26)) + QChar('a' + i % 26);
            settings.setValue(name, path(link, i));
        }
    }

    /// Takes the files away, and puts them back.
    void hide() { rename(QStringLiteral("files"), QStringLiteral("hidden")); }
    void show() { rename(QStringLiteral("hidden"), QStringLiteral("files")); }

private:
    void rename(const QString &from, const QString &to) const
    {
        if (!QDir(m_root).rename(from, to))
            throw std::runtime_error("cannot rename the folder of the recent files");
    }

    QString path(const QString &folder, int index) const
    {
        return QStringLiteral("%1/%2/%3.txt").arg(m_root, folder).arg(index);
    }

    QString m_root;
    int m_links = 0;
};

static void get(State &state, bool checkExists)
{
    const QStringList paths =
        Settings(Data::String()).getMRU(list, checkExists, -1, Data::String());
    if (paths.size() != longestList)
        state.SkipWithError("not every path was listed");
}

static void getFirst(State &state, RecentFiles &files)
{
    for (auto _ : state) {
        state.PauseTiming();
        files.renew();
        state.ResumeTiming();
        get(state, /*checkExists=*/true);
    }
}

static void getAgain(State &state, RecentFiles &files, bool checkExists)
{
    files.renew();
    get(state, /*checkExists=*/true);
    files.hide(); // whoever asked the disk again would find nothing
    for (auto _ : state)
        get(state, checkExists);
    files.show();
}

/// In memory where that is to be had: each write of settings waits for the disk.
static QString folderTemplate()
{
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    return (memory.isWritable() ? memory.filePath() : QDir::tempPath()) +
           QStringLiteral("/settings-XXXXXX");
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder(folderTemplate());
    QCoreApplication::setOrganizationName(QStringLiteral("bench"));
    QCoreApplication::setApplicationName(QStringLiteral("Settings"));
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, folder.path());
    const QCoreApplication application(argc, argv);
    Settings(group).setInt("width", 1200);

    for (const int count : {10, 1000}) {
        const std::string stored = ", " + std::to_string(count) + " stored";
        addGet("a stored value" + stored, count, /*isChanged=*/false, "key7", 7);
        addGet("the default" + stored, count, /*isChanged=*/false, "height", -1);
    }
    addGet("a stored value, another process has added 676", 10, /*isChanged=*/true, "key7", 7);
    addGet("the default, another process has added 676", 10, /*isChanged=*/true, "height", -1);

    addPair("setInt beside QSettings::setValue", "nobody receives it", 1.5, setOurs, setByQt);
    addPair("setInt beside QSettings::setValue", "a SettingsSlot receives it", 0.0, setWithReceiver,
            setByQt);
    for (const int count : {10, 1000, 10000}) {
        addPair(
            "an object for each setInt, beside QSettings", std::to_string(count) + " stored", 1.2,
            [=](State &state) { setByObjectEach(state, count); },
            [=](State &state) { setByQtEach(state, count); });
    }
    addPair("an object that changes nothing, beside QSettings", "in a group", 0.0, makeOurs,
            makeByToolkit);

    RecentFiles files(folder.path());
    addPair(
        "676 recent paths, checked a second time", "beside the first time", 0.0,
        [&](State &state) { getAgain(state, files, /*checkExists=*/true); },
        [&](State &state) { getFirst(state, files); });
    addPair(
        "676 recent paths, checked a second time", "beside no check", 0.0,
        [&](State &state) { getAgain(state, files, /*checkExists=*/true); },
        [&](State &state) { getAgain(state, files, /*checkExists=*/false); });
    return runBenchmarks(argc, argv);
}
