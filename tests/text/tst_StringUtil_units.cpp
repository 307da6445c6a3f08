#include "utils/text/StringUtil.h"

#include "data/Array.h"

#include "tests/support/Exact.h"
#include "tests/support/Print.h"

#include <QLocale>
#include <QtTest>

#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using Data::String;
using Utils::StringUtil;

static const double infinity = std::numeric_limits<double>::infinity();
static const double NaN = std::numeric_limits<double>::quiet_NaN();

class tst_StringUtil_units : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QLocale::setDefault(QLocale::c()); }

    void displaysUnitsWithPrefixes_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<String>("unit");
        QTest::addColumn<int>("digits");
        QTest::addColumn<String>("text");

        // clang-format off
        QTest::newRow("thousands") << 1500.0 << String("N") << 4 << String("1.5 kN");
        QTest::newRow("no prefix") << 12.5 << String("N") << 4 << String("12.5 N");
        QTest::newRow("one") << 1.0 << String("N") << 4 << String("1 N");
        QTest::newRow("millionths") << 0.000012 << String("m") << 4 << String("12 µm");
        QTest::newRow("thousandths, negative") << -0.0123456 << String("m/s") << 4 << String("-12.35 mm/s");
        QTest::newRow("below one") << 0.5 << String("V") << 4 << String("500 mV");
        QTest::newRow("zero") << 0.0 << String("V") << 4 << String("0 V");
        QTest::newRow("minus zero") << -0.0 << String("V") << 4 << String("0 V");
        QTest::newRow("hole") << Data::noValue << String("V") << 4 << String();
        QTest::newRow("not a number") << NaN << String("V") << 4 << String("nan V");
        QTest::newRow("infinite") << -infinity << String("V") << 4 << String("-inf V");
        QTest::newRow("up to the next prefix") << 999.96 << String("Pa") << 4 << String("1 kPa");
        QTest::newRow("not up to it") << 999.94 << String("Pa") << 4 << String("999.9 Pa");
        QTest::newRow("up to no prefix") << 0.99996 << String("Pa") << 4 << String("1 Pa");
        QTest::newRow("up, negative") << -999960.0 << String("Pa") << 4 << String("-1 MPa");
        QTest::newRow("up with one digit") << 999.5 << String("Pa") << 1 << String("1 kPa");
        QTest::newRow("digits before the point") << 12345.0 << String("Pa") << 1 << String("12 kPa");
        QTest::newRow("three before the point") << 123456.0 << String("Pa") << 2 << String("123 kPa");
        QTest::newRow("no more digits") << 99.96 << String("Pa") << 3 << String("100 Pa");
        QTest::newRow("one more digit before the point") << 9.96 << String("Pa") << 2 << String("10 Pa");
        QTest::newRow("halfway, away from zero") << 2.5 << String("Pa") << 1 << String("3 Pa");
        QTest::newRow("halfway, negative") << -0.125 << String("Pa") << 2 << String("-125 mPa");
        QTest::newRow("halfway in thousands") << 1250.0 << String("Pa") << 2 << String("1.3 kPa");
        QTest::newRow("zeros at the end") << 1200.4 << String("Pa") << 3 << String("1.2 kPa");
        QTest::newRow("zeros before the point") << 100000.0 << String("Pa") << 15 << String("100 kPa");
        QTest::newRow("zero digits") << 1234.0 << String("Pa") << 0 << String("1 kPa");
        QTest::newRow("negative digits") << 1234.0 << String("Pa") << -5 << String("1 kPa");
        QTest::newRow("many digits") << 0.1 << String("Pa") << 1000 << String("100 mPa");
        QTest::newRow("all digits") << 1234567.89012345 << String("Pa") << 15 << String("1.23456789012345 MPa");
        QTest::newRow("next to a power") << std::nextafter(1000.0, 0.0) << String("Pa") << 15 << String("1 kPa");
        QTest::newRow("quecto") << 1e-30 << String("g") << 4 << String("1 qg");
        QTest::newRow("below quecto") << 9.5e-31 << String("g") << 4 << String("9.5e-31 g");
        QTest::newRow("up to quecto") << 9.9999e-31 << String("g") << 4 << String("1 qg");
        QTest::newRow("quetta") << 999.9e30 << String("g") << 4 << String("999.9 Qg");
        QTest::newRow("above quetta") << 999.96e30 << String("g") << 4 << String("1e+33 g");
        QTest::newRow("the smallest") << 5e-324 << String("g") << 2 << String("4.9e-324 g");
        QTest::newRow("the largest") << -1.7e308 << String("g") << 2 << String("-1.7e+308 g");
        // clang-format on
    }

    void displaysUnitsWithPrefixes()
    {
        QFETCH(double, value);
        QFETCH(String, unit);
        QFETCH(int, digits);
        QFETCH(String, text);

        QCOMPARE(StringUtil::displayUnit(value, unit, digits), text);
    }

    void displayUnitHasEachPrefix()
    {
        const QString prefixes = QStringLiteral(u"qryzafpn\u00b5m kMGTPEZYRQ");
        for (int i = 0; i < prefixes.size(); ++i) {
            const QString prefix = prefixes[i] == ' ' ? QString() : QString(prefixes[i]);
            const double value = QStringLiteral("12e%1").arg(3 * (i - 10)).toDouble();

            QCOMPARE(StringUtil::displayUnit(value, "m"), String("12 " + prefix + "m"));
            QCOMPARE(StringUtil::displayUnit(-value, "m"), String("-12 " + prefix + "m"));
        }
    }

    void displayUnitKnowsWhatTakesAPrefix_data()
    {
        QTest::addColumn<String>("unit");
        QTest::addColumn<String>("text");

        // clang-format off
        for (const char *const unit :
             {"m", "g", "s", "A", "K", "mol", "cd", "rad", "sr", "Hz", "N", "Pa", "J", "W", "C", "V", "F", "Ω",
              "\u2126", "S", "Wb", "T", "H", "lm", "lx", "Bq", "Gy", "Sv", "kat", "l", "L", "t", "bar", "eV", "B",
              "bit", "Ah", "Wh", "VA", "var", "Nm", "m/s", "N/mm²", "W/(m·K)", "N·m", "N m", "N*m", "V⋅A", "bit/s"})
            QTest::newRow(unit) << String(unit) << "1.5 k" + String(unit);
        for (const char *const unit :
             {"mm", "km", "kg", "kN", "MPa", "µm", "dB", "m²", "m³", "m2", "m^2", "mm²", "m⁻¹", "m-1", "%", "°", "°C",
              "min", "h", "d", "rows", "1/s", "/s", "ft", "in", "n", "M", "pa", "(m)", " m", "N.m"})
            QTest::newRow(unit) << String(unit) << "1500 " + String(unit);
        // clang-format on
        QTest::newRow("no unit") << String() << String("1500");
    }

    void displayUnitKnowsWhatTakesAPrefix()
    {
        QFETCH(String, unit);
        QFETCH(String, text);

        QCOMPARE(StringUtil::displayUnit(1500.0, unit), text);
    }

    void displayUnitUsesOtherUnitsAsTheyAre()
    {
        QCOMPARE(StringUtil::displayUnit(123456.0, "mm", 4), String("1.235e+05 mm"));
        QCOMPARE(StringUtil::displayUnit(0.00012, "", 4), String("0.00012"));
        QCOMPARE(StringUtil::displayUnit(-0.0, "%", 4), String("0 %"));
        QCOMPARE(StringUtil::displayUnit(NaN, "", 4), String("nan"));
        QCOMPARE(StringUtil::displayUnit(Data::noValue, "", 4), String());
        QCOMPARE(StringUtil::displayUnit(12.345, "mm", 0), String("1e+01 mm"));
        QCOMPARE(StringUtil::displayUnit(0.1, "mm", 99), String("0.1 mm"));
    }

    void displayUnitUsesTheLocale()
    {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QCOMPARE(StringUtil::displayUnit(-1500, "N"), String("-1,5 kN"));
        QCOMPARE(StringUtil::displayUnit(1234.5, "mm", 5), String("1.234,5 mm"));
        QCOMPARE(StringUtil::displaySize(1536), String("1,5 KiB"));
        QCOMPARE(StringUtil::displaySize(1023 * 1024), String("1.023 KiB"));

        QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
        QCOMPARE(StringUtil::displayUnit(1500, "N"),
                 String(QLocale().toString(1.5, 'f', 1) + " kN"));
    }

    void displayUnitRoundsTheDecimalNumber()
    {
        std::mt19937_64 random(11);
        for (int i = 0; i < 20000; ++i) {
            const int digits = 1 + static_cast<int>(random() % 15);
            const int exponent = static_cast<int>(random() % 60) - 28;
            const double value = QStringLiteral("%1e%2")
                                     .arg(double(10000 + random() % 90000) / 10000, 0, 'f', 4)
                                     .arg(exponent)
                                     .toDouble();
            const QStringList parts = StringUtil::displayUnit(value, "m", digits).split(' ');
            QCOMPARE(parts.size(), 2);
            const QString number = parts[0];
            QVERIFY(!number.contains('e'));
            QVERIFY(number.toDouble() >= 1.0 && number.toDouble() < 1000.0);
            QVERIFY(!number.contains('.') || !number.endsWith('0'));
            const QString prefixes = QStringLiteral(u"qryzafpn\u00b5m kMGTPEZYRQ");
            const int power = parts[1].size() == 1 ? 0 : prefixes.indexOf(parts[1][0]) - 10;
            const double shown = QStringLiteral("%1e%2").arg(number).arg(3 * power).toDouble();
            const int before = ((exponent % 3) + 3) % 3 + 1;
            const int shownDigits = std::max(digits, before);
            QCOMPARE(exact(shown), exact(QString::number(value, 'e', shownDigits - 1).toDouble()));
        }
    }

    void displaysSizes_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<int>("digits");
        QTest::addColumn<String>("binary");
        QTest::addColumn<String>("decimal");

        // clang-format off
        QTest::newRow("nothing") << Q_INT64_C(0) << 3 << String("0 B") << String("0 B");
        QTest::newRow("one") << Q_INT64_C(1) << 3 << String("1 B") << String("1 B");
        QTest::newRow("bytes") << Q_INT64_C(512) << 1 << String("512 B") << String("512 B");
        QTest::newRow("all bytes") << Q_INT64_C(1023) << 3 << String("1023 B") << String("1.02 kB");
        QTest::newRow("1024") << Q_INT64_C(1024) << 3 << String("1 KiB") << String("1.02 kB");
        QTest::newRow("decimals") << Q_INT64_C(1536) << 3 << String("1.5 KiB") << String("1.54 kB");
        QTest::newRow("negative") << Q_INT64_C(-1536) << 3 << String("-1.5 KiB") << String("-1.54 kB");
        QTest::newRow("digits") << Q_INT64_C(123456789) << 6 << String("117.738 MiB") << String("123.457 MB");
        QTest::newRow("digits before the point") << Q_INT64_C(123456789) << 1 << String("118 MiB") << String("123 MB");
        QTest::newRow("up to the next unit") << Q_INT64_C(1048575) << 3 << String("1 MiB") << String("1.05 MB");
        QTest::newRow("not up to it") << Q_INT64_C(1048575) << 7 << String("1023.999 KiB") << String("1.048575 MB");
        QTest::newRow("up to the next decimal unit") << Q_INT64_C(999999) << 3 << String("977 KiB") << String("1 MB");
        QTest::newRow("four digits") << Q_INT64_C(1037312) << 3 << String("1013 KiB") << String("1.04 MB");
        QTest::newRow("the largest") << std::numeric_limits<qint64>::max() << 3 << String("8 EiB") << String("9.22 EB");
        QTest::newRow("the smallest") << std::numeric_limits<qint64>::min() << 3 << String("-8 EiB") << String("-9.22 EB");
        QTest::newRow("GiB") << Q_INT64_C(3) * 1024 * 1024 * 1024 << 3 << String("3 GiB") << String("3.22 GB");
        QTest::newRow("TiB") << (Q_INT64_C(3) << 40) << 3 << String("3 TiB") << String("3.3 TB");
        QTest::newRow("PiB") << (Q_INT64_C(3) << 50) << 3 << String("3 PiB") << String("3.38 PB");
        QTest::newRow("halfway") << Q_INT64_C(1280) << 2 << String("1.3 KiB") << String("1.3 kB");
        QTest::newRow("the digits of the next unit") << Q_INT64_C(1049) << 4 << String("1.024 KiB") << String("1.049 kB");
        QTest::newRow("too few digits") << Q_INT64_C(1280) << -1 << String("1 KiB") << String("1 kB");
        QTest::newRow("too many digits") << Q_INT64_C(1025) << 99 << String("1.0009765625 KiB") << String("1.025 kB");
        // clang-format on
    }

    void displaysSizes()
    {
        QFETCH(qint64, bytes);
        QFETCH(int, digits);
        QFETCH(String, binary);
        QFETCH(String, decimal);

        QCOMPARE(StringUtil::displaySize(bytes, StringUtil::BinaryUnits, digits), binary);
        QCOMPARE(StringUtil::displaySize(bytes, StringUtil::DecimalUnits, digits), decimal);
    }

    void displaysSizesInBinaryUnitsUnlessTold()
    {
        QCOMPARE(StringUtil::displaySize(1234567), String("1.18 MiB"));
    }

    void writesTheShortestNumber_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<String>("text");

        QTest::newRow("zero") << 0.0 << String("0");
        QTest::newRow("minus zero") << -0.0 << String("-0");
        QTest::newRow("one") << 1.0 << String("1");
        QTest::newRow("a tenth") << 0.1 << String("0.1");
        QTest::newRow("a sum") << 0.1 + 0.2 << String("0.30000000000000004");
        QTest::newRow("negative") << -1234.5 << String("-1234.5");
        QTest::newRow("with an exponent") << 100000.0 << String("1e+05");
        QTest::newRow("without an exponent") << 123456.0 << String("123456");
        QTest::newRow("small") << 0.00001 << String("1e-05");
        QTest::newRow("large, with every digit")
            << 1428547813435902208.0 << String("1428547813435902208");
        QTest::newRow("hole") << Data::noValue << String("1e+300");
        QTest::newRow("the smallest") << 5e-324 << String("5e-324");
        QTest::newRow("the largest")
            << std::numeric_limits<double>::max() << String("1.7976931348623157e+308");
        QTest::newRow("the longest")
            << -2.2250738585072014e-308 << String("-2.2250738585072014e-308");
        QTest::newRow("infinite") << infinity << String("inf");
        QTest::newRow("minus infinite") << -infinity << String("-inf");
        QTest::newRow("not a number") << NaN << String("nan");
        QTest::newRow("not a number, with a sign") << std::copysign(NaN, -1.0) << String("nan");
    }

    void writesTheShortestNumber()
    {
        QFETCH(double, value);
        QFETCH(String, text);

        QCOMPARE(StringUtil::shortest(value), text);
    }

    void shortestIsReadBackExactly()
    {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        std::mt19937_64 random(12);
        for (int i = 0; i < 200000; ++i) {
            const quint64 bits = random();
            double value;
            std::memcpy(&value, &bits, sizeof value);
            if (!std::isfinite(value))
                continue;
            const QString text = StringUtil::shortest(value);
            bool isNumber = false;
            const double read = text.toDouble(&isNumber);
            QVERIFY(isNumber);
            QVERIFY2(isExactly(read, value), qPrintable(text));
            QVERIFY(text.size() <= QString::number(value, 'g', 17).size());
        }
    }
};

QTEST_GUILESS_MAIN(tst_StringUtil_units)
#include "tst_StringUtil_units.moc"
