#include "tests/inject/Torture.h"

#include "tests/support/Encoded.h"
#include "tests/support/Files.h"

#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVReader.h"
#include "utils/csv/CSVRow.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/files/FileReader.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsWatch.h"
#include "utils/tagfile/TagFile.h"
#include "utils/xml/Document.h"

#include <QDir>

#include <memory>

// Files of other programs, the exchange of settings, and the classes that write safely.

using Data::String;
using Utils::CSVDialect;
using Utils::CSVReader;
using Utils::CSVRow;
using Utils::CSVTable;
using Utils::File;
using Utils::Settings;
using Utils::TagFile;

static const char everything[] = "all";

/// Whether what failed tells the user why; asked after the faults. Not after an exception: where
/// the memory does not suffice for an argument, the operation has not even started.
static void checkReason(bool hasFailed, Outcome &outcome)
{
    if (hasFailed && outcome.isTold && File::lastError().isEmpty())
        outcome.damage = "no reason told";
}

// Encodings and dialects

/// \p rows rows of a table as spreadsheets write it, in windows-1252.
static QByteArray foreignTable(int rows)
{
    QString text = QStringLiteral("Zeit;T [°C];Ort\n");
    for (int i = 0; i < rows; ++i)
        text += QStringLiteral("%1;%2,5;\"Köln; %1\"\n").arg(i).arg(2 * i);
    return encoded(text, "windows-1252");
}

static QString textOf(const CSVTable &table, int row, int col) { return table.data(row, col); }
static QString textOf(const CSVReader &table, int row, int col) { return table.dataD(row, col); }

/// Reads such a table into \p table as \p read does.
template <typename Table>
static Run readingForeign(int rows, const std::shared_ptr<Table> &table,
                          const std::function<bool(Table &)> &read)
{
    makeFile("a.csv", foreignTable(rows));
    const auto isRead = keep<bool>();
    return {[=](Outcome &outcome) {
                *isRead = read(*table);
                outcome.isTold = !*isRead;
            },
            [=](Outcome &outcome) {
                checkReason(!*isRead, outcome);
                const QString last = QString::number(2 * (rows - 1)) + ",5";
                const int count = table->numRows();
                const bool hasTop = count > 0 && textOf(*table, 0, 1) == QStringLiteral("T [°C]");
                const bool hasLast = count > rows && textOf(*table, rows, 1) == last;
                outcome.add(count == 0          ? "no rows"
                            : hasTop && hasLast ? "whole"
                            : count > rows      ? "cells lost"
                                                : "rows lost");
            }};
}

static void addEncodingScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"File::encoding", everything,
         [] {
             makeFile("a.txt", lines(5000) + "\xfc\n");
             const auto found = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            *found = File::encoding("a.txt").toUtf8();
                            outcome.isTold = found->isEmpty();
                        },
                        [=](Outcome &outcome) {
                            outcome.add(*found);
                            checkReason(found->isEmpty(), outcome);
                        }};
         }},
        {"File::read:encoding", everything,
         [] {
             makeFile("a.txt", lines(4000) + "\xfc\n");
             const auto found = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            *found = File::read("a.txt", "auto").toUtf8();
                            outcome.isTold = found->isEmpty();
                        },
                        [=](Outcome &outcome) {
                            outcome.add(value(*found, lines(4000) + "\xc3\xbc\n"));
                            checkReason(found->isEmpty(), outcome);
                        }};
         }},
        {"File::write:encoding", everything,
         [] {
             makeFile("a.txt", "old");
             const auto isWritten = keep<bool>();
             const QString text = QString::fromUtf8(lines(4000)) + QChar(0xfc);
             return Run{[=](Outcome &outcome) {
                            *isWritten = File::write("a.txt", String(text), "windows-1252");
                            outcome.isTold = !*isWritten;
                        },
                        [=](Outcome &outcome) {
                            outcome.add(contents("a.txt", lines(4000) + "\xfc", "old"));
                            checkReason(!*isWritten, outcome);
                        }};
         }},
        {"FileReader::readLine:encoding", everything,
         [] {
             makeFile("a.txt", lines(4000) + "\xfc\n");
             const auto found = keep<QByteArray>();
             return Run{
                 [=](Outcome &outcome) {
                     Utils::FileReader reader("a.txt", "windows-1252");
                     String line;
                     while (reader.readLine(line, /*trim=*/false))
                         *found += line.toUtf8() + "\n";
                     outcome.isTold = found->isEmpty();
                 },
                 [=](Outcome &outcome) { outcome.add(value(*found, lines(4000) + "\xc3\xbc\n")); }};
         }},
        {"CSVDialect::detect", everything,
         [] {
             makeFile("a.csv", foreignTable(8000));
             const auto found = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            const CSVDialect dialect = CSVDialect::detect("a.csv");
                            outcome.isTold = !dialect.isValid();
                            *found = dialect.toText().toUtf8();
                        },
                        [=](Outcome &outcome) {
                            outcome.add(*found);
                            checkReason(*found == "unknown", outcome);
                        }};
         }},
        {"CSVTable::read:dialect", everything,
         [] {
             return readingForeign<CSVTable>(
                 3000, std::make_shared<CSVTable>(";"), [](CSVTable &table) {
                     return table.setDialect(CSVDialect::detect("a.csv")) && table.read("a.csv");
                 });
         }},
        {"CSVTable::read:encoding, bytes", everything,
         [] {
             return readingForeign<CSVTable>(
                 3000, std::make_shared<CSVTable>(";"), [](CSVTable &table) {
                     return table.setEncoding("auto") && table.read("a.csv", 100);
                 });
         }},
        {"CSVTable::read:encoding, file", everything,
         [] {
             return readingForeign<CSVTable>(
                 60000, std::make_shared<CSVTable>(";"), [](CSVTable &table) {
                     return table.setEncoding("windows-1252") && table.read("a.csv", 1);
                 });
         }},
        {"CSVReader::read:encoding", everything,
         [] {
             return readingForeign<CSVReader>(
                 30000, std::make_shared<CSVReader>(';'),
                 [](CSVReader &table) { return table.setEncoding("auto") && table.read("a.csv"); });
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

// Fields in quotes, and rows that are visited

static const char tableGroups[] = "open read seek stat malloc";

/// Where a table is stored, by the second argument of CSVTable::read().
struct Storage
{
    const char *name;
    int limit;
    int rows; // in the file: more than a megabyte
};

static constexpr Storage storages[] = {{"text", 0, 2000}, {"bytes", 100, 2000}, {"file", 1, 30000}};

/// \p rows rows, with delimiters, line breaks and quotes in quotes unless \p quoting is Classic.
static QByteArray tableWithQuotes(int rows, CSVTable::Quoting quoting)
{
    const QByteArray text = quoting == CSVTable::Rfc4180
                                ? ",\"of \"\"two\"\" lines,\n1 and 2, in all\","
                                : ",of a single line which has no quotes at all,";
    QByteArray table;
    for (int i = 0; i < rows; ++i)
        table += QByteArray::number(i) + text + QByteArray::number(2 * i) + '\n';
    return table;
}

static std::shared_ptr<CSVTable> tableOf(CSVTable::Quoting quoting)
{
    const auto table = std::make_shared<CSVTable>();
    table->setQuoting(quoting);
    return table;
}

static Run readingQuotes(const Storage &storage)
{
    makeFile("a.csv", tableWithQuotes(storage.rows, CSVTable::Rfc4180));
    const auto table = tableOf(CSVTable::Rfc4180);
    return {[=](Outcome &outcome) { outcome.isTold = !table->read("a.csv", storage.limit); },
            [=](Outcome &outcome) {
                checkReason(true, outcome);
                const int count = table->numRows();
                int whole = 0;
                for (int i = 0; i < count; ++i) {
                    if (table->data(i) == QStringList{QString::number(i),
                                                      "of \"two\" lines,\n1 and 2, in all",
                                                      QString::number(2 * i)})
                        ++whole;
                }
                outcome.add(whole == storage.rows ? "whole"
                            : count == 0          ? "no rows"
                            : whole < count       ? "cells lost"
                                                  : "rows lost");
                if (outcome.isTold && count > 0)
                    outcome.damage = "rows of a file that was not read";
            }};
}

static Run visiting(const Storage &storage, CSVTable::Quoting quoting)
{
    makeFile("a.csv", tableWithQuotes(storage.rows, quoting));
    const auto table = tableOf(quoting);
    table->read("a.csv", storage.limit);
    const auto sum = keep<double>();
    const auto visited = keep<int>();
    return {[=](Outcome &outcome) {
                const bool isVisited = table->visit(0, storage.rows - 1, [&](const CSVRow &row) {
                    ++*visited;
                    if (row.size() == 3 && row[1].size() > 30)
                        *sum += row[0].number() + row[2].number();
                    return true;
                });
                outcome.isTold = !isVisited;
            },
            [=](Outcome &outcome) {
                checkReason(true, outcome);
                const double rows = *visited;
                const bool isRight = *sum == 3 * rows * (rows - 1) / 2;
                outcome.add(*visited == storage.rows ? "whole" : "a part");
                if (!isRight)
                    outcome.damage = "a row is not as in the file";
            }};
}

static void addQuotingScenarios(std::vector<Scenario> &scenarios)
{
    static QByteArrayList names; // which live as long as the scenarios
    const auto add = [&](const char *operation, const Storage &storage,
                         const std::function<Run()> &prepare) {
        names.append(QByteArray(operation) + storage.name);
        scenarios.push_back({names.last().constData(), tableGroups, prepare});
    };
    for (const Storage &storage : storages) {
        add("CSVTable::read:Rfc4180, ", storage, [=] { return readingQuotes(storage); });
        add("CSVTable::visit:Rfc4180, ", storage,
            [=] { return visiting(storage, CSVTable::Rfc4180); });
        add("CSVTable::visit:", storage, [=] { return visiting(storage, CSVTable::Classic); });
    }
}

// Safe writers

/// Replaces "a.txt" by \p fresh under File::setSafeWriting(). The file may not be anything but old
/// or new, and no other file may stay.
static Run replacing(const QByteArray &fresh, const std::function<bool()> &write)
{
    const QByteArray old = lines(3000, "old");
    makeFile("a.txt", old);
    const auto isWritten = keep<bool>();
    return {[=](Outcome &outcome) {
                File::setSafeWriting(true);
                try {
                    *isWritten = write();
                } catch (const std::bad_alloc &) {
                    File::setSafeWriting(false);
                    throw;
                }
                outcome.isTold = !*isWritten;
                File::setSafeWriting(false);
            },
            [=](Outcome &outcome) {
                outcome.add(contents("a.txt", fresh, old));
                if (outcome.states.last() != "old" && outcome.states.last() != "new")
                    outcome.damage = "neither the old nor the new content";
                for (const QByteArray &entry : treeOf(".")) {
                    if (entry.contains(".kelm-saving-"))
                        outcome.damage = "a file beside it";
                }
            }};
}

static QByteArray tags(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += (i > 0 ? "\n*tag" : "*tag") + QByteArray::number(i) + "\nname: value\n";
    return text;
}

static void addSafeScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"File::writeSafely", everything,
         [] {
             return replacing(lines(3000), [] { return File::writeSafely("a.txt", lines(3000)); });
         }},
        {"CSVTable::write:safely", everything,
         [] {
             const auto table = std::make_shared<CSVTable>();
             table->setData(lines(3000).chopped(1).constData());
             return replacing(lines(3000), [=] { return table->write("a.txt"); });
         }},
        {"TagFile::save:safely", everything,
         [] {
             const auto file = std::make_shared<TagFile>();
             for (int i = 0; i < 3000; ++i)
                 file->addTag("tag" + QString::number(i), "").add("name", "value");
             return replacing(tags(3000), [=] {
                 String error;
                 return file->save("a.txt", error);
             });
         }},
        {"TagFile::open:safely", everything,
         [] {
             return replacing(tags(2000), [] {
                 TagFile file;
                 String error;
                 if (!file.open("a.txt", error))
                     return false;
                 for (int i = 0; i < 2000; ++i) {
                     file.writeTag("tag" + QString::number(i), "", /*blankLine=*/i > 0);
                     file.writeProperty("name", "value");
                 }
                 file.close();
                 return File::lastError().isEmpty();
             });
         }},
        {"Document::write:safely", everything,
         [] {
             QByteArray text = "<!DOCTYPE Model>\n<Model version=\"2.5\">\n";
             for (int i = 0; i < 1000; ++i)
                 text += "  <item name=\"" + QByteArray::number(i) + "\"/>\n";
             text += "</Model>\n\n";
             using Utils::Xml::Document;
             const auto document = std::make_shared<Document>(Document::Normal, 0.0);
             document->setContent(text);
             return replacing(text, [=] { return document->write("a.txt"); });
         }},
        {"File::copyDir:safely", everything,
         [] {
             makeFile("from/tree/file", lines(2000));
             makeFile("from/tree/below/file", "below");
             makeFile("to/tree/file", lines(2000, "old"));
             return Run{[](Outcome &outcome) {
                            File::setSafeWriting(true);
                            const bool isCopied = File::copyDir("from/tree", "to") == 1;
                            outcome.isTold = !isCopied || !File::lastError().isEmpty();
                            File::setSafeWriting(false);
                        },
                        [](Outcome &outcome) {
                            outcome.add(contents("to/tree/file", lines(2000), lines(2000, "old")));
                            if (outcome.states.last() != "old" && outcome.states.last() != "new")
                                outcome.damage = "neither the old nor the new content";
                            outcome.add(contents("to/tree/below/file", "below"));
                        }};
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

// The exchange of settings

static const char ownSettings[] = "home/Company/Torture.conf";

/// The stored settings, "Kept" with 100 keys, which no exchange may lose.
static void makeSettings()
{
    QByteArray text = "[Group]\na=first\na_default=standard\nb=second\n\n[Kept]\n";
    for (int i = 0; i < 100; ++i)
        text += "key" + QByteArray::number(i) + "=" + QByteArray::number(i) + "\n";
    makeFile(ownSettings, text);
}

/// Looks at the file without QSettings, which has it in a cache. \p fresh and \p old are lines.
static void addStored(const QByteArray &fresh, const QByteArray &old, Outcome &outcome)
{
    const QByteArrayList found = bytesOf(ownSettings).split('\n');
    outcome.add(found.contains(fresh) ? "new" : found.contains(old) ? "old" : "other");
    for (int i = 0; i < 100; ++i) {
        const QByteArray number = QByteArray::number(i);
        if (!found.contains("key" + number + "=" + number))
            outcome.damage = "stored keys lost";
    }
}

static QByteArray exportedGroup(const QByteArray &value)
{
    return "; Exported settings, format 1\n[General]\na=" + value +
           "\n\n; End of the exported settings\n";
}

static void addExchangeScenarios(std::vector<Scenario> &scenarios)
{
    const std::vector<Scenario> added = {
        {"Settings::exportTo", everything,
         [] {
             makeSettings();
             makeFile("exported", "old");
             const auto isWritten = keep<bool>();
             return Run{[=](Outcome &outcome) {
                            Settings settings;
                            settings.beginGroup("Group");
                            *isWritten = settings.exportTo("exported");
                            outcome.isTold = !*isWritten;
                        },
                        [=](Outcome &outcome) {
                            const QByteArray found = bytesOf("exported");
                            const bool isNew = found.contains("\na=first\nb=second\n") &&
                                               found.endsWith("; End of the exported settings\n");
                            outcome.add(isNew ? "new" : found == "old" ? "old" : "other");
                            if (outcome.states.last() == "other")
                                outcome.damage = "neither the old nor the new content";
                            checkReason(!*isWritten, outcome);
                        }};
         }},
        {"Settings::importFrom", everything,
         [] {
             makeSettings();
             makeFile("imported", exportedGroup("changed"));
             const auto isRead = keep<bool>();
             return Run{[=](Outcome &outcome) {
                            const Settings other;
                            {
                                Settings settings;
                                settings.beginGroup("Group");
                                *isRead = settings.importFrom("imported");
                            } // stores the changes
                            outcome.isTold = !*isRead || other.status() == Settings::Failed;
                        },
                        [=](Outcome &outcome) {
                            checkReason(!*isRead, outcome);
                            addStored("a=changed", "a=first", outcome);
                        }};
         }},
        {"Settings::resetGroup", everything,
         [] {
             makeSettings();
             const auto isReset = keep<bool>();
             return Run{[=](Outcome &outcome) {
                            const Settings other;
                            {
                                Settings settings;
                                *isReset = settings.resetGroup("Group");
                            }
                            outcome.isTold = !*isReset || other.status() == Settings::Failed;
                        },
                        [=](Outcome &outcome) {
                            checkReason(!*isReset, outcome);
                            addStored("a=standard", "a=first", outcome);
                        }};
         }},
        {"SettingsWatch::check", everything,
         [] {
             makeSettings();
             const auto watch = std::make_shared<Utils::SettingsWatch>();
             const QByteArray text = bytesOf(ownSettings);
             makeFile(ownSettings, QByteArray(text).replace("a=first", "a=foreign"));
             const auto count = keep<int>();
             return Run{[=](Outcome &outcome) {
                            *count = watch->check();
                            outcome.isTold = *count == 0;
                        },
                        [=](Outcome &outcome) {
                            // What was not told is told by a later check.
                            outcome.add(QByteArray::number(*count + watch->check()));
                            addStored("a=foreign", "a=first", outcome);
                            if (outcome.states.last() != "new")
                                outcome.damage = "the change of the other process is lost";
                        }};
         }},
    };
    scenarios.insert(scenarios.end(), added.begin(), added.end());
}

std::vector<Scenario> formatScenarios()
{
    std::vector<Scenario> scenarios;
    addEncodingScenarios(scenarios);
    addQuotingScenarios(scenarios);
    addSafeScenarios(scenarios);
    addExchangeScenarios(scenarios);
    return scenarios;
}
