#include "utils/text/StringUtil.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <random>

using Data::String;
using Utils::StringUtil;

static const int hugeSize = 10000000;

static const QStringList greekLetters = {
    "Alpha", "Beta",  "Gamma",  "Delta",   "Epsilon", "Zeta", "Eta",     "Theta",
    "Iota",  "Kappa", "Lambda", "Mu",      "Nu",      "Xi",   "Omicron", "Pi",
    "Rho",   "Sigma", "Tau",    "Upsilon", "Phi",     "Chi",  "Psi",     "Omega"};

/// The character of an entity by its name, of a letter from U+0391 or U+03B1 on. 0 for none.
static ushort greekLetter(const QString &name)
{
    const int capital = greekLetters.indexOf(name);
    if (capital >= 0)
        return ushort(capital < 17 ? 0x391 + capital : 0x3a3 + capital - 17);
    for (int i = 0; i < greekLetters.size(); ++i) {
        if (greekLetters[i].toLower() == name)
            return ushort(i < 17 ? 0x3b1 + i : 0x3c3 + i - 17);
    }
    return 0;
}

/// replaceSymbol() step by step, with a pass over the text for each entity.
static QString replaceStepByStep(QString text)
{
    if (!text.contains('&') || !text.contains(';'))
        return text;
    text.replace("&amp;", "&");
    text.replace("&apos;", "'");
    text.replace("&quot;", "\"");
    text.replace("&lt;", "<");
    text.replace("&gt;", ">");
    while (text.contains('&') && text.contains(';')) {
        const int start = text.indexOf('&');
        const int end = text.indexOf(';', start);
        if (end < 0)
            break;
        const QString entity = text.mid(start, end - start + 1);
        int number = 0;
        if (entity.startsWith("&#")) {
            const QString digits = entity.mid(2).chopped(1);
            const bool isHexadecimal = digits.startsWith('x') || digits.startsWith('X');
            number = isHexadecimal ? digits.mid(1).toInt(nullptr, 16) : digits.toInt();
        } else {
            number = greekLetter(entity.mid(1).chopped(1));
        }
        if (number <= 0 || number > 0x10ffff)
            break;
        const uint codePoint = uint(number);
        text.replace(entity, QString::fromUcs4(&codePoint, 1));
    }
    return text;
}

class tst_StringUtil_symbols : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areReplaced_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("replaced");

        // clang-format off
        QTest::newRow("numbers and names")      << "&#65;&#x42;&alpha;"    << "AB\u03b1";
        QTest::newRow("of markup")              << "&amp;&apos;&quot;&lt;&gt;" << "&'\"<>";
        QTest::newRow("nothing")                << ""                      << "";
        QTest::newRow("none")                   << "a b"                   << "a b";
        QTest::newRow("no semicolon")           << "a & b"                 << "a & b";
        QTest::newRow("no ampersand")           << "a ; b"                 << "a ; b";
        QTest::newRow("a semicolon first")      << "; & b"                 << "; & b";
        QTest::newRow("an unknown one")         << "&foo; &alpha;"         << "&foo; &alpha;";
        QTest::newRow("then an unknown one")    << "&alpha; &foo;"         << "\u03b1 &foo;";
        QTest::newRow("one whose like came earlier") << "&alpha; &foo; &alpha; &beta;" << "\u03b1 &foo; \u03b1 &beta;";
        QTest::newRow("an ampersand of its own") << "a & b &alpha;"        << "a & b &alpha;";
        QTest::newRow("markup after an unknown one") << "&foo; &lt;"      << "&foo; <";
        QTest::newRow("escaped name")           << "&amp;alpha;"           << "\u03b1";
        QTest::newRow("escaped markup")         << "&amp;lt;"              << "<";
        QTest::newRow("escaped twice")          << "&amp;amp;"             << "&amp;";
        QTest::newRow("escaped in order")       << "&lt;&amp;quot;&amp;gt;" << "<\">";
        QTest::newRow("hexadecimal")            << "&#X3b1;&#x3B1;"        << "\u03b1\u03b1";
        QTest::newRow("leading zeros")          << "&#0065;&#x0041;"       << "AA";
        QTest::newRow("zero")                   << "&#0;&#65;"             << "&#0;&#65;";
        QTest::newRow("no digits")              << "&#;&#65;"              << "&#;&#65;";
        QTest::newRow("no hexadecimal digits")  << "&#x;&#65;"             << "&#x;&#65;";
        QTest::newRow("bad digits")             << "&#6a;&#65;"            << "&#6a;&#65;";
        QTest::newRow("negative")               << "&#-65;&#65;"           << "&#-65;&#65;";
        QTest::newRow("a sign and a blank")     << "&#+65;&# 66;"          << "AB";
        QTest::newRow("the last code point")    << "&#1114111;"            << "\U0010ffff";
        QTest::newRow("beyond the last one")    << "&#1114112;&#65;"       << "&#1114112;&#65;";
        QTest::newRow("beyond 32 bits")         << "&#4294967361;&#65;"    << "&#4294967361;&#65;";
        QTest::newRow("a pair")                 << "&#x1F600;!"            << "\U0001f600!";
        QTest::newRow("a pair in halves")       << "&#xD83D;&#xDE00;"      << "\U0001f600";
        QTest::newRow("case counts")            << "&ALPHA;"               << "&ALPHA;";
        QTest::newRow("the final sigma")        << "&sigmaf;"              << "&sigmaf;";
        QTest::newRow("no name")                << "&;"                    << "&;";
        QTest::newRow("a zero byte")            << QString::fromLatin1("&\0;", 3) << QString::fromLatin1("&\0;", 3);
        QTest::newRow("a look-alike of a capital") << "&\u212aappa;"       << "&\u212aappa;";
        QTest::newRow("without its first letter") << "&appa;"              << "&appa;";
        QTest::newRow("a blank in it")          << "&alpha ;"              << "&alpha ;";
        QTest::newRow("a fresh ampersand")      << "&#38;alpha;"           << "\u03b1";
        QTest::newRow("fresh, again and again") << "&#38;#38;#38;alpha;"   << "\u03b1";
        QTest::newRow("a fresh semicolon")      << "&alpha&#59;"           << "&alpha&#59;";
        QTest::newRow("one met before")         << "&#59;&alpha&#59;"      << ";\u03b1";
        QTest::newRow("a letter met before")    << "&#112;&al&#112;ha;"    << "p\u03b1";
        QTest::newRow("a letter not met")       << "&al&#112;ha;"          << "&al&#112;ha;";
        QTest::newRow("a fresh ampersand before another")   << "&#38;&#59;alpha&#59;"  << "&&#59;alpha&#59;";
        QTest::newRow("formed after its like") << "&#112;&alpha;&al&#112;ha;" << "p\u03b1\u03b1";
        QTest::newRow("formed after it, and blocked")     << "&#38;&#38;#38;"        << "&&#38;";
        QTest::newRow("formed too late for an unknown one before") << "&#38;foo;&#38;alpha;" << "&foo;&alpha;";
        QTest::newRow("formed between an earlier like and the end")
            << "&alpha;&#112;&foo;&al&#112;ha;" << "\u03b1p&foo;&alpha;";
        // clang-format on
    }

    void areReplaced()
    {
        QFETCH(QString, text);
        QFETCH(QString, replaced);

        QCOMPARE(replaceStepByStep(text), replaced);
        QCOMPARE(StringUtil::replaceSymbol(text), String(replaced));
    }

    void knowTheGreekLetters_data()
    {
        QTest::addColumn<QString>("entity");
        QTest::addColumn<int>("codePoint");

        QTest::newRow("the first capital") << "&Alpha;" << 913;
        QTest::newRow("the last capital before the gap") << "&Rho;" << 929;
        QTest::newRow("the first capital after it") << "&Sigma;" << 931;
        QTest::newRow("the last capital") << "&Omega;" << 937;
        QTest::newRow("the first letter") << "&alpha;" << 945;
        QTest::newRow("the last letter before the gap") << "&rho;" << 961;
        QTest::newRow("the first letter after it") << "&sigma;" << 963;
        QTest::newRow("the last letter") << "&omega;" << 969;
        for (const QString &name : greekLetters) {
            QTest::addRow("%s", qPrintable(name)) << "&" + name + ";" << int(greekLetter(name));
            const QString small = name.toLower();
            QTest::addRow("%s", qPrintable(small)) << "&" + small + ";" << int(greekLetter(small));
        }
    }

    void knowTheGreekLetters()
    {
        QFETCH(QString, entity);
        QFETCH(int, codePoint);

        QCOMPARE(StringUtil::replaceSymbol(entity), String(QString(QChar(codePoint))));
    }

    void knowAsManyGreekLettersAsThereAre()
    {
        QString all;
        for (const QString &name : greekLetters)
            all += "&" + name + ";&" + name.toLower() + ";";

        const QString letters = StringUtil::replaceSymbol(all);

        QCOMPARE(letters.size(), 48);
        QVERIFY(!letters.contains(QChar(930)));
        QVERIFY(!letters.contains(QChar(962)));
    }

    void areThoseOfOnePassForEach_data()
    {
        QTest::addColumn<QStringList>("pieces");

        // clang-format off
        QTest::newRow("characters") << QStringList{"&", "&", ";", ";", "#", "x", "3", "8", "5", "9"};
        QTest::newRow("entities") << QStringList{
            "&#38;", "&#59;", "&#35;", "&#112;", "&pi;", "&mu;", "&#112;i;", "&", ";", "#38;", "a"};
        QTest::newRow("codes of their parts") << QStringList{
            "&#38;", "&#59;", "&#35;", "&#51;", "&#56;", "&#53;", "&#57;", "&#112;", "&#105;",
            "pi;",   "p",     "i",     "#",     "3",     "8",     "5",     "9",      ";"};
        QTest::newRow("parts met before, mostly")
            << QStringList{"&#38;", "&#38;", "&#59;", "&#35;", "#38;", "&", ";", "38", "#", "amp;"};
        QTest::newRow("a few names") << QStringList{"&pi;", "&#x70;", "&p&#x69;;", "&#x70;i;", "&",
                                                    "p",    "&#x69;", "&&#x70;i;", "i;"};
        QTest::newRow("markup") << QStringList{"&amp;", "&lt;",  "amp;", "&",     ";",
                                               "lt;",   "quot;", "&gt;", "&apos;"};
        QTest::newRow("pairs") << QStringList{"&#x1F600;", "&#xD83D;", QString(QChar(0xd83d)), "&",
                                              "&#55357;",  ";",        QString(QChar(0)),      "#"};
        QTest::newRow("numbers in odd ways")
            << QStringList{"&#x0x26;", "&# 38;", "&#+38;", "&#-38;", "&#038;", "&#X26;", "&#0;",
                           "&#43;",    "&#32;",  "&#48;",  "38;",    "&",      "#",      ";"};
        // clang-format on
    }

    void areThoseOfOnePassForEach()
    {
        QFETCH(QStringList, pieces);
        std::mt19937 random(1);
        int replacedCount = 0;
        for (int i = 0; i < 8000; ++i) {
            // Most texts start with what is known, so that something is replaced.
            QString text = i % 4 == 0 ? "" : "&#38;&#59;";
            text = i % 8 == 3 ? "&#112;&#105;&#35;&#51;&#56;&#59; " : text;
            for (unsigned int size = random() % 16; size > 0; --size)
                text += pieces[static_cast<int>(random() % static_cast<unsigned>(pieces.size()))];
            const QString expected = replaceStepByStep(text);
            if (expected != text)
                ++replacedCount;

            const QString replaced = StringUtil::replaceSymbol(text);

            if (replaced != expected)
                QFAIL(qPrintable(text + " yields " + replaced + ", not " + expected));
        }
        QVERIFY(replacedCount > 2000);
    }

    void bearHugeTexts()
    {
        const int count = 120000;
        QString different;
        for (int i = 0; i < count; ++i)
            different += "&#" + QString::number(i + 1000000).rightJustified(7, '0') + ";";

        QVERIFY(StringUtil::replaceSymbol(QString(hugeSize, '&')) == QString(hugeSize, '&'));
        QVERIFY(StringUtil::replaceSymbol(QString(hugeSize, '&') + ";") ==
                QString(hugeSize, '&') + ";");
        QVERIFY(StringUtil::replaceSymbol(QString(hugeSize, ';') + "&") ==
                QString(hugeSize, ';') + "&");
        QVERIFY(StringUtil::replaceSymbol("&" + QString(hugeSize, 'a') + ";") ==
                "&" + QString(hugeSize, 'a') + ";");
        QVERIFY(StringUtil::replaceSymbol("&#" + QString(hugeSize, '0') + "65;") == "A");
        QVERIFY(StringUtil::replaceSymbol(QString("&#65;").repeated(hugeSize / 5)) ==
                QString(hugeSize / 5, 'A'));
        QVERIFY(StringUtil::replaceSymbol(QString("&amp;").repeated(hugeSize / 5)) ==
                QString(hugeSize / 5, '&'));
        QVERIFY(StringUtil::replaceSymbol("&#38;" + QString("#38;").repeated(hugeSize / 4)) == "&");
        const QString pieces = QString("&a;").repeated(hugeSize / 3);
        QVERIFY(StringUtil::replaceSymbol(pieces) == pieces);
        const QString ends = "&a;" + QString("b;").repeated(hugeSize / 2);
        QVERIFY(StringUtil::replaceSymbol(ends) == ends);
        // 114112 of them are code points, of two characters each; the next one ends it.
        QCOMPARE(StringUtil::replaceSymbol(different).size(), 2 * 114112 + 10 * (count - 114112));
    }
};

QTEST_GUILESS_MAIN(tst_StringUtil_symbols)
#include "tst_StringUtil_symbols.moc"
