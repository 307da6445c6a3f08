#include "utils/xml/LineLayout_p.h"

#include "tests/xml/PlainLayout.h"

#include <QtTest>

#include <random>

using Utils::Xml::LineLayout;

/// A text of up to \p pieces random pieces, of which many make tags.
static QString randomText(std::mt19937 &random, unsigned pieces)
{
    static const QStringList alphabet = {"<",
                                         ">",
                                         "/",
                                         "/>",
                                         " ",
                                         "  ",
                                         "\"",
                                         "=\"",
                                         "=",
                                         "a",
                                         "b",
                                         "B",
                                         "name=\"1\"",
                                         " name=\"n",
                                         " type=\"t\"",
                                         "type",
                                         " b=\"1\"",
                                         " a=\"2\"",
                                         " A=\"\"",
                                         "</",
                                         "<!",
                                         "<?",
                                         "<!--*-->",
                                         "'",
                                         "-",
                                         "\t",
                                         "\u00a0",
                                         "\u2028",
                                         "\u00e4",
                                         "a=\"x > y\"",
                                         " name2=\"\"",
                                         " typename=\"1\"",
                                         "<x",
                                         "/>",
                                         ">",
                                         " c=\" \"",
                                         "><",
                                         "\r",
                                         "\u0120\u0122",
                                         "\u012f\u013c\u013e"};
    QString text;
    if (random() % 4 > 0)
        text += QString(static_cast<int>(random() % 5), ' ') + "<";
    for (unsigned i = random() % (pieces + 1); i > 0; --i)
        text += alphabet.at(static_cast<int>(random() % static_cast<unsigned>(alphabet.size())));
    if (random() % 4 > 0)
        text += random() % 2 == 0 ? ">" : "/>";
    return text + QString(static_cast<int>(random() % 3), ' ');
}

class tst_LineLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void laysLinesOutAsThePlainStepsDo()
    {
        std::mt19937 random(1);
        LineLayout layout;
        int tags = 0;
        for (int i = 0; i < 150 * 1000; ++i) {
            const QString line = randomText(random, 12);
            tags += isPlainTag(line.trimmed());
            QString laidOut = "before";

            layout.append(line, laidOut);

            if (laidOut != "before" + plainLine(line)) // without the cost of QCOMPARE
                QCOMPARE(qMakePair(line, laidOut), qMakePair(line, "before" + plainLine(line)));
        }
        QVERIFY2(tags > 25 * 1000, QByteArray::number(tags)); // that it was worth it
    }

    void laysTextsOutLineByLine()
    {
        std::mt19937 random(2);
        LineLayout layout;
        for (int i = 0; i < 2000; ++i) {
            QStringList lines;
            for (unsigned count = random() % 20; count > 0; --count)
                lines.append(randomText(random, random() % 2 == 0 ? 10 : 60));
            const QString text = lines.join('\n');
            QString laidOut;

            layout.append(text, laidOut);

            QCOMPARE(laidOut + '\n', plainLayout(text));
        }
    }

    void bearsLongLines_data()
    {
        QTest::addColumn<QString>("line");
        const int size = 2 * 1000 * 1000;
        QTest::newRow("a long value") << "<a b=\"" + QString(size, 'x') + "\" a=\"1\">";
        QTest::newRow("many blanks") << "<a b=\"\"" + QString(size, ' ') + ">";
        QTest::newRow("many quotes") << "<a b=" + QString(size, '"') + ">";
        QTest::newRow("many brackets") << "<a b=\"\"" + QString(size, '>') + ">";
        QTest::newRow("many blanks at the start") << QString(size, ' ') + "<a b=\"\">";
        QString many = "<a";
        for (int i = 0; i < 100 * 1000; ++i)
            many += QString(" a%1=\"%2\"").arg((i * 7919) % 100003).arg(i);
        QTest::newRow("many attributes") << many + "/>";
    }

    void bearsLongLines()
    {
        QFETCH(QString, line);
        QString laidOut;

        LineLayout().append(line, laidOut);

        QVERIFY(laidOut == plainLine(line));
    }
};

QTEST_GUILESS_MAIN(tst_LineLayout)
#include "tst_LineLayout.moc"
