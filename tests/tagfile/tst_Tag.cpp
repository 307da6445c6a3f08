#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "utils/tagfile/TagFile.h"

#include <QtTest>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

using Utils::TagFile;
using Tag = TagFile::Tag;

static constexpr double inf = std::numeric_limits<double>::infinity();
static constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
static constexpr int intMin = std::numeric_limits<int>::min();
static constexpr int intMax = std::numeric_limits<int>::max();

/// A tag with \p properties: key, value, key, value...
static Tag makeTag(const QStringList &properties)
{
    Tag tag("t");
    for (int i = 0; i + 1 < properties.size(); i += 2)
        tag.add(properties[i], Data::String(properties[i + 1]));
    return tag;
}

/// The properties of \p tag as makeTag() takes them.
static QStringList properties(const Tag &tag)
{
    QStringList pairs;
    for (int i = 0; i < tag.numProps(); ++i)
        pairs << tag.keys[i] << tag.values[i];
    return pairs;
}

class tst_Tag : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithItsNameAlone()
    {
        const Tag tag("steel");

        QCOMPARE(tag.line, -1);
        QCOMPARE(tag.name, Data::String("steel"));
        QCOMPARE(tag.comment, Data::String());
        QCOMPARE(tag.keys, QStringList());
        QCOMPARE(tag.values, QStringList());
        QVERIFY(tag.isValid());
    }

    void isInvalidWithoutAName()
    {
        Tag tag{Data::String()};
        tag.add("k", "v");

        QVERIFY(!tag.isValid());
        tag.name = "t";
        QVERIFY(tag.isValid());
    }

    void isPlainData()
    {
        static_assert(!std::is_polymorphic_v<Tag>);
        Tag tag("t");
        tag.line = 7;
        tag.comment = "c";
        tag.add("k", "v");

        const Tag copy = tag;
        Tag assigned("other");
        assigned = tag;
        const Tag moved = std::move(tag);
        Tag moveAssigned("other");
        moveAssigned = Tag(copy);

        for (const Tag &same : {copy, assigned, moved, moveAssigned}) {
            QCOMPARE(same.line, 7);
            QCOMPARE(same.name, Data::String("t"));
            QCOMPARE(same.comment, Data::String("c"));
            QCOMPARE(same.keys, QStringList("k"));
            QCOMPARE(same.values, QStringList("v"));
        }
    }

    void aCopyIsAnother()
    {
        Tag tag = makeTag({"k", "v"});
        const Tag copy = tag;

        tag.add("k", "w").name = "x";

        QCOMPARE(properties(copy), QStringList({"k", "v"}));
        QCOMPARE(copy.name, Data::String("t"));
    }

    // Adding

    void addsText()
    {
        Tag tag("t");
        const char *const none = nullptr;

        tag.add("string", Data::String("a b"));
        tag.add("QString", QString("q"));
        tag.add("literal", "grün");
        tag.add("null", none);
        tag.add("empty", "");

        QCOMPARE(properties(tag), QStringList({"string", "a b", "QString", "q", "literal", "grün",
                                               "null", "", "empty", ""}));
    }

    void addsTruthAndWholeNumbers()
    {
        Tag tag("t");

        tag.add("a", true).add("b", false).add("c", 0).add("d", -12).add("e", intMax);
        tag.add("f", intMin);

        QCOMPARE(tag.values,
                 QStringList({"true", "false", "0", "-12", "2147483647", "-2147483648"}));
    }

    void addsNumbers_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<char>("format");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("whole")                     << 2.0          << 'f' << 3  << "2";
        QTest::newRow("with a fraction")           << 2.5          << 'f' << 3  << "2.500";
        QTest::newRow("six digits, exponent form") << 999999.0     << 'e' << 9  << "999999";
        QTest::newRow("seven digits lose some")    << 1234567.0    << 'f' << 0  << "1.23457e+06";
        QTest::newRow("a million")                 << 1000000.0    << 'f' << 1  << "1e+06";
        QTest::newRow("negative")                  << -3.0         << 'f' << 2  << "-3";
        QTest::newRow("zero")                      << 0.0          << 'f' << 2  << "0";
        QTest::newRow("negative zero")             << -0.0         << 'f' << 2  << "0";
        QTest::newRow("the greatest of 32 bits")   << 2147483647.0 << 'f' << 0  << "2.14748e+09";
        QTest::newRow("one above")                 << 2147483648.0 << 'f' << 1  << "2147483648.0";
        QTest::newRow("half above the greatest")   << 2147483647.5 << 'f' << 1  << "2147483647.5";
        QTest::newRow("the least of 32 bits")      << -2147483648.0 << 'f' << 0 << "-2.14748e+09";
        QTest::newRow("one below")                 << -2147483649.0 << 'f' << 0 << "-2147483649";
        QTest::newRow("half below the least")      << -2147483648.5 << 'f' << 1 << "-2147483648.5";
        QTest::newRow("beyond 32 bits")            << 3000000000.0 << 'f' << 0  << "3000000000";
        QTest::newRow("beyond 64 bits")            << 1e30         << 'g' << 3  << "1e+30";
        QTest::newRow("the greatest")              << 1.7e308      << 'e' << 1  << "1.7e+308";
        QTest::newRow("no number")                 << notANumber   << 'f' << 2  << "nan";
        QTest::newRow("infinite")                  << inf          << 'f' << 2  << "inf";
        QTest::newRow("negative infinite")         << -inf         << 'g' << 2  << "-inf";
        QTest::newRow("a tie goes away from zero") << 0.125        << 'f' << 2  << "0.13";
        QTest::newRow("capital letter")            << 1.5e-10      << 'E' << 2  << "1.50E-10";
        QTest::newRow("general")                   << 0.1234567    << 'g' << 3  << "0.123";
        // clang-format on
    }

    void addsNumbers()
    {
        QFETCH(double, value);
        QFETCH(char, format);
        QFETCH(int, precision);
        QFETCH(QString, text);
        Tag tag("t");

        tag.add("k", value, format, precision);

        QCOMPARE(properties(tag), QStringList({"k", text}));
    }

    void addsNumbersInTheGeneralFormat()
    {
        Tag tag("t");

        tag.add_g("a", 0.12345678).add_g("b", 2.0).add_g("c", 1234567.0).add_g("d", 1e-7);
        tag.add_g("e", 841752.5);

        QCOMPARE(tag.values, QStringList({"0.123457", "2", "1.23457e+06", "1e-07", "841753"}));
    }

    void addsBytesAsHexadecimalDigits()
    {
        Tag tag("t");

        tag.add("k", QByteArray("\x01\xff"));
        tag.add("zero", QByteArray("a\0b", 3));
        tag.add("none", QByteArray());

        QCOMPARE(tag.values, QStringList({"01ff", "610062", ""}));
        QCOMPARE(tag.getBytes("k", 0), QByteArray("\x01\xff"));
        QCOMPARE(tag.getBytes("zero", 0), QByteArray("a\0b", 3));
    }

    void addsListsAsOneText()
    {
        Tag tag("t");

        tag.add("two", QStringList({"a", "b"}), ", ");
        tag.add("one", QStringList("a"), ";");
        tag.add("none", QStringList(), ";");
        tag.add("beyond ASCII", QStringList({"a", "b"}), "·");
        tag.add("null", QStringList({"a", "b"}), nullptr);

        QCOMPARE(tag.values, QStringList({"a, b", "a", "", "a·b", "ab"}));
    }

    void addsCommentsUnderTheirKey()
    {
        Tag tag("t");

        tag.addComment("note").addComment("two\nlines");

        QCOMPARE(properties(tag), QStringList({"$", "note", "$", "two\nlines"}));
    }

    void everyAddGivesTheTag()
    {
        Tag tag("t");

        QCOMPARE(&tag.add("k", Data::String("v")), &tag);
        QCOMPARE(&tag.add("k", "v"), &tag);
        QCOMPARE(&tag.add("k", true), &tag);
        QCOMPARE(&tag.add("k", 1), &tag);
        QCOMPARE(&tag.add("k", 1.5, 'g', 6), &tag);
        QCOMPARE(&tag.add("k", QByteArray("b")), &tag);
        QCOMPARE(&tag.add("k", QStringList("l"), ","), &tag);
        QCOMPARE(&tag.add_g("k", 1.5), &tag);
        QCOMPARE(&tag.addComment("c"), &tag);
        QCOMPARE(tag.numProps(), 9);
    }

    // Reading

    void findsEachOccurrenceOfAKey()
    {
        const Tag tag = makeTag({"k", "a", "x", "-", "k", "b"});

        QCOMPARE(tag.get("k", 0), Data::String("a"));
        QCOMPARE(tag.get("k", 1), Data::String("b"));
        QCOMPARE(tag.get("k", 2), Data::String());
        QCOMPARE(tag.count("k"), 2);
        QCOMPARE(tag.indexOf("k", 0), 0);
        QCOMPARE(tag.indexOf("k", 1), 2);
        QCOMPARE(tag.indexOf("k", 2), -1);
        QCOMPARE(tag.numProps(), 3);
    }

    void findsNothingByANegativeOrHugeSkip()
    {
        const Tag tag = makeTag({"k", "1"});

        for (const int skip : {-1, intMin, 1, intMax}) {
            QCOMPARE(tag.indexOf("k", skip), -1);
            QCOMPARE(tag.get("k", skip), Data::String());
            QCOMPARE(tag.getBool("k", skip), false);
            QCOMPARE(tag.getInt("k", skip), 0);
            QCOMPARE(tag.getDouble("k", skip), 0.0);
            QCOMPARE(tag.getBytes("k", skip), QByteArray());
            QCOMPARE(tag.getList("k", ",", skip), QStringList());
        }
    }

    void readsEveryTypeOfTheOccurrenceAskedFor()
    {
        const Tag tag = makeTag({"k", "x", "k", "1"});

        QCOMPARE(tag.getBool("k", 1), true);
        QCOMPARE(tag.getInt("k", 1), 1);
        QCOMPARE(tag.getDouble("k", 1), 1.0);
        QCOMPARE(tag.getBytes("k", 1), QByteArray("\x01"));
        QCOMPARE(tag.getList("k", ",", 1), QStringList("1"));
    }

    void comparesKeysExactly()
    {
        const Tag tag = makeTag({"Key", "v", "", "nameless"});

        QVERIFY(tag.contains("Key"));
        QVERIFY(!tag.contains("key"));
        QVERIFY(!tag.contains("Key "));
        QVERIFY(tag.contains(""));
        QCOMPARE(tag.get("", 0), Data::String("nameless"));
        QCOMPARE(tag.count("key"), 0);
        QCOMPARE(tag.indexOf("KEY", 0), -1);
    }

    void givesThePairAtAnIndex()
    {
        const Tag tag = makeTag({"a", "1", "b", "2"});
        Data::String key;
        Data::String value;

        QVERIFY(tag.get(1, key, value));
        QCOMPARE(key, Data::String("b"));
        QCOMPARE(value, Data::String("2"));

        for (const int index : {2, 5, -1, intMin, intMax}) {
            QVERIFY(!tag.get(index, key, value));
            QCOMPARE(key, Data::String("b"));
            QCOMPARE(value, Data::String("2"));
        }
        QVERIFY(tag.get(0, key, value));
        QCOMPARE(key + value, Data::String("a1"));
    }

    void readsTruth_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("truth");

        // clang-format off
        QTest::newRow("true")          << "true"   << true;
        QTest::newRow("yes")           << "yes"    << true;
        QTest::newRow("1")             << "1"      << true;
        QTest::newRow("capitals")      << "YES"    << true;
        QTest::newRow("mixed")         << "True"   << true;
        QTest::newRow("on")            << "on"     << false;
        QTest::newRow("2")             << "2"      << false;
        QTest::newRow("false")         << "false"  << false;
        QTest::newRow("no")            << "no"     << false;
        QTest::newRow("blanks around") << " true " << false;
        QTest::newRow("empty")         << ""       << false;
        // clang-format on
    }

    void readsTruth()
    {
        QFETCH(QString, value);
        QFETCH(bool, truth);

        QCOMPARE(makeTag({"k", value}).getBool("k", 0), truth);
    }

    void readsNumbers_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("whole");
        QTest::addColumn<double>("number");

        // clang-format off
        QTest::newRow("whole")           << "12"         << 12   << 12.0;
        QTest::newRow("negative")        << "-12"        << -12  << -12.0;
        QTest::newRow("plus")            << "+5"         << 5    << 5.0;
        QTest::newRow("blanks around")   << " 12 "       << 12   << 12.0;
        QTest::newRow("letters after")   << "12abc"      << 0    << 0.0;
        QTest::newRow("fraction")        << "1.5"        << 0    << 1.5;
        QTest::newRow("exponent")        << "1e3"        << 0    << 1000.0;
        QTest::newRow("comma")           << "1,5"        << 0    << 0.0;
        QTest::newRow("hexadecimal")     << "0x10"       << 0    << 0.0;
        QTest::newRow("octal is not")    << "010"        << 10   << 10.0;
        QTest::newRow("beyond 32 bits")  << "2147483648" << 0    << 2147483648.0;
        QTest::newRow("too large")       << "1e400"      << 0    << inf;
        QTest::newRow("empty")           << ""           << 0    << 0.0;
        QTest::newRow("no number")       << "steel"      << 0    << 0.0;
        // clang-format on
    }

    void readsNumbers()
    {
        QFETCH(QString, value);
        QFETCH(int, whole);
        QFETCH(double, number);
        const Tag tag = makeTag({"k", value});

        QCOMPARE(tag.getInt("k", 0), whole);
        QCOMPARE(tag.getDouble("k", 0), number);
    }

    void readsInfinitiesAndWhatIsNoNumber()
    {
        const Tag tag = makeTag({"a", "inf", "b", "-inf", "c", "nan"});

        QCOMPARE(tag.getDouble("a", 0), inf);
        QCOMPARE(tag.getDouble("b", 0), -inf);
        QVERIFY(std::isnan(tag.getDouble("c", 0)));
    }

    void readsBytes_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QByteArray>("bytes");

        // clang-format off
        QTest::newRow("digits")                  << "01ff"   << QByteArray("\x01\xff");
        QTest::newRow("capitals")                << "0AFF"   << QByteArray("\x0a\xff");
        QTest::newRow("others are passed over")  << "0 1-g2" << QByteArray("\x00\x12", 2);
        QTest::newRow("odd count")               << "abc"    << QByteArray("\x0a\xbc");
        QTest::newRow("beyond Latin-1")          << "0€1"    << QByteArray("\x01");
        QTest::newRow("none")                    << "xyz"    << QByteArray();
        QTest::newRow("empty")                   << ""       << QByteArray();
        // clang-format on
    }

    void readsBytes()
    {
        QFETCH(QString, value);
        QFETCH(QByteArray, bytes);

        QCOMPARE(makeTag({"k", value}).getBytes("k", 0), bytes);
    }

    void readsLists_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QStringList>("list");

        // clang-format off
        QTest::newRow("two")            << "a,b"    << ","  << QStringList({"a", "b"});
        QTest::newRow("blanks stay")    << "a, b "  << ","  << QStringList({"a", " b "});
        QTest::newRow("empty pieces")   << ",a,,"   << ","  << QStringList({"", "a", "", ""});
        QTest::newRow("one")            << "a"      << ","  << QStringList("a");
        QTest::newRow("longer")         << "a, b,c" << ", " << QStringList({"a", "b,c"});
        QTest::newRow("beyond ASCII")   << "a·b"    << "·"  << QStringList({"a", "b"});
        QTest::newRow("case counts")    << "aXbxc"  << "x"  << QStringList({"aXb", "c"});
        QTest::newRow("no separator")   << "ab"     << ""   << QStringList({"", "a", "b", ""});
        QTest::newRow("empty")          << ""       << ","  << QStringList();
        // clang-format on
    }

    void readsLists()
    {
        QFETCH(QString, value);
        QFETCH(QString, separator);
        QFETCH(QStringList, list);
        const Tag tag = makeTag({"k", value});

        QCOMPARE(tag.getList("k", separator.toUtf8().constData(), 0), list);
    }

    void readsAListByANullSeparatorAsCharacters()
    {
        QCOMPARE(makeTag({"k", "ab"}).getList("k", nullptr, 0), QStringList({"", "a", "b", ""}));
    }

    void aMissingKeyIsAnEmptyList()
    {
        const Tag tag("t");

        QCOMPARE(tag.getList("k", ",", 0), QStringList());
        QCOMPARE(tag.get("k", 0), Data::String());
        QCOMPARE(tag.getBool("k", 0), false);
        QCOMPARE(tag.getInt("k", 0), 0);
        QCOMPARE(tag.getDouble("k", 0), 0.0);
        QCOMPARE(tag.getBytes("k", 0), QByteArray());
        QCOMPARE(tag.count("k"), 0);
    }

    // Changing

    void removesTheFirstOccurrence()
    {
        Tag tag = makeTag({"x", "1", "k", "a", "y", "2", "k", "b"});

        QCOMPARE(&tag.remove("k"), &tag);
        QCOMPARE(properties(tag), QStringList({"x", "1", "y", "2", "k", "b"}));
        tag.remove("K");
        QCOMPARE(properties(tag), QStringList({"x", "1", "y", "2", "k", "b"}));
    }

    void replacesTheFirstOccurrence()
    {
        Tag tag = makeTag({"k", "a", "k", "b"});

        QCOMPARE(&tag.replace("k", "c"), &tag);
        QCOMPARE(properties(tag), QStringList({"k", "c", "k", "b"}));
    }

    void addsWhatItCannotReplace()
    {
        Tag tag = makeTag({"k", "a"});

        QCOMPARE(&tag.replace("K", "c"), &tag);

        QCOMPARE(properties(tag), QStringList({"k", "a", "K", "c"}));
    }

    // Lists of different length

    void seesNoKeyWithoutAValue()
    {
        Tag tag = makeTag({"a", "1"});
        tag.keys << "b"
                 << "a";
        Data::String key;
        Data::String value;

        QCOMPARE(tag.numProps(), 1);
        QCOMPARE(tag.indexOf("b", 0), -1);
        QCOMPARE(tag.indexOf("a", 1), -1);
        QCOMPARE(tag.get("b", 0), Data::String());
        QVERIFY(!tag.get(1, key, value));
        QVERIFY(!tag.contains("b"));
        QCOMPARE(tag.count("a"), 1);
        QCOMPARE(tag.toStringList(0, 0), QStringList("a: 1"));
    }

    void seesNoValueWithoutAKey()
    {
        Tag tag = makeTag({"a", "1"});
        tag.values << "2";
        Data::String key;
        Data::String value;

        QCOMPARE(tag.numProps(), 1);
        QVERIFY(!tag.get(1, key, value));
        QCOMPARE(tag.toStringList(0, 0), QStringList("a: 1"));
    }

    void removesAKeyWithoutAValue()
    {
        Tag tag = makeTag({"a", "1"});
        tag.keys << "b";

        tag.remove("b");

        QCOMPARE(tag.keys, QStringList("a"));
        QCOMPARE(tag.values, QStringList("1"));
    }

    void fillsUpToTheValueThatItReplaces()
    {
        Tag tag = makeTag({"a", "1"});
        tag.keys << "b"
                 << "c";

        tag.replace("c", "3");

        QCOMPARE(properties(tag), QStringList({"a", "1", "b", "", "c", "3"}));
    }

    // As lines

    void becomesLines_data()
    {
        QTest::addColumn<QStringList>("props");
        QTest::addColumn<int>("options");
        QTest::addColumn<QStringList>("lines");

        const auto row = [](const char *name, const QStringList &props, int options,
                            const QStringList &lines) {
            QTest::newRow(name) << props << options << lines;
        };
        // clang-format off
        row("plain",                     {"k", "v"},        0,      {"k: v"});
        row("nothing is trimmed",        {" k ", " v "},    0,      {" k :  v "});
        row("several",                   {"a", "1", "b", "2"}, 0,   {"a: 1", "b: 2"});
        row("markers",                   {"%1%2", "%2%1"},  0,      {"%1%2: %2%1"});
        row("a block with a marker",     {"%2", "a\nb"},    0,      {"%2:2", "a", "b"});
        row("colons stay",               {"a:b", "c:d"},    0,      {"a:b: c:d"});
        row("empty key",                 {"", "v"},         0,      {": v"});
        row("empty value",               {"k", ""},         0,      {"k: "});
        row("left out",                  {"k", ""},         8,      {});
        row("NONE",                      {"k", ""},         16,     {"k: NONE"});
        row("NONE goes first",           {"k", ""},         8 | 16, {"k: NONE"});
        row("only empty ones are left out", {"k", "v"},     8 | 16, {"k: v"});
        row("true stays",                {"k", "true"},     0,      {"k: true"});
        row("true becomes yes",          {"k", "true"},     2,      {"k: yes"});
        row("false becomes no",          {"k", "false"},    2,      {"k: no"});
        row("only these words",          {"k", "True"},     2,      {"k: True"});
        row("a block is no yes",         {"k", "true\n"},   2,      {"k:2", "true", ""});
        row("block",                     {"k", "a\nb\nc"},  63,     {"k:3", "a", "b", "c"});
        row("block of empty lines",      {"k", "\n"},       63,     {"k:2", "", ""});
        row("no comments",               {"$", "c"},        0,      {});
        row("comment",                   {"$", "c"},        4,      {"$ c"});
        row("comment in one entry",      {"$", "c\nd"},     4,      {"$ c\n$ d"});
        row("empty comment",             {"$", ""},         4 | 8 | 16, {"$ "});
        row("a comment is no yes",       {"$", "true"},     4 | 2,  {"$ true"});
        row("only the key $ is one",     {"$k", "v"},       0,      {"$k: v"});
        row("other bits do nothing",     {"k", "NONE"},     1 | 32 | 64, {"k: NONE"});
        row("all bits",                  {"k", "", "t", "true"}, -1, {"k: NONE", "t: yes"});
        // clang-format on
    }

    void becomesLines()
    {
        QFETCH(QStringList, props);
        QFETCH(int, options);
        QFETCH(QStringList, lines);

        QCOMPARE(makeTag(props).toStringList(0, options), lines);
    }

    void becomesLinesFromAnIndexOn()
    {
        const Tag tag = makeTag({"a", "1", "b", "2", "c", "3"});
        const QStringList all = {"a: 1", "b: 2", "c: 3"};

        QCOMPARE(tag.toStringList(0, 0), all);
        QCOMPARE(tag.toStringList(-1, 0), all);
        QCOMPARE(tag.toStringList(intMin, 0), all);
        QCOMPARE(tag.toStringList(1, 0), all.mid(1));
        QCOMPARE(tag.toStringList(2, 0), QStringList("c: 3"));
        QCOMPARE(tag.toStringList(3, 0), QStringList());
        QCOMPARE(tag.toStringList(intMax, 0), QStringList());
    }

    void namesItsOptionBits()
    {
        QCOMPARE(int(TagFile::BlankLines), 1);
        QCOMPARE(int(TagFile::WriteYesNo), 2);
        QCOMPARE(int(TagFile::WriteComments), 4);
        QCOMPARE(int(TagFile::LeaveOutEmpty), 8);
        QCOMPARE(int(TagFile::WriteNone), 16);
        QCOMPARE(int(TagFile::DropNone), 32);
    }

    void readsLines_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<int>("options");
        QTest::addColumn<QStringList>("props");

        const auto row = [](const char *name, const QStringList &lines, int options,
                            const QStringList &props) {
            QTest::newRow(name) << lines << options << props;
        };
        // clang-format off
        row("nothing",                    {},                          0,  {});
        row("plain",                      {"k: v"},                    0,  {"k", "v"});
        row("nothing is trimmed",         {" k :  v "},                0,  {" k ", " v "});
        row("empty value",                {"k: "},                     0,  {"k", ""});
        row("empty key",                  {": v"},                     0,  {"", "v"});
        row("the first colon counts",     {"a: b: c"},                 0,  {"a", "b: c"});
        row("no escape",                  {"a\\:b: c"},                0,  {"a\\", ""});
        row("no marker",                  {"*COLON*: *COLON*"},        0,  {"*COLON*", "*COLON*"});
        row("no colon",                   {"k", "", "l: v"},           0,  {"l", "v"});
        row("block",                      {"k:2", "a", "b", "l: v"},   0,  {"k", "a\nb", "l", "v"});
        row("block of anything",          {"k:3", "*t", "$ c", "x: y"}, 0, {"k", "*t\n$ c\nx: y"});
        row("block of one line",          {"k:1", "a"},                0,  {"k", "a"});
        row("leading empty lines vanish", {"k:4", "", "", "a", "b"},   0,  {"k", "a\nb"});
        row("others stay",                {"k:4", "a", "", "b", ""},   0,  {"k", "a\n\nb\n"});
        row("empty lines alone",          {"k:2", "", ""},             0,  {"k", ""});
        row("block cut short",            {"k:3", "a", "b"},           0,  {"k", "a\nb"});
        row("block of nothing",           {"k:5"},                     0,  {"k", ""});
        row("a huge block",               {"k:2147483647", "a"},       0,  {"k", "a"});
        row("a block beyond 32 bits",     {"k:2147483648", "a: b"},    0,  {"k", "", "a", "b"});
        row("a negative block",           {"k:-1", "a: b"},            0,  {"k", "", "a", "b"});
        row("the least block",            {"k:-2147483648", "a: b"},   0,  {"k", "", "a", "b"});
        row("no count",                   {"k:", "a: b"},              0,  {"k", "", "a", "b"});
        row("zero",                       {"k:0", "a: b"},             0,  {"k", "", "a", "b"});
        row("a malformed count",          {"k:x", "a: b"},             0,  {"k", "", "a", "b"});
        row("a count and more",           {"k:2x", "a: b"},            0,  {"k", "", "a", "b"});
        row("a count after a tab",        {"k:\t1", "a"},              0,  {"k", "a"});
        row("a count before a blank",     {"k:1 ", "a"},               0,  {"k", "a"});
        row("a blank is no count",        {"k: 1", "a"},               0,  {"k", "1"});
        row("tag lines are nothing",      {"*t", "k: v"},              0,  {"k", "v"});
        row("a tag line with a colon",    {"*t: u"},                   0,  {"*t", "u"});
        row("comments get lost",          {"$ c"},                     0,  {});
        row("comments become properties", {"$ c: d"},                  0,  {"$ c", "d"});
        row("comments take lines",        {"$ c:1", "k: v"},           0,  {"$ c", "k: v"});
        row("NONE stays",                 {"k: NONE"},                 31, {"k", "NONE"});
        row("NONE is dropped",            {"k: NONE", "l: v"},         32, {"l", "v"});
        row("only exactly",               {"k:  NONE", "l: none"},     32, {"k", " NONE", "l", "none"});
        row("not in a block",             {"k:1", "NONE"},             32, {"k", "NONE"});
        row("yes and no stay",            {"k: yes", "l: no"},         63, {"k", "yes", "l", "no"});
        row("a line feed in a line",      {"k: a\nb"},                 0,  {"k", "a\nb"});
        // clang-format on
    }

    void readsLines()
    {
        QFETCH(QStringList, lines);
        QFETCH(int, options);
        QFETCH(QStringList, props);
        Tag tag("t");

        QCOMPARE(&tag.fromList(lines, options), &tag);

        QCOMPARE(properties(tag), props);
    }

    void readsLinesBehindWhatItHas()
    {
        Tag tag = makeTag({"k", "v"});

        tag.fromList({"k: w"}, 0);

        QCOMPARE(properties(tag), QStringList({"k", "v", "k", "w"}));
        QCOMPARE(tag.name, Data::String("t"));
        QCOMPARE(tag.line, -1);
    }

    void readsItsOwnListsAsLines()
    {
        Tag tag("t");
        tag.values = QStringList({"a: 1", "b:1", "c: 3"});

        tag.fromList(tag.values, 0);

        QCOMPARE(tag.keys, QStringList({"a", "b"}));
        QCOMPARE(tag.values, QStringList({"a: 1", "b:1", "c: 3", "1", "c: 3"}));
    }

    void comesBackFromLinesButForWhatIsMeant_data()
    {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<int>("options");
        QTest::addColumn<QStringList>("after");

        const auto row = [](const char *name, const QStringList &before, int options,
                            const QStringList &after) {
            QTest::newRow(name) << before << options << after;
        };
        // clang-format off
        row("plain",          {"k", "v", "l", " w "},  7,      {"k", "v", "l", " w "});
        row("block",          {"k", "a\n\nb"},         7,      {"k", "a\n\nb"});
        row("empty",          {"k", ""},               7,      {"k", ""});
        row("empty as NONE",  {"k", "", "l", "v"},     16 | 32, {"l", "v"});
        row("comment",        {"$", "c", "k", "v"},    7,      {"k", "v"});
        row("changed comment", {"$", "c: d"},          7,      {"$ c", "d"});
        row("comment of two", {"$", "a: b\nc"},        7,      {"$ a", "b\n$ c"});
        row("truth",          {"a", "true", "b", "false"}, 7,  {"a", "yes", "b", "no"});
        row("truth kept",     {"a", "true", "b", "false"}, 5,  {"a", "true", "b", "false"});
        row("leading lines",  {"k", "\n\na\nb"},       7,      {"k", "a\nb"});
        // clang-format on
    }

    void comesBackFromLinesButForWhatIsMeant()
    {
        QFETCH(QStringList, before);
        QFETCH(int, options);
        QFETCH(QStringList, after);
        Tag tag("t");

        tag.fromList(makeTag(before).toStringList(0, options), options);

        QCOMPARE(properties(tag), after);
    }

    void bearsOddText()
    {
        const QString zero = QString("a") + QChar(0) + "b";
        const QString surrogate(QChar(0xd800));
        const QString huge(10 * 1024 * 1024, ':');
        Tag tag = makeTag({zero, surrogate, surrogate, zero, "huge", huge});

        const QStringList lines = tag.toStringList(0, 63);

        QCOMPARE(tag.get(zero, 0), Data::String(surrogate));
        QCOMPARE(tag.get(surrogate, 0), Data::String(zero));
        QCOMPARE(lines,
                 QStringList({zero + ": " + surrogate, surrogate + ": " + zero, "huge: " + huge}));
        QCOMPARE(properties(Tag("u").fromList(lines, 0)), properties(tag));
        QCOMPARE(tag.getList("huge", ":", 0).size(), huge.size() + 1);
    }
};

QTEST_GUILESS_MAIN(tst_Tag)
#include "tst_Tag.moc"
