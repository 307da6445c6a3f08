#include "utils/csv/CSVDialect.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

#include <array>

using Utils::CSVDialect;
using Utils::CSVTable;
using Utils::File;
using Utils::StringTable;

Q_DECLARE_METATYPE(CSVDialect)

static const CSVDialect::Property properties[] = {CSVDialect::Encoding, CSVDialect::Delimiter,
                                                  CSVDialect::Quoting,  CSVDialect::Comment,
                                                  CSVDialect::Header,   CSVDialect::DecimalPoint};

/// What is judged of a sample, in the words of labels.csv.
enum Answer
{
    Encoding,
    Delimiter,
    Quotes,
    Comment,
    Header,
    Units,
    Decimal,
    numAnswers
};

static const CSVDialect::Property propertyOf[] = {
    CSVDialect::Encoding, CSVDialect::Delimiter, CSVDialect::Quoting,     CSVDialect::Comment,
    CSVDialect::Header,   CSVDialect::Header,    CSVDialect::DecimalPoint};

static QString wordOf(const QString &delimiter)
{
    static const QMap<QString, QString> words{{",", "comma"}, {";", "semicolon"}, {"\t", "tab"},
                                              {"|", "bar"},   {"\\s+", "blanks"}, {"", "none"}};
    return words.value(delimiter, delimiter);
}

static QString wordOf(int row) { return row < 0 ? QString("no") : QString::number(row + 1); }

static QStringList answersOf(const CSVDialect &dialect)
{
    return {dialect.encoding(),
            wordOf(dialect.delimiter()),
            dialect.quotes() == CSVDialect::NoQuotes ? "no" : "rfc4180",
            dialect.comment().isEmpty() ? QString("no") : dialect.comment(),
            wordOf(dialect.headerRow()),
            wordOf(dialect.unitRow()),
            dialect.decimalPoint() == ',' ? "comma" : "point"};
}

/// How many answers of a kind are right.
struct Tally
{
    int numJudged = 0;
    int numRight = 0;
    int numSure = 0; // right, with a confidence above 0.9

    double percent() const { return 100.0 * numRight / numJudged; }
};

static bool areWithinRange(const CSVDialect &dialect)
{
    return std::all_of(std::begin(properties), std::end(properties), [&](auto property) {
        const double confidence = dialect.confidence(property);
        return confidence >= 0.0 && confidence <= 1.0;
    });
}

static QByteArray rows(const QByteArray &row, int count) { return row.repeated(count); }

class tst_CSVDialect : public QObject
{
    Q_OBJECT

private:
    /// A dialect that has each part in its text.
    static CSVDialect fullDialect()
    {
        CSVDialect dialect;
        dialect.setEncoding("UTF-8");
        dialect.setDelimiter("%2");
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        dialect.setComment("%1");
        dialect.setHeader(2, 3, 5);
        dialect.setDecimalPoint(',');
        dialect.setGroupedDigits(true);
        dialect.setCarriageReturns(true);
        return dialect;
    }

    Data::String m_textWithoutCatalogue;

private Q_SLOTS:
    void initTestCase()
    {
        m_textWithoutCatalogue = fullDialect().toText();
        File::setSearchPath(LIBRARY_RESOURCES, "");
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load("Kelm.Utils"));
    }

    void detectsTheLabelledSamples_data()
    {
        QTest::addColumn<QString>("set");
        QTest::addColumn<int>("fewest");

        QTest::newRow("those that the detection was tuned with") << "tuning" << 200;
        QTest::newRow("those that were held out") << "held" << 120;
    }

    void detectsTheLabelledSamples()
    {
        QFETCH(QString, set);
        QFETCH(int, fewest);
        CSVTable labels;
        QVERIFY(labels.read(DIALECTS "/labels.csv"));
        const double certain = 0.9;
        const double doubtful = 0.9; // at most for what nobody can know
        std::array<Tally, numAnswers> tallies;
        QStringList wrong;
        int numSamples = 0;

        for (int row = 1; row < labels.numRows(); ++row) {
            const QStringList label = labels.data(row);
            if (label.value(1) != set)
                continue;
            ++numSamples;
            const CSVDialect dialect = CSVDialect::detect(DIALECTS "/" + label.first());
            QVERIFY2(dialect.isValid(), qPrintable(label.first()));
            const QStringList answers = answersOf(dialect);
            for (int i = 0; i < numAnswers; ++i) {
                const QString &expected = label.at(i + 2);
                const double confidence = dialect.confidence(propertyOf[i]);
                const bool isJudged = expected != "-";
                const bool isRight = answers.at(i) == expected;
                if (confidence > (isJudged ? certain : doubtful) && !isRight)
                    wrong.append(label.first() + ": " + answers.at(i) + ", not " + expected);
                Tally &tally = tallies[static_cast<std::size_t>(i)];
                tally.numJudged += isJudged;
                tally.numRight += isJudged && isRight;
                tally.numSure += isJudged && isRight && confidence > certain;
            }
        }

        QCOMPARE(wrong, QStringList()); // with a confidence above 0.9
        QVERIFY(numSamples >= fewest);
        const double atLeast[] = {99.0, 99.0, 99.0, 99.0, 97.0, 97.0, 97.0};
        for (int i = 0; i < numAnswers; ++i) {
            const Tally &tally = tallies[static_cast<std::size_t>(i)];
            QVERIFY2(tally.percent() >= atLeast[i],
                     qPrintable(QString("%1: %2 %").arg(i).arg(tally.percent())));
            // A confidence that is always low would never be wrong.
            QVERIFY2(tally.numSure * 2 > tally.numJudged, qPrintable(QString::number(i)));
        }
    }

    void detectsRowsThatATableHasAtTheSameIndex()
    {
        const QByteArray text =
            "# made by bench 3\n\n# Friday\nTime;Force\n\ns;kN\n0,1;2,5\n" + rows("0,2;2,75\n", 20);

        const CSVDialect dialect = CSVDialect::detectBytes(text);

        CSVTable table(dialect.delimiter());
        table.setComment(dialect.comment());
        QVERIFY(table.setData(text.constData()));
        QCOMPARE(table.data(dialect.headerRow()), QStringList({"Time", "Force"}));
        QCOMPARE(table.data(dialect.unitRow()), QStringList({"s", "kN"}));
        QCOMPARE(table.data(dialect.firstDataRow()), QStringList({"0,1", "2,5"}));
    }

    void readsTheStartTheMiddleAndTheEndOnly()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath("large.csv"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        const qint64 size = qint64(5) << 30;
        const QByteArray part = rows("1,5;2,75;\xe4\n", 8000);
        if (!file.resize(size))
            QSKIP("The file system has no files of 5 GiB.");
        for (const qint64 position : {qint64(0), size / 2 - 1000, size - part.size()}) {
            QVERIFY(file.seek(position));
            QCOMPARE(file.write(part), qint64(part.size()));
        }
        file.close();

        const CSVDialect dialect = CSVDialect::detect(file.fileName());

        QCOMPARE(dialect.delimiter(), Data::String(";"));
        QCOMPARE(dialect.decimalPoint(), ',');
        QCOMPARE(dialect.encoding(), Data::String("windows-1252"));
        QVERIFY(dialect.confidence(CSVDialect::Delimiter) > 0.9);
    }

    void detectsWhatOnlyTheEndShows()
    {
        const QByteArray text = rows("1;2;x\n", 30000);

        const CSVDialect plain = CSVDialect::detectBytes(text);
        const CSVDialect other = CSVDialect::detectBytes(text + rows("1,5;2;\xb0\n", 100));

        QCOMPARE(plain.encoding(), Data::String("UTF-8"));
        QVERIFY(plain.confidence(CSVDialect::Encoding) < 0.9); // other bytes may be in between
        QCOMPARE(other.encoding(), Data::String("windows-1252"));
        QCOMPARE(other.decimalPoint(), ',');
    }

    void detectsEncodings_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");

        // clang-format off
        QTest::newRow("ASCII") << QByteArray("a,b\n1,2\n") << "UTF-8";
        QTest::newRow("UTF-8") << QByteArray("a,\xc2\xb0\n1,2\n") << "UTF-8";
        QTest::newRow("UTF-8 with a mark") << QByteArray("\xef\xbb\xbf" "a,b\n1,2\n") << "UTF-8";
        QTest::newRow("a byte of windows-1252") << QByteArray("a,\xb0\n1,2\n") << "windows-1252";
        QTest::newRow("a sequence that is cut off") << QByteArray("a,b\n1,\xc2") << "windows-1252";
        QTest::newRow("UTF-16LE with a mark") << QByteArray("\xff\xfe" "a\0,\0b\0\n\0", 10) << "UTF-16LE";
        QTest::newRow("UTF-16BE with a mark") << QByteArray("\xfe\xff\0a\0,\0b\0\n", 10) << "UTF-16BE";
        QTest::newRow("UTF-16LE") << QByteArray("a\0,\0b\0\n\0" "1\0,\0" "2\0\n\0", 16) << "UTF-16LE";
        QTest::newRow("UTF-16BE") << QByteArray("\0a\0,\0b\0\n\0" "1\0,\0" "2\0\n", 16) << "UTF-16BE";
        QTest::newRow("UTF-32LE with a mark")
            << QByteArray("\xff\xfe\0\0" "a\0\0\0,\0\0\0b\0\0\0\n\0\0\0", 20) << "UTF-32LE";
        QTest::newRow("UTF-32BE with a mark")
            << QByteArray("\0\0\xfe\xff\0\0\0a\0\0\0,\0\0\0b\0\0\0\n", 20) << "UTF-32BE";
        // clang-format on
    }

    void detectsEncodings()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, encoding);

        const CSVDialect dialect = CSVDialect::detectBytes(bytes);

        QCOMPARE(dialect.encoding(), Data::String(encoding));
        QCOMPARE(dialect.delimiter(), Data::String(","));
        QVERIFY(dialect.confidence(CSVDialect::Encoding) > 0.0);
    }

    void detectsCarriageReturns_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("hasReturns");

        QTest::newRow("CR") << QByteArray("a,b\r1,2\r") << true;
        QTest::newRow("CR LF") << QByteArray("a,b\r\n1,2\r\n") << false;
        QTest::newRow("CR and LF") << QByteArray("a,b\r1,2\n") << false;
        QTest::newRow("one line") << QByteArray("a,b") << false;
    }

    void detectsCarriageReturns()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, hasReturns);
        CSVDialect known;
        known.setCarriageReturns(!hasReturns);

        QCOMPARE(CSVDialect::detectBytes(bytes, known).hasCarriageReturns(), hasReturns);
    }

    void detectsTheEncodingThatFileFinds_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("fallback");

        const QByteArray wide = QByteArray("a,b\n\xb0,2\n").repeated(40);
        QByteArray utf32;
        for (const char byte : QByteArray("a,b\n1,2\n").repeated(40))
            utf32 += QByteArray(3, '\0') + byte;
        // clang-format off
        QTest::newRow("fallback") << wide << "windows-1252";
        QTest::newRow("fallback that was set") << wide << "ISO-8859-15";
        QTest::newRow("UTF-32BE") << utf32 << "windows-1252";
        QTest::newRow("UTF-32LE") << QByteArray(utf32.mid(3) + QByteArray(3, '\0')) << "windows-1252";
        QTest::newRow("zero bytes in ASCII") << QByteArray("a,b\n\0\0,2\n", 9).repeated(40) << "windows-1252";
        QTest::newRow("zero bytes in every other place") << QByteArray("a\0,\0\0\0\n\0", 8).repeated(40) << "windows-1252";
        QTest::newRow("UTF-8") << QByteArray("a,\xc3\xa4\n1,2\n").repeated(40) << "windows-1252";
        QTest::newRow("larger than the sample") << QByteArray("a,\xe2\x82\xac\n").repeated(40001) << "windows-1252";
        QTest::newRow("the same in windows-1252") << QByteArray("a,\x80,,\n").repeated(40001) << "windows-1252";
        QTest::newRow("the same in UTF-16") << QByteArray("\xff\xfe", 2) + QByteArray("a\0;\0\xac\x20\n\0", 8).repeated(40001) << "windows-1252";
        // clang-format on
    }

    void detectsTheEncodingThatFileFinds()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, fallback);
        QVERIFY(File::setFallbackEncoding(fallback));
        const QString path = makeFile(m_folder.filePath("encoded.csv"), bytes);

        const Data::String detected = CSVDialect::detect(path).encoding();
        const Data::String found = File::encoding(path);
        File::setFallbackEncoding("windows-1252");

        QCOMPARE(detected, found);
    }

    void refusesToGuessSeparatorsBetweenThousands()
    {
        const CSVDialect clear = CSVDialect::detectBytes("a;b\n" + rows("1,234,567.5;2\n", 20));
        const CSVDialect unclear = CSVDialect::detectBytes("a;b\n" + rows("1,234;2\n", 20));
        const CSVDialect zero = CSVDialect::detectBytes("a;b\n" + rows("0,234;2\n", 20));

        QVERIFY(clear.hasGroupedDigits());
        QCOMPARE(clear.decimalPoint(), '.');
        QVERIFY(unclear.confidence(CSVDialect::DecimalPoint) < 0.5);
        QCOMPARE(zero.decimalPoint(), ',');
        QVERIFY(zero.confidence(CSVDialect::DecimalPoint) > 0.9);
        QVERIFY(!zero.hasGroupedDigits());
    }

    void keepsWhatIsKnown()
    {
        CSVDialect known;
        known.setDelimiter(".");
        known.setComment("//");
        known.setEncoding("ISO-8859-5");
        known.setQuotes(CSVDialect::NoQuotes);
        known.setHeader(-1, -1, 0);
        known.setDecimalPoint(',');

        const CSVDialect dialect = CSVDialect::detectBytes("#a.b\n//\n1.\"2\"\n3.\"4\"\n", known);

        QCOMPARE(dialect, known);
        for (const CSVDialect::Property property : properties)
            QCOMPARE(dialect.confidence(property), 1.0);
    }

    void detectsTheDelimiterBesideAQuoteThatIsNotClosed()
    {
        CSVDialect known;
        known.setQuotes(CSVDialect::Rfc4180Quotes);

        QCOMPARE(CSVDialect::detectBytes("a,b\nc,\"d\n", known).delimiter(), Data::String(","));
    }

    void keepsADelimiterThatStartsComments()
    {
        CSVDialect known;
        known.setDelimiter("#");

        const CSVDialect dialect = CSVDialect::detectBytes("#1#2\na#3#4\n#5#6\n", known);

        QCOMPARE(dialect.delimiter(), Data::String("#"));
        QCOMPARE(dialect.comment(), Data::String());
    }

    void detectsTheRestByWhatIsKnown()
    {
        CSVDialect known;
        known.setDelimiter("::");
        CSVDialect uncommented;
        uncommented.setComment("");

        const CSVDialect dialect =
            CSVDialect::detectBytes("a::b\n" + rows("\"x::y\"::1,5\n", 20), known);
        const CSVDialect plain = CSVDialect::detectBytes("# a,b\n1,2\n3,4\n5,6\n", uncommented);

        QCOMPARE(dialect.delimiter(), Data::String("::"));
        QCOMPARE(dialect.quotes(), CSVDialect::Rfc4180Quotes);
        QCOMPARE(dialect.decimalPoint(), ',');
        QCOMPARE(dialect.headerRow(), 0);
        QCOMPARE(plain.comment(), Data::String());
        QCOMPARE(plain.headerRow(), 0);
    }

    void hasTheDefaultsForWhatIsNoTable_data()
    {
        QTest::addColumn<QByteArray>("bytes");

        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("line ends") << QByteArray("\n\r\n\n");
        QTest::newRow("comments") << QByteArray("# a\n# b\n");
        QTest::newRow("zero bytes") << QByteArray(5000, '\0');
    }

    void hasTheDefaultsForWhatIsNoTable()
    {
        QFETCH(QByteArray, bytes);

        const CSVDialect dialect = CSVDialect::detectBytes(bytes);

        QVERIFY(dialect.isValid());
        QVERIFY(dialect.confidence(CSVDialect::Delimiter) < 0.5);
        QVERIFY(dialect.confidence(CSVDialect::Header) < 0.5);
        QVERIFY(dialect.confidence(CSVDialect::DecimalPoint) < 0.5);
    }

    void isNotValidForAFileThatCannotBeRead_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("reason"); // with %1 for the path

        QTest::newRow("missing") << m_folder.filePath("missing.csv")
                                 << "The file \"%1\" does not exist.";
        QTest::newRow("folder") << m_folder.path() << "\"%1\" is a folder, not a file.";
        QTest::newRow("empty path") << ""
                                    << "The file name is missing.";
#ifndef _WIN32 // which has neither as a path
        const QString noFile = "\"%1\" is a device or a pipe, not a file.";
        QTest::newRow("device") << "/dev/zero" << noFile;
        const QString pipe = m_folder.filePath("pipe");
        QVERIFY(::mkfifo(QFile::encodeName(pipe).constData(), 0600) == 0);
        QTest::newRow("pipe") << pipe << noFile;
#endif
    }

    void isNotValidForAFileThatCannotBeRead()
    {
        QFETCH(QString, path);
        QFETCH(QString, reason);

        const CSVDialect dialect = CSVDialect::detect(path);

        QVERIFY(!dialect.isValid());
        QCOMPARE(File::lastError(), Data::String(reason.replace("%1", path)));
        QCOMPARE(dialect.confidence(CSVDialect::Encoding), 0.0);
        QCOMPARE(dialect.toText(), Data::String("unknown"));
        QVERIFY(CSVDialect::detect(makeFile(m_folder.filePath("good.csv"), "a,b\n")).isValid());
        QCOMPARE(File::lastError(), Data::String());
    }

    void isNotValidForAFileThatMayNotBeRead()
    {
        SKIP_ON_WINDOWS("permissions of Unix");
        const QString path = makeFile(m_folder.filePath("closed.csv"), "a,b\n");
        QFile::setPermissions(path, QFile::Permissions());
        const OrdinaryUser user(m_folder.path());

        QVERIFY(!CSVDialect::detect(path).isValid());
        QVERIFY(File::lastError().contains('"' + path + '"'));
    }

    void isNotValidWhereTheMemoryEnds_data()
    {
        QTest::addColumn<bool>("isFile");
        QTest::newRow("bytes") << false;
        QTest::newRow("file") << true;
    }

    void isNotValidWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        QFETCH(bool, isFile);
        const QByteArray bytes = "name;value\n" + rows("a;1,5\n", 50);
        const Data::String path = makeFile(m_folder.filePath("memory.csv"), bytes);
        const CSVDialect known;
        const auto detect = [&] {
            return isFile ? CSVDialect::detect(path, known) : CSVDialect::detectBytes(bytes, known);
        };
        const CSVDialect expected = detect();
        QVERIFY(expected.isValid());
        File::lastError(); // glibc ends the process when it has no memory for the first call
        int failures = 0;
        for (int n = 0;; n += 1 + n / 20) {
            FailingMemory memory(n, FailingMemory::Once);
            const CSVDialect dialect = detect();
            memory.end();

            QVERIFY(dialect.isValid() ? dialect == expected : memory.hasFailed());
            QCOMPARE(File::lastError().isEmpty(), dialect.isValid());
            failures += dialect.isValid() ? 0 : 1;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 10);
    }

    void survivesBadInput_data()
    {
        QTest::addColumn<QByteArray>("bytes");

        QByteArray all;
        for (int i = 0; i < 65536; ++i)
            all.append(static_cast<char>(i * 7 % 256));
        QTest::newRow("a row of 10 million fields") << rows("1,", 10000000);
        QTest::newRow("mixed line ends") << rows("1;2\n3;4\r\n5;6\r7;8\n", 3000);
        QTest::newRow("zero bytes in a table") << rows(QByteArray("1,\0,2\n", 6), 3000);
        QTest::newRow("all bytes") << all;
        QTest::newRow("quotes without an end") << rows(",\"\"\"", 40000);
        QTest::newRow("quotes only") << QByteArray(200000, '"');
        QTest::newRow("delimiters only") << QByteArray(200000, ';');
        QTest::newRow("quotes and line ends") << rows("\"\n", 100000);
        QTest::newRow("a mark only") << QByteArray("\xff\xfe");
        QTest::newRow("half a code unit") << QByteArray("\xff\xfe\x41");
        QTest::newRow("digits") << QByteArray(200000, '9');
        QTest::newRow("points and commas") << rows("1.1,", 50000);
    }

    void survivesBadInput()
    {
        QFETCH(QByteArray, bytes);

        const CSVDialect dialect = CSVDialect::detectBytes(bytes);

        QVERIFY(areWithinRange(dialect));
        const CSVDialect again = CSVDialect::detectBytes(bytes);
        QCOMPARE(again, dialect);
        QCOMPARE(again.toJson(), dialect.toJson());
    }

    void isSureOfWhatWasSet()
    {
        CSVDialect dialect;
        for (const CSVDialect::Property property : properties)
            QCOMPARE(dialect.confidence(property), 0.0);
        QCOMPARE(dialect.confidence(static_cast<CSVDialect::Property>(-1)), 0.0);
        QCOMPARE(dialect.confidence(static_cast<CSVDialect::Property>(99)), 0.0);

        dialect.setDelimiter("\\s+");
        dialect.setHeader(2, -5, 4);

        QCOMPARE(dialect.confidence(CSVDialect::Delimiter), 1.0);
        QCOMPARE(dialect.confidence(CSVDialect::Header), 1.0);
        QCOMPARE(dialect.confidence(CSVDialect::Encoding), 0.0);
        QVERIFY(dialect.isAligned());
        QVERIFY(dialect.hasHeader());
        QCOMPARE(dialect.headerRow(), 2);
        QCOMPARE(dialect.unitRow(), -1);
        QCOMPARE(dialect.firstDataRow(), 4);
    }

    void isComparedByItsPropertiesOnly_data()
    {
        QTest::addColumn<CSVDialect>("other");

        CSVDialect dialect;
        dialect.setEncoding("UTF-16LE");
        QTest::newRow("encoding") << dialect;
        dialect = CSVDialect();
        dialect.setDelimiter(";");
        QTest::newRow("delimiter") << dialect;
        dialect = CSVDialect();
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        QTest::newRow("quotes") << dialect;
        dialect = CSVDialect();
        dialect.setComment("%");
        QTest::newRow("comment") << dialect;
        dialect = CSVDialect();
        dialect.setHeader(0, -1, 0);
        QTest::newRow("header") << dialect;
        dialect.setHeader(-1, 0, 0);
        QTest::newRow("units") << dialect;
        dialect.setHeader(-1, -1, 1);
        QTest::newRow("first data row") << dialect;
        dialect = CSVDialect();
        dialect.setDecimalPoint(',');
        QTest::newRow("decimal point") << dialect;
        dialect = CSVDialect();
        dialect.setGroupedDigits(true);
        QTest::newRow("thousands") << dialect;
        dialect = CSVDialect();
        dialect.setCarriageReturns(true);
        QTest::newRow("carriage returns") << dialect;
        QTest::newRow("not valid") << CSVDialect::detect("");
    }

    void isComparedByItsPropertiesOnly()
    {
        QFETCH(CSVDialect, other);
        CSVDialect same;
        same.setDelimiter(","); // only its confidence differs

        QVERIFY(same == CSVDialect());
        QVERIFY(!(same != CSVDialect()));
        QVERIFY(other != CSVDialect());
        const CSVDialect copy = other;
        QVERIFY(copy == other);
        other.setComment("changed");
        QVERIFY(copy != other);
    }

    void isToldInTheLanguageOfTheCatalogue()
    {
        CSVDialect dialect = fullDialect();
        QCOMPARE(m_textWithoutCatalogue,
                 Data::String("UTF-8, delimiter '%2', double quotes, comments after '%1', "
                              "labels in row 3, units in row 4, data from row 6, decimal comma, "
                              "separators between thousands, lines end at carriage returns"));
        QCOMPARE(dialect.toText(), m_textWithoutCatalogue);

        QVERIFY(StringTable::setLanguage("de"));
        const Data::String full = dialect.toText();
        const Data::String plain = CSVDialect().toText();
        dialect.setDelimiter("\t");
        const Data::String tab = dialect.toText();
        dialect.setDelimiter("\\s+");
        const Data::String aligned = dialect.toText();
        dialect.setDelimiter("");
        const Data::String oneColumn = dialect.toText();
        const Data::String invalid = CSVDialect::detect("/no/such/file").toText();
        QVERIFY(StringTable::setLanguage("en"));

        QCOMPARE(full, Data::String("UTF-8, Trennzeichen „%2“, doppelte Anführungszeichen, "
                                    "Kommentare nach „%1“, Spaltennamen in Zeile 3, Einheiten in "
                                    "Zeile 4, Daten ab Zeile 6, Dezimalkomma, Trennzeichen "
                                    "zwischen Tausendern, Zeilen enden mit Wagenrücklauf"));
        QCOMPARE(plain, Data::String("UTF-8 (?), Trennzeichen „,“ (?), keine Anführungszeichen "
                                     "(?), keine Kommentare (?), keine Spaltennamen (?), "
                                     "Dezimalpunkt (?)"));
        QVERIFY(tab.startsWith("UTF-8, Trennzeichen Tabulator, "));
        QVERIFY(aligned.startsWith("UTF-8, mit Leerzeichen ausgerichtete Spalten, "));
        QVERIFY(oneColumn.startsWith("UTF-8, eine Spalte, "));
        QCOMPARE(invalid, Data::String("unbekannt"));
        QCOMPARE(fullDialect().toText(), m_textWithoutCatalogue);
    }

    void isToldAsText()
    {
        CSVDialect dialect;
        QCOMPARE(dialect.toText(),
                 Data::String("UTF-8 (?), delimiter ',' (?), no quotes (?), no comments (?), "
                              "no labels (?), decimal point (?)"));
        dialect.setEncoding("windows-1252");
        dialect.setDelimiter("\t");
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        dialect.setComment("%1");
        dialect.setHeader(2, 3, 5);
        dialect.setDecimalPoint(',');
        dialect.setGroupedDigits(true);

        QCOMPARE(dialect.toText(),
                 Data::String("windows-1252, delimiter tab, double quotes, comments after '%1', "
                              "labels in row 3, units in row 4, data from row 6, decimal comma, "
                              "separators between thousands"));
        dialect.setCarriageReturns(true);
        QVERIFY(dialect.toText().endsWith(", lines end at carriage returns"));
        dialect.setDelimiter("\\s+");
        QVERIFY(dialect.toText().contains("columns aligned by blanks"));
        dialect.setDelimiter("");
        QVERIFY(dialect.toText().contains("one column"));
    }

    void isToldAsJson()
    {
        CSVDialect dialect;
        dialect.setDelimiter("\t");
        dialect.setHeader(0, -1, 1);

        const QByteArray json = dialect.toJson().toUtf8();

        QVERIFY(!json.contains('\n'));
        const QJsonObject object = QJsonDocument::fromJson(json).object();
        const QJsonObject confidences{{"encoding", 0.0}, {"delimiter", 1.0}, {"quotes", 0.0},
                                      {"comment", 0.0},  {"header", 1.0},    {"decimalPoint", 0.0}};
        const QJsonObject expected{{"encoding", "UTF-8"},    {"delimiter", "\t"},
                                   {"quotes", QJsonValue()}, {"comment", ""},
                                   {"headerRow", 0},         {"unitRow", QJsonValue()},
                                   {"firstDataRow", 1},      {"decimalPoint", "."},
                                   {"groupedDigits", false}, {"confidence", confidences}};
        QCOMPARE(object, expected);
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        QVERIFY(dialect.toJson().contains("\"quotes\":\"RFC 4180\""));
        dialect.setCarriageReturns(true);
        QVERIFY(dialect.toJson().contains("\"carriageReturns\":true"));
    }

private:
    const QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_CSVDialect)
#include "tst_CSVDialect.moc"
