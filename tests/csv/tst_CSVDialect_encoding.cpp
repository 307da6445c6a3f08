// How certain the encodings of samples are, and samples in an encoding that is known.

#include "utils/csv/CSVDialect.h"

#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails

#include <QTextCodec>
#include <QtTest>

using Utils::CSVDialect;

/// How certain a confidence is, in the words of the guide.
static QString certaintyOf(double confidence)
{
    return confidence > 0.9 ? "certain" : confidence < 0.5 ? "a guess" : "likely";
}

/// \p text in \p encoding, without a byte order mark.
static QByteArray in(const char *encoding, const QString &text)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    return QTextCodec::codecForName(encoding)->fromUnicode(text.constData(), text.size(), &state);
}

class tst_CSVDialect_encoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsHowCertainAnEncodingIs_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QString>("certainty");

        const QString table = "a;b\n1;2\n3;4\n";
        const QString chinese = QString::fromUtf8("温度,压力\n高,低\n中等,很低\n");
        const QByteArray ascii = QByteArray("1,2,3,4,5\n").repeated(30'000); // more than a sample
        // clang-format off
        QTest::newRow("UTF-16")                 << in("UTF-16LE", table) << "UTF-16LE" << "certain";
        QTest::newRow("UTF-16, big")            << in("UTF-16BE", table) << "UTF-16BE" << "certain";
        QTest::newRow("UTF-16, short")          << in("UTF-16LE", "a,1\nb,2") << "UTF-16LE" << "likely";
        QTest::newRow("UTF-16, one line")       << in("UTF-16LE", "Temperature;Pressure;Volume") << "UTF-16LE" << "likely";
        QTest::newRow("UTF-16, few zeros")      << in("UTF-16LE", chinese) << "UTF-16LE" << "likely";
        QTest::newRow("UTF-32")                 << in("UTF-32LE", table) << "UTF-32LE" << "certain";
        QTest::newRow("UTF-32, short")          << in("UTF-32LE", "a,1") << "UTF-32LE" << "likely";
        QTest::newRow("ASCII")                  << QByteArray("a,b\n1,2\n") << "UTF-8" << "certain";
        QTest::newRow("ASCII, the start of it") << ascii << "UTF-8" << "likely";
        QTest::newRow("one letter")             << QByteArray("Gr\xc3\xb6\xc3\x9f""e,b\n1,2\n") << "UTF-8" << "certain";
        QTest::newRow("one letter, the start")  << "Gr\xc3\xb6\xc3\x9f""e\n" + ascii << "UTF-8" << "likely";
        QTest::newRow("many letters, the start")
            << QByteArray("\xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9f\n") + ascii << "UTF-8" << "certain";
        QTest::newRow("windows-1252")           << QByteArray("Gr\xf6\xdf""e;b\n1;2\n") << "windows-1252" << "likely";
        QTest::newRow("rare signs")             << QByteArray("a\x81\x8d;b;c;d\n1;2;3;4\n") << "windows-1252" << "a guess";
        QTest::newRow("another alphabet")       << QByteArray("\xd2\xe5\xec\xef;\xd2\xe5\n") << "windows-1252" << "a guess";
        // clang-format on
    }

    void tellsHowCertainAnEncodingIs()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, encoding);
        QFETCH(QString, certainty);

        const CSVDialect dialect = CSVDialect::detectBytes(bytes);

        QVERIFY(dialect.isValid());
        QCOMPARE(dialect.encoding(), Data::String(encoding));
        QCOMPARE(certaintyOf(dialect.confidence(CSVDialect::Encoding)), certainty);
    }

    /// A mark that is not skipped would make a label of the first number.
    void skipsTheMarkOfAKnownEncoding_data()
    {
        QTest::addColumn<QString>("known");
        QTest::addColumn<QByteArray>("bytes");

        const QString table = "1;2,5\n3;4,5\n5;6,5\n7;8,5\n";
        QTest::newRow("UTF-8") << "UTF-8"
                               << "\xef\xbb\xbf" + in("UTF-8", table);
        QTest::newRow("UTF-8 in small letters") << "utf-8"
                                                << "\xef\xbb\xbf" + in("UTF-8", table);
        QTest::newRow("UTF-16") << "UTF-16"
                                << "\xff\xfe" + in("UTF-16LE", table);
        QTest::newRow("UTF-16, big") << "UTF-16"
                                     << "\xfe\xff" + in("UTF-16BE", table);
        QTest::newRow("UTF-32") << "UTF-32"
                                << QByteArray("\xff\xfe\0\0", 4) + in("UTF-32LE", table);
        QTest::newRow("windows-1252") << "windows-1252" << in("windows-1252", table);
    }

    void skipsTheMarkOfAKnownEncoding()
    {
        QFETCH(QString, known);
        QFETCH(QByteArray, bytes);
        CSVDialect set;
        set.setEncoding(known);

        const CSVDialect dialect = CSVDialect::detectBytes(bytes, set);

        QCOMPARE(dialect.encoding(), Data::String(known)); // what is known stays
        QCOMPARE(dialect.delimiter(), Data::String(";"));
        QCOMPARE(dialect.decimalPoint(), ',');
        QCOMPARE(dialect.headerRow(), -1);
        QCOMPARE(dialect.firstDataRow(), 0);
        QVERIFY(dialect.confidence(CSVDialect::Header) > 0.7);
    }

    void takesAnUnknownEncodingForLatin1()
    {
        CSVDialect set;
        set.setEncoding("no encoding");

        const CSVDialect dialect = CSVDialect::detectBytes("Gr\xf6\xdf"
                                                           "e;b\n1;2\n3;4\n",
                                                           set);

        QVERIFY(dialect.isValid());
        QCOMPARE(dialect.encoding(), Data::String("no encoding"));
        QCOMPARE(dialect.delimiter(), Data::String(";"));
        QCOMPARE(dialect.headerRow(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_CSVDialect_encoding)
#include "tst_CSVDialect_encoding.moc"
