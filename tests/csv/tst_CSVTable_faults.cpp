#include "utils/csv/CSVTable.h"

#include "tests/csv/FailingMemory.h"
#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/ReadFault.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

using Utils::CSVTable;

#ifdef __SANITIZE_ADDRESS__
// What a QRegExp has when its constructor throws is lost within Qt.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions() { return "leak:QRegExp::QRegExp\n"; }
#endif

/// What is in a table, and how it would split a line.
static QString described(CSVTable &table)
{
    QStringList lines = {table.comment(), table.isDemandRead() ? "file" : "memory"};
    const Rows rows = rowsOf(table);
    for (const QStringList &row : rows)
        lines += row.join('|');
    const int count = table.numRows();
    table.appendData(Data::String("p,q;r"));
    if (table.numRows() > count)
        lines += table.data(count).join('|');
    return lines.join('\n');
}

/// A visitor that wants all of each cell.
static bool readAllCells(const Utils::CSVRow &row)
{
    for (const Utils::CSVCell &cell : row) {
        cell.text();
        cell.number();
        cell.isEmpty();
    }
    return true;
}

/// The last part of the key of the last reason, such as "readfault"; no texts are loaded.
static QString reason() { return QString(Utils::File::lastError()).section('.', -1); }

/// The cells of a row as one text.
static QString joined(const Utils::CSVRow &row)
{
    QStringList texts;
    for (const Utils::CSVCell &cell : row)
        texts.append(cell.text());
    return texts.join('|');
}

static QString joined(const QStringList &texts) { return texts.join('|'); }

static QString joined(const QList<double> &numbers)
{
    QString text;
    for (const double number : numbers)
        text += QString::number(number) + '|';
    return text;
}

class tst_CSVTable_faults : public QObject
{
    Q_OBJECT

private:
    using Table = std::unique_ptr<CSVTable>;
    using Make = std::function<Table()>;
    using Change = std::function<bool(CSVTable &)>; // false when it reports a failure

    const QTemporaryDir m_folder;
    Data::String m_source; // of tables that are read
    Data::String m_latin;  // in ISO-8859-1

    QString file(const char *name, const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath(name), contents);
    }

    /// How tables are made, by name. They have the same rows, of text in the first ones.
    QMap<QString, Make> makers() const
    {
        QMap<QString, Make> all = plainMakers();
        const QMap<QString, Make> others = foreignMakers();
        for (auto other = others.begin(); other != others.end(); ++other)
            all.insert(other.key(), *other);
        return all;
    }

    QMap<QString, Make> plainMakers() const
    {
        static const QByteArray rows = "name,7\nb,2\n\nc,x,y\nlong enough to be on its own,3\n";
        const QString path = file("made.csv", rows);
        return {
            {"text",
             [] {
                 auto table = std::make_unique<CSVTable>();
                 table->addDelimiter(";", /*alternate=*/true);
                 table->setData(rows.constData());
                 table->setComment("#");
                 return table;
             }},
            {"text on demand",
             [] {
                 auto table = std::make_unique<CSVTable>();
                 table->setDemandParse(true);
                 table->setData(rows.constData());
                 return table;
             }},
            {"text that was changed",
             [] {
                 auto table = std::make_unique<CSVTable>();
                 table->setData(rows.constData());
                 table->removeEmptyRows(0, 2);
                 table->setData(1, 1, "changed");
                 return table;
             }},
            {"bytes",
             [] {
                 auto table = std::make_unique<CSVTable>();
                 table->setData(rows);
                 return table;
             }},
            {"bytes on demand",
             [] {
                 auto table = std::make_unique<CSVTable>();
                 table->setDemandParse(true);
                 table->setData(rows);
                 return table;
             }},
            {"file",
             [path] {
                 auto table = std::make_unique<CSVTable>();
                 table->read(path, limitOfNoBytes);
                 return table;
             }},
        };
    }

    /// Tables as other programs write them, in quotes and in another encoding.
    QMap<QString, Make> foreignMakers() const
    {
        static const QByteArray quoted =
            "name,7\nb,2\n\nc,\"x\",y\n\"long, enough\nto be on its own\",3\n";
        const QString path = file("quoted.csv", quoted);
        const QString latin =
            file("latin.csv", "name,7\nb,2\n\nc,x,y\nl\xf6ng enough to be on its own,3\n");
        const auto inQuotes = [] {
            auto table = std::make_unique<CSVTable>();
            table->setQuoting(CSVTable::Rfc4180);
            return table;
        };
        return {
            {"text in quotes",
             [=] {
                 auto table = inQuotes();
                 table->setData(Data::String(quoted.constData()));
                 return table;
             }},
            {"bytes in quotes",
             [=] {
                 auto table = inQuotes();
                 table->setData(quoted);
                 return table;
             }},
            {"quotes in the file",
             [=] {
                 auto table = inQuotes();
                 table->read(path, limitOfNoBytes);
                 return table;
             }},
            {"encoding in the file",
             [=] {
                 auto table = std::make_unique<CSVTable>();
                 table->setEncoding("ISO-8859-1");
                 table->read(latin, limitOfNoBytes);
                 return table;
             }},
        };
    }

    // Their arguments are there before, and so are no part of what is tested.

    QMap<QString, Change> changes() const
    {
        const auto always = [](const auto &run) {
            return [run](CSVTable &table) { return run(table), true; };
        };
        const Data::String text = "text of a cell";
        const Data::String line = "u,v,w";
        const QStringList fields = {"u", "v"};
        const QList<double> numbers = {1, 2.5};
        const Data::String comment = "%%";
        const Data::String delimiter = "; long; ";
        // clang-format off
        return {
            {"a cell", always([=](CSVTable &table) { table.setData(1, 1, text); })},
            {"a cell beyond", always([=](CSVTable &table) { table.setData(9, 5, text); })},
            {"a cell of a row", always([=](CSVTable &table) { table.setData(1, 9, text); })},
            {"a number", always([](CSVTable &table) { table.setData(0, 0, 2.5, 'f', 3); })},
            {"a line", always([=](CSVTable &table) { table.appendData(line); })},
            {"fields", always([=](CSVTable &table) { table.appendData(fields); })},
            {"numbers", always([=](CSVTable &table) { table.appendData(numbers); })},
            {"without a column", always([](CSVTable &table) { table.removeColumn(0); })},
            {"without column 1", always([](CSVTable &table) { table.removeColumn(1); })},
            {"without empty rows", [](CSVTable &table) { return table.removeEmptyRows() > 0; }},
            {"in order of text", always([](CSVTable &table) { table.sort(0); })},
            {"in order of numbers", always([](CSVTable &table) { table.sort(1, 1, false); })},
            {"aligned", always([](CSVTable &table) { table.alignColumns(); })},
            {"aligned in part", always([](CSVTable &table) { table.alignColumns(1, 3, 2, true); })},
            {"a comment", always([=](CSVTable &table) { table.setComment(comment, '!'); })},
            {"a delimiter", always([=](CSVTable &table) { table.addDelimiter(delimiter); })},
            {"nothing", always([](CSVTable &table) { table.clear(); })},
        };
        // clang-format on
    }

    QMap<QString, Change> readings() const
    {
        const Data::String text = "s;t\n\"u;v\"\n#\nw";
        const Data::String quoted = "s,\"t,u\"\n";
        const QByteArray bytes = "s,t\nu\n";
        // clang-format off
        return {
            {"text", [=](CSVTable &table) { return table.setData(text); }},
            {"quoted", [=](CSVTable &table) { return table.setData(quoted, true); }},
            {"literal", [](CSVTable &table) { return table.setData("s,t"); }},
            {"bytes", [=](CSVTable &table) { return table.setData(bytes); }},
            {"file as text", [this](CSVTable &table) { return table.read(m_source); }},
            {"file as bytes", [this](CSVTable &table) { return table.read(m_source, 1); }},
            {"in the file", [this](CSVTable &table) { return table.read(m_source, limitOfNoBytes); }},
            {"latin in the file", [this](CSVTable &table) { return table.read(m_latin, limitOfNoBytes); }},
        };
        // clang-format on
    }

    using Access = std::function<QString(const CSVTable &)>;

    /// Each way to access cells, with its result as one text.
    QMap<QString, Access> accesses() const
    {
        const QString copy = m_folder.filePath("copy.csv");
        // clang-format off
        return {
            {"row", [](const CSVTable &table) { return joined(table.data(3)); }},
            {"cell", [](const CSVTable &table) { return table.data(3, 1); }},
            {"parts", [](const CSVTable &table) { return joined(table.data(3, 1, Data::String(" "))); }},
            {"by label", [](const CSVTable &table) { return table.data(3, Data::String("value")); }},
            {"by key", [](const CSVTable &table) { return table.data(Data::String("long"), 0); }},
            {"annotation", [](const CSVTable &table) {
                 Data::String unit, text;
                 table.data(3, 1, unit, text);
                 return text;
             }},
            {"part of a row", [](const CSVTable &table) { return joined(table.rowData(3, 1)); }},
            {"column", [](const CSVTable &table) { return joined(table.colData(0)); }},
            {"numbers", [](const CSVTable &table) { return joined(table.dataValue(3)); }},
            {"number", [](const CSVTable &table) { return QString::number(table.dataValue(3, 1)); }},
            {"number parts", [](const CSVTable &table) {
                 return joined(table.dataValue(3, 1, Data::String(" ")));
             }},
            {"number by label", [](const CSVTable &table) {
                 return QString::number(table.dataValue(3, Data::String("value")));
             }},
            {"number by key", [](const CSVTable &table) {
                 return QString::number(table.dataValue(Data::String("long"), 0));
             }},
            {"annotated number", [](const CSVTable &table) {
                 Data::String unit;
                 double number = 0.0;
                 table.dataValue(3, 1, unit, number);
                 return QString::number(number);
             }},
            {"part of numbers", [](const CSVTable &table) { return joined(table.rowDataValue(3, 1)); }},
            {"number column", [](const CSVTable &table) { return joined(table.colDataValue(1)); }},
            {"number columns", [](const CSVTable &table) {
                 const QList<QList<double>> columns = table.colDataValues({1, 0});
                 return joined(columns.value(0)) + joined(columns.value(1));
             }},
            {"visit", [](const CSVTable &table) {
                 QString all;
                 table.visit(0, -1, [&](const Utils::CSVRow &row) {
                     all += joined(row) + '\n';
                     return true;
                 });
                 return all;
             }},
            {"properties", [](const CSVTable &table) {
                 return table.propertyValues(2).value("mm").toString();
             }},
            {"header", [](const CSVTable &table) { return QString::number(table.hasHeader()); }},
            {"empty", [](const CSVTable &table) { return QString::number(table.isEmpty(3, 0)); }},
            {"size", [](const CSVTable &table) { return QString::number(table.numColumns(3)); }},
            {"sum", [](const CSVTable &table) { return QString::number(table.checksum()); }},
            {"columns", [](const CSVTable &table) {
                 const QList<Utils::CSVColumn> columns = table.columns();
                 return columns.isEmpty() ? QString()
                                          : columns.first().label + QString::number(columns.first().numCells);
             }},
            {"escaped", [](const CSVTable &table) { return joined(table.escapedData(3, '\\')); }},
            {"line", [](const CSVTable &table) { return table.stringData(3); }},
            {"all lines", [](const CSVTable &table) { return table.stringData(); }},
            {"lines", [](const CSVTable &table) { return joined(table.lineData(0, 3)); }},
            {"written", [=](const CSVTable &table) {
                 return table.write(copy) ? Utils::File::read(copy) : Data::String("nothing");
             }},
        };
        // clang-format on
    }

    /// Reads a table in its file, unquoted or in quotes.
    static void readInFile(CSVTable &table, const QString &path, bool isQuoted)
    {
        table.setQuoting(isQuoted ? CSVTable::Rfc4180 : CSVTable::Classic);
        table.setHeaderRows(1); // for columns()
        QVERIFY(table.read(path, limitOfNoBytes));
        QVERIFY(table.isDemandRead());
    }

    static void addRoutes()
    {
        QTest::addColumn<bool>("isQuoted");
        QTest::newRow("lines") << false;
        QTest::newRow("quotes") << true;
    }

    static void addRows(const QMap<QString, Make> &makers, const QMap<QString, Change> &changes)
    {
        QTest::addColumn<QString>("made");
        QTest::addColumn<QString>("change");
        for (auto maker = makers.begin(); maker != makers.end(); ++maker) {
            for (auto change = changes.begin(); change != changes.end(); ++change)
                QTest::newRow(qPrintable(maker.key() + ": " + change.key()))
                    << maker.key() << change.key();
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        qunsetenv("KLT_NORAWREAD");
        m_source = file("source.csv", "read,1\nfrom,2\na file,3");
        m_latin = file("latinSource.csv", "read,1\nfr\xf6m,2\n");
    }

    void changesAllOrNothingWhereTheMemoryEnds_data() { addRows(makers(), changes()); }

    void changesAllOrNothingWhereTheMemoryEnds()
    {
        QFETCH(QString, made);
        QFETCH(QString, change);
        const Make make = makers()[made];
        const Change run = changes()[change];
        const QString before = described(*make());
        const Table changed = make();
        const bool isTold = run(*changed);
        const QString after = described(*changed);
        const int filesBefore = openFiles();

        for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
            for (int n = 0;; ++n) {
                const Table table = make();
                FailingMemory memory(n, mode);
                bool isChanged = false;
                try {
                    isChanged = run(*table);
                } catch (...) {
                    memory.end();
                    QFAIL(qPrintable(QString("throws at %1").arg(n)));
                }
                memory.end();

                const QString now = described(*table);
                if (now != after || !memory.hasFailed()) {
                    QCOMPARE(now, memory.hasFailed() ? before : after);
                    QCOMPARE(isChanged,
                             isTold && (!memory.hasFailed() || change != "without empty rows"));
                }
                QCOMPARE(openFiles(), filesBefore + (table->isDemandRead() ? 1 : 0));
                if (!memory.hasFailed())
                    break;
                QVERIFY(n < 1000);
            }
        }
    }

    void readsAllOrNothingWhereTheMemoryEnds_data() { addRows(makers(), readings()); }

    void readsAllOrNothingWhereTheMemoryEnds()
    {
        QFETCH(QString, made);
        QFETCH(QString, change);
        const Make make = makers()[made];
        const Change run = readings()[change];
        const QString before = described(*make());
        const Table changed = make();
        QVERIFY(run(*changed));
        const QString after = described(*changed);
        // The text rows, which those of a table of bytes or in the file are instead of.
        const Table emptied = make();
        const bool isText = made.startsWith("text");
        if (!isText)
            emptied->clear();
        const QString textRows = described(*emptied);
        const int filesBefore = openFiles();

        for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
            for (int n = 0;; n += 1 + n / 200) {
                const Table table = make();
                FailingMemory memory(n, mode);
                bool isRead = false;
                try {
                    isRead = run(*table);
                } catch (...) {
                    memory.end();
                    QFAIL(qPrintable(QString("throws at %1").arg(n)));
                }
                memory.end();

                const bool hasFailed = memory.hasFailed();
                QVERIFY(isRead || hasFailed);
                const bool hasNoRows = !isRead && table->numRows() == 0 && table->isDemandRead();
                QCOMPARE(openFiles(), filesBefore + (table->isDemandRead() && !hasNoRows ? 1 : 0));
                const QString now = described(*table);
                if (isRead)
                    QCOMPARE(now, after);
                else if (now != before && !(hasNoRows && change.endsWith("in the file")))
                    QCOMPARE(now, textRows);
                if (!hasFailed)
                    break;
                QVERIFY(n < 10000);
            }
        }
    }

    void changesAllOfManyRowsOrNoneWhereTheMemoryEnds_data()
    {
        addRows({{"many", nullptr}}, changes());
    }

    void changesAllOfManyRowsOrNoneWhereTheMemoryEnds()
    {
        QFETCH(QString, change);
        const Change run = changes()[change];
        const auto make = [] { // more than are held in one piece
            auto table = std::make_unique<CSVTable>();
            table->setData(Data::String(QString("b,2\na,1\n").repeated(40) + "c,3"));
            return table;
        };
        const QString before = described(*make());
        const Table changed = make();
        run(*changed);
        const QString after = described(*changed);

        int n = 0;
        for (bool goesOn = true; goesOn; n += 1 + n / 40) {
            const Table table = make();
            FailingMemory memory(n, FailingMemory::Once);
            run(*table);
            memory.end();
            goesOn = memory.hasFailed();

            const QString now = described(*table);
            if (now != after || !goesOn)
                QCOMPARE(now, goesOn ? before : after);
        }
    }

    void givesAnswersOrNoneWhereTheMemoryEnds_data() { addRows(makers(), {{"", nullptr}}); }

    void givesAnswersOrNoneWhereTheMemoryEnds()
    {
        QFETCH(QString, made);
        const Make make = makers()[made];
        const QString before = described(*make());
        const Data::String blank = " ";
        const Data::String label = "name";
        const Data::String key = "c";
        const QList<int> cols = {0, 1};
        struct Answer
        {
            Data::String text;
            QStringList texts;
            QList<double> numbers;
            double number = 0.0;
        };
        using Ask = std::function<void(const CSVTable &, Answer &)>;
        // clang-format off
        const QList<Ask> questions = {
            [](const CSVTable &table, Answer &to) { to.texts = table.data(3); },
            [](const CSVTable &table, Answer &to) { to.text = table.data(4, 0); },
            [&](const CSVTable &table, Answer &to) { to.texts = table.data(4, 0, blank); },
            [&](const CSVTable &table, Answer &to) { to.text = table.data(4, label); },
            [&](const CSVTable &table, Answer &to) { to.text = table.data(key, 0); },
            [](const CSVTable &table, Answer &to) { to.texts = table.rowData(3, 1); },
            [](const CSVTable &table, Answer &to) { to.texts = table.colData(0); },
            [](const CSVTable &table, Answer &to) { to.numbers = table.dataValue(4); },
            [](const CSVTable &table, Answer &to) { to.number = table.dataValue(4, 1); },
            [&](const CSVTable &table, Answer &to) { to.numbers = table.dataValue(4, 0, blank); },
            [&](const CSVTable &table, Answer &to) { to.number = table.dataValue(4, label); },
            [&](const CSVTable &table, Answer &to) { to.number = table.dataValue(key, 0); },
            [](const CSVTable &table, Answer &to) { to.numbers = table.rowDataValue(3, 1); },
            [](const CSVTable &table, Answer &to) { to.numbers = table.colDataValue(1); },
            [](const CSVTable &table, Answer &to) { to.number = table.propertyValues(3).size(); },
            [](const CSVTable &table, Answer &to) { to.text = table.stringData(3); },
            [](const CSVTable &table, Answer &to) { to.text = table.stringData(); },
            [](const CSVTable &table, Answer &to) { to.texts = table.lineData(); },
            [](const CSVTable &table, Answer &to) { to.text = table.alignedStringData(); },
            [](const CSVTable &table, Answer &to) { to.texts = table.escapedData(3, '\\'); },
            [](const CSVTable &table, Answer &to) { to.number = table.numColumns(); },
            [](const CSVTable &table, Answer &to) { to.number = table.isEmpty(3, 0) ? 0 : 1; },
            [](const CSVTable &table, Answer &to) { to.number = table.hasHeader(); },
            [](const CSVTable &table, Answer &to) { to.number = table.checksum(); },
            [](const CSVTable &, Answer &to) { to.text = CSVTable::columnLabel(700, 5); },
            [&](const CSVTable &table, Answer &to) { table.data(3, 0, to.text, to.text); },
            [&](const CSVTable &table, Answer &to) { to.numbers = table.colDataValues(cols).value(1); },
            [](const CSVTable &table, Answer &to) { to.number = table.visit(0, -1, readAllCells); },
        };
        // clang-format on
        for (int at = 0; at < questions.size(); ++at) {
            Answer whole;
            questions[at](*make(), whole);
            for (int n = 0;; ++n) {
                const Table table = make();
                Answer answer;
                FailingMemory memory(n, FailingMemory::FromThenOn);
                bool hasThrown = false;
                try {
                    questions[at](*table, answer);
                } catch (...) {
                    hasThrown = true;
                }
                memory.end();

                QVERIFY2(!hasThrown, qPrintable(QString("question %1 at %2").arg(at).arg(n)));
                QCOMPARE(described(*table), before);
                if (memory.hasFailed() && made.endsWith("file")) {
                    // What is asked for may be there but for a row, which is an empty line then.
                    QVERIFY(answer.texts.size() <= whole.texts.size());
                    QVERIFY(answer.numbers.size() <= whole.numbers.size());
                } else if (memory.hasFailed()) {
                    QVERIFY(answer.text.isEmpty() || answer.text == whole.text);
                    QVERIFY(answer.texts.isEmpty() || answer.texts == whole.texts);
                    QVERIFY(answer.numbers.isEmpty() || answer.numbers == whole.numbers);
                    QVERIFY(answer.number == 0.0 || answer.number == whole.number);
                } else {
                    QCOMPARE(answer.text, whole.text);
                    QCOMPARE(answer.texts, whole.texts);
                    QCOMPARE(answer.numbers, whole.numbers);
                    QCOMPARE(answer.number, whole.number);
                    break;
                }
            }
        }
    }

    void visitsRowsWithoutMemoryForEach_data()
    {
        QTest::addColumn<bool>("asBytes");

        QTest::newRow("text") << false;
        QTest::newRow("bytes") << true;
    }

    void visitsRowsWithoutMemoryForEach()
    {
        QFETCH(bool, asBytes);
        const QByteArray bytes = QByteArray("a,b, c ,1.5\n").repeated(1000);
        CSVTable table;
        asBytes ? table.setData(bytes) : table.setData(Data::String(QString::fromLatin1(bytes)));
        std::unique_ptr<FailingMemory> memory;
        int visits = 0;
        double sum = 0.0;

        const bool isWhole = table.visit(0, 999, [&](const Utils::CSVRow &row) {
            if (++visits == 1)
                memory = std::make_unique<FailingMemory>(0, FailingMemory::FromThenOn);
            sum += row[3].number() + row[2].size();
            return true;
        });
        memory->end();

        QVERIFY(isWhole);
        QVERIFY(!memory->hasFailed());
        QCOMPARE(visits, 1000);
        QCOMPARE(sum, 2500.0);
    }

    void writesAllRowsOrTellsWhereTheMemoryEnds()
    {
        CSVTable table;
        table.setData(Data::String(QString("name,\u00e4 text that is long\n").repeated(3)));
        table.appendData(QStringList{"a", QString(70000, 'x')}).appendData(QStringList("b"));
        const Data::String target = m_folder.filePath("written.csv");
        QVERIFY(table.write(target));
        QFile result(target);
        QVERIFY(result.open(QIODevice::ReadOnly));
        const QByteArray whole = result.readAll();
        result.close();
        const int filesBefore = openFiles();

        int failures = 0;
        for (int n = 0;; ++n) {
            makeFile(target, "old");
            FailingMemory memory(n, FailingMemory::FromThenOn);
            bool isWritten = true;
            try {
                isWritten = table.write(target);
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("throws at %1").arg(n)));
            }
            memory.end();

            QCOMPARE(openFiles(), filesBefore);
            QVERIFY(result.open(QIODevice::ReadOnly));
            const QByteArray written = result.readAll();
            result.close();
            if (isWritten)
                QVERIFY(written == whole);
            else
                QVERIFY(written == "old" || whole.startsWith(written));
            failures += !isWritten;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 3);
    }

    void leavesNoGapWhereADiskWasFullForAWhile()
    {
        static FullDisk *fullDisk = nullptr;
        CSVTable table;
        for (int i = 0; i < 20000; ++i)
            table.appendData(QStringList{"some", QString::number(i), "text"});
        const Data::String target = m_folder.filePath("full.csv");
        bool isWritten = false;
        {
            FullDisk disk(1000, [](int) { fullDisk->makeRoom(); });
            fullDisk = &disk;
            isWritten = table.write(target);
        }

        QVERIFY(isWritten);
        QFile result(target);
        QVERIFY(result.open(QIODevice::ReadOnly));
        QCOMPARE(result.readAll(), table.stringData().left(1000).toUtf8());
    }

    void readsNothingOfAFileThatBreaksOff_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<qint64>("offset");
        for (const qint64 offset : {0, 5, 100000, 199999, 200000}) {
            for (const int limit : {0, 1000, limitOfNoBytes})
                QTest::newRow(qPrintable(QString("%1, %2").arg(limit).arg(offset)))
                    << limit << offset;
        }
    }

    void readsNothingOfAFileThatBreaksOff()
    {
        QFETCH(int, limit);
        QFETCH(qint64, offset);
        const QString path =
            file("large.csv", QByteArray("row,7\n12,34\n\n").repeated(20000).left(200000));
        CSVTable table;
        table.setData("text,1");
        const int filesBefore = openFiles();
        const ReadFault bad(path, offset);

        QVERIFY(!table.read(path, limit));

        QVERIFY(bad.count() > 0);
        QCOMPARE(openFiles(), filesBefore);
        QCOMPARE(table.path(), Data::String(path));
        if (limit == limitOfNoBytes) {
            QCOMPARE(table.numRows(), 0);
            QVERIFY(table.isDemandRead());
            table.setData(1, 0, "x"); // back to the text rows
            QCOMPARE(rowsOf(table), Rows({{"text", "1"}, {"x"}}));
        } else {
            QCOMPARE(rowsOf(table), Rows({{"text", "1"}}));
        }
    }

    void readsNothingInQuotesOfAFileThatBreaksOff_data()
    {
        QTest::addColumn<qint64>("offset");
        for (const qint64 offset : {0, 5, 100000, 163840, 199999, 200000})
            QTest::newRow(qPrintable(QString::number(offset))) << offset;
    }

    void readsNothingInQuotesOfAFileThatBreaksOff()
    {
        QFETCH(qint64, offset);
        const QString path =
            file("large.csv", QByteArray("\"row\n\",7\n12,34\n\n").repeated(20000).left(200000));
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        const int filesBefore = openFiles();
        const ReadFault bad(path, offset);

        QVERIFY(!table.read(path, limitOfNoBytes));

        QVERIFY(bad.count() > 0);
        QCOMPARE(QString(Utils::File::lastError()).section('.', -1), QString("readfault"));
        QCOMPARE(openFiles(), filesBefore);
        QCOMPARE(table.numRows(), 0);
    }

    void hasNoPartOfARowInQuotesThatCannotBeReadLater()
    {
        const QByteArray rows = QByteArray("name,value\n\"abc\n\",12\n").repeated(20000);
        const QString path = file("later.csv", rows);
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(table.read(path, limitOfNoBytes));
        const int sum = table.checksum();
        QCOMPARE(table.data(1), QStringList({"abc\n", "12"}));
        {
            const ReadFault bad(path, 300000); // in row 28571

            QCOMPARE(table.data(1), QStringList({"abc\n", "12"})); // of what has been read before
            QCOMPARE(table.data(39999), QStringList(""));
            QCOMPARE(table.data(28571), QStringList(""));
            QCOMPARE(table.data(28570), QStringList({"name", "value"}));
            QCOMPARE(table.data(39999, 1), Data::String());
            QCOMPARE(table.dataValue(39999, 1), 0.0);
            QCOMPARE(table.numRows(), 40000);
            QVERIFY(!table.visit(0, -1, readAllCells));
            const Data::String copy = m_folder.filePath("copy.csv");
            QVERIFY(!table.write(copy));
            QCOMPARE(QString(Utils::File::lastError()).section('.', -1), QString("readfault"));
            QVERIFY(bad.count() > 0);
        }
        QCOMPARE(table.data(39999), QStringList({"abc\n", "12"}));
        QCOMPARE(int(table.checksum()), sum);
    }

    void tellsWhyCellsAreMissing_data()
    {
        QTest::addColumn<QString>("access");
        QTest::addColumn<bool>("isQuoted");
        const QStringList ofTextRows = {"line", "all lines", "lines", "written"};
        const QStringList names = accesses().keys();
        for (const QString &name : names) {
            if (!ofTextRows.contains(name)) // which a table in its file does not have
                QTest::newRow(qPrintable(name + ", lines")) << name << false;
            QTest::newRow(qPrintable(name + ", quotes")) << name << true;
        }
    }

    void tellsWhyCellsAreMissing()
    {
        QFETCH(QString, access);
        QFETCH(bool, isQuoted);
        const Access run = accesses()[access];
        const QString path = file("cells.csv", "name,value\nabc,12\n5{mm},34\nlong,56 7\n");
        CSVTable whole;
        readInFile(whole, path, isQuoted);
        const QString expected = run(whole);

        int numTold = 0;
        for (int times = 1;; ++times) {
            CSVTable table;
            readInFile(table, path, isQuoted);
            const ReadFault bad(path, 0, EIO, times);
            const QString result = run(table);
            const bool isTold = reason() == "readfault";
            if (result != expected)
                QVERIFY2(isTold, qPrintable(result));
            else if (!isTold)
                QCOMPARE(reason(), QString());
            numTold += isTold ? 1 : 0;
            if (bad.count() < times)
                break;
            QVERIFY(times < 100);
        }
        QVERIFY(numTold > 0);

        CSVTable table;
        readInFile(table, path, isQuoted);
        ReadFault bad(path, 0);
        run(table);
        QCOMPARE(reason(), QString("readfault"));
        bad.repair();
        QCOMPARE(run(table), expected);
        QCOMPARE(reason(), QString());
    }

    void tellsThatTheFileHasBecomeShorter_data() { addRoutes(); }

    void tellsThatTheFileHasBecomeShorter()
    {
        QFETCH(bool, isQuoted);
        const QString path = file("shorter.csv", QByteArray("name,value\n").repeated(60000));
        CSVTable table;
        readInFile(table, path, isQuoted);
        QVERIFY(QFile::resize(path, 11 * 40000 + 7)); // within row 40000

        QCOMPARE(table.data(39999), QStringList({"name", "value"}));
        QCOMPARE(reason(), QString());
        for (int repeat = 0; repeat < 2; ++repeat) {
            QCOMPARE(table.data(40000), QStringList({"name", "va"}));
            QCOMPARE(reason(), QString("shorter"));
        }
        QCOMPARE(table.data(40001), QStringList(""));
        QCOMPARE(reason(), QString("shorter"));
        QCOMPARE(table.data(7), QStringList({"name", "value"}));
        QCOMPARE(reason(), QString());
        QCOMPARE(table.colData(0, 39999).mid(0, 3), QStringList({"name", "name", ""}));
        QCOMPARE(reason(), QString("shorter"));
        int numRows = 0;
        QVERIFY(!table.visit(39990, -1, [&](const Utils::CSVRow &row) {
            ++numRows;
            return row[1].text() == "value";
        }));
        QCOMPARE(numRows, 10);
        QCOMPARE(reason(), QString("shorter"));
        QCOMPARE(table.columns().first().numCells, 39999);
        QCOMPARE(reason(), QString("shorter"));
    }

    void visitsUpToARowThatCannotBeRead_data() { addRoutes(); }

    void visitsUpToARowThatCannotBeRead()
    {
        QFETCH(bool, isQuoted);
        const QString path = file("visited.csv", QByteArray("name,value\n").repeated(60000));
        CSVTable table;
        readInFile(table, path, isQuoted);
        int numRows = 0;
        const auto count = [&](const Utils::CSVRow &row) {
            ++numRows;
            return row[1].text() == "value";
        };
        ReadFault bad(path, 11 * 40000 + 7); // within row 40000

        QVERIFY(!table.visit(0, 59999, count));

        QCOMPARE(numRows, 40000);
        QCOMPARE(reason(), QString("readfault"));
        QVERIFY(table.visit(0, 39999, count));
        QCOMPARE(reason(), QString());
        bad.repair();
        numRows = 0;
        QVERIFY(table.visit(0, 59999, count));
        QCOMPARE(numRows, 60000);
        QCOMPARE(reason(), QString());
    }

    void leavesAVisitorItsOwnReasons_data()
    {
        QTest::addColumn<QString>("made");
        const QStringList names = makers().keys();
        for (const QString &name : names)
            QTest::newRow(qPrintable(name)) << name;
    }

    void leavesAVisitorItsOwnReasons()
    {
        QFETCH(QString, made);
        const Table table = makers()[made]();
        const QString missing = m_folder.filePath("missing");
        QVERIFY(table->numRows() > 2);

        QVERIFY(table->visit(0, -1, [&](const Utils::CSVRow &) {
            Utils::File::read(missing);
            const bool isMissing = reason() == "nofile";
            Utils::File::read(m_folder.path());
            return isMissing && reason() == "isfolder";
        }));
        QCOMPARE(reason(), QString());

        QVERIFY(!table->visit(0, -1, [&](const Utils::CSVRow &row) {
            return row.number() < 1 || !Utils::File::read(missing).isEmpty();
        }));
        QCOMPARE(reason(), QString("nofile"));

        QVERIFY(!table->visit(0, -1, [](const Utils::CSVRow &row) { return row.number() < 1; }));
        QCOMPARE(reason(), QString());
    }

    void tellsTheReasonOfARowAfterThoseOfTheVisitor_data() { addRoutes(); }

    void tellsTheReasonOfARowAfterThoseOfTheVisitor()
    {
        QFETCH(bool, isQuoted);
        const QString path = file("visited.csv", QByteArray("name,value\n").repeated(60000));
        CSVTable table;
        readInFile(table, path, isQuoted);
        const ReadFault bad(path, 11 * 40000 + 7);

        QVERIFY(!table.visit(39999, -1, [&](const Utils::CSVRow &) {
            Utils::File::read(m_folder.filePath("missing"));
            return reason() == "nofile";
        }));

        QCOMPARE(reason(), QString("readfault"));
    }

    void tellsThatARowWasNotVisitedForLackOfMemory_data() { leavesAVisitorItsOwnReasons_data(); }

    void tellsThatARowWasNotVisitedForLackOfMemory()
    {
        QFETCH(QString, made);
        const Make make = makers()[made];
        for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
            for (int n = 0;; ++n) {
                const Table table = make();
                int numRows = 0;
                FailingMemory memory(n, mode);
                const bool isVisited = table->visit(0, -1, [&](const Utils::CSVRow &) {
                    ++numRows;
                    return true;
                });
                memory.end();

                QCOMPARE(reason(), isVisited ? QString() : QString("memory"));
                QCOMPARE(isVisited, numRows == table->numRows());
                if (!memory.hasFailed())
                    break;
                QVERIFY(n < 1000);
            }
        }
    }

    void hasNoPartOfARowThatCannotBeReadLater()
    {
        const QString path = file("later.csv", "name,value\nabc,12\ndef,34\nghi,56\n");
        CSVTable table;
        QVERIFY(table.read(path, limitOfNoBytes));
        const int sum = table.checksum();
        CSVTable other;
        QVERIFY(other.read(path, limitOfNoBytes));
        ReadFault bad(path, 21); // within "def,34"

        QCOMPARE(table.data(1), QStringList({"abc", "12"})); // of what has been read before
        QCOMPARE(other.data(1), QStringList({"abc", "12"}));
        QCOMPARE(other.data(2), QStringList(""));
        QCOMPARE(other.data(2, 1), Data::String());
        QCOMPARE(other.dataValue(2, 1), 0.0);
        QCOMPARE(other.colData(0), QStringList({"name", "abc", "", ""}));
        QCOMPARE(int(other.checksum()), int(qChecksum("5name,valueabc,12", 17)));
        QCOMPARE(other.numRows(), 5);
        const Data::String copy = m_folder.filePath("copy.csv");
        QVERIFY(other.write(copy)); // the text rows, of which there are none
        QCOMPARE(QFileInfo(copy).size(), 0);

        bad.repair();
        QCOMPARE(other.data(2), QStringList({"def", "34"}));
        QCOMPARE(int(other.checksum()), sum);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_faults)
#include "tst_CSVTable_faults.moc"
