// Whole files, their lines, and folder trees beside what Qt and the C library do. benchmarks/report
// tells how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/files/File.h"
#include "utils/files/FileByteReader.h"
#include "utils/files/FileReader.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using benchmark::State;
using Utils::File;

// Inputs

/// Lines of two to twelve words of two to nine letters, as UTF-8. One word in \p oneIn has a letter
/// beyond ASCII; 0 is none.
static QByteArray makeText(int size, int oneIn)
{
    std::mt19937 random(1);
    // Not a distribution of the library, which may differ from one to the next.
    const auto upTo = [&](unsigned int count) { return static_cast<int>(random() % count); };

    QByteArray text;
    text.reserve(size + 200);
    while (text.size() < size) {
        for (int words = 2 + upTo(11); words > 0; --words) {
            for (int letters = 2 + upTo(8); letters > 0; --letters)
                text += static_cast<char>('a' + upTo(26));
            if (oneIn > 0 && upTo(oneIn) == 0)
                text += "\u00e4";
            text += words > 1 ? ' ' : '\n';
        }
    }
    return text;
}

static void makeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

/// \p count files in folders of a hundred, ten folders in each folder above. One in ten is a table.
static void makeTree(const QString &root, int count)
{
    QString folder;
    for (int i = 0; i < count; ++i) {
        if (i % 100 == 0) {
            folder = QStringLiteral("%1/group%2/run%3").arg(root).arg(i / 1000).arg(i / 100);
            QDir().mkpath(folder);
        }
        const char *const suffix = i % 10 == 0 ? "csv" : "txt";
        makeFile(QStringLiteral("%1/file%2.%3").arg(folder).arg(i).arg(QLatin1String(suffix)), {});
    }
}

/// Sides that do not find the same must not be compared.
static void check(State &state, qint64 found, qint64 expected)
{
    if (found != expected)
        state.SkipWithError("not everything was found");
}

// Whole files

static void readOurs(State &state, const Data::String &path, int size)
{
    for (auto _ : state)
        check(state, File::read(path).size(), size);
}

static void readByStream(State &state, const Data::String &path, int size)
{
    for (auto _ : state) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        QTextStream stream(&file);
        stream.setCodec("UTF-8");
        check(state, stream.readAll().size(), size);
    }
}

// Lines of text

static void readLinesOurs(State &state, const Data::String &path, int lines)
{
    for (auto _ : state) {
        Utils::FileReader reader(path);
        Data::String line;
        while (reader.readLine(line, /*trim=*/false))
            benchmark::DoNotOptimize(line.size());
        check(state, reader.lineCount(), lines);
    }
}

static void readLinesByStream(State &state, const Data::String &path, int lines)
{
    for (auto _ : state) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        QTextStream stream(&file);
        stream.setCodec("UTF-8");
        QString line;
        int count = 0;
        while (stream.readLineInto(&line)) {
            benchmark::DoNotOptimize(line.size());
            ++count;
        }
        check(state, count, lines);
    }
}

// Lines of bytes

/// The first line of a reader asks for the places of all lines.
static void indexOurs(State &state, const Data::String &path, int)
{
    for (auto _ : state) {
        Utils::FileByteReader reader(path);
        QByteArray line;
        check(state, reader.readLine(line, /*trim=*/false), true);
    }
}

static void indexByBlocks(State &state, const Data::String &path, int lines)
{
    std::vector<char> block(256 * 1024);
    for (auto _ : state) {
        const int file = open(QFile::encodeName(path).constData(), O_RDONLY);
        std::vector<int> offsets(1, 0);
        int base = 0;
        ssize_t size;
        while ((size = read(file, block.data(), block.size())) > 0) {
            const char *const end = block.data() + size;
            for (const char *at = block.data();
                 (at = static_cast<const char *>(std::memchr(at, '\n', end - at)));)
                offsets.push_back(base + static_cast<int>(++at - block.data()));
            base += static_cast<int>(size);
        }
        close(file);
        check(state, static_cast<qint64>(offsets.size()), lines + 1);
    }
}

static void walkOurs(State &state, const Data::String &path, int lines)
{
    for (auto _ : state) {
        Utils::FileByteReader reader(path);
        QByteArray line;
        while (reader.readLine(line, /*trim=*/false))
            benchmark::DoNotOptimize(line.size());
        check(state, reader.lineCount(), lines);
    }
}

static void walkByGetline(State &state, const Data::String &path, int lines)
{
    for (auto _ : state) {
        std::FILE *const file = std::fopen(QFile::encodeName(path).constData(), "rb");
        char *line = nullptr;
        std::size_t capacity = 0;
        ssize_t size;
        int count = 0;
        while ((size = getline(&line, &capacity, file)) > 0) {
            benchmark::DoNotOptimize(size);
            ++count;
        }
        std::free(line);
        std::fclose(file);
        check(state, count, lines);
    }
}

// Folder trees

static void searchOurs(State &state, const Data::String &root, const char *filter, int count)
{
    for (auto _ : state)
        check(state, File::search(root, filter).size(), count);
}

static void searchByIterator(State &state, const Data::String &root, const char *filter, int count)
{
    for (auto _ : state) {
        QStringList found;
        QDirIterator entry(root, {QLatin1String(filter)}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (entry.hasNext())
            found.append(entry.next());
        check(state, found.size(), count);
    }
}

static int countFiles(const std::string &folder)
{
    int files = 0;
    DIR *const entries = opendir(folder.c_str());
    while (const dirent *const entry = entries ? readdir(entries) : nullptr) {
        if (entry->d_name[0] == '.')
            continue;
        files += entry->d_type == DT_DIR ? countFiles(folder + '/' + entry->d_name) : 1;
    }
    if (entries)
        closedir(entries);
    return files;
}

static void searchByReaddir(State &state, const Data::String &root, int count)
{
    for (auto _ : state)
        check(state, countFiles(root.toStdString()), count);
}

/// Calls \p copy for the same folder again and again, each time without its copy of before.
template <typename Copy>
static void copyFolder(State &state, const QString &to, int count, Copy copy)
{
    for (auto _ : state) {
        copy();
        state.PauseTiming();
        check(state, QDir(to + QStringLiteral("/from")).entryList(QDir::Files).size(), count);
        QDir(to).removeRecursively();
        QDir().mkdir(to);
        state.ResumeTiming();
    }
}

/// The system calls of cp -r for a folder of files.
static void copyByCalls(const std::string &from, const std::string &to)
{
    mkdir(to.c_str(), 0777);
    DIR *const entries = opendir(from.c_str());
    while (const dirent *const entry = entries ? readdir(entries) : nullptr) {
        if (entry->d_name[0] == '.')
            continue;
        const std::string target = to + '/' + entry->d_name;
        const int source = openat(dirfd(entries), entry->d_name, O_RDONLY | O_NOFOLLOW);
        struct stat status;
        if (fstatat(dirfd(entries), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            fstat(source, &status) != 0)
            throw std::runtime_error("cannot examine " + target);
        const int copy = open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL, status.st_mode & 0777);
        while (copy_file_range(source, nullptr, copy, nullptr, 1 << 30, 0) > 0)
            continue;
        close(copy);
        close(source);
    }
    if (entries)
        closedir(entries);
}

static void addCopies(const QString &from, const QString &to, const char *detail, int count)
{
    addPair(
        "copy a folder of 1,000 files beside the calls of cp -r", detail, 2.0,
        [=](State &state) { copyFolder(state, to, count, [=] { File::copyDir(from, to); }); },
        [=](State &state) {
            copyFolder(state, to, count,
                       [=] { copyByCalls(from.toStdString(), to.toStdString() + "/from"); });
        });
}

template <typename Ours, typename Peer>
static void addFilePair(const char *topic, const char *detail, double target, Ours ours, Peer peer,
                        const Data::String &path, int expected)
{
    addPair(
        topic, detail, target, [=](State &state) { ours(state, path, expected); },
        [=](State &state) { peer(state, path, expected); });
}

static void addText(const Data::String &path, const char *detail, const QByteArray &text)
{
    makeFile(path, text);
    addFilePair("read a file of 100 MB beside QTextStream::readAll", detail, 1.0, readOurs,
                readByStream, path, QString::fromUtf8(text).size());
    addFilePair("lines of text beside QTextStream::readLineInto", detail, 0.75, readLinesOurs,
                readLinesByStream, path, text.count('\n'));
}

static void addBytes(const Data::String &path, const char *detail, const QByteArray &text)
{
    const int lines = text.count('\n');
    addFilePair("places of lines beside read and memchr", detail, 1.3, indexOurs, indexByBlocks,
                path, lines);
    addFilePair("lines of bytes beside getline", detail, 1.5, walkOurs, walkByGetline, path, lines);
}

static void addTree(const Data::String &root, const char *filter, int expected)
{
    addPair(
        "search 50,000 files beside QDirIterator", filter, 1.3,
        [=](State &state) { searchOurs(state, root, filter, expected); },
        [=](State &state) { searchByIterator(state, root, filter, expected); });
}

/// Files in memory, so that no disk is measured.
static void addCopies(const QTemporaryDir &memory)
{
    const int count = 1000;
    for (const int size : {0, 1000}) {
        const QString folder = memory.filePath(QString::number(size));
        const QString from = folder + QStringLiteral("/from");
        const QString to = folder + QStringLiteral("/to");
        QDir().mkpath(from);
        QDir().mkpath(to);
        for (int i = 0; i < count; ++i)
            makeFile(from + QStringLiteral("/file%1").arg(i), QByteArray(size, 'a'));
        addCopies(from, to, size == 0 ? "empty" : "1,000 bytes", count);
    }
}

// Saving without loss

enum class Saving
{
    InPlace,
    Beside, // not flushed
    Flushed
};

/// Writes the file that a save replaces, up to the disk: to replace one that is still being written
/// takes longer.
static void makeOldFile(State &state, const QString &path, const QByteArray &bytes)
{
    state.PauseTiming();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush() ||
        fsync(file.handle()) != 0)
        state.SkipWithError("the file cannot be written");
    file.close();
    state.ResumeTiming();
}

static void save(State &state, const Data::String &path, const QByteArray &bytes, Saving saving)
{
    File::setSafeWriting(saving != Saving::InPlace, saving == Saving::Flushed);
    for (auto _ : state) {
        makeOldFile(state, path, bytes);
        if (!File::writeRaw(path, bytes))
            state.SkipWithError("the file cannot be written");
    }
    File::setSafeWriting(false);
}

/// QSaveFile flushes, too.
static void saveByQt(State &state, const Data::String &path, const QByteArray &bytes)
{
    for (auto _ : state) {
        makeOldFile(state, path, bytes);
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
            state.SkipWithError("the file cannot be written");
    }
}

/// On the disk of the temporary folder. No targets, as disks differ.
static void addSaving(const QString &path, const QByteArray &bytes)
{
    const Data::String target = path;
    const auto inPlace = [=](State &state) { save(state, target, bytes, Saving::InPlace); };
    addPair(
        "save 10 MB", "beside, beside in place", 0.0,
        [=](State &state) { save(state, target, bytes, Saving::Beside); }, inPlace);
    addPair(
        "save 10 MB", "flushed, beside in place", 0.0,
        [=](State &state) { save(state, target, bytes, Saving::Flushed); }, inPlace);
    addPair(
        "save 10 MB", "flushed, beside QSaveFile", 0.0,
        [=](State &state) { save(state, target, bytes, Saving::Flushed); },
        [=](State &state) { saveByQt(state, target, bytes); });
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    const int size = 100 * 1000 * 1000;
    const QByteArray ascii = makeText(size, 0);
    addText(folder.filePath(QStringLiteral("ascii.txt")), "ASCII", ascii);
    addText(folder.filePath(QStringLiteral("utf8.txt")), "UTF-8", makeText(size, 10));
    addBytes(folder.filePath(QStringLiteral("ascii.txt")), "100 MB", ascii);

    addSaving(folder.filePath(QStringLiteral("saved.txt")), ascii.left(10 * 1000 * 1000));

    const QString root = folder.filePath(QStringLiteral("tree"));
    const int count = 50000;
    makeTree(root, count);
    addTree(root, "*", count);
    addTree(root, "*.csv", count / 10);
    addPair(
        "search 50,000 files beside readdir", "*", 1.5,
        [=](State &state) { searchOurs(state, root, "*", count); },
        [=](State &state) { searchByReaddir(state, root, count); });
    const QTemporaryDir memory(QStringLiteral("/dev/shm/bench_Files-XXXXXX"));
    if (memory.isValid())
        addCopies(memory);
    return runBenchmarks(argc, argv);
}
