#include "utils/base/Placeholders_p.h"

#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails

#include <QtTest>

class tst_Placeholders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areFilledByNumber_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("values");
        QTest::addColumn<QString>("filled");

        const QStringList two{"a", "b"};
        const QStringList ten{"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
        // clang-format off
        QTest::newRow("none")                   << "text"      << two                    << "text";
        QTest::newRow("in order")               << "%1 of %2"  << two                    << "a of b";
        QTest::newRow("out of order")           << "%2 of %1"  << two                    << "b of a";
        QTest::newRow("only the second")        << "%2"        << two                    << "b";
        QTest::newRow("the same again")         << "%1%1"      << two                    << "aa";
        QTest::newRow("values hold markers")    << "%1%2"      << QStringList{"%2", "b"} << "%2b";
        QTest::newRow("a marker with no value") << "%1 %3"     << two                    << "a %3";
        QTest::newRow("one digit only")         << "%12"       << two                    << "a2";
        QTest::newRow("the ninth")              << "%9"        << ten                    << "i";
        QTest::newRow("no tenth")               << "%10"       << ten                    << "a0";
        QTest::newRow("no marker")              << "100% %0 %" << two                    << "100% %0 %";
        QTest::newRow("before a letter")        << "%a%:"      << ten                    << "%a%:";
        QTest::newRow("a doubled sign")         << "%%1"       << two                    << "%a";
        QTest::newRow("no values")              << "%1"        << QStringList()          << "%1";
        QTest::newRow("an empty value")         << "<%1>"      << QStringList{""}        << "<>";
        QTest::newRow("an empty text")          << ""          << two                    << "";
        // clang-format on
    }

    void areFilledByNumber()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, values);
        QFETCH(QString, filled);

        QCOMPARE(Utils::fillPlaceholders(text, values), Data::String(filled));
    }
};

QTEST_GUILESS_MAIN(tst_Placeholders)
#include "tst_Placeholders.moc"
