#include "utils/text/StringUtil.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <random>

using Data::String;
using Data::Variant;
using Utils::StringUtil;

using Texts = QMap<String, String>;
using Variants = QMap<String, Variant>;

static const int hugeSize = 10000000;

/// A map as "{a: 1, b: x}", which shows where its keys and values end.
static QString shown(const Texts &map)
{
    QStringList entries;
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        entries.append("{" + entry.key() + "}: {" + *entry + "}");
    return entries.join(", ");
}

/// The same of variants, which must all be texts.
static QString shown(const Variants &map)
{
    Texts texts;
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        texts.insert(entry.key(),
                     entry->type() == QVariant::String ? entry->toString() : "no text");
    return shown(texts);
}

class tst_StringUtil_props : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void joinItems_data()
    {
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<char>("pairSep");
        QTest::addColumn<QString>("joined");

        const QStringList two = {"a=1", "b=2"};
        // clang-format off
        QTest::newRow("opening bracket")  << two << '[' << "[a=1][b=2]";
        QTest::newRow("closing bracket")  << two << ']' << "[a=1][b=2]";
        QTest::newRow("another sign")     << two << ';' << "a=1;b=2";
        QTest::newRow("another bracket")  << two << '(' << "a=1(b=2";
        QTest::newRow("beyond ASCII")     << two << '\xe4' << "a=1\u00e4b=2";
        QTest::newRow("zero")             << two << '\0' << QString("a=1") + QChar(0) + "b=2";
        QTest::newRow("one")              << QStringList{"a"} << ';' << "a";
        QTest::newRow("none")             << QStringList() << ';' << "";
        QTest::newRow("none in brackets") << QStringList() << '[' << "";
        QTest::newRow("an empty one in brackets") << QStringList{""} << '[' << "[]";
        QTest::newRow("nothing is escaped") << QStringList{"a]", "[b;"} << '[' << "[a]][[b;]";
        // clang-format on
    }

    void joinItems()
    {
        QFETCH(QStringList, items);
        QFETCH(char, pairSep);
        QFETCH(QString, joined);

        QCOMPARE(StringUtil::joinStringMap(items, pairSep), String(joined));
    }

    void joinMapsInTheOrderOfKeys()
    {
        const Texts map = {{"width", "3"}, {"name", "a b"}, {"", "x"}, {"Z", ""}};

        const Variant joined = StringUtil::joinStringMap(map, ';', ':');

        QCOMPARE(joined.userType(), int(QMetaType::QString));
        QCOMPARE(joined.toString(), String(":x;Z:;name:a b;width:3"));
        QCOMPARE(StringUtil::joinStringMap(map, '[', '=').toString(),
                 String("[=x][Z=][name=a b][width=3]"));
        QCOMPARE(StringUtil::joinStringMap(Texts(), '[', '=').toString(), String());
    }

    void joinMapsThatHoldMarkers()
    {
        QCOMPARE(StringUtil::joinStringMap({{"k%2", "%1%3"}}, ';', '%').toString(),
                 String("k%2%%1%3"));
    }

    void splitTextsIntoMaps_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<char>("pairSep");
        QTest::addColumn<char>("keySep");
        QTest::addColumn<QString>("map");
        QTest::addColumn<QStringList>("keys");

        // clang-format off
        QTest::newRow("brackets") << "[a=1][b=2]" << '[' << '=' << "{a}: {1}, {b}: {2}" << QStringList{"a", "b"};
        QTest::newRow("closing bracket") << "[a=1][b=2]" << ']' << '=' << "{a}: {1}, {b}: {2}" << QStringList{"a", "b"};
        QTest::newRow("another sign") << "b=2;a=1" << ';' << '=' << "{a}: {1}, {b}: {2}" << QStringList{"b", "a"};
        QTest::newRow("another key sign") << "a:1;b:2" << ';' << ':' << "{a}: {1}, {b}: {2}" << QStringList{"a", "b"};
        QTest::newRow("the first key sign") << "[a=1][b=x=y]" << '[' << '='
            << "{a}: {1}, {b}: {x=y}" << QStringList{"a", "b"};
        QTest::newRow("no key sign") << "[a]" << '[' << '=' << "" << QStringList{"a"};
        QTest::newRow("some without") << "[a][b=1][]" << '[' << '=' << "{b}: {1}" << QStringList{"a", "b", ""};
        QTest::newRow("the last of a key") << "[a=1][b=2][a=3]" << '[' << '=' << "{a}: {3}, {b}: {2}"
            << QStringList{"a", "b", "a"};
        QTest::newRow("no brackets at the ends") << "a=1][b=2" << '[' << '=' << "{a}: {1}, {b}: {2}"
            << QStringList{"a", "b"};
        QTest::newRow("one bracket at each end") << "[[a=1]]" << '[' << '=' << "{[a}: {1]}" << QStringList{"[a"};
        QTest::newRow("brackets inside") << "[a=[1]][b=(2)]" << '[' << '='
            << "{a}: {[1]}, {b}: {(2)}" << QStringList{"a", "b"};
        QTest::newRow("brackets within a value") << "[a=1][2]" << '[' << '=' << "{a}: {1}" << QStringList{"a", "2"};
        QTest::newRow("a bracket alone") << "[" << '[' << '=' << "" << QStringList{""};
        QTest::newRow("a closing one alone") << "]" << '[' << '=' << "" << QStringList{""};
        QTest::newRow("empty brackets") << "[]" << '[' << '=' << "" << QStringList{""};
        QTest::newRow("brackets apart") << "[a=1] [b=2]" << '[' << '=' << "{a}: {1] [b=2}" << QStringList{"a"};
        QTest::newRow("nothing") << "" << '[' << '=' << "" << QStringList{""};
        QTest::newRow("nothing, another sign") << "" << ';' << '=' << "" << QStringList{""};
        QTest::newRow("empty parts") << ";a=1;;" << ';' << '=' << "{a}: {1}" << QStringList{"", "a", "", ""};
        QTest::newRow("empty keys and values") << "[=1][a=]" << '[' << '=' << "{}: {1}, {a}: {}"
            << QStringList{"", "a"};
        QTest::newRow("no trimming") << "[ a = 1 ]" << '[' << '=' << "{ a }: { 1 }" << QStringList{" a "};
        QTest::newRow("brackets under another sign") << "[a=1];b=2" << ';' << '=' << "{[a}: {1]}, {b}: {2}"
            << QStringList{"[a", "b"};
        // clang-format on
    }

    void splitTextsIntoMaps()
    {
        QFETCH(QString, text);
        QFETCH(char, pairSep);
        QFETCH(char, keySep);
        QFETCH(QString, map);
        QFETCH(QStringList, keys);

        QCOMPARE(shown(StringUtil::splitStringMap(text, pairSep, keySep)), map);
        QCOMPARE(StringUtil::stringMapKeys(text, pairSep, keySep), keys);
        if (pairSep == '[' && keySep == '=') {
            QCOMPARE(shown(StringUtil::splitProps2(text)), map);
            QCOMPARE(shown(StringUtil::splitProps(text)), map);
            QCOMPARE(StringUtil::propKeys(text), keys);
        }
    }

    void splitItemsIntoMaps()
    {
        const QStringList items = {"a=1", "b", "c=x=y", "", "=z", "a=2", "[d=4]"};
        const QString map = "{}: {z}, {[d}: {4]}, {a}: {2}, {c}: {x=y}";

        QCOMPARE(shown(StringUtil::splitStringMap(items, '=')), map);
        QCOMPARE(shown(StringUtil::splitProps2(items)), map);
        QCOMPARE(shown(StringUtil::splitProps(items)), map);
        QCOMPARE(shown(StringUtil::splitStringMap(QStringList{"a:1=2"}, ':')),
                 QString("{a}: {1=2}"));
        QCOMPARE(shown(StringUtil::splitStringMap(QStringList(), '=')), QString());
    }

    void listValues()
    {
        QCOMPARE(StringUtil::mapValues({{"b", "1"}, {"a", "2"}, {"c", ""}}),
                 QStringList({"2", "1", ""}));
        QCOMPARE(StringUtil::mapValues({}), QStringList());
        QCOMPARE(StringUtil::propValues("[b=1][c][a=x=y][][b=]"), QStringList({"1", "x=y", ""}));
        QCOMPARE(StringUtil::propValues("b=1][a=2"), QStringList({"1", "2"}));
        QCOMPARE(StringUtil::propValues(""), QStringList());
    }

    void joinProperties()
    {
        const Texts texts = {{"width", "3"}, {"name", "a b"}};
        const Variants variants = {
            {"width", 3}, {"scale", 1.5}, {"name", "a b"}, {"none", Variant()}, {"on", true}};

        QCOMPARE(StringUtil::joinProps(QStringList{"b", "a=1"}), String("[b][a=1]"));
        QCOMPARE(StringUtil::joinProps(texts), String("[name=a b][width=3]"));
        QCOMPARE(StringUtil::joinProps(variants),
                 String("[name=a b][none=][on=true][scale=1.5][width=3]"));
        QCOMPARE(StringUtil::joinProps(Texts()), String());
        QCOMPARE(StringUtil::joinProps(Variants()), String());
    }

    void comeBackAsTheyWere()
    {
        std::mt19937 random(1);
        const auto makeText = [&](const QString &alphabet) {
            String text;
            for (unsigned int size = random() % 5; size > 0; --size)
                text += alphabet[static_cast<int>(random() % unsigned(alphabet.size()))];
            return text;
        };
        for (int i = 0; i < 10000; ++i) {
            Texts map;
            for (unsigned int size = random() % 5; size > 0; --size) {
                const String key = makeText("ab[]% ;");
                const String value = makeText(QString("ab[]=%; ") + QChar(0) + QChar(0xd83d));
                if (!key.contains("][") && !value.contains("]["))
                    map.insert(key, value);
            }
            Variants variants;
            for (auto entry = map.begin(); entry != map.end(); ++entry)
                variants.insert(entry.key(), Variant(*entry));

            const String joined = StringUtil::joinProps(map);

            QCOMPARE(shown(StringUtil::splitProps2(joined)), shown(map));
            QCOMPARE(shown(StringUtil::splitProps(joined)), shown(map));
            QCOMPARE(StringUtil::joinProps(variants), joined);
            QCOMPARE(StringUtil::propKeys(joined), map.isEmpty() ? QStringList("") : keysOf(map));
            QCOMPARE(StringUtil::propValues(joined), StringUtil::mapValues(map));
        }
    }

    void doNotComeBackWithSeparatorsInside()
    {
        const auto andBack = [](const Texts &map) {
            return shown(StringUtil::splitProps2(StringUtil::joinProps(map)));
        };

        QCOMPARE(andBack({{"a", "1][2"}}), QString("{a}: {1}"));
        QCOMPARE(andBack({{"a", "1][b=2"}}), QString("{a}: {1}, {b}: {2}"));
        QCOMPARE(andBack({{"a][b", "1"}}), QString("{b}: {1}"));
        QCOMPARE(andBack({{"a=b", "1"}}), QString("{a}: {b=1}"));
    }

    void bearHugeTexts()
    {
        const QString brackets = QString("][").repeated(hugeSize / 2);
        const QString equals(hugeSize, '=');

        QVERIFY(StringUtil::splitProps2(brackets).isEmpty());
        QCOMPARE(StringUtil::propKeys(brackets).size(), hugeSize / 2 + 1);
        QCOMPARE(StringUtil::splitProps2("[" + equals + "]").value("").size(), hugeSize - 1);
        QCOMPARE(
            StringUtil::splitStringMap(QString("a=1;").repeated(hugeSize / 4), ';', '=').size(), 1);
        QCOMPARE(StringUtil::joinStringMap(QStringList{equals, equals}, '[').size(),
                 2 * hugeSize + 4);
    }

private:
    static QStringList keysOf(const Texts &map)
    {
        QStringList keys;
        for (const String &key : map.keys())
            keys.append(key);
        return keys;
    }
};

QTEST_GUILESS_MAIN(tst_StringUtil_props)
#include "tst_StringUtil_props.moc"
