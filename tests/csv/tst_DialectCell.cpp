#include "utils/csv/dialect/DialectCell_p.h"

#include <QtTest>

using Utils::CellClass;
using Utils::CellKind;
using Utils::classifyCell;

/// A class in words: "number", then its decimal point, "?" when that may separate thousands, and
/// "grouped".
static QString words(const CellClass &cell)
{
    switch (cell.kind) {
    case CellKind::Empty:
        return "empty";
    case CellKind::Missing:
        return "missing";
    case CellKind::Date:
        return "date";
    case CellKind::Text:
        return "text";
    case CellKind::Number:
        break;
    }
    QString result = "number";
    if (cell.decimalPoint)
        result += QString(" %1").arg(QLatin1Char(cell.decimalPoint));
    if (cell.isPointAmbiguous)
        result += '?';
    if (cell.isGrouped)
        result += " grouped";
    return result;
}

class tst_DialectCell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cellIsANumberADateOrAText_data();
    void cellIsANumberADateOrAText();
    void unitsAreKnown_data();
    void unitsAreKnown();
};

void tst_DialectCell::cellIsANumberADateOrAText_data()
{
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *text, const char *expected) {
        QTest::newRow(text) << QString(expected);
    };
    row("", "empty");

    for (const char *text : {"-", "--", "---", "?", ".", "n/a", "NA", "NaN", "nil", "inf", "-inf",
                             "Null", "missing", "#N/A"})
        row(text, "missing");

    for (const char *text : {"0", "17", "+17", "-17", "−17", "$5", "€5", "-$5", "5%", "5 %",
                             "5{mm}", "5 {mm/m}", "5e3", "5E-3"})
        row(text, "number");
    for (const char *text : {"1.5", "1.", ".5", "0.125", "1234.567", "1.2345", "1.5e3"})
        row(text, "number .");
    for (const char *text : {"1,5", ",5", "0,125", "1234,567"})
        row(text, "number ,");
    row("1.234", "number .?");
    row("1,234", "number ,?");
    for (const char *text : {"1.234.567", "1,234,567", "1 234", "12 345 678", "1'234", "1’234",
                             "1\u00a0234", "1\u202f234"})
        row(text, "number grouped");
    for (const char *text : {"1,234.5", "1 234.5", "1'234.5", "1,234,567.89", "1,234.567"})
        row(text, "number . grouped");
    for (const char *text : {"1.234,5", "1 234,5", "1.234.567,8", "1.234,567"})
        row(text, "number , grouped");

    for (const char *text : {"5,",
                             "1.23.4",
                             "1234.567.890",
                             "1.23.456",
                             "1,234,56",
                             ".123,456",
                             "1.234,567.8",
                             "1,234.567,8",
                             "1,234 567.8",
                             "1.234,567 890",
                             "5 {mm",
                             "5 {mm} 3",
                             "5% 3",
                             "5 mm",
                             "1 23",
                             "$",
                             "+",
                             "1.2.3.4.5.6.7.8",
                             "1,2,3,4,5,6,7,8,9,0,1,2,3,4",
                             "5e",
                             "word"})
        row(text, "text");

    for (const char *text : {"2000-01-31",
                             "31.1.2000",
                             "1/31/2000",
                             "31/1/00",
                             "31-Jan-2000",
                             "1.mrz.2000",
                             "99/12/31",
                             "31 January 2000",
                             "31. Januar 2000",
                             "Jan 31 2000",
                             "Jan. 31, 2000",
                             "Jan 2000",
                             "100:01:31",
                             "12:30",
                             "12:30:05",
                             "12:30:05.125",
                             "12:30:05,5",
                             "1:30 PM",
                             "1:30am",
                             "12:30Z",
                             "12:30 UTC",
                             "12:30+01:00",
                             "12:30-0100",
                             "2000-01-31T12:30:05Z",
                             "2000-01-31, 12:30",
                             "2000-01-31_12:30",
                             "31-Jan-2000 1:30 pm"})
        row(text, "date");
    for (const char *text : {"200-01-31",
                             "20000-01-31",
                             "Jan 2000 5",
                             "2000-01",
                             "2000-xyz-31",
                             "2000-32-31",
                             "2000-01.31",
                             "2000-01-",
                             "2000-01-310",
                             "2000-01-31000",
                             "2000-01-2000",
                             "2000-01-0",
                             "2000-01-32",
                             "2000-01-0031",
                             "31-1",
                             "123/1/00",
                             "32 January 2000",
                             "31January2000",
                             "31 J 2000",
                             "Janitorialjob 2000",
                             "Jan Z",
                             "12:3",
                             "12:60",
                             "12:30:5",
                             "12:30:05.",
                             "12:30:05 xyZ",
                             ":30",
                             "12-30",
                             "2000-01-31 noonZ",
                             "2000-01-31 12:30:05.0000000000000000000000000"})
        row(text, "text");
}

void tst_DialectCell::cellIsANumberADateOrAText()
{
    QFETCH(QString, expected);
    QCOMPARE(words(classifyCell(QString::fromUtf8(QTest::currentDataTag()))), expected);
}

void tst_DialectCell::unitsAreKnown_data()
{
    QTest::addColumn<bool>("expected");
    for (const char *text :
         {"mm",   "N",    "%",       "1",    "°",   "°C",         "°F",    "Ω",        "\u2126",
          "kΩ",   "µm",   "\u03bcm", "dB",   "m/s", "m/s2",       "m/s^2", "m/s²",     "m³",
          "kN*m", "kN·m", "s-1",     "s^-1", "1/s", "[anything]", "(s)",   "{kN/mm2}", "<V>"})
        QTest::newRow(text) << true;
    for (const char *text : {"", "x", "xm", "k", "m/", "/m", "m//s", "[s", "s]", "(s]", "{s)", "<s",
                             "Temperature", "a very long unit", "a text of seventeen", "°°/x", "-"})
        QTest::newRow(text) << false;
}

void tst_DialectCell::unitsAreKnown()
{
    QFETCH(bool, expected);
    QCOMPARE(Utils::isUnit(QString::fromUtf8(QTest::currentDataTag())), expected);
}

QTEST_APPLESS_MAIN(tst_DialectCell)

#include "tst_DialectCell.moc"
