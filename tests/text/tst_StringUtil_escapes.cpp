#include "utils/text/StringUtil.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <limits>
#include <random>

using Data::String;
using Utils::StringUtil;

static const int hugeSize = 10000000;

/// The escape sequence of \p character.
static QString sequence(QChar character)
{
    if (character == ' ')
        return "\\s";
    if (character == '\t')
        return "\\t";
    if (character == '\n')
        return "\\n";
    return QString("\\") + character;
}

/// escape() step by step.
static QString escapeStepByStep(QString text, const QString &chars, const QString &edgeChars)
{
    text.replace("\\", "\\\\");
    for (const QChar character : chars)
        text.replace(QString(character), sequence(character));
    for (const QChar character : edgeChars) {
        if (text.startsWith(character))
            text = sequence(character) + text.mid(1);
        if (text.endsWith(character))
            text = text.left(text.size() - 1) + sequence(character);
    }
    return text;
}

/// unescape() step by step.
static QString unescapeStepByStep(QString text, const QString &chars)
{
    text.replace("\\\\", "*SLASH*");
    for (const QChar character : chars)
        text.replace(sequence(character), QString(character));
    text.replace("*SLASH*", "\\");
    return text;
}

/// Random texts of the characters of \p alphabet.
class Texts
{
public:
    explicit Texts(unsigned int seed, const QString &alphabet)
        : m_random(seed), m_alphabet(alphabet)
    {}

    QString make(int longest)
    {
        QString text;
        for (int size = number(longest + 1); size > 0; --size)
            text += m_alphabet[number(m_alphabet.size())];
        return text;
    }

    /// From 0 to \p count - 1.
    int number(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

private:
    std::mt19937 m_random;
    QString m_alphabet;
};

class tst_StringUtil_escapes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void escapeCharacters_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("chars");
        QTest::addColumn<QString>("edgeChars");
        QTest::addColumn<QString>("escaped");

        // clang-format off
        QTest::newRow("backslash and blank")  << "a\\b c"  << " "    << ""   << "a\\\\b\\sc";
        QTest::newRow("nothing")              << ""        << " a"   << " a" << "";
        QTest::newRow("backslashes always")   << "\\a\\"   << ""     << ""   << "\\\\a\\\\";
        QTest::newRow("tab and line feed")    << "a\tb\nc" << "\n\t" << ""   << "a\\tb\\nc";
        QTest::newRow("themselves")           << "a:b=c"   << ":="   << ""   << "a\\:b\\=c";
        QTest::newRow("carriage return")      << "a\rb"    << "\r"   << ""   << "a\\\rb";
        QTest::newRow("every one of them")    << "::"      << ":"    << ""   << "\\:\\:";
        QTest::newRow("outer blanks only")    << " a b "   << ""     << " "  << "\\sa b\\s";
        QTest::newRow("one of several blanks") << "  a  "  << ""     << " "  << "\\s a \\s";
        QTest::newRow("only at the start")    << ":a"      << ""     << ":"  << "\\:a";
        QTest::newRow("only at the end")      << "a:"      << ""     << ":"  << "a\\:";
        QTest::newRow("a single blank")       << " "       << ""     << " "  << "\\s";
        QTest::newRow("escaped already")      << " a"      << " "    << " "  << "\\sa";
        QTest::newRow("a letter of a sequence") << "a b"   << " s"   << ""   << "a\\\\sb";
        QTest::newRow("the letter first")     << "a bs"    << "s "   << ""   << "a\\sb\\s";
        QTest::newRow("the letter of a tab")  << "\t"      << "\tt"  << ""   << "\\\\t";
        QTest::newRow("the letter of a line feed") << "\n" << "\nn"  << ""   << "\\\\n";
        QTest::newRow("given twice")          << "a"       << "aa"   << ""   << "\\\\a";
        QTest::newRow("a blank given twice")  << " "       << "  "   << ""   << "\\s";
        QTest::newRow("backslash first")      << "\\a"     << "\\a"  << ""   << "\\\\\\\\\\a";
        QTest::newRow("backslash last")       << "\\a"     << "a\\"  << ""   << "\\\\\\\\\\\\a";
        QTest::newRow("both ends of a single one") << "s"  << ""     << "s"  << "\\\\s";
        QTest::newRow("single blank, then its letter") << " " << ""  << " s" << "\\\\s";
        QTest::newRow("ends in order")        << " a "     << ""     << " \\s" << "\\\\sa\\\\s";
        QTest::newRow("backslashes at the ends") << "\\"   << ""     << "\\" << "\\\\\\\\";
        QTest::newRow("halves of a pair")     << "\U0001f600" << "\U0001f600" << ""
                                              << QString("\\") + QChar(0xd83d) + "\\" + QChar(0xde00);
        // clang-format on
        QTest::newRow("a zero byte") << QString::fromLatin1("a\0b", 3) << QString(QChar(0)) << ""
                                     << QString::fromLatin1("a\\\0b", 4);
    }

    void escapeCharacters()
    {
        QFETCH(QString, text);
        QFETCH(QString, chars);
        QFETCH(QString, edgeChars);
        QFETCH(QString, escaped);

        QCOMPARE(StringUtil::escape(text, chars, edgeChars), String(escaped));
        QCOMPARE(escapeStepByStep(text, chars, edgeChars), escaped);
    }

    void unescapeCharacters_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("chars");
        QTest::addColumn<QString>("unescaped");

        // clang-format off
        QTest::newRow("backslash and blank")     << "a\\\\b\\sc"   << " "    << "a\\b c";
        QTest::newRow("nothing")                 << ""             << " "    << "";
        QTest::newRow("backslashes always")      << "\\\\\\\\"     << ""     << "\\\\";
        QTest::newRow("tab and line feed")       << "\\t\\n"       << "\t\n" << "\t\n";
        QTest::newRow("themselves")              << "\\:\\="       << ":="   << ":=";
        QTest::newRow("only those asked for")    << "\\:\\="       << ":"    << ":\\=";
        QTest::newRow("a letter is itself")      << "\\s"          << "s"    << "s";
        QTest::newRow("a blank before its letter") << "\\s"        << " s"   << " ";
        QTest::newRow("a letter before its blank") << "\\s"        << "s "   << "s";
        QTest::newRow("three backslashes")       << "\\\\\\s"      << " "    << "\\ ";
        QTest::newRow("two backslashes")         << "\\\\s"        << " "    << "\\s";
        QTest::newRow("a backslash at the end")  << "a\\"          << " "    << "a\\";
        QTest::newRow("the backslash asked for") << "\\\\a\\"      << "\\"   << "\\a\\";
        QTest::newRow("the placeholder")         << "a*SLASH*b"    << ""     << "a\\b";
        QTest::newRow("a placeholder in parts")  << "*SLA\\SH*"    << "S"    << "\\";
        QTest::newRow("a half one before it")    << "*SLASH\\\\"   << ""     << "\\SLASH*";
        QTest::newRow("a half one after it")     << "\\\\SLASH*"   << ""     << "\\SLASH*";
        // clang-format on
    }

    void unescapeCharacters()
    {
        QFETCH(QString, text);
        QFETCH(QString, chars);
        QFETCH(QString, unescaped);

        QCOMPARE(StringUtil::unescape(text, chars), String(unescaped));
        QCOMPARE(unescapeStepByStep(text, chars), unescaped);
    }

    void areThoseOfEachStep()
    {
        Texts texts(1, QString(" \t\nstna\\\\:*SLASH\u00e4") + QChar(0xd83d) + QChar(0));
        for (int i = 0; i < 15000; ++i) {
            const QString text = texts.make(12);
            const QString chars = texts.make(5);
            const QString edgeChars = texts.make(4);

            QCOMPARE(StringUtil::escape(text, chars, edgeChars),
                     String(escapeStepByStep(text, chars, edgeChars)));
            QCOMPARE(StringUtil::unescape(text, chars), String(unescapeStepByStep(text, chars)));
        }
    }

    void areThoseOfEachStepForCharactersThatShareAByte()
    {
        Texts texts(2, QString("aA ") + QChar(0x161) + QChar(0x261) + QChar(0x120) + QChar(0x5c5c));
        for (int i = 0; i < 8000; ++i) {
            const QString text = texts.make(12);
            const QString chars = texts.make(4);

            QCOMPARE(StringUtil::escape(text, chars, chars),
                     String(escapeStepByStep(text, chars, chars)));
            QCOMPARE(StringUtil::unescape("\\" + text, chars),
                     String(unescapeStepByStep("\\" + text, chars)));
        }
    }

    void areTakenBack()
    {
        // Each character once, no backslash, and not a blank together with its letter.
        const QStringList sets = {"",    " ",    "\t",      "\n",  " \t\n", "s", "stn",
                                  ":=;", " :tn", "\u00e4 ", "[]=", "*",     "ab"};
        Texts texts(3, QString(" \t\nstnab\\\\:=;[]\"\u00e4*") + QChar(0xd83d));
        for (int i = 0; i < 15000; ++i) {
            const QString text = texts.make(15);
            const QString chars = sets[texts.number(sets.size())];
            const QString edgeChars = chars.left(texts.number(chars.size() + 1));

            const String escaped = StringUtil::escape(text, chars, "");
            QCOMPARE(StringUtil::unescape(escaped, chars), String(text));
            const String protectedEnds = StringUtil::escape(text, "", edgeChars);
            if (text.size() != 1) // its one character is escaped twice
                QCOMPARE(StringUtil::unescape(protectedEnds, edgeChars), String(text));
        }
    }

    void areNotTakenBackWhenTheyGetMixedUp()
    {
        QCOMPARE(StringUtil::unescape(StringUtil::escape("a b", " s", ""), " s"), String("a\\sb"));
        QCOMPARE(StringUtil::unescape(StringUtil::escape("a", "aa", ""), "aa"), String("\\a"));
        QCOMPARE(StringUtil::unescape(StringUtil::escape("\\", "\\", ""), "\\"), String("\\\\"));
        QCOMPARE(StringUtil::unescape(StringUtil::escape("s", "", "s"), "s"), String("\\s"));
        QCOMPARE(StringUtil::unescape(StringUtil::escape("*SLASH*", "", ""), ""), String("\\"));
        QCOMPARE(StringUtil::unescape(StringUtil::escape("*SLASH\\", "", ""), ""),
                 String("\\SLASH*"));
    }

    void bearHugeTexts()
    {
        const QString blanks(hugeSize, ' ');
        const QString backslashes(hugeSize, '\\');

        const String escaped = StringUtil::escape(blanks, " ", " ");
        QCOMPARE(escaped.size(), 2 * hugeSize);
        QVERIFY(StringUtil::unescape(escaped, " ") == blanks);
        const String doubled = StringUtil::escape(backslashes, "", "");
        QCOMPARE(doubled.size(), 2 * hugeSize);
        QVERIFY(StringUtil::unescape(doubled, "") == backslashes);
    }

    void bearHugeListsOfCharacters()
    {
        QString many;
        many.reserve(hugeSize);
        for (int i = 0; i < hugeSize; ++i)
            many += QChar(ushort('a' + i % 1000));
        const QString text(hugeSize, '.');

        QVERIFY(StringUtil::escape(text, many, many) == text);
        QVERIFY(StringUtil::unescape(text, many) == text);
        QCOMPARE(StringUtil::escape("a", QString(hugeSize, 'a'), "").size(), hugeSize + 1);
        QCOMPARE(StringUtil::escape("ab", "", QString(hugeSize, '\\') + "a"), String("\\ab"));
        QCOMPARE(StringUtil::escape("ba", "", QString(hugeSize, 'a')).size(), hugeSize + 2);
        QCOMPARE(StringUtil::escape("ab", "", "a" + QString(hugeSize, '\\')).size(), hugeSize + 3);
    }

    void giveUpWhereBackslashesGrowBeyondBounds()
    {
        QCOMPARE(StringUtil::escape("\\", QString(10, '\\'), "").size(), 1 << 11);
        QCOMPARE(StringUtil::escape("\\", QString(40, '\\'), ""), String());
        QCOMPARE(StringUtil::escape("a", "a" + QString(hugeSize, '\\'), ""), String());
        QCOMPARE(StringUtil::escape("a", QString(hugeSize, '\\'), ""), String("a"));
        QCOMPARE(StringUtil::escape("a", QString(40, '\\') + "a\\", ""), String("\\\\a"));
        QCOMPARE(StringUtil::escape(QString(1000000, '\\'), QString(10, '\\'), ""), String());
    }

    void findTheClosingBracket_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("pos");
        QTest::addColumn<int>("match");
        QTest::addColumn<QString>("inside");

        const int most = std::numeric_limits<int>::max();
        const int least = std::numeric_limits<int>::min();
        // clang-format off
        QTest::newRow("nested")             << "(a(b)c)"     << 0     << 6  << "a(b)c";
        QTest::newRow("the inner one")      << "(a(b)c)"     << 2     << 4  << "b";
        QTest::newRow("after a backslash")  << "(a\\)b)"     << 0     << 5  << "a\\)b";
        QTest::newRow("after two")          << "(a\\\\)b)"   << 0     << 4  << "a\\\\";
        QTest::newRow("after three")        << "(a\\\\\\)b)" << 0     << 5  << "a\\\\\\";
        QTest::newRow("opened after one")   << "(a\\(b)c)"   << 0     << 5  << "a\\(b";
        QTest::newRow("never closed")       << "(a"          << 0     << -1 << "a";
        QTest::newRow("not deep enough")    << "((a)"        << 0     << -1 << "(a)";
        QTest::newRow("a function")         << "f(x)"        << 1     << 3  << "x";
        QTest::newRow("an open function")   << "f(x"         << 1     << -1 << "x";
        QTest::newRow("quotes")             << "'a'"         << 0     << 2  << "a";
        QTest::newRow("quotes do not nest") << "'a'b'"       << 0     << 2  << "a";
        QTest::newRow("letters, too")       << "abcab"       << 0     << 3  << "bc";
        QTest::newRow("a closing bracket")  << ")a)"         << 0     << 2  << "a";
        QTest::newRow("angles")             << "<a<b>>"      << 0     << 5  << "a<b>";
        QTest::newRow("squares")            << "[a[b]]"      << 0     << 5  << "a[b]";
        QTest::newRow("braces")             << "{a{b}}"      << 0     << 5  << "a{b}";
        QTest::newRow("others do not count") << "(a]})"      << 0     << 4  << "a]}";
        QTest::newRow("empty inside")       << "()"          << 0     << 1  << "";
        QTest::newRow("the last one")       << "a("          << 1     << -1 << "";
        QTest::newRow("after the start")    << "\\)a)"       << 1     << 3  << "a";
        QTest::newRow("a backslash")        << "\\a\\"       << 0     << 2  << "a";
        QTest::newRow("a backslash beside") << "\\\\\\"      << 0     << 2  << "\\";
        QTest::newRow("an empty text")      << ""            << 0     << -1 << "";
        QTest::newRow("before it")          << "(a)"         << -1    << -1 << "";
        QTest::newRow("at its end")         << "(a)"         << 3     << -1 << "";
        QTest::newRow("far after it")       << "(a)"         << most  << -1 << "";
        QTest::newRow("far before it")      << "(a)"         << least << -1 << "";
        // clang-format on
    }

    void findTheClosingBracket()
    {
        QFETCH(QString, text);
        QFETCH(int, pos);
        QFETCH(int, match);
        QFETCH(QString, inside);

        QCOMPARE(StringUtil::findMatch(text, pos), match);
        QCOMPARE(StringUtil::extractMatch(text, pos), String(inside));
    }

    void findTheClosingBracketOfHugeTexts()
    {
        const QString nested = QString(hugeSize / 2, '(') + QString(hugeSize / 2, ')');

        QCOMPARE(StringUtil::findMatch(nested, 0), hugeSize - 1);
        QCOMPARE(StringUtil::extractMatch(nested, 0).size(), hugeSize - 2);
        QCOMPARE(StringUtil::findMatch(QString(hugeSize, '('), 0), -1);
    }
};

QTEST_GUILESS_MAIN(tst_StringUtil_escapes)
#include "tst_StringUtil_escapes.moc"
