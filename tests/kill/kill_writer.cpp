// Writes the file "target" in the folder of its argument, again and again, by one operation of the
// library, for tools/kill-test to end it in the middle of that:
//
//     kill_writer --list             the names of the operations; those that begin with "safe:" are
//                                    done under File::setSafeWriting()
//     kill_writer OPERATION FOLDER   writes FOLDER/old and FOLDER/new, prints "ready", and then
//                                    puts the one and the other in the place of FOLDER/target
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

using Operation = std::function<void(const String &path, int version)>;

static const std::map<std::string, Operation> operations = {
    {"File::write", [](const String &path, int v) { Utils::File::write(path, text(v)); }},
    {"File::writeRaw",
     [](const String &path, int v) {
         Utils::File::writeRaw(path, text(v).join(QLatin1Char('\n')).toUtf8());
     }},
    {"File::copy", copyFile},
    {"TagFile::save", writeTagFile},
    {"TagFile::writeTag", streamTagFile},
    {"Document::write", writeDocument},
    {"CSVTable::write", writeTable},
    {"Settings::exportTo", exportSettings},
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
    {"safe:StringTable", writeStrings},
    {"safe:TagFile::save", writeTagFile},
    {"safe:TagFile::writeTag", streamTagFile},
    {"safe:Document::write", writeDocument},
    {"safe:CSVTable::write", writeTable},
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
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
