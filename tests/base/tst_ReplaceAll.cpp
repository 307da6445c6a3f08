#include "utils/base/ReplaceAll_p.h"

#include <QtTest>

#include <random>

class tst_ReplaceAll : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void replacesFromTheLeft_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("result");

        // clang-format off
        QTest::newRow("nothing to replace")    << "abc"  << "x"  << "y"  << "abc";
        QTest::newRow("at both ends")          << "xax"  << "x"  << "yy" << "yyayy";
        QTest::newRow("nothing left")          << "xx"   << "x"  << ""   << "";
        QTest::newRow("matches do not overlap") << "aaa" << "aa" << "b"  << "ba";
        QTest::newRow("not what is put in")    << "ab"   << "a"  << "aa" << "aab";
        QTest::newRow("case counts")           << "aA"   << "a"  << "b"  << "bA";
        QTest::newRow("an empty text")         << ""     << "a"  << "b"  << "";
        QTest::newRow("nothing by something")  << "ab"   << ""   << "-"  << "-a-b-";
        QTest::newRow("longer than the text")  << "a"    << "ab" << "c"  << "a";
        // clang-format on
    }

    void replacesFromTheLeft()
    {
        QFETCH(QString, text);
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QString, result);

        QCOMPARE(Utils::replaceAll(text, before, after), result);
    }

    void givesWhatQtGives()
    {
        std::mt19937 random(1);
        const auto makeText = [&](unsigned int longest) {
            QString text;
            for (unsigned int size = random() % (longest + 1); size > 0; --size)
                text += QChar(ushort("ab\0c"[random() % 4]));
            return text;
        };
        for (int i = 0; i < 20000; ++i) {
            const QString text = makeText(30);
            const QString before = makeText(3);
            const QString after = makeText(4);
            QString expected = text;
            expected.replace(before, after);

            QCOMPARE(Utils::replaceAll(text, before, after), expected);
        }
    }

    void growsHugeTexts()
    {
        const int size = 10000000;

        const QString replaced = Utils::replaceAll(QString(size, 'a'), "a", "bcd");

        QCOMPARE(replaced.size(), 3 * size);
        QCOMPARE(replaced.right(4), QString("dbcd"));
    }
};

QTEST_GUILESS_MAIN(tst_ReplaceAll)
#include "tst_ReplaceAll.moc"
