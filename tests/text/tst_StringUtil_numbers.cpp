#include "utils/text/StringUtil.h"

#include "data/Array.h"

#include "tests/support/Print.h"

#include <QProcess>
#include <QtTest>

#include <cmath>
#include <limits>

using Data::String;
using Data::Variant;
using Utils::StringUtil;

static const double infinity = std::numeric_limits<double>::infinity();
static const double notANumber = std::numeric_limits<double>::quiet_NaN();

/// What a program of its own prints, a line a step; TQA_TESTING is not set in its environment
/// unless \p testing says to what.
static QStringList run(const QStringList &steps, const char *testing = nullptr)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("TQA_TESTING");
    if (testing)
        environment.insert("TQA_TESTING", testing);
    QProcess child;
    child.setProcessEnvironment(environment);
    child.start(OUTPUT_CHILD, steps);
    if (!child.waitForFinished(-1) || child.exitStatus() != QProcess::NormalExit ||
        child.exitCode() != 0)
        return {"the program failed"};
    const QByteArray output = child.readAllStandardOutput().replace("\r\n", "\n");
    return QString::fromUtf8(output).split('\n').mid(0, steps.size());
}

/// The results of run(), the last of them alone.
static QString last(const QStringList &steps, const char *testing = nullptr)
{
    QStringList lines = run(steps, testing);
    lines.removeAll("");
    return lines.isEmpty() ? QString() : lines.last();
}

class tst_StringUtil_numbers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The switch of output() is read once in a process: here it must be off.
    void initTestCase() { qunsetenv("TQA_TESTING"); }

    void init() { QLocale::setDefault(QLocale::c()); }

    void showNoTextForTheNoValueNumber()
    {
        for (const char format : {'e', 'E', 'f', 'g', 'G', '?'}) {
            for (const int precision : {-1, 0, 6, 20}) {
                QCOMPARE(StringUtil::display(Data::noValue, format, precision), String());
                QCOMPARE(StringUtil::output(Data::noValue, format, precision), String());
            }
        }
        QCOMPARE(StringUtil::display(1e300), String());
        QCOMPARE(StringUtil::output(1e300), String());
        QCOMPARE(StringUtil::display(Variant(1e300)), String());
        QCOMPARE(StringUtil::output(Variant("1e300")), String());
    }

    void showTheNeighboursOfTheNoValueNumber()
    {
        for (const double value : {1e300 * 1.0000001, std::nextafter(1e300, 0.0),
                                   std::nextafter(1e300, infinity), -1e300})
        {
            const String text = value < 0.0 ? "-1e+300" : "1e+300";
            QCOMPARE(StringUtil::display(value), text);
            QCOMPARE(StringUtil::output(value), text);
        }
    }

    void showNumbersInTheDefaultLocale_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("format");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("C") << "C" << 0.1 + 0.2 << "g" << 6 << "0.3";
        QTest::newRow("a decimal comma") << "de_DE" << 1.5 << "g" << 6 << "1,5";
        QTest::newRow("groups, fixed") << "de_DE" << 12345.678 << "f" << 2 << "12.345,68";
        QTest::newRow("groups, general") << "de_DE" << 123456.0 << "g" << 6 << "123.456";
        QTest::newRow("no groups in C") << "C" << 123456.0 << "g" << 6 << "123456";
        QTest::newRow("groups of its own sign") << "fr_FR" << 123456.0 << "g" << 6 << "123\u202f456";
        QTest::newRow("digits of its own") << "ar_EG" << 12.0 << "g" << 6 << "\u0661\u0662";
        QTest::newRow("exponent") << "de_DE" << 1234567.0 << "g" << 6 << "1,23457e+06";
        QTest::newRow("exponent form") << "en_US" << 1234567.0 << "e" << 2 << "1.23e+06";
        QTest::newRow("capital exponent") << "en_US" << 1234567.0 << "E" << 2 << "1.23E+06";
        QTest::newRow("capital general") << "en_US" << 1234567.0 << "G" << 3 << "1.23E+06";
        QTest::newRow("a tie goes away from zero") << "C" << 841752.5 << "g" << 6 << "841753";
        QTest::newRow("a fixed tie, too") << "C" << 2.5 << "f" << 0 << "3";
        QTest::newRow("usual precision") << "C" << 2.0 / 3 << "f" << -1 << "0.666667";
        QTest::newRow("not a number") << "de_DE" << notANumber << "g" << 6 << "nan";
        QTest::newRow("infinity") << "de_DE" << infinity << "f" << 6 << "inf";
        QTest::newRow("minus infinity") << "de_DE" << -infinity << "g" << 6 << "-inf";
        QTest::newRow("minus zero") << "C" << -0.0 << "g" << 6 << "0";
        // clang-format on
    }

    void showNumbersInTheDefaultLocale()
    {
        QFETCH(QString, locale);
        QFETCH(double, value);
        QFETCH(QString, format);
        QFETCH(int, precision);
        QFETCH(QString, text);
        QLocale::setDefault(QLocale(locale));
        const char formatCharacter = format.at(0).toLatin1();

        QCOMPARE(StringUtil::display(value, formatCharacter, precision), String(text));
        QCOMPARE(StringUtil::output(value, formatCharacter, precision), String(text));
    }

    void showSixDigitsInGeneralWhenNothingElseIsSaid()
    {
        QLocale::setDefault(QLocale("de_DE"));

        for (const double value : {0.1 + 0.2, 1.23456789, 1234567.0, 12.0, 0.00001}) {
            const String text = QLocale("de_DE").toString(value, 'g', 6);
            QCOMPARE(StringUtil::display(value), text);
            QCOMPARE(StringUtil::output(value), text);
            QCOMPARE(StringUtil::display(Variant(value)), text);
            QCOMPARE(StringUtil::output(Variant(value)), text);
        }
    }

    void showVariants_data()
    {
        QTest::addColumn<Variant>("value");
        QTest::addColumn<QString>("text");

        QTest::newRow("invalid") << Variant() << "0";
        QTest::newRow("no number") << Variant("abc") << "0";
        QTest::newRow("empty") << Variant("") << "0";
        QTest::newRow("int") << Variant(7) << "7";
        QTest::newRow("bool") << Variant(true) << "1";
        QTest::newRow("a text in the C locale") << Variant("1.5") << "1,5";
        QTest::newRow("a text in the default one") << Variant("1,5") << "0";
        QTest::newRow("list") << Variant(QStringList{"1", "2"}) << "0";
        QTest::newRow("colour") << Variant(QColor(Qt::red)) << "0";
    }

    void showVariants()
    {
        QFETCH(Variant, value);
        QFETCH(QString, text);
        QLocale::setDefault(QLocale("de_DE"));

        QCOMPARE(StringUtil::display(value), String(text));
        QCOMPARE(StringUtil::output(value), String(text));
    }

    void bearMoreDigitsThanMemoryHolds()
    {
        const int most = std::numeric_limits<int>::max();
        const int least = std::numeric_limits<int>::min();

        QCOMPARE(StringUtil::display(0.5, 'f', most).size(), 2 + 1000000);
        QCOMPARE(StringUtil::output(0.5, 'f', most).size(), 2 + 1000000);
        QCOMPARE(StringUtil::formatPercent(0.5, most).size(), 2 + 1 + 1000000 + 1);
        QCOMPARE(StringUtil::formatPercent(0.005, most), String("0.5%"));
        QCOMPARE(StringUtil::display(0.5, 'f', least), String("0.500000"));
        QCOMPARE(StringUtil::output(0.5, 'f', least), String("0.500000"));
        QCOMPARE(StringUtil::formatPercent(0.005, least), String("0.5%"));
    }

    void obeyTheSwitchOnOutput_data()
    {
        QTest::addColumn<QByteArray>("testing");
        QTest::addColumn<bool>("isOn");

        for (const char *const on : {"true", "yes", "1", "TRUE", "Yes", "YES", "tRue"})
            QTest::newRow(on) << QByteArray(on) << true;
        for (const char *const off : {"0", "no", "on", "2", "", "false", "y", " 1", "true ", "11"})
            QTest::addRow("\"%s\"", off) << QByteArray(off) << false;
    }

    void obeyTheSwitchOnOutput()
    {
        QFETCH(QByteArray, testing);
        QFETCH(bool, isOn);

        const QStringList lines =
            run({"locale=de_DE", "output=1.5", "display=1.5", "output=123456", "display=123456",
                 "percent=123.456", "number=1,5", "output=1e300"},
                testing.constData());

        const QStringList expected =
            isOn ? QStringList{"1.5", "1,5", "123456", "123.456", "1,2e+04%", "1.5", "", ""}
                 : QStringList{"1,5", "1,5", "123.456", "123.456", "1,2e+04%", "1.5", "", ""};
        QCOMPARE(lines, expected);
    }

    void takeTheSwitchForOffWhenItIsNotSet()
    {
        QCOMPARE(last({"locale=de_DE", "output=1.5"}), QString("1,5"));
    }

    void freezeTheSwitchWithTheFirstOutput()
    {
        const QString locale = "locale=de_DE";

        QCOMPARE(run({locale, "output=1.5", "TQA_TESTING=1", "output=1.5"}).mid(0, 2),
                 QStringList({"1,5", "1,5"}));
        QCOMPARE(run({locale, "output=1.5", "TQA_TESTING=0", "output=1.5"}, "1").mid(0, 2),
                 QStringList({"1.5", "1.5"}));
        QCOMPARE(last({locale, "output=nan", "TQA_TESTING=1", "output=1.5"}), QString("1,5"));
    }

    void doNotReadTheSwitchForTheNoValueNumberOrADisplay()
    {
        const QString locale = "locale=de_DE";
        const QString on = "TQA_TESTING=1";

        QCOMPARE(last({locale, "output=1e300", on, "output=1.5"}), QString("1.5"));
        QCOMPARE(last({locale, "display=1.5", "percent=1", "number=1", on, "output=1.5"}),
                 QString("1.5"));
    }

    void areReadInTheDefaultLocale_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("number");

        // clang-format off
        QTest::newRow("empty")                 << "C"     << ""        << 0.0;
        QTest::newRow("no number")             << "C"     << "abc"     << 0.0;
        QTest::newRow("begins like one")       << "C"     << "1.5x"    << 0.0;
        QTest::newRow("point")                 << "C"     << "1.5"     << 1.5;
        QTest::newRow("blanks around")         << "C"     << " 12 "    << 12.0;
        QTest::newRow("group")                 << "C"     << "1,000"   << 1000.0;
        QTest::newRow("group that is short")   << "C"     << "1,00"    << 0.0;
        QTest::newRow("negative")              << "C"     << "-2.5"    << -2.5;
        QTest::newRow("a real minus")          << "C"     << "\u22125" << -5.0;
        QTest::newRow("exponent")              << "C"     << "1e3"     << 1000.0;
        QTest::newRow("no value")              << "C"     << "1e300"   << 1e300;
        QTest::newRow("infinity")              << "C"     << "inf"     << infinity;
        QTest::newRow("too large")             << "C"     << "1e400"   << 0.0;
        QTest::newRow("too small")             << "C"     << "1e-400"  << 0.0;
        QTest::newRow("comma")                 << "de_DE" << "1,5"     << 1.5;
        QTest::newRow("point, where it groups") << "de_DE" << "1.5"     << 0.0;
        QTest::newRow("point that groups")     << "de_DE" << "1.500"   << 1500.0;
        QTest::newRow("point of no meaning")   << "fr_FR" << "1.5"     << 0.0;
        QTest::newRow("digits of its own")     << "ar_EG" << "\u0661\u0662" << 12.0;
        // clang-format on
    }

    void areReadInTheDefaultLocale()
    {
        QFETCH(QString, locale);
        QFETCH(QString, text);
        QFETCH(double, number);
        QLocale::setDefault(QLocale(locale));

        QCOMPARE(StringUtil::displayNumber(String(text)), number);
        QCOMPARE(StringUtil::displayNumber(text), number);
        QCOMPARE(StringUtil::displayNumber(text.toUtf8().constData()), number);
        QCOMPARE(StringUtil::displayNumber(Variant(text)), number);
    }

    void areReadAsNotANumber()
    {
        QVERIFY(std::isnan(StringUtil::displayNumber("nan")));
        QVERIFY(std::isnan(StringUtil::displayNumber(Variant(notANumber))));
    }

    void areReadFromVariants_data()
    {
        QTest::addColumn<Variant>("value");
        QTest::addColumn<double>("number");

        QVariant withFloat;
        withFloat.setValue(1.5f);
        QTest::newRow("a double is taken as it is") << Variant(1.5) << 1.5;
        QTest::newRow("no value, too") << Variant(1e300) << 1e300;
        QTest::newRow("infinity, too") << Variant(-infinity) << -infinity;
        QTest::newRow("an int goes through its text") << Variant(1500) << 1500.0;
        QTest::newRow("a float goes through its text") << Variant(withFloat) << 0.0;
        QTest::newRow("a text in the default locale") << Variant("1,5") << 1.5;
        QTest::newRow("a text in the C locale") << Variant("1.5") << 0.0;
        QTest::newRow("invalid") << Variant() << 0.0;
        QTest::newRow("bool") << Variant(true) << 0.0; // "true"
        QTest::newRow("list") << Variant(QStringList{"1", "2"}) << 0.0;
    }

    void areReadFromVariants()
    {
        QFETCH(Variant, value);
        QFETCH(double, number);
        QLocale::setDefault(QLocale("de_DE"));

        QCOMPARE(StringUtil::displayNumber(value), number);
    }

    void areReadBackAsDisplayed()
    {
        for (const char *const locale : {"C", "de_DE", "en_US", "fr_FR", "de_CH"}) {
            QLocale::setDefault(QLocale(locale));
            for (const double value : {0.0, 1.5, -123456.0, 1e-9, 123456789.25})
                QCOMPARE(StringUtil::displayNumber(StringUtil::display(value, 'g', 17)), value);
        }
    }

    void areReadFromHugeTexts()
    {
        const int size = 10000000;

        QCOMPARE(StringUtil::displayNumber(QString(size, 'x')), 0.0);
        QCOMPARE(StringUtil::displayNumber(QString(size, ' ')), 0.0);
        QCOMPARE(StringUtil::displayNumber(QString(size, '9')), 0.0);
        QCOMPARE(StringUtil::displayNumber("0." + QString(size, '3')), 1.0 / 3);
    }

    void areShownAsPercentages_data()
    {
        QTest::addColumn<double>("fraction");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("half")                   << 0.5         << 0  << "50%";
        QTest::newRow("half with decimals")     << 0.5         << 2  << "50.00%";
        QTest::newRow("zero")                   << 0.0         << 3  << "0%";
        QTest::newRow("far below 0.001")        << 0.00000001  << 3  << "0%";
        QTest::newRow("just below 0.001")       << 0.00000999  << 6  << "0%";
        QTest::newRow("negative below 0.001")   << -0.00000999 << 6  << "0%";
        QTest::newRow("exactly 0.001")          << 0.00001     << 0  << "0.001%";
        QTest::newRow("small")                  << 0.005       << 0  << "0.5%";
        QTest::newRow("small, negative")        << -0.005      << 0  << "-0.5%";
        QTest::newRow("small, two digits")      << 0.0012345   << 1  << "0.12%";
        QTest::newRow("small, more digits")     << 0.0012346   << 4  << "0.1235%";
        QTest::newRow("small, below no digits") << 0.0012345   << -1 << "0.12%";
        QTest::newRow("just below 1")           << 0.009999    << 3  << "1%";
        QTest::newRow("exactly 1")              << 0.01        << 3  << "1.000%";
        QTest::newRow("exactly -1")             << -0.01       << 1  << "-1.0%";
        QTest::newRow("exactly 10000")          << 100.0       << 1  << "10000.0%";
        QTest::newRow("above 10000")            << 100.1       << 1  << "1e+04%";
        QTest::newRow("above, negative")        << -100.1      << 1  << "-1e+04%";
        QTest::newRow("above, more digits")     << 123.456     << 5  << "12346%";
        QTest::newRow("above, most digits")     << 123.456     << 7  << "12345.6%";
        QTest::newRow("below no decimals")      << 0.5         << -1 << "50.000000%";
        QTest::newRow("not a number")           << notANumber  << 1  << "nan%";
        QTest::newRow("infinity")               << infinity    << 1  << "inf%";
        QTest::newRow("minus infinity")         << -infinity   << 1  << "-inf%";
        QTest::newRow("no value")               << 1e300       << 3  << "1e+302%";
        // clang-format on
    }

    void areShownAsPercentages()
    {
        QFETCH(double, fraction);
        QFETCH(int, precision);
        QFETCH(QString, text);

        QCOMPARE(StringUtil::formatPercent(fraction, precision), String(text));
    }

    void areShownAsPercentagesInTheDefaultLocale()
    {
        QLocale::setDefault(QLocale("de_DE"));

        QCOMPARE(StringUtil::formatPercent(100.0, 1), String("10.000,0%"));
        QCOMPARE(StringUtil::formatPercent(0.0012345, 3), String("0,123%"));
        QCOMPARE(StringUtil::formatPercent(0.125, 1), String("12,5%"));
    }

    void areNoTextAsThePercentageThatIsTheNoValueNumber()
    {
        const double fraction = std::nextafter(1e298, infinity);

        QCOMPARE(fraction * 100.0, Data::noValue);
        QCOMPARE(StringUtil::formatPercent(fraction, 3), String("%"));
    }

    void areComparedBySignsInRichText()
    {
        QCOMPARE(StringUtil::lessthanequal(true), String("<font face='Symbol'>&#163;</font>"));
        QCOMPARE(StringUtil::lessthanequal(false), String("&#x2264;"));
        QCOMPARE(StringUtil::greaterthanequal(true), String("<font face='Symbol'>&#179;</font>"));
        QCOMPARE(StringUtil::greaterthanequal(false), String("&#x2265;"));
    }
};

QTEST_GUILESS_MAIN(tst_StringUtil_numbers)
#include "tst_StringUtil_numbers.moc"
