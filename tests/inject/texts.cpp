#include "tests/inject/Torture.h"

#include "tests/support/Files.h"

#include "utils/csv/CSVReader.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"
#include "utils/settings/WorkspaceSettings.h"
#include "utils/strings/StringTable.h"
#include "utils/strings/StringTableLoader.h"
#include "utils/tagfile/TagFile.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include <QMap>
#include <QTextStream>

#include <algorithm>
#include <memory>

// Tables, tag files, XML, settings and strings.

using Data::String;
using Utils::CSVReader;
using Utils::CSVTable;
using Utils::Settings;
using Utils::StringTable;
using Utils::TagFile;

static const char everything[] = "all";

// Tables

/// Rows of a number, its double, and a text.
static QByteArray tableText(int rows)
{
    QByteArray text = "n,double,name\n";
    for (int i = 0; i < rows; ++i)
        text += QByteArray::number(i) + "," + QByteArray::number(2 * i) + ",row " +
                QByteArray::number(i) + "\n";
    return text;
}

/// Rows and the sums of the columns. *\p isTold, if that is wanted, is set when a column is empty
/// or there is a reason why it is not complete.
template <typename Table>
static QByteArray tableSums(const Table &table, bool *isTold = nullptr)
{
    double sums[2] = {};
    for (int col = 0; col < 2; ++col) {
        const QList<double> column = table.colDataValue(col, 1);
        if (isTold && (column.isEmpty() || !Utils::File::lastError().isEmpty()))
            *isTold = true;
        for (const double number : column)
            sums[col] += number;
    }
    return QByteArray::number(table.numRows()) + " rows, sums " + QByteArray::number(sums[0]) +
           " and " + QByteArray::number(sums[1]);
}

static QByteArray expectedSums(int rows)
{
    const double sum = rows * (rows - 1.0) / 2.0;
    return QByteArray::number(rows + 2) + " rows, sums " + QByteArray::number(sum) + " and " +
           QByteArray::number(2 * sum);
}

/// Reads a table of so many rows as \p read does, and looks at it with faults, too, when
/// \p isLazy.
template <typename Table, typename Read>
static Run readingTable(int rows, bool isLazy, const Read &read)
{
    makeFile("a.csv", tableText(rows));
    const auto table = std::make_shared<Table>();
    const auto sums = keep<QByteArray>();
    const auto isRead = keep<bool>();
    return {[=](Outcome &outcome) {
                *isRead = read(*table);
                outcome.isTold = !*isRead;
                if (isLazy)
                    *sums = tableSums(*table);
            },
            [=](Outcome &outcome) {
                if (!isLazy)
                    *sums = tableSums(*table);
                if (*sums == expectedSums(rows))
                    outcome.add("whole");
                else if (table->numRows() == 0)
                    outcome.add("no rows");
                else
                    outcome.add(table->numRows() == rows + 2 ? "all rows, cells lost"
                                                             : "rows lost");
            }};
}

/// Writes a file in place of an old one.
static Run writing(const QByteArray &fresh, const std::function<bool()> &write)
{
    const QByteArray old = lines(3000, "old");
    makeFile("a.txt", old);
    return {[=](Outcome &outcome) { outcome.isTold = !write(); },
            [=](Outcome &outcome) { outcome.add(contents("a.txt", fresh, old)); }};
}

static void addTableScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"CSVReader::read", everything,
         [] {
             return readingTable<CSVReader>(30000, /*isLazy=*/false,
                                            [](CSVReader &table) { return table.read("a.csv"); });
         }},
        {"CSVReader::colData", everything,
         [] {
             makeFile("a.csv", tableText(30000));
             const auto table = std::make_shared<CSVReader>();
             table->read("a.csv");
             const auto sums = keep<QByteArray>();
             return Run{[=](Outcome &outcome) { *sums = tableSums(*table, &outcome.isTold); },
                        [=](Outcome &outcome) {
                            outcome.add(*sums == expectedSums(30000) ? "whole" : "cells lost");
                            if (tableSums(*table) != expectedSums(30000))
                                outcome.damage = "cells stay lost";
                        }};
         }},
        {"CSVReader::checksum", everything,
         [] {
             makeFile("a.csv", tableText(30000));
             const auto table = std::make_shared<CSVReader>();
             table->read("a.csv");
             const int right = table->checksum();
             const auto sum = keep<int>();
             return Run{[=](Outcome &outcome) {
                            *sum = table->checksum();
                            outcome.isTold = !Utils::File::lastError().isEmpty();
                        },
                        [=](Outcome &outcome) { outcome.add(*sum == right ? "right" : "wrong"); }};
         }},
        {"CSVReader:again", everything,
         [] {
             makeFile("a.csv", tableText(100));
             makeFile("b.csv", tableText(200));
             const auto table = std::make_shared<CSVReader>();
             table->read("a.csv");
             return Run{[=](Outcome &outcome) {
                            const CSVReader copy(*table);
                            outcome.isTold = !table->read("b.csv");
                        },
                        [=](Outcome &outcome) { outcome.add(tableSums(*table)); }};
         }},
        {"CSVTable::read:text", everything,
         [] {
             return readingTable<CSVTable>(3000, /*isLazy=*/false,
                                           [](CSVTable &table) { return table.read("a.csv"); });
         }},
        {"CSVTable::read:quoted", everything,
         [] {
             return readingTable<CSVTable>(3000, /*isLazy=*/false, [](CSVTable &table) {
                 return table.read("a.csv", 0, /*quoted=*/true);
             });
         }},
        {"CSVTable::read:bytes", everything,
         [] {
             return readingTable<CSVTable>(
                 3000, /*isLazy=*/false, [](CSVTable &table) { return table.read("a.csv", 100); });
         }},
        {"CSVTable::read:file", everything,
         [] {
             return readingTable<CSVTable>(80000, /*isLazy=*/false,
                                           [](CSVTable &table) { return table.read("a.csv", 1); });
         }},
        {"CSVTable::read:keepsText", everything,
         [] {
             makeFile("a.csv", tableText(50));
             const auto table = std::make_shared<CSVTable>();
             table->setData("1,2,x\n3,4,y");
             return Run{[=](Outcome &outcome) { outcome.isTold = !table->read("a.csv"); },
                        [=](Outcome &outcome) {
                            outcome.add(QByteArray::number(table->numRows()) + " rows");
                            if (table->data(1, 2) != "y" || table->data(0, 0) != "1")
                                outcome.damage = "lost the rows that were there";
                        }};
         }},
        {"CSVTable::write", everything,
         [] {
             const auto table = std::make_shared<CSVTable>();
             const QByteArray text = tableText(5000);
             table->setData(text.chopped(1).constData());
             return writing(text, [=] { return table->write("a.txt"); });
         }},
        {"CSVTable:edit", "malloc",
         [] {
             const auto table = std::make_shared<CSVTable>();
             table->setData(tableText(50).chopped(1).constData());
             const auto text = keep<QByteArray>();
             return Run{[=](Outcome &) {
                            table->setData(2, 2, "changed").setData(60, 5, 1.5);
                            table->appendData("7,8,9").appendData(QStringList{"a", "b"});
                            table->sort(0, 1, false);
                            table->removeColumn(1);
                            table->alignColumns();
                            *text = table->stringData().toUtf8();
                        },
                        [=](Outcome &outcome) {
                            outcome.add(QByteArray::number(table->numRows()) + " rows");
                        }};
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

// Tag files

static QByteArray tagText(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i) {
        const QByteArray number = QByteArray::number(i);
        text += (i > 0 ? "\n*tag" : "*tag") + number + "\nname: value " + number +
                "\nnote:2\nfirst\nsecond\n";
    }
    return text;
}

static void fill(TagFile &file, int count)
{
    for (int i = 0; i < count; ++i) {
        file.addTag("tag" + QString::number(i), "")
            .add("name", "value " + QString::number(i))
            .add("note", "first\nsecond");
    }
}

static void addTagScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"TagFile::read", everything,
         [] {
             makeFile("a.tag", tagText(3000));
             const auto file = std::make_shared<TagFile>();
             file->addTag("first", "");
             return Run{[=](Outcome &outcome) {
                            String error;
                            outcome.isTold = !file->read("a.tag", error);
                        },
                        [=](Outcome &outcome) {
                            TagFile whole;
                            whole.addTag("first", "");
                            fill(whole, 3000);
                            outcome.add(file->toString() == whole.toString() ? "whole"
                                        : file->numTags() == 1               ? "no tags"
                                                                             : "tags lost");
                            if (file->tag(0).name != "first")
                                outcome.damage = "lost the tags that were there";
                        }};
         }},
        {"TagFile:path", everything,
         [] {
             makeFile("a.tag", tagText(3000));
             const auto count = keep<int>();
             return Run{
                 [=](Outcome &outcome) {
                     const TagFile file("a.tag");
                     *count = file.numTags();
                     outcome.isTold = *count == 0;
                 },
                 [=](Outcome &outcome) { outcome.add(*count == 3000 ? "whole" : "tags lost"); }};
         }},
        {"TagFile::save", everything,
         [] {
             const auto file = std::make_shared<TagFile>();
             fill(*file, 5000);
             return writing(tagText(5000), [=] {
                 String error;
                 return file->save("a.txt", error);
             });
         }},
        {"TagFile::open", everything,
         [] {
             return writing(tagText(2000), [] {
                 TagFile file;
                 String error;
                 if (!file.open("a.txt", error))
                     return false;
                 try {
                     for (int i = 0; i < 2000; ++i) {
                         const QString number = QString::number(i);
                         file.writeTag("tag" + number, "", /*blankLine=*/i > 0);
                         file.writeProperty("name", "value " + number);
                         file.writeProperty("note", "first\nsecond");
                     }
                 } catch (const std::bad_alloc &) {
                     file.close(); // as the header asks for
                     throw;
                 }
                 file.close();
                 return true;
             });
         }},
        {"TagFile::findTag", "malloc",
         [] {
             const auto file = std::make_shared<TagFile>();
             fill(*file, 20);
             return Run{[=](Outcome &) {
                            file->findTag("tag3", "name", "value 3");
                            file->mtag(3).replace("name", "x").remove("note").add_g("g", 1.5);
                            file->addFileType("t", "1", "");
                            file->removeTag(2);
                        },
                        [=](Outcome &outcome) {
                            outcome.add(QByteArray::number(file->numTags()));
                            for (int i = 0; i < file->numTags(); ++i) {
                                if (file->tag(i).keys.size() != file->tag(i).values.size())
                                    outcome.damage = "keys and values of different length";
                            }
                        }};
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

// XML

static QByteArray xmlText(int count)
{
    QByteArray text = "<!DOCTYPE Model>\n<Model version=\"2.5\">\n";
    for (int i = 0; i < count; ++i) {
        const QByteArray number = QByteArray::number(i);
        text += "  <item name=\"" + number + "\" a=\"" + number + "\"/>\n";
    }
    return text + "</Model>\n\n";
}

static void addXmlScenarios(std::vector<Scenario> &scenarios)
{
    using Utils::Xml::Document;
    const std::vector<Scenario> added = {
        {"Document::open", everything,
         [] {
             makeFile("a.xml", xmlText(1000));
             const auto document = std::make_shared<Document>(Document::Normal, 0.0);
             return Run{[=](Outcome &outcome) {
                            String error;
                            outcome.isTold = !document->open("a.xml", "Model", error);
                            if (outcome.isTold && error.isEmpty())
                                outcome.damage = "no reason told";
                        },
                        [=](Outcome &outcome) {
                            const int count = document->documentElement().childNodes().size();
                            outcome.add(count == 1000 ? "whole" : "elements lost");
                            outcome.add(QByteArray::number(document->documentVersion()));
                        }};
         }},
        {"Document::write", everything,
         [] {
             const auto document = std::make_shared<Document>(Document::Normal, 0.0);
             document->setContent(xmlText(1000));
             return writing(xmlText(1000), [=] { return document->write("a.txt"); });
         }},
        {"Element", "malloc",
         [] {
             const auto document = std::make_shared<Document>(Document::Normal, 0.0);
             document->setContent(xmlText(5));
             return Run{[=](Outcome &) {
                            Utils::Xml::Element root(document->documentElement());
                            root.addAttributeIf("x", "y");
                            document->replaceInValues("3", "three");
                            root.childTextData();
                            document->setMeta("a", "b");
                            document->appendMessage("text");
                        },
                        [=](Outcome &outcome) {
                            const int count = document->documentElement().childNodes().size();
                            outcome.add(QByteArray::number(count));
                        }};
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

// Settings

static const int storedKeys = 300;

/// What is in the file of the settings. Read without QSettings, which has the file in a cache: what
/// it could not read may look lost there and be on the disk.
static QMap<QString, QString> stored()
{
    QMap<QString, QString> entries;
    QString group;
    const QStringList lines = QString::fromUtf8(bytesOf("home/Company/Torture.conf")).split('\n');
    for (const QString &line : lines) {
        const int equals = line.indexOf('=');
        if (line.startsWith('['))
            group = line.mid(1).chopped(1).replace('\\', '/');
        else if (equals > 0)
            entries[group + '/' + line.left(equals).replace('\\', '/')] = line.mid(equals + 1);
    }
    return entries;
}

/// How many of the keys that were there are lost, and then whether \p key is \p value.
static QByteArray storedState(const QString &key, const QString &value, const QString &before)
{
    const QMap<QString, QString> entries = stored();
    int found = 0;
    for (int i = 0; i < storedKeys; ++i) {
        const QString name = "Stored/key" + QString::number(i);
        if (entries.value(name) == "value " + QString::number(i))
            ++found;
    }
    const QString now = entries.value(key);
    return (found == storedKeys ? QByteArray() : QByteArray("keys lost, ")) + (now == value ? "new"
                                                                               : now == before
                                                                                   ? "old"
                                                                                   : "other");
}

/// 300 keys are in the file, and \p act changes \p key from \p before to \p after.
static Run changing(const QString &key, const QString &before, const QString &after,
                    const std::function<void(Settings &)> &act)
{
    QByteArray text = "[Stored]\n";
    for (int i = 0; i < storedKeys; ++i) {
        const QByteArray number = QByteArray::number(i);
        text += "key" + number + "=value " + number + "\n";
    }
    text += "\n[Group]\na=first\nb=second\ninner\\c=third\n\n[MRU]\nFiles\\aa=/one\n"
            "Files\\ab=/two\n";
    makeFile("home/Company/Torture.conf", text);
    return {[=](Outcome &outcome) {
                const Settings other;
                {
                    Settings settings;
                    act(settings);
                } // stores the changes
                outcome.isTold = other.status() == Settings::Failed;
            },
            [=](Outcome &outcome) {
                outcome.add(storedState(key, after, before));
                if (outcome.states.last().startsWith("keys lost"))
                    outcome.damage = "stored keys lost";
            }};
}

/// The same, but the system is well again before the object stores its changes. \p damage is called
/// with what is in the file then, and returns what is lost.
static Run healing(const QString &key, const QString &before, const QString &after,
                   const std::function<void(Settings &)> &change,
                   const std::function<const char *(const QMap<QString, QString> &)> &damage)
{
    Run run = changing(key, before, after, [](Settings &) {});
    const auto settings = keep<std::shared_ptr<Settings>>();
    const auto inspect = run.inspect;
    run.act = [=](Outcome &outcome) {
        *settings = std::make_shared<Settings>();
        change(**settings);
        outcome.isTold = (*settings)->status() == Settings::Failed;
    };
    run.inspect = [=](Outcome &outcome) {
        settings->reset();
        inspect(outcome);
        if (outcome.damage.isEmpty())
            outcome.damage = damage(stored());
    };
    return run;
}

static const char *groupDamage(const QMap<QString, QString> &entries)
{
    const auto hasAll = [&](const QStringList &groups) {
        const auto has = [&](const char *key, const char *value) {
            return std::any_of(groups.begin(), groups.end(), [&](const QString &group) {
                return entries.value(group + '/' + key) == value;
            });
        };
        return has("a", "first") && has("b", "second") && has("inner/c", "third");
    };
    if (hasAll({"Group", "Moved"}))
        return "";
    const QString temporary = "%40%40%40_temp_%40%40%40"; // "@@@_temp_@@@", as the file has it
    return hasAll({"Group", "Moved", temporary}) ? "values in the temporary group"
                                                 : "values have gone";
}

static const char *listDamage(const QMap<QString, QString> &entries)
{
    const QStringList paths = entries.values();
    return paths.contains("/one") && paths.contains("/two") ? "" : "recent paths have gone";
}

static void addSettingsScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"Settings::setValue", everything,
         [] {
             return changing("Group/a", "first", "changed",
                             [](Settings &settings) { settings.setString("Group/a", "changed"); });
         }},
        {"Settings::setValue:new", everything,
         [] {
             return changing("Other/x", "", "new", [](Settings &settings) {
                 settings.beginGroup("Other").setString("x", "new").endGroup();
             });
         }},
        {"Settings::removeKey", everything,
         [] {
             return changing("Group/a", "first", "",
                             [](Settings &settings) { settings.removeKey("Group/a"); });
         }},
        {"Settings::copyKey", everything,
         [] {
             return changing("Copy/inner/c", "", "third", [](Settings &settings) {
                 settings.copyKey("Group", "Copy", /*recursive=*/true);
             });
         }},
        {"Settings::renameKey", everything,
         [] {
             Run run = changing("Moved/a", "", "first", [](Settings &settings) {
                 settings.renameKey("Group", "Moved", /*recursive=*/true);
             });
             const auto inspect = run.inspect;
             run.inspect = [=](Outcome &outcome) {
                 inspect(outcome);
                 const QMap<QString, QString> entries = stored();
                 if (entries.value("Group/b") != "second" && entries.value("Moved/b") != "second")
                     outcome.damage = "the group has gone";
             };
             return run;
         }},
        {"Settings::renameKey:case", everything,
         [] {
             Run run = changing("GROUP/a", "", "first", [](Settings &settings) {
                 settings.renameKey("Group", "GROUP", /*recursive=*/true);
             });
             const auto inspect = run.inspect;
             run.inspect = [=](Outcome &outcome) {
                 inspect(outcome);
                 const QMap<QString, QString> entries = stored();
                 if (entries.value("Group/b") != "second" && entries.value("GROUP/b") != "second")
                     outcome.damage = "the group has gone";
             };
             return run;
         }},
        {"Settings::setDefault", everything,
         [] {
             return changing("Group/d", "", "default", [](Settings &settings) {
                 settings.setDefault("Group/d", "default", /*keepDefault=*/true);
             });
         }},
        {"Settings::setFlags", everything,
         [] {
             return changing("Group/Default", "", "noexport reset",
                             [](Settings &settings) { settings.setFlags("Group", false, true); });
         }},
        {"Settings::addMRU", everything,
         [] {
             return changing("MRU/Files/aa", "/one", "/new",
                             [](Settings &settings) { settings.addMRU("Files", "/new"); });
         }},
        {"Settings::removeMRU", everything,
         [] {
             return changing("MRU/Files/aa", "/one", "",
                             [](Settings &settings) { settings.removeMRU("Files", "/one"); });
         }},
        {"WorkspaceSettings::setValue", everything,
         [] {
             return changing("Workspaces/w/x", "", "1", [](Settings &) {
                 Utils::WorkspaceSettings settings("w");
                 settings.setInt("x", 1);
             });
         }},
        {"Settings::getValue", everything,
         [] {
             const auto found = keep<QByteArray>();
             Run run = changing("Group/a", "first", "first", [=](Settings &settings) {
                 *found = settings.getString("Group/a", "default").toUtf8();
             });
             const auto act = run.act;
             const auto inspect = run.inspect;
             run.act = [=](Outcome &outcome) {
                 act(outcome);
                 outcome.isTold = *found == "default"; // as of an absent key
             };
             run.inspect = [=](Outcome &outcome) {
                 inspect(outcome);
                 outcome.add(*found);
             };
             return run;
         }},
        {"Settings::setValue:later", everything,
         [] {
             Run run = changing("Group/a", "first", "changed",
                                [](Settings &settings) { settings.getString("Group/a"); });
             const auto inspect = run.inspect;
             run.inspect = [=](Outcome &outcome) {
                 Settings().setString("Group/a", "changed"); // when the disk is well again
                 inspect(outcome);
             };
             return run;
         }},
        {"Settings::setDefault:heals", everything,
         [] {
             return healing(
                 "Group/a", "first", "first",
                 [](Settings &settings) { settings.setDefault("Group/a", "default"); },
                 [](const QMap<QString, QString> &entries) {
                     return entries.value("Group/a") == "first" ? "" : "a value was replaced";
                 });
         }},
        {"Settings::renameKey:heals", everything,
         [] {
             return healing(
                 "Moved/a", "", "first",
                 [](Settings &settings) {
                     settings.renameKey("Group", "Moved", /*recursive=*/true);
                 },
                 groupDamage);
         }},
        {"Settings::renameKey:same heals", everything,
         [] {
             return healing(
                 "Group/a", "first", "first",
                 [](Settings &settings) {
                     settings.renameKey("Group", "Group", /*recursive=*/true);
                 },
                 groupDamage);
         }},
        {"Settings::addMRU:heals", everything,
         [] {
             return healing(
                 "MRU/Files/aa", "/one", "/new",
                 [](Settings &settings) { settings.addMRU("Files", "/new"); }, listDamage);
         }},
        {"Settings::setDefault:second object heals", everything,
         [] {
             Run run = healing(
                 "Group/a", "first", "first",
                 [](Settings &settings) { settings.setDefault("Group/a", "default"); },
                 [](const QMap<QString, QString> &entries) {
                     return entries.value("Group/a") == "first" ? "" : "a value was replaced";
                 });
             const auto act = run.act;
             run.act = [=](Outcome &outcome) {
                 Settings().setInt("Other/x", 1);
                 act(outcome);
             };
             return run;
         }},
        {"Settings::getMRU", everything,
         [] {
             makeFile("recent.txt");
             const auto found = keep<QStringList>();
             makeFile("home/Company/Torture.conf", "[MRU]\nFiles\\aa=recent.txt\n");
             return Run{[=](Outcome &outcome) {
                            *found = Settings().getMRU("Files");
                            outcome.isTold = found->isEmpty();
                        },
                        [=](Outcome &outcome) { outcome.add(found->join(';').toUtf8()); }};
         }},
        {"Settings::keys", everything,
         [] {
             const auto found = keep<QStringList>();
             Run run = changing("Group/a", "first", "first",
                                [=](Settings &settings) { *found = settings.keys("Group"); });
             const auto act = run.act;
             run.act = [=](Outcome &outcome) {
                 act(outcome);
                 outcome.isTold = found->isEmpty();
             };
             return run;
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

// Strings

/// A catalogue in English and German.
static void makeCatalogue()
{
    for (const char *const language : {"en", "de"}) {
        QByteArray text = "<!DOCTYPE StringTable>\n<strings>\n";
        for (int i = 0; i < 100; ++i)
            text += "  <string id=\".msg.m" + QByteArray::number(i) + "\">" + language +
                    QByteArray::number(i) + "</string>\n";
        makeFile(QString("res/locale/Test.Table_%1.xml").arg(language), text + "</strings>\n");
    }
    Utils::File::setSearchPath("res", "");
}

static void addStringScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"StringTable::load", everything,
         [] {
             makeCatalogue();
             StringTable::initialize("en", "", "");
             return Run{[](Outcome &outcome) { outcome.isTold = !StringTable::load("Test.Table"); },
                        [](Outcome &outcome) {
                            outcome.add(StringTable::lookup(".Test.Table.msg.m0").toUtf8());
                            outcome.add(StringTable::lookup(".Test.Table.msg.m99").toUtf8());
                        }};
         }},
        {"StringTable::load:again", everything,
         [] {
             makeCatalogue();
             StringTable::initialize("en", "", "");
             StringTable::load("Test.Table");
             return Run{[](Outcome &outcome) { outcome.isTold = !StringTable::load("Test.Table"); },
                        [](Outcome &outcome) {
                            outcome.add(StringTable::lookup(".Test.Table.msg.m99").toUtf8());
                            if (outcome.states.last() != "en99")
                                outcome.damage = "lost the table that was there";
                        }};
         }},
        {"StringTable::initialize", "malloc",
         [] {
             makeCatalogue();
             return Run{[](Outcome &) { StringTable::initialize("en", "", ""); },
                        [](Outcome &outcome) {
                            outcome.add(StringTable::load("Test.Table") ? "ready" : "not ready");
                        }};
         }},
        {"StringTable::lookupl", everything,
         [] {
             makeCatalogue();
             StringTable::initialize("en", "", "");
             StringTable::load("Test.Table");
             const auto found = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            *found = StringTable::lookupl(".Test.Table.msg.m99", "de").toUtf8();
                            outcome.isTold = *found == "en99"; // stands in
                        },
                        [=](Outcome &outcome) {
                            outcome.add(*found);
                            if (StringTable::lookupl(".Test.Table.msg.m99", "de") != "de99")
                                outcome.damage = "the language stays lost";
                        }};
         }},
        {"StringTableLoader", everything,
         [] {
             makeCatalogue();
             StringTable::initialize("de", "", "");
             return Run{[](Outcome &outcome) {
                            const Utils::StringTableLoader loader("Test.Table");
                            outcome.isTold =
                                StringTable::lookup(".Test.Table.msg.m0") == ".Test.Table.msg.m0";
                        },
                        [](Outcome &outcome) {
                            outcome.add(StringTable::lookup(".Test.Table.msg.m0").toUtf8());
                            outcome.add(StringTable::lookup(".Test.Table.msg.m99").toUtf8());
                        }};
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

std::vector<Scenario> textScenarios()
{
    std::vector<Scenario> scenarios;
    addTableScenarios(scenarios);
    addTagScenarios(scenarios);
    addXmlScenarios(scenarios);
    addSettingsScenarios(scenarios);
    addStringScenarios(scenarios);
    return scenarios;
}
