#include "utils/text/List.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Limits.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"
#include "tests/support/Windows.h"

#include <QtTest>

#include <algorithm>
#include <climits>
#include <limits>
#include <numeric>
#include <random>

#include <unistd.h>

using Data::String;
using Utils::List;

using Numbers = QList<int>;

static const double notANumber = std::numeric_limits<double>::quiet_NaN();
static const double infinity = std::numeric_limits<double>::infinity();

static Numbers backwards(Numbers list)
{
    std::reverse(list.begin(), list.end());
    return list;
}

/// 0, 1, 2 and so on.
static Numbers counted(int size)
{
    Numbers list;
    for (int i = 0; i < size; ++i)
        list.append(i);
    return list;
}

/// \p text with a double quote for each single one.
static QString quoted(const char *text) { return QString(text).replace('\'', '"'); }

// The operations written word for word, however slow.
namespace Plainly {

struct Item
{
    int position;
    double value;
    QString text;
    bool caseSensitive;
};

static bool isBefore(const Item &a, const Item &b)
{
    if (a.text.isEmpty())
        return a.value == b.value ? a.position < b.position : a.value < b.value;
    if (a.text == b.text)
        return a.position < b.position;
    return QString::compare(a.text, b.text,
                            a.caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive) < 0;
}

static void quickSort(QVector<Item> &items, int start, int end)
{
    const int span = end - start;
    if (span < 2)
        return;
    const int last = end - 1;
    if (isBefore(items[last], items[start]))
        std::swap(items[last], items[start]);
    if (span == 2)
        return;
    const int middle = start + span / 2;
    if (isBefore(items[middle], items[start]))
        std::swap(items[middle], items[start]);
    if (isBefore(items[last], items[middle]))
        std::swap(items[last], items[middle]);
    if (span == 3)
        return;

    std::swap(items[middle], items[last]);
    int low = start;
    int high = last - 1;
    while (low < high) {
        while (low < high && isBefore(items[low], items[last]))
            ++low;
        while (low < high && isBefore(items[last], items[high]))
            --high;
        if (low == high)
            break;
        std::swap(items[low], items[high]);
        ++low;
        --high;
    }
    if (isBefore(items[low], items[last]))
        ++low;
    std::swap(items[last], items[low]);
    quickSort(items, start, low);
    quickSort(items, low + 1, end);
}

static Numbers sorted(QVector<Item> items, bool ascending)
{
    quickSort(items, 0, items.size());
    Numbers positions;
    for (const Item &item : items)
        positions.append(item.position);
    return ascending ? positions : backwards(positions);
}

template <typename Values>
static Numbers indexSort(const Values &values, bool ascending)
{
    QVector<Item> items;
    for (const double value : values)
        items.append({items.size(), value, QString(), false});
    return sorted(items, ascending);
}

static Numbers indexSort(const QStringList &values, bool ascending, bool caseSensitive)
{
    QVector<Item> items;
    for (const QString &text : values)
        items.append({items.size(), 0.0, text, caseSensitive});
    return sorted(items, ascending);
}

static QString joinIndexList(const Numbers &list, const QString &separator)
{
    QString text;
    for (int i = 0; i < list.size(); ++i) {
        if (i == 0) {
            text = QString::number(list[i]);
        } else if (list[i] == list[i - 1] + 1LL) {
            if (!text.endsWith('-'))
                text += "-";
        } else {
            if (text.endsWith('-') && list[i - 1] != 0)
                text += QString::number(list[i - 1]);
            text += separator + QString::number(list[i]);
        }
    }
    if (text.endsWith('-') && list.last() != 0)
        text += QString::number(list.last());
    return text;
}

static Numbers splitIndexList(const QString &text, const QString &separator)
{
    Numbers list;
    for (const QString &piece : text.split(separator, Qt::SkipEmptyParts)) {
        const bool isRange = piece.contains('-');
        bool startParses = false;
        bool endParses = false;
        const int start = piece.section('-', 0, 0).toInt(&startParses);
        const int end = (isRange ? piece.section('-', 1) : piece).toInt(&endParses);
        for (qint64 number = start; startParses && endParses && number <= end; ++number)
            list.append(static_cast<int>(number));
    }
    return list;
}

static QString safeJoin(const QStringList &list, const QString &separator)
{
    QStringList items = list;
    for (QString &item : items) {
        item.replace("\"", "\"\"");
        if (item.contains(separator))
            item = "\"" + item + "\"";
    }
    return items.join(separator);
}

static QStringList safeSplit(const QString &text, const QString &separator, bool backslashQuotes)
{
    if (separator.isEmpty())
        return {QString(text).replace("\"\"", "\"")};
    QStringList pieces = text.split(separator, Qt::KeepEmptyParts);
    for (int i = 0; i < pieces.size(); ++i) {
        if (pieces[i].startsWith('"') && (pieces[i] == "\"" || !pieces[i].endsWith('"'))) {
            pieces[i].remove(0, 1);
            while (i + 1 < pieces.size()) {
                const QString taken = pieces.takeAt(i + 1);
                pieces[i] += separator + taken;
                if (taken.endsWith('"') && (taken == "\"" || !taken.startsWith('"'))) {
                    pieces[i].chop(1);
                    break;
                }
            }
        }
        pieces[i].replace("\"\"", "\"");
        if (backslashQuotes && pieces[i].startsWith("\\\"") && pieces[i].endsWith("\\\"")) {
            pieces[i].replace(0, 2, "\"");
            if (pieces[i].endsWith("\\\""))
                pieces[i].replace(pieces[i].size() - 2, 2, "\"");
        }
    }
    return pieces;
}

static Numbers mergeIndexList(const Numbers &a, const Numbers &b)
{
    if (a.isEmpty() || b.isEmpty())
        return a.isEmpty() ? b : a;
    Numbers result;
    for (const int x : a)
        result.append(b.contains(x) ? x : -x);
    for (const int y : b) {
        if (!result.contains(y))
            result.append(-y);
    }
    return result;
}

static Numbers applyIndexList(const Numbers &selection, const Numbers &merged)
{
    Numbers result;
    for (const int x : selection) {
        if (x >= 1 && (merged.contains(x) || merged.contains(-x)))
            result.append(x);
    }
    for (const int y : merged) {
        if (y >= 1 && !result.contains(y))
            result.append(y);
    }
    return result;
}

static void mergeSort(const Numbers &from, Numbers &into)
{
    if (into.isEmpty()) {
        into = from;
        return;
    }
    for (int i = 0; i < from.size(); ++i) {
        if (into.contains(from[i]))
            continue;
        int place = -1;
        for (int j = i + 1; j < from.size() && place < 0; ++j)
            place = into.indexOf(from[j]);
        for (int j = 0; j < into.size() && place < 0; ++j)
            place = into[j] > from[i] ? j : -1;
        into.insert(place < 0 ? into.size() : place, from[i]);
    }
}

} // namespace Plainly

/// Random values, the same in each run.
class Random
{
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    /// From 0 to \p limit - 1.
    int below(int limit) { return static_cast<int>(m_engine() % static_cast<unsigned int>(limit)); }

    int from(int low, int high) { return low + below(high - low + 1); }

    Numbers numbers(int size, int low, int high)
    {
        Numbers list;
        while (list.size() < size)
            list.append(from(low, high));
        return list;
    }

    QString text(const QString &alphabet, int longest)
    {
        QString result;
        for (int size = below(longest + 1); size > 0; --size)
            result += alphabet[below(alphabet.size())];
        return result;
    }

    QStringList texts(int size, const QString &alphabet, int longest)
    {
        QStringList list;
        while (list.size() < size)
            list.append(text(alphabet, longest));
        return list;
    }

private:
    std::mt19937 m_engine;
};

class tst_List : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sortsNumbers_data()
    {
        QTest::addColumn<QList<double>>("values");
        QTest::addColumn<Numbers>("ascending");

        using Values = QList<double>;
        // clang-format off
        QTest::newRow("nothing") << Values() << Numbers();
        QTest::newRow("one") << Values{7.0} << Numbers{0};
        QTest::newRow("two") << Values{2.0, 1.0} << Numbers{1, 0};
        QTest::newRow("three") << Values{3.0, 1.0, 2.0} << Numbers{1, 2, 0};
        QTest::newRow("equal") << Values{5.0, 5.0, 5.0} << Numbers{0, 1, 2};
        QTest::newRow("signs") << Values{1.0, -1.0, 0.0, -2.0} << Numbers{3, 1, 2, 0};
        QTest::newRow("zeros of both signs are equal") << Values{0.0, -0.0, -1.0, 0.0, -0.0} << Numbers{2, 0, 1, 3, 4};
        QTest::newRow("the ends of the scale")
            << Values{infinity, 1e300, -infinity, 5e-324, -5e-324, 1.7976931348623157e308, 0.0}
            << Numbers{2, 4, 6, 3, 1, 5, 0};
        QTest::newRow("many") << Values{5, 3, 8, 1, 9, 2, 7} << Numbers{3, 5, 1, 0, 6, 2, 4};
        QTest::newRow("many, equal pairs") << Values{2, 1, 2, 1, 3, 3} << Numbers{1, 3, 0, 2, 4, 5};
        // clang-format on
    }

    void sortsNumbers()
    {
        QFETCH(QList<double>, values);
        QFETCH(Numbers, ascending);

        QCOMPARE(List::indexSort(values, true), ascending);
        QCOMPARE(List::indexSort(values, false), backwards(ascending));
        QCOMPARE(List::indexSort(values.toVector(), true), ascending);
        QCOMPARE(List::indexSort(values.toVector(), false), backwards(ascending));
    }

    void sortsIntegers_data()
    {
        QTest::addColumn<Numbers>("values");
        QTest::addColumn<Numbers>("ascending");

        // clang-format off
        QTest::newRow("nothing") << Numbers() << Numbers();
        QTest::newRow("three") << Numbers{3, 1, 2} << Numbers{1, 2, 0};
        QTest::newRow("equal") << Numbers{5, 5, 5} << Numbers{0, 1, 2};
        QTest::newRow("the ends of the scale") << Numbers{INT_MAX, INT_MIN, -1, 0, 1, INT_MIN, INT_MAX - 1}
            << Numbers{1, 5, 2, 3, 4, 6, 0};
        // clang-format on
    }

    void sortsIntegers()
    {
        QFETCH(Numbers, values);
        QFETCH(Numbers, ascending);

        QCOMPARE(List::indexSort(values, true), ascending);
        QCOMPARE(List::indexSort(values, false), backwards(ascending));
    }

    void sortsTexts_data()
    {
        QTest::addColumn<QStringList>("values");
        QTest::addColumn<Numbers>("caseSensitive");
        QTest::addColumn<Numbers>("caseIgnored");

        const auto row = [](const char *name, const QStringList &values) -> QTestData & {
            return QTest::newRow(name) << values;
        };
        // clang-format off
        row("nothing", {}) << Numbers() << Numbers();
        row("one", {"a"}) << Numbers{0} << Numbers{0};
        row("words", {"pear", "apple", "fig"}) << Numbers{1, 2, 0} << Numbers{1, 2, 0};
        row("equal", {"a", "a", "a"}) << Numbers{0, 1, 2} << Numbers{0, 1, 2};
        row("case", {"b", "C", "a"}) << Numbers{1, 2, 0} << Numbers{2, 0, 1};
        row("a beginning first", {"abcde", "abc", "abcd"}) << Numbers{1, 2, 0} << Numbers{1, 2, 0};
        row("zero characters count", {QString(2, QChar(0)), QString(1, QChar(0)), "a"})
            << Numbers{1, 0, 2} << Numbers{1, 0, 2};
        row("by code unit", {QString(QChar(0xffff)), QString::fromUtf8("\xf0\x90\x80\x80"), "z"})
            << Numbers{2, 1, 0} << Numbers{2, 1, 0};
        row("by character where case is ignored",
            {QString::fromUtf8("\xf0\x90\x90\x80"), QString(QChar(0xd801)) + QChar(0xffff)})
            << Numbers{0, 1} << Numbers{1, 0};
        row("pairs fold",
            {QString::fromUtf8("\xf0\x90\x90\x81"), // their small letter is A9
             QString::fromUtf8("\xf0\x90\x90\xa8"), QString::fromUtf8("\xf0\x90\x90\x81")})
            << Numbers{0, 2, 1} << Numbers{1, 0, 2};
        row("umlauts fold", {QString(QChar(0xe4)), "Z", QChar(0xc4) + QString("a")})
            << Numbers{1, 2, 0} << Numbers{1, 0, 2};

        // An empty text sorts before each text that follows it, but after none.
        row("empty last", {"b", ""}) << Numbers{0, 1} << Numbers{0, 1};
        row("empty first", {"", "b"}) << Numbers{0, 1} << Numbers{0, 1};
        row("empty between", {"b", "", "a"}) << Numbers{1, 2, 0} << Numbers{1, 2, 0};
        row("two empty", {"c", "", "b", "", "a"}) << Numbers{1, 3, 4, 2, 0} << Numbers{1, 3, 4, 2, 0};
        row("all empty", {"", QString(), ""}) << Numbers{0, 1, 2} << Numbers{0, 1, 2};
        // clang-format on
    }

    void sortsTexts()
    {
        QFETCH(QStringList, values);
        QFETCH(Numbers, caseSensitive);
        QFETCH(Numbers, caseIgnored);

        QCOMPARE(List::indexSort(values, true, /*caseSensitive=*/true), caseSensitive);
        QCOMPARE(List::indexSort(values, false, /*caseSensitive=*/true), backwards(caseSensitive));
        QCOMPARE(List::indexSort(values, true, /*caseSensitive=*/false), caseIgnored);
        QCOMPARE(List::indexSort(values, false, /*caseSensitive=*/false), backwards(caseIgnored));
    }

    void leavesWhatHasNoOrderAsItFallsOut()
    {
        // None of the comparisons holds, so that both halves are turned around.
        const QList<double> none = {notANumber, notANumber, notANumber, notANumber, notANumber};
        const QList<double> some = {3.0, notANumber, 1.0, 2.0};
        const QStringList cases = {"a", "A", "a", "A", "b", "B"};

        QCOMPARE(List::indexSort(none, true), Plainly::indexSort(none, true));
        QVERIFY(List::indexSort(none, true) != counted(none.size()));
        QCOMPARE(List::indexSort(some, true), Plainly::indexSort(some, true));
        QCOMPARE(List::indexSort(cases, true, false), Plainly::indexSort(cases, true, false));
    }

    void sortsAnyNumbers()
    {
        Random random(11);
        for (int round = 0; round < 200; ++round) {
            const int size = round % 10 == 0 ? 3000 : random.below(200);
            const int range = random.below(3) == 0 ? 5 : 100000;
            Numbers integers = random.numbers(size, -range, range);
            if (round % 4 == 1)
                std::sort(integers.begin(), integers.end());
            QList<double> values;
            for (const int number : qAsConst(integers)) {
                const double scale[] = {1.0, 0.0, -0.0, 1e-300, 1e290, 1e-12, 0.3};
                values.append(number * scale[random.below(7)]);
            }
            if (round % 3 == 0) {
                for (int count = random.below(size / 2 + 1); count > 0; --count)
                    values[random.below(size)] = count % 2 == 0 ? notANumber : -notANumber;
            }

            for (const bool ascending : {true, false}) {
                QCOMPARE(List::indexSort(integers, ascending),
                         Plainly::indexSort(integers, ascending));
                QCOMPARE(List::indexSort(values, ascending), Plainly::indexSort(values, ascending));
                QCOMPARE(List::indexSort(values.toVector(), ascending),
                         Plainly::indexSort(values, ascending));
            }
        }
    }

    void sortsSortedNumbers_data()
    {
        QTest::addColumn<int>("noNumber"); // its position, or -1

        QTest::newRow("whole") << -1;
        QTest::newRow("one at the start") << 0;
        QTest::newRow("one in the middle") << 1000;
        QTest::newRow("one at the end") << 1999;
    }

    void sortsSortedNumbers()
    {
        QFETCH(int, noNumber);
        QList<double> upwards;
        for (int i = 0; i < 2000; ++i)
            upwards.append(i / 3); // three of each
        QList<double> downwards = upwards;
        std::reverse(downwards.begin(), downwards.end());
        if (noNumber >= 0)
            upwards[noNumber] = downwards[noNumber] = notANumber;

        for (const bool ascending : {true, false}) {
            QCOMPARE(List::indexSort(upwards, ascending), Plainly::indexSort(upwards, ascending));
            QCOMPARE(List::indexSort(downwards, ascending),
                     Plainly::indexSort(downwards, ascending));
        }
    }

    void sortsAnyTexts_data()
    {
        QTest::addColumn<QString>("alphabet");
        QTest::addColumn<QString>("prefix"); // "" makes some of them empty
        QTest::addColumn<int>("longest");

        const QString wide =
            QString::fromUtf8("ab\xc3\xa4\xc3\x84\xe1\xba\x9e\xc3\x9f\xef\xbf\xbf");
        QString pairs = QString::fromUtf8("a\xf0\x90\x90\x80\xf0\x90\x90\xa8\xef\xbf\xbf");
        // clang-format off
        QTest::newRow("some empty")         << "ab" << "" << 6;
        QTest::newRow("many empty")         << "abcAB" << "" << 1;
        QTest::newRow("many equal")         << "a" << "x" << 3;
        QTest::newRow("case")               << "abAB" << "x" << 4;
        QTest::newRow("case, some empty")   << "abAB" << "" << 4;
        QTest::newRow("one case")           << "abcdefgh1" << "x" << 12;
        QTest::newRow("a common beginning") << "ab" << "/home/name/" << 30;
        QTest::newRow("zero characters")    << QString("a") + QChar(0) << "x" << 12;
        QTest::newRow("Latin-1")            << QString("ab") + QChar(0xe4) + QChar(0xc4) + QChar(0xb5) << "x" << 5;
        QTest::newRow("beyond ASCII")       << wide << "x" << 6;
        QTest::newRow("broken pairs")       << pairs << "x" << 6;
        QTest::newRow("broken pairs, some empty") << pairs << "" << 6;
        // clang-format on
    }

    void sortsAnyTexts()
    {
        QFETCH(QString, alphabet);
        QFETCH(QString, prefix);
        QFETCH(int, longest);
        Random random(12);
        for (int round = 0; round < 60; ++round) {
            const int size = round % 10 == 0 ? 2500 : random.below(150);
            QStringList values = random.texts(size, alphabet, longest);
            for (QString &value : values)
                value.prepend(prefix);
            if (round % 4 == 1)
                std::sort(values.begin(), values.end());

            for (const bool caseSensitive : {true, false}) {
                QCOMPARE(List::indexSort(values, true, caseSensitive),
                         Plainly::indexSort(values, true, caseSensitive));
                QCOMPARE(List::indexSort(values, false, caseSensitive),
                         Plainly::indexSort(values, false, caseSensitive));
            }
        }
    }

    void sortsEachCharacterWithoutCase()
    {
        QStringList all;
        for (int unit = 0; unit < 0x10000; ++unit)
            all.append(QChar(unit));
        std::shuffle(all.begin(), all.end(), std::mt19937(13));
        QStringList characters;
        for (uint character = 0x10000; character < 0x20000; ++character)
            characters.append(QString::fromUcs4(&character, 1));
        std::shuffle(characters.begin(), characters.end(), std::mt19937(14));

        for (const QStringList &values : {all, characters, all + characters})
            QCOMPARE(List::indexSort(values, true, /*caseSensitive=*/false),
                     Plainly::indexSort(values, true, /*caseSensitive=*/false));
    }

    void sortsBeginningsOfOneText()
    {
        const QString whole = QString(3000, 'a');
        QStringList values;
        for (int size = whole.size(); size > 0; --size)
            values.append(whole.left(size));

        QCOMPARE(List::indexSort(values, true, true), backwards(counted(values.size())));
        QCOMPARE(List::indexSort(values, true, false), backwards(counted(values.size())));
    }

    void sortsTextsThatPartLate()
    {
        Random random(15);
        const QString common = QString("0123456789").repeated(30);
        for (int round = 0; round < 20; ++round) {
            QStringList values;
            for (int i = 0; i < 200; ++i)
                values.append(common.left(random.from(1, common.size())) + random.text("/:5", 2));

            for (const bool caseSensitive : {true, false})
                QCOMPARE(List::indexSort(values, true, caseSensitive),
                         Plainly::indexSort(values, true, caseSensitive));
        }
    }

    void endsAQuicksortThatTakesTooLong()
    {
        const int size = 300000;
        QStringList values;
        for (int i = 0; i < size; ++i)
            values.append(i % 2 == 1 ? QString() : QString::number(2 * size - i));

        const Numbers sorted = List::indexSort(values, true, true);

        Numbers ordered = sorted;
        std::sort(ordered.begin(), ordered.end());
        QCOMPARE(ordered, counted(size));
        // To its end the quicksort would scatter them over more than ten thousand places.
        int changes = 0;
        for (int i = 1; i < size; ++i)
            changes += values[sorted[i]].isEmpty() != values[sorted[i - 1]].isEmpty();
        QVERIFY2(changes < 100, "the empty texts that were left stand together");
    }

    void sortsAsTheStandardSort()
    {
        Random random(1);
        for (int round = 0; round < 300; ++round) {
            QList<double> values;
            const int size = random.below(60);
            while (values.size() < size)
                values.append(random.from(-9, 9) / 4.0 * (random.below(3) == 0 ? 1e200 : 1.0));
            Numbers expected = counted(size);
            std::stable_sort(expected.begin(), expected.end(),
                             [&](int a, int b) { return values[a] < values[b]; });

            QCOMPARE(List::indexSort(values, true), expected);
            QCOMPARE(List::indexSort(values, false), backwards(expected));
        }
    }

    void sortsTextsAsTheStandardSort()
    {
        Random random(2);
        for (int round = 0; round < 300; ++round) {
            QStringList values = random.texts(random.below(60), "abAB\u00e4", 7);
            for (QString &value : values)
                value.prepend("value "); // so that none is empty
            Numbers expected = counted(values.size());
            std::stable_sort(expected.begin(), expected.end(),
                             [&](int a, int b) { return values[a] < values[b]; });

            QCOMPARE(List::indexSort(values, true, /*caseSensitive=*/true), expected);
        }
    }

    void joinsNumbers_data()
    {
        QTest::addColumn<Numbers>("list");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("nothing")             << Numbers() << "";
        QTest::newRow("one")                 << Numbers{5} << "5";
        QTest::newRow("two in a row")        << Numbers{1, 2} << "1-2";
        QTest::newRow("a gap")               << Numbers{1, 3} << "1,3";
        QTest::newRow("twice the same")      << Numbers{2, 2} << "2,2";
        QTest::newRow("several")             << Numbers{1, 2, 3, 7, 9, 10} << "1-3,7,9-10";
        QTest::newRow("downwards")           << Numbers{3, 2, 1} << "3,2,1";
        QTest::newRow("two runs")            << Numbers{1, 2, 1, 2} << "1-2,1-2";
        QTest::newRow("from 0")              << Numbers{0, 1, 2} << "0-2";
        QTest::newRow("open at 0")           << Numbers{-1, 0} << "-1-";
        QTest::newRow("open at 0, then on")  << Numbers{-1, 0, 5} << "-1-,5";
        QTest::newRow("through 0")           << Numbers{-1, 0, 1} << "-1-1";
        QTest::newRow("negative")            << Numbers{-3, -2, 4} << "-3--2,4";
        QTest::newRow("0 alone")             << Numbers{0, 0, 4} << "0,0,4";
        QTest::newRow("around the scale")    << Numbers{INT_MAX - 1, INT_MAX, INT_MIN, INT_MIN + 1}
                                             << "2147483646-2147483647,-2147483648--2147483647";
        // clang-format on
    }

    void joinsNumbers()
    {
        QFETCH(Numbers, list);
        QFETCH(QString, text);

        QCOMPARE(List::joinIndexList(list, ","), String(text));
    }

    void joinsNumbersWithAnySeparator()
    {
        const Numbers list = {1, 2, 3, 7};

        QCOMPARE(List::joinIndexList(list, "; "), String("1-3; 7"));
        QCOMPARE(List::joinIndexList(list, "-"), String("1-3-7"));
        QCOMPARE(List::joinIndexList(list, "\xe2\x82\xac"), String("1-3\xe2\x82\xac"
                                                                   "7"));
        QCOMPARE(List::joinIndexList(list, ""), String("1-37"));
        QCOMPARE(List::joinIndexList(list, nullptr), String("1-37"));
    }

    void splitsNumbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Numbers>("list");

        // clang-format off
        QTest::newRow("nothing")               << "" << Numbers();
        QTest::newRow("one")                   << "5" << Numbers{5};
        QTest::newRow("several")               << "1-3,7,9-10" << Numbers{1, 2, 3, 7, 9, 10};
        QTest::newRow("order and duplicates")  << "9,1-2,1,9" << Numbers{9, 1, 2, 1, 9};
        QTest::newRow("a range of one")        << "4-4" << Numbers{4};
        QTest::newRow("a range downwards")     << "3-1" << Numbers();
        QTest::newRow("no number")             << "a,2,,1.5,0x10" << Numbers{2};
        QTest::newRow("no end")                << "1-x,1-,2" << Numbers{2};
        QTest::newRow("no start")              << "x-1,-1,2" << Numbers{2};
        QTest::newRow("only a sign")           << "-,--,---" << Numbers();
        QTest::newRow("two signs")             << "1-2-3,2" << Numbers{2};
        QTest::newRow("a negative end")        << "1--3,2" << Numbers{2};
        QTest::newRow("negative")              << "-5" << Numbers();
        QTest::newRow("blanks and plus")       << " 1 - +3 , +7 " << Numbers{1, 2, 3, 7};
        QTest::newRow("no other separator")    << "1;2,3" << Numbers{3};
        QTest::newRow("from 0")                << "0-2" << Numbers{0, 1, 2};
        QTest::newRow("the last number")       << "2147483646-2147483647" << Numbers{INT_MAX - 1, INT_MAX};
        QTest::newRow("beyond the last")       << "2147483648,1-2147483648,3" << Numbers{3};
        // clang-format on
    }

    void splitsNumbers()
    {
        QFETCH(QString, text);
        QFETCH(Numbers, list);

        QCOMPARE(List::splitIndexList(text, ","), list);
    }

    void splitsNumbersWithAnySeparator()
    {
        QCOMPARE(List::splitIndexList("1-3; 7", "; "), (Numbers{1, 2, 3, 7}));
        QCOMPARE(List::splitIndexList("1-3-7", "-"), (Numbers{1, 3, 7}));
        QCOMPARE(List::splitIndexList("1\xe2\x82\xac"
                                      "7",
                                      "\xe2\x82\xac"),
                 (Numbers{1, 7}));
        QCOMPARE(List::splitIndexList("1-37", ""), (Numbers{1, 3, 7}));
        QCOMPARE(List::splitIndexList("1-37", nullptr), (Numbers{1, 3, 7}));
    }

    void passesOverRangesThatNoListShouldHold()
    {
        QCOMPARE(List::splitIndexList("1-2147483647,7", ","), Numbers{7});
        QCOMPARE(List::splitIndexList("7,1-100000000,8-9", ","), (Numbers{7, 8, 9}));
        QCOMPARE(List::splitIndexList("0-100000000,7", ","), Numbers{7});
    }

    void keepsRangesUpToTheLimit()
    {
        const qint64 needed = 2000000000;
        if (sysconf(_SC_AVPHYS_PAGES) * sysconf(_SC_PAGESIZE) < needed)
            QSKIP("The list takes 800 MB, and this machine has less than 2 GB free.");

        const Numbers list = List::splitIndexList("2-100000000,7,8", ",");

        QCOMPARE(list.size(), 100000000);
        QCOMPARE(list.first(), 2);
        QCOMPARE(list[99999998], 100000000);
        QCOMPARE(list.last(), 7);
    }

    void passesOverRangesThatTheMemoryCannotHold()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("The sanitizer ends a program that is out of memory.");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const Limit memory(RLIMIT_AS, memoryInUse() + (150 << 20));

        QCOMPARE(List::splitIndexList("5,1-90000000,7", ","), (Numbers{5, 7}));
    }

    void keepsNoPartOfARange()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("The sanitizer ends a program that is out of memory.");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        // The second one is so short that the list grows step by step, as far as 134 MB.
        const Limit memory(RLIMIT_AS, memoryInUse() + (220 << 20));

        const Numbers list = List::splitIndexList("1-9000000,1-9000000,7", ",");

        const Numbers rest = list.mid(9000000); // without the 7 when the first step is too far
        QVERIFY(rest.isEmpty() || rest == Numbers{7});
    }

    void getsNumbersBackThatAreNotNegative()
    {
        Random random(3);
        int lost = 0;
        for (int round = 0; round < 2000; ++round) {
            Numbers list = random.numbers(random.below(12), random.below(2) == 0 ? -3 : 0, 9);
            if (round % 2 == 0)
                std::sort(list.begin(), list.end());

            const String text = List::joinIndexList(list, ",");
            const Numbers read = List::splitIndexList(text, ",");

            const bool isNegative =
                std::any_of(list.begin(), list.end(), [](int number) { return number < 0; });
            QCOMPARE(text, String(Plainly::joinIndexList(list, ",")));
            QCOMPARE(read, Plainly::splitIndexList(text, ","));
            QCOMPARE(read == list, !isNegative);
            lost += isNegative;
        }
        QVERIFY(lost > 500);
    }

    void readsAnyNumbers()
    {
        Random random(5);
        for (int round = 0; round < 2000; ++round) {
            const QString text = random.text("0123--,, +x", 20);
            for (const char *separator : {",", "-", "", ",,"})
                QCOMPARE(List::splitIndexList(text, separator),
                         Plainly::splitIndexList(text, separator));
        }
    }

    void joinsItems_data()
    {
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QString>("text");

        const auto row = [](const char *name, const QStringList &list) -> QTestData & {
            return QTest::newRow(name) << list;
        };
        // clang-format off
        row("nothing", {})                       << "," << "";
        row("an empty item", {""})               << "," << "";
        row("two empty items", {"", ""})         << "," << ",";
        row("plain", {"a", "b", "c"})            << "," << "a,b,c";
        row("a separator", {"a,b", "c"})         << "," << quoted("'a,b',c");
        row("the separator alone", {",", "c"})   << "," << quoted("',',c");
        row("quotes", {quoted("say 'a'"), "c"})       << "," << quoted("say ''a'',c");
        row("quotes and a separator", {quoted("'a',")}) << "," << quoted("'''a'','");
        row("a quote at the start", {quoted("'ab"), "c"}) << "," << quoted("''ab,c");
        row("a long separator", {"a", "b::c", "d:"}) << "::" << quoted("a::'b::c'::d:");
        row("two quotes as separator", {quoted("a'b"), "c"}) << quoted("''") << quoted("'a''b'''c");
        row("no separator", {"a", "", quoted("b'")})  << "" << quoted("'a''''b'''");
        // clang-format on
    }

    void joinsItems()
    {
        QFETCH(QStringList, list);
        QFETCH(QString, separator);
        QFETCH(QString, text);

        QCOMPARE(List::safeJoin(list, separator), text);
        QCOMPARE(Plainly::safeJoin(list, separator), text);
    }

    void splitsItems_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("items");

        const auto row = [](const char *name, const QString &text, const QStringList &items) {
            QTest::newRow(name) << text << items;
        };
        // clang-format off
        row("nothing", "", {""});
        row("plain", "a,b", {"a", "b"});
        row("an empty item", "a,,b", {"a", "", "b"});
        row("empty at the ends", ",a,", {"", "a", ""});
        row("quoted", quoted("'a,b',c"), {"a,b", "c"});
        row("quoted, several separators", quoted("x,'a,,b,',c"), {"x", "a,,b,", "c"});
        row("quoted at the end", quoted("c,'a,b'"), {"c", "a,b"});
        row("outer quotes", quoted("'a',b"), {quoted("'a'"), "b"});
        row("outer quotes, doubled ones", quoted("'a''b',c"), {quoted("'a'b'"), "c"});
        row("doubled quotes", quoted("say ''a'',b"), {quoted("say 'a'"), "b"});
        row("doubled quotes in a quoted item", quoted("'x''y,b''c',d"), {quoted("x'y,b'c"), "d"});
        row("three quotes", quoted("a'''b,c"), {quoted("a''b"), "c"});
        row("never closed", quoted("x,'a,b,c"), {"x", "a,b,c"});
        row("never closed, with doubled quotes", quoted("'a,b''c,d"), {quoted("a,b'c,d")});
        row("a lone quote opens", quoted("',a',b"), {",a", "b"});
        row("a lone quote closes", quoted("'a,',b"), {"a,", "b"});
        row("two lone quotes", quoted("',',b"), {",", "b"});
        row("a lone quote at the end", quoted("a,'"), {"a", ""});
        row("a quote alone", quoted("'"), {""});
        row("two quotes alone", quoted("'',b"), {quoted("'"), "b"});
        row("a wrapped piece does not close", quoted("'a,'b',c',d"), {quoted("a,'b',c"), "d"});
        row("two quotes do not close", quoted("'a,'',b',c"), {quoted("a,',b"), "c"});
        row("closed only once", quoted("'a,b',c',d"), {"a,b", quoted("c'"), "d"});
        row("an end without a beginning", quoted("a,b',c"), {"a", quoted("b'"), "c"});
        row("a beginning takes in what follows", quoted("''ab,c,d"), {quoted("'ab,c,d")});
        row("a beginning takes in up to an end", quoted("''ab,c',d"), {quoted("'ab,c"), "d"});
        row("a quote after a separator", quoted("'a,''b',c"), {quoted("a,'b',c")});
        row("a quote before a separator", quoted("'a'',b',c"), {quoted("'a'"), quoted("b'"), "c"});
        // clang-format on
    }

    void splitsItems()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, items);

        QCOMPARE(List::safeSplit(text, ",", /*backslashQuotes=*/false), items);
        QCOMPARE(List::safeSplit(text, ",", /*backslashQuotes=*/true), items);
        QCOMPARE(Plainly::safeSplit(text, ",", false), items);
    }

    void splitsItemsWithALongSeparator()
    {
        const QStringList items = {"a::b", "c:", ":d", "e"};

        QCOMPARE(List::safeSplit(quoted("'a::b'::c::::d::e"), "::", false),
                 (QStringList{"a::b", "c", "", "d", "e"}));
        QCOMPARE(List::safeSplit(List::safeJoin({"a::b", "c:", "e"}, "::"), "::", false),
                 (QStringList{"a::b", "c", ":e"})); // the first of the two places
        QCOMPARE(List::safeSplit("aaaaa", "aa", false), (QStringList{"", "", "a"}));
    }

    void makesDoubledQuotesSingleWithoutASeparator()
    {
        const QString text = quoted("'a'',b''''\\''c\\'");

        QCOMPARE(List::safeSplit(text, "", false), QStringList{quoted("'a',b''\\'c\\'")});
        QCOMPARE(List::safeSplit(text, QString(), true), QStringList{quoted("'a',b''\\'c\\'")});
        QCOMPARE(List::safeSplit("", "", true), QStringList{""});
    }

    void readsQuotesWithBackslashes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("items");

        // clang-format off
        QTest::newRow("both ends")     << quoted("\\'a\\',b") << QStringList{quoted("'a'"), "b"};
        QTest::newRow("inside")        << quoted("\\'a\\'b\\'") << QStringList{quoted("'a\\'b'")};
        QTest::newRow("both and none between") << quoted("\\'\\',b") << QStringList{quoted("''"), "b"};
        QTest::newRow("one is both")   << quoted("\\',b") << QStringList{quoted("'"), "b"};
        QTest::newRow("doubled first") << quoted("\\''a\\'',b") << QStringList{quoted("'a'"), "b"};
        QTest::newRow("in a quoted item") << quoted("'\\'a,b\\'',c") << QStringList{quoted("'a,b'"), "c"};
        // clang-format on
    }

    void readsQuotesWithBackslashes()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, items);

        QCOMPARE(List::safeSplit(text, ",", /*backslashQuotes=*/true), items);
        QVERIFY(List::safeSplit(text, ",", /*backslashQuotes=*/false) != items);
    }

    void leavesABackslashQuoteAtOneEnd()
    {
        const QString text = quoted("\\'a,b\\',c\\'d");
        const QStringList items = {quoted("\\'a"), quoted("b\\'"), quoted("c\\'d")};

        QCOMPARE(List::safeSplit(text, ",", /*backslashQuotes=*/true), items);
        QCOMPARE(List::safeSplit(text, ",", /*backslashQuotes=*/false), items);
    }

    void splitsAnyText()
    {
        Random random(6);
        for (int round = 0; round < 20000; ++round) {
            const QString text = random.text("\"\"\",,,;ab\\", 16);
            for (const char *separator : {",", ",,", "\"", "\"\"", ",\"", ""}) {
                for (const bool backslashQuotes : {false, true})
                    QCOMPARE(List::safeSplit(text, separator, backslashQuotes),
                             Plainly::safeSplit(text, separator, backslashQuotes));
            }
        }
    }

    void joinsAnyItems()
    {
        Random random(7);
        for (int round = 0; round < 5000; ++round) {
            const QStringList list = random.texts(random.below(6), "\"\",;ab\\", 6);
            for (const char *separator : {",", ",;", "\"", "\"\"", ""})
                QCOMPARE(List::safeJoin(list, separator), Plainly::safeJoin(list, separator));
        }
    }

    void getsItemsBackExactlyWhereNoQuoteIsAtAnEdge()
    {
        // Whether an item comes back, by its parts between separators.
        const auto comesBack = [](const QString &item) {
            const QStringList parts = item.split(",");
            if (parts.size() == 1)
                return !item.startsWith('"') || item.endsWith('"');
            for (const QString &part : parts.mid(1, parts.size() - 2)) {
                if (part.endsWith('"') && !part.startsWith('"'))
                    return false;
            }
            return !parts.first().endsWith('"') && !parts.last().startsWith('"');
        };
        Random random(8);
        int lost = 0;
        for (int round = 0; round < 20000; ++round) {
            // At least one item, as none and an empty one are the same text.
            const QStringList list = random.texts(random.from(1, 4), "\",ab;", 6);

            const QStringList read = List::safeSplit(List::safeJoin(list, ","), ",", false);

            // Behind the last item there is nothing that it could take in.
            const bool allComeBack = std::all_of(list.begin(), list.end() - 1, comesBack) &&
                                     (comesBack(list.last()) || !list.last().contains(','));
            QVERIFY2((read == list) == allComeBack, qPrintable(list.join(" | ")));
            lost += !allComeBack;
        }
        QVERIFY(lost > 5000);
        QVERIFY(lost < 15000);
    }

    void bearsAnyCharacters()
    {
        const QString odd =
            QString("a\",1-") + QChar(0) + QChar(0xd800) + QChar(0xdc00) + QChar(0xffff);
        Random random(16);
        for (int round = 0; round < 2000; ++round) {
            const QString text = random.text(odd, 20);
            const QStringList list = random.texts(5, odd, 5);
            for (const QString &separator :
                 {QString(QChar(0)), QString(QChar(0xd800)), QString(",")}) {
                QCOMPARE(List::safeSplit(text, separator, true),
                         Plainly::safeSplit(text, separator, true));
                QCOMPARE(List::safeJoin(list, separator), Plainly::safeJoin(list, separator));
            }
            QCOMPARE(List::splitIndexList(text, ","), Plainly::splitIndexList(text, ","));
        }
    }

    // Where the time grew with the square of the length, each of these would take minutes or hours.
    void bearsLongLists()
    {
        const int size = 1000000;
        const QString open = "\"" + QString("a,").repeated(size);
        const QString quotes = QString(10 * size, '"');
        Numbers numbers;
        Numbers others;
        for (int i = 0; i < size / 10; ++i) {
            numbers.append(2 * i);
            others.append(2 * (size - i) + 1);
        }
        Numbers merged = numbers;
        List::mergeSort(others, merged);

        QCOMPARE(List::safeSplit(open, ",", false), QStringList{open.mid(1)});
        QCOMPARE(List::safeSplit(quotes, ",", true), QStringList{quotes.left(5 * size)});
        QCOMPARE(List::safeJoin({quotes}, ","), quotes + quotes);
        QCOMPARE(List::splitIndexList(List::joinIndexList(numbers, ","), ","), numbers);
        QCOMPARE(List::mergeIndexList(numbers, others).size(), 2 * numbers.size());
        QCOMPARE(List::applyIndexList(others, others), others);
        QCOMPARE(merged.size(), 2 * numbers.size());
        QCOMPARE(merged.last(), others.first());
    }

    void doesNotGetAnItemBackThatBeginsWithAQuote()
    {
        const QStringList swallowed = {"x", "\"ab", "c", "d"};
        const QStringList closed = {"\"ab", "c", "d\"", "e"};
        const QStringList wrapped = {"\"ab\"", "c"};
        const QStringList behindASeparator = {"a,\"b", "c"};
        const QStringList beforeASeparator = {"a\",b", "c"};
        const auto there = [](const QStringList &list) {
            return List::safeSplit(List::safeJoin(list, ","), ",", false);
        };

        QCOMPARE(there(swallowed), (QStringList{"x", "\"ab,c,d"}));
        QCOMPARE(there(closed), (QStringList{"\"ab,c,d\"", "e"}));
        QCOMPARE(there(wrapped), wrapped);
        QCOMPARE(there(behindASeparator), (QStringList{"a,\"b\",c"}));
        QCOMPARE(there(beforeASeparator), (QStringList{"\"a\"", "b\"", "c"}));
    }

    void marksWhatOneListHasAlone_data()
    {
        QTest::addColumn<Numbers>("a");
        QTest::addColumn<Numbers>("b");
        QTest::addColumn<Numbers>("merged");

        // clang-format off
        QTest::newRow("some in both")    << Numbers{1, 2} << Numbers{2, 3} << Numbers{-1, 2, -3};
        QTest::newRow("nothing")         << Numbers() << Numbers() << Numbers();
        QTest::newRow("only the first")  << Numbers{2, 1, 2} << Numbers() << Numbers{2, 1, 2};
        QTest::newRow("only the second") << Numbers() << Numbers{2, 1, -2} << Numbers{2, 1, -2};
        QTest::newRow("the same")        << Numbers{3, 1} << Numbers{1, 3} << Numbers{3, 1};
        QTest::newRow("nothing in both") << Numbers{2, 1} << Numbers{4, 3} << Numbers{-2, -1, -4, -3};
        QTest::newRow("the first twice") << Numbers{1, 1, 2} << Numbers{2} << Numbers{-1, -1, 2};
        QTest::newRow("the second twice") << Numbers{2} << Numbers{3, 2, 3, 2} << Numbers{2, -3, -3};
        QTest::newRow("negative in the second") << Numbers{1} << Numbers{-3, 3, -3} << Numbers{-1, 3, 3};
        QTest::newRow("negative of the first") << Numbers{1} << Numbers{-1} << Numbers{-1};
        QTest::newRow("0")               << Numbers{0, 1} << Numbers{0, 2} << Numbers{0, -1, -2};
        QTest::newRow("the ends of the scale") << Numbers{INT_MIN, INT_MAX} << Numbers{1}
                                         << Numbers{INT_MIN, -INT_MAX, -1};
        // clang-format on
    }

    void marksWhatOneListHasAlone()
    {
        QFETCH(Numbers, a);
        QFETCH(Numbers, b);
        QFETCH(Numbers, merged);

        QCOMPARE(List::mergeIndexList(a, b), merged);
    }

    void appliesWhatWasMarked_data()
    {
        QTest::addColumn<Numbers>("selection");
        QTest::addColumn<Numbers>("merged");
        QTest::addColumn<Numbers>("applied");

        // clang-format off
        QTest::newRow("some")             << Numbers{1, 4} << Numbers{-1, 2, -3} << Numbers{1, 2};
        QTest::newRow("nothing")          << Numbers() << Numbers() << Numbers();
        QTest::newRow("no selection")     << Numbers() << Numbers{3, -1, 2} << Numbers{3, 2};
        QTest::newRow("no marks")         << Numbers{1, 2} << Numbers() << Numbers();
        QTest::newRow("either sign")      << Numbers{3, 2, 1} << Numbers{-1, -2, 3} << Numbers{3, 2, 1};
        QTest::newRow("order of both")    << Numbers{5, 4} << Numbers{9, 4, 8, -5} << Numbers{5, 4, 9, 8};
        QTest::newRow("below 1")          << Numbers{0, -1, -2} << Numbers{0, 1, -2} << Numbers{1};
        QTest::newRow("twice selected")   << Numbers{2, 2} << Numbers{2} << Numbers{2, 2};
        QTest::newRow("twice marked")     << Numbers{1} << Numbers{2, 2, 1, 1} << Numbers{1, 2};
        QTest::newRow("the ends of the scale") << Numbers{INT_MIN, INT_MAX} << Numbers{INT_MIN, -INT_MAX}
                                          << Numbers{INT_MAX};
        // clang-format on
        QTest::newRow("the ends of the scale, marked")
            << Numbers{INT_MAX} << Numbers{INT_MAX} << Numbers{INT_MAX};
    }

    void appliesWhatWasMarked()
    {
        QFETCH(Numbers, selection);
        QFETCH(Numbers, merged);
        QFETCH(Numbers, applied);

        QCOMPARE(List::applyIndexList(selection, merged), applied);
    }

    void mergesAsTheFirstListOrders_data()
    {
        QTest::addColumn<Numbers>("from");
        QTest::addColumn<Numbers>("into");
        QTest::addColumn<Numbers>("merged");

        // clang-format off
        QTest::newRow("before a shared one") << Numbers{1, 2, 3} << Numbers{3, 5} << Numbers{1, 2, 3, 5};
        QTest::newRow("by value")           << Numbers{2, 9} << Numbers{1, 5} << Numbers{1, 2, 5, 9};
        QTest::newRow("nothing")            << Numbers() << Numbers() << Numbers();
        QTest::newRow("into nothing")       << Numbers{3, 1, 3} << Numbers() << Numbers{3, 1, 3};
        QTest::newRow("from nothing")       << Numbers() << Numbers{3, 1, 3} << Numbers{3, 1, 3};
        QTest::newRow("the same")           << Numbers{1, 2} << Numbers{2, 1} << Numbers{2, 1};
        QTest::newRow("order against value") << Numbers{9, 1} << Numbers{1, 2} << Numbers{9, 1, 2};
        QTest::newRow("the next shared one") << Numbers{7, 5, 3} << Numbers{3, 5} << Numbers{3, 7, 5};
        QTest::newRow("an unsorted target") << Numbers{4} << Numbers{3, 9, 1, 5} << Numbers{3, 4, 9, 1, 5};
        QTest::newRow("no greater one")     << Numbers{4} << Numbers{3, 2} << Numbers{3, 2, 4};
        QTest::newRow("twice in the target") << Numbers{7, 5} << Numbers{1, 5, 2, 5} << Numbers{1, 7, 5, 2, 5};
        QTest::newRow("twice in the source") << Numbers{7, 8, 7} << Numbers{1} << Numbers{1, 8, 7};
        QTest::newRow("merged elements count") << Numbers{6, 7} << Numbers{5, 8} << Numbers{5, 6, 7, 8};
        QTest::newRow("the ends of the scale") << Numbers{INT_MAX, INT_MIN} << Numbers{0}
                                            << Numbers{INT_MIN, 0, INT_MAX};
        // clang-format on
    }

    void mergesAsTheFirstListOrders()
    {
        QFETCH(Numbers, from);
        QFETCH(Numbers, into);
        QFETCH(Numbers, merged);

        List::mergeSort(from, into);

        QCOMPARE(into, merged);
    }

    void mergesAListIntoItself()
    {
        Numbers list = {3, 1, 3, 2};

        List::mergeSort(list, list);

        QCOMPARE(list, (Numbers{3, 1, 3, 2}));
    }

    void treatsAnySelections()
    {
        Random random(9);
        for (int round = 0; round < 5000; ++round) {
            const int range = random.from(1, 20);
            const Numbers a = random.numbers(random.below(15), -range, range);
            const Numbers b = random.numbers(random.below(15), -range, range);
            Numbers merged = b;
            Numbers plainlyMerged = b;

            List::mergeSort(a, merged);
            Plainly::mergeSort(a, plainlyMerged);

            QCOMPARE(List::mergeIndexList(a, b), Plainly::mergeIndexList(a, b));
            QCOMPARE(List::applyIndexList(a, b), Plainly::applyIndexList(a, b));
            QCOMPARE(merged, plainlyMerged);
        }
    }

    void takesMemoryForTheResultOnlyWhenNumbersAreSorted()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        QVector<double> values;
        for (int i = 0; i < 100000; ++i)
            values.append(i / 3);
        const int resultBytes = values.size() * static_cast<int>(sizeof(void *));

        FailingMemory memory(resultBytes + 1000, FailingMemory::Larger);
        const Numbers ascending = List::indexSort(values, true);
        const Numbers descending = List::indexSort(values, false);
        memory.end();

        QVERIFY(!memory.hasFailed());
        QCOMPARE(ascending.size(), values.size());
        for (int i = 0; i < values.size(); ++i) {
            QCOMPARE(ascending[i], i);
            QCOMPARE(descending[i], values.size() - 1 - i);
        }
    }

    void mergesLongLists()
    {
        Random random(10);
        for (int round = 0; round < 20; ++round) {
            const int range = random.below(2) == 0 ? 300 : 3000;
            const Numbers from = random.numbers(random.below(1500), -range, range);
            Numbers into = random.numbers(random.below(1500), -range, range);
            Numbers plainlyInto = into;

            List::mergeSort(from, into);
            Plainly::mergeSort(from, plainlyInto);

            QCOMPARE(into, plainlyInto);
        }
    }

    void writesIntegers()
    {
        QCOMPARE(List::format(Numbers()), QStringList());
        QCOMPARE(List::format(Numbers{0, -7, INT_MIN, INT_MAX}),
                 (QStringList{"0", "-7", "-2147483648", "2147483647"}));
    }

    void writesNumbers_data()
    {
        QTest::addColumn<char>("format");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QStringList>("texts"); // of 1234.5, -0.125 and 1e30

        // clang-format off
        QTest::newRow("general")        << 'g' << 6 << QStringList{"1234.5", "-0.125", "1e+30"};
        QTest::newRow("general, short") << 'g' << 3 << QStringList{"1.23e+03", "-0.125", "1e+30"};
        QTest::newRow("exponent")       << 'E' << 1 << QStringList{"1.2E+03", "-1.3E-01", "1.0E+30"};
        QTest::newRow("plain") << 'f' << 2 << QStringList{"1234.50", "-0.13", "1000000000000000019884624838656.00"};
        // clang-format on
    }

    void writesNumbers()
    {
        QFETCH(char, format);
        QFETCH(int, precision);
        QFETCH(QStringList, texts);
        const QList<double> values = {1234.5, -0.125, 1e30};

        QCOMPARE(List::format(values, format, precision), texts);
        QCOMPARE(List::format(values.toVector(), format, precision), texts);
    }

    void writesNoNumbers()
    {
        QCOMPARE(List::format(QList<double>(), 'g', 6), QStringList());
        QCOMPARE(List::format(QVector<double>(), 'g', 6), QStringList());
        QCOMPARE(List::format(QVector<double>{notANumber, -infinity}, 'f', 1),
                 (QStringList{"nan", "-inf"}));
    }
};

QTEST_GUILESS_MAIN(tst_List)
#include "tst_List.moc"
