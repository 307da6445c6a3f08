// Writes the file "target" in the folder of its argument, again and again, by one operation of the
// library, for tools/kill-test to end it in the middle of that:
//
//     kill_writer --list             the names of the operations; those that begin with "safe:" are
//                                    done under File::setSafeWriting()
//     kill_writer OPERATION FOLDER   writes FOLDER/old and FOLDER/new, prints "ready", and then
//                                    puts the one and the other in the place of FOLDER/target
//                                    (from the folder in KILL_WRITER_DISK, under "/disk")
//     kill_writer OPERATION FOLDER once   does so only once

#include "utils/KelmUtils.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>

#include <cstdio>
#include <functional>
#include <map>

using Data::String;

static const int lines = 3000; // about 330 kB, as much as a document of a user

static QString line(int version, int number)
{
    return QStringLiteral("%1;version %2;").arg(number).arg(version) +
           QString(90, QLatin1Char('x'));
}

static QStringList text(int version)
{
    QStringList all;
    for (int i = 0; i < lines; ++i)
        all.append(line(version, i));
    return all;
}

static void writeTagFile(const String &path, int version)
{
    Utils::TagFile file;
    for (int i = 0; i < lines; ++i) {
        Utils::TagFile::Tag tag("row");
        tag.add("number", i).add("text", line(version, i));
        file.addTag(tag);
    }
    String error;
    file.save(path, error);
}

static void streamTagFile(const String &path, int version)
{
    Utils::TagFile file;
    String error;
    if (!file.open(path, error))
        return;
    for (int i = 0; i < lines; ++i)
        file.writeTag("row", "", false).writeProperty("text", line(version, i));
    file.close();
}

static void writeDocument(const String &path, int version)
{
    Utils::Xml::Document document("Model", Utils::Xml::Document::Normal, 1.0);
    Utils::Xml::Element root = document.createElement("model");
    for (int i = 0; i < lines; ++i) {
        Utils::Xml::Element row = document.createElement("row");
        row.setAttribute("text", line(version, i));
        root.appendChild(row);
    }
    document.appendChild(root);
    document.write(path);
}

/// The file with the text of \p version, beside \p path, which is made of it.
static String source(const String &path, int version)
{
    const String name =
        Utils::File::join(Utils::File::parentFolder(path), "source" + QString::number(version));
    if (!Utils::File::exists(name))
        Utils::File::write(name, text(version));
    return name;
}

static void writeTable(const String &path, int version)
{
    Utils::CSVTable table(";");
    table.read(source(path, version));
    table.write(path);
}

static void copyFile(const String &path, int version)
{
    Utils::File::copy(source(path, version), path);
}

/// The target is missing between two copies.
static void copyToNewFile(const String &path, int version)
{
    Utils::File::remove(path);
    Utils::File::copy(source(path, version), path);
}

/// The target is a link, which stays.
static void copyToLink(const String &path, int version)
{
    const String file = Utils::File::join(Utils::File::parentFolder(path), "linked");
    if (path.endsWith("/target") && !Utils::File::exists(file)) {
        Utils::File::write(file, text(version));
        QFile::link("linked", path);
    }
    copyFile(path, version);
}

/// A file of more than 2 MB, as a copy of a folder copies it while a reporter shows its progress.
static void copyLargeFile(const String &path, int version)
{
    const String name =
        Utils::File::join(Utils::File::parentFolder(path), "source" + QString::number(version));
    if (!Utils::File::exists(name))
        Utils::File::write(name, text(version) + text(version) + text(version) + text(version) +
                                     text(version) + text(version) + text(version));
    const Utils::Progress reporter(0, "copy", false, false, /*popup=*/true);
    Utils::File::copy(name, path);
}

/// A folder with a file that is copied in chunks, because its copy shows its progress.
static void copyFolder(const String &path, int version)
{
    const String folder = Utils::File::join(Utils::File::parentFolder(path),
                                            "source" + QString::number(version), "parts");
    if (!Utils::File::exists(folder)) {
        Utils::File::createDir(folder);
        QStringList large;
        for (int i = 0; i < 7; ++i) {
            large += text(version);
            Utils::File::write(Utils::File::join(folder, QStringLiteral("part%1").arg(i)),
                               QStringList(line(version, i)));
        }
        Utils::File::write(Utils::File::join(folder, "large"), large);
    }
    Utils::File::copyDir(folder, path);
}

static void moveFile(const String &path, int version)
{
    const String name = Utils::File::join(Utils::File::parentFolder(path), "moved");
    Utils::File::write(name, text(version));
    Utils::File::move(name, path);
}

static void moveFromAnotherDisk(const String &path, int version)
{
    const String name = QFile::decodeName(qgetenv("KILL_WRITER_DISK")) + "/moved";
    Utils::File::setSafeWriting(false);
    Utils::File::write(name, text(version));
    Utils::File::setSafeWriting(true);
    Utils::File::move(name, path);
}

static void writeLog(const String &path, int version)
{
    Utils::LogFile log("", /*removeIfEmpty=*/false);
    log.setPath(path);
    for (int i = 0; i < lines; ++i)
        log.append(line(version, i), /*newLine=*/true);
}

/// A table of texts, which is an XML document.
static void writeStrings(const String &path, int version)
{
    Utils::Xml::Document document("StringTable", Utils::Xml::Document::Normal, 1.0);
    Utils::Xml::Element root = document.createElement("strings");
    for (int i = 0; i < lines; ++i) {
        Utils::Xml::Element entry = document.createElement("string");
        entry.setAttribute("id", QStringLiteral(".msg.text%1").arg(i));
        entry.appendChild(document.createTextNode(line(version, i)));
        root.appendChild(entry);
    }
    document.appendChild(root);
    document.write(path);
}

/// The store is \p path itself, where the others have a file.
static void storeSettings(const String &path, int version)
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, path);
    Utils::Settings settings("View");
    for (int i = 0; i < 300; ++i)
        settings.setString(QStringLiteral("key%1").arg(i), line(version, i));
}

/// An export of what is stored beside \p path, for each version.
static void exportSettings(const String &path, int version)
{
    const String folder = Utils::File::parentFolder(path);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder);
    const String group = QStringLiteral("version%1").arg(version);
    Utils::Settings settings(group);
    if (settings.keys("").isEmpty()) {
        for (int i = 0; i < lines; ++i)
            settings.setString(QStringLiteral("key%1").arg(i), line(version, i));
        settings.sync();
    }
    settings.exportTo(path);
}

static void useStore(const String &folder)
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder);
}

/// The store is \p path itself.
static void importSettings(const String &path, int version)
{
    const String file =
        Utils::File::join(Utils::File::parentFolder(path), "source" + QString::number(version));
    if (!Utils::File::exists(file))
        exportSettings(file, version);
    useStore(path);
    Utils::Settings("View").importFrom(file);
}

/// In the first version, all values are the kept defaults.
static void resetSettings(const String &path, int version)
{
    useStore(path);
    Utils::Settings settings("View");
    const bool isNew = settings.keys("").isEmpty();
    for (int i = 0; i < 300; ++i) {
        const QString key = QStringLiteral("key%1").arg(i);
        if (isNew)
            settings.setDefault(key, line(1, i), /*keepDefault=*/true);
        if (version == 2)
            settings.setString(key, line(2, i));
    }
    if (version == 1)
        settings.resetGroup("");
}

/// All values are in a group that has another name in each version.
static void renameSettings(const String &path, int version)
{
    useStore(path);
    const QString group = QStringLiteral("version%1");
    Utils::Settings settings;
    if (!settings.keys(group.arg(3 - version)).isEmpty()) {
        settings.renameKey(group.arg(3 - version), group.arg(version));
        return;
    }
    for (int i = 0; i < 300; ++i)
        settings.setString(group.arg(version) + QStringLiteral("/key%1").arg(i), line(0, i));
}

using Operation = std::function<void(const String &path, int version)>;

static const std::map<std::string, Operation> operations = {
    {"File::write", [](const String &path, int v) { Utils::File::write(path, text(v)); }},
    {"File::writeRaw",
     [](const String &path, int v) {
         Utils::File::writeRaw(path, text(v).join(QLatin1Char('\n')).toUtf8());
     }},
    {"File::write/text",
     [](const String &path, int v) {
         Utils::File::write(path, String(text(v).join(QLatin1Char('\n'))));
     }},
    {"File::write/encoding",
     [](const String &path, int v) {
         Utils::File::write(path, text(v).join(QLatin1Char('\n')), "ISO-8859-15");
     }},
    {"File::copy", copyFile},
    {"File::copy/chunks", copyLargeFile},
    {"File::copyDir", copyFolder},
    {"File::move", moveFile},
    {"LogFile::append", writeLog},
    {"TagFile::save", writeTagFile},
    {"TagFile::writeTag", streamTagFile},
    {"Document::write", writeDocument},
    {"CSVTable::write", writeTable},
    {"Settings::exportTo", exportSettings},
    {"Settings::importFrom", importSettings},
    {"Settings::renameKey", renameSettings},
    {"Settings::resetGroup", resetSettings},
    {"Settings::setValue", storeSettings},
    {"safe:writeSafely",
     [](const String &path, int v) { Utils::File::writeSafely(path, text(v)); }},
    {"safe:File::write", [](const String &path, int v) { Utils::File::write(path, text(v)); }},
    {"safe:File::writeRaw",
     [](const String &path, int v) {
         Utils::File::writeRaw(path, text(v).join(QLatin1Char('\n')).toUtf8());
     }},
    {"safe:File::copy", copyFile},
    {"safe:File::copy/new", copyToNewFile},
    {"safe:File::copy/link", copyToLink},
    {"safe:File::copy/large", copyLargeFile},
    {"safe:File::move", moveFile},
    {"safe:File::move/disk", moveFromAnotherDisk},
    {"safe:StringTable", writeStrings},
    {"safe:TagFile::save", writeTagFile},
    {"safe:TagFile::writeTag", streamTagFile},
    {"safe:Document::write", writeDocument},
    {"safe:CSVTable::write", writeTable},
};

/// Without a host, operations report no progress.
class Host : public Data::IApplication
{
public:
    String getVariable(const char *, const String &value) override { return value; }
    void showMessage(const String &, bool) override {}
    void logMessage(const String &, int) override {}
    void setProgress(int, int, bool) override {}
    void setProgressLabel(const String &, bool) override {}
    void showProgress(bool, bool, bool) override {}
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    Host host;
    Utils::setApplication(&host);
    QCoreApplication::setOrganizationName("Company");
    QCoreApplication::setApplicationName("Writer");
    if (argc == 2) {
        for (const auto &operation : operations)
            std::puts(operation.first.c_str());
        return 0;
    }
    const auto operation = argc >= 3 ? operations.find(argv[1]) : operations.end();
    if (operation == operations.end())
        return 2;
    Utils::File::setSafeWriting(operation->first.compare(0, 5, "safe:") == 0);
    const Operation &write = operation->second;
    const QString folder = QString::fromLocal8Bit(argv[2]) + QLatin1Char('/');
    write(folder + "old", 1);
    write(folder + "new", 2);
    write(folder + "target", 1);
    if (argc > 3)
        return 0;
    std::puts("ready");
    std::fflush(stdout);
    for (int version = 2;; version = 3 - version)
        write(folder + "target", version);
}
