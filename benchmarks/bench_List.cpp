// Lists beside the sorts of the standard library and of GSL, and beside the same operation written
// the obvious way. benchmarks/report tells how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/text/List.h"

#include <gsl/gsl_sort.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

using benchmark::State;
using Utils::List;

static const int many = 1000000;

/// Random numbers from 0 to \p limit - 1, the same in each run.
static QVector<int> randomNumbers(int size, int limit)
{
    std::mt19937 engine(1);
    QVector<int> numbers;
    numbers.reserve(size);
    for (int i = 0; i < size; ++i)
        numbers.append(static_cast<int>(engine() % static_cast<unsigned int>(limit)));
    return numbers;
}

static QVector<double> randomValues()
{
    std::mt19937_64 engine(1);
    std::uniform_real_distribution<double> distribution(-1e6, 1e6);
    QVector<double> values;
    values.reserve(many);
    for (int i = 0; i < many; ++i)
        values.append(distribution(engine));
    return values;
}

static QVector<double> fewValues()
{
    QVector<double> values;
    for (const int number : randomNumbers(many, 100))
        values.append(number / 7.0);
    return values;
}

static void sortOurs(State &state, const QVector<double> &values)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(List::indexSort(values, /*ascending=*/true));
}

static void sortStably(State &state, const QVector<double> &values)
{
    for (auto _ : state) {
        std::vector<int> positions(values.size());
        std::iota(positions.begin(), positions.end(), 0);
        std::stable_sort(positions.begin(), positions.end(),
                         [&](int a, int b) { return values[a] < values[b]; });
        benchmark::DoNotOptimize(positions.data());
    }
}

/// Checks that the values are sorted, and fills a list: the least that a call has to do.
static void checkAndFill(State &state, const QVector<double> &values)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::is_sorted(values.begin(), values.end()));
        QList<int> positions;
        positions.reserve(values.size());
        for (int i = 0; i < values.size(); ++i)
            positions.append(i);
        benchmark::DoNotOptimize(positions);
    }
}

static void sortByGsl(State &state, const QVector<double> &values)
{
    const auto size = static_cast<std::size_t>(values.size());
    for (auto _ : state) {
        std::vector<std::size_t> positions(size);
        gsl_sort_index(positions.data(), values.data(), 1, size);
        benchmark::DoNotOptimize(positions.data());
    }
}

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

// A quicksort that swaps whole items.
static void sortItems(Item *start, Item *end)
{
    if (end - start < 2)
        return;
    Item *const centre = start + (end - start) / 2;
    Item *const last = end - 1;
    if (isBefore(*last, *start))
        std::swap(*last, *start);
    if (isBefore(*centre, *start))
        std::swap(*centre, *start);
    if (isBefore(*last, *centre))
        std::swap(*last, *centre);
    std::swap(*centre, *last);
    Item *const middle =
        std::partition(start, last, [&](const Item &item) { return isBefore(item, *last); });
    std::swap(*middle, *last);
    sortItems(start, middle);
    sortItems(middle + 1, end);
}

template <typename MakeItem>
static void sortPlainly(State &state, int size, MakeItem makeItem)
{
    for (auto _ : state) {
        std::vector<Item> items;
        for (int i = 0; i < size; ++i)
            items.push_back(makeItem(i));
        sortItems(items.data(), items.data() + items.size());
        QList<int> positions;
        for (const Item &item : items)
            positions.append(item.position);
        benchmark::DoNotOptimize(positions);
    }
}

static void addNumberSorts(const std::string &name, const QVector<double> &values, double target)
{
    const std::string topic = "indexSort of 1,000,000 doubles, " + name;
    const auto ours = [=](State &state) { sortOurs(state, values); };
    addPair(topic, "beside std::stable_sort", target, ours,
            [=](State &state) { sortStably(state, values); });
    addPair(topic, "beside gsl_sort_index", name == "random" ? 0.2 : 0.0, ours,
            [=](State &state) { sortByGsl(state, values); });
    addPair(topic, "beside items in a quicksort", 0.0, ours, [=](State &state) {
        sortPlainly(state, values.size(), [&](int i) {
            return Item{i, values[i], QString(), false};
        });
    });
}

static void addTextSorts(const std::string &name, const QStringList &texts, bool caseSensitive)
{
    const std::string topic = "indexSort of 100,000 texts, " + name;
    const auto ours = [=](State &state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(List::indexSort(texts, /*ascending=*/true, caseSensitive));
    };
    std::vector<std::string> bytes;
    for (const QString &text : texts)
        bytes.push_back((caseSensitive ? text : text.toLower()).toStdString());

    addPair(topic, "beside std::sort of std::string", 0.35, ours, [=](State &state) {
        for (auto _ : state) {
            state.PauseTiming();
            std::vector<std::string> sorted = bytes;
            state.ResumeTiming();
            std::sort(sorted.begin(), sorted.end());
            benchmark::DoNotOptimize(sorted.data());
        }
    });
    addPair(topic, "beside items in a quicksort", 0.0, ours, [=](State &state) {
        sortPlainly(state, texts.size(), [&](int i) {
            return Item{i, 0.0, texts[i], caseSensitive};
        });
    });
}

static QStringList textsOf(const QVector<int> &numbers, const QString &pattern)
{
    QStringList texts;
    for (const int number : numbers)
        texts.append(pattern.arg(number));
    return texts;
}

/// The time of \p operation at ten times the size, beside ten times that at \p size. Larger inputs
/// than these take memory that the system has to clear first, where smaller ones find theirs.
template <typename MakeInput, typename Operation>
static void addGrowth(const std::string &topic, int size, MakeInput makeInput, Operation operation)
{
    const auto run = [=](State &state, int inputSize, int times) {
        const auto input = makeInput(inputSize);
        for (auto _ : state) {
            for (int i = 0; i < times; ++i)
                benchmark::DoNotOptimize(operation(input));
        }
    };
    addPair(
        topic, "once at ten times the size", 1.1, [=](State &state) { run(state, 10 * size, 1); },
        [=](State &state) { run(state, size, 10); });
}

int main(int argc, char **argv)
{
    const QVector<double> random = randomValues();
    QVector<double> sorted = random;
    std::sort(sorted.begin(), sorted.end());
    addNumberSorts("random", random, 0.4);
    addNumberSorts("100 different", fewValues(), 0.0);
    addNumberSorts("sorted", sorted, 0.6);
    addPair(
        "indexSort of 1,000,000 doubles, sorted", "beside a check and a fill", 1.2,
        [=](State &state) { sortOurs(state, sorted); },
        [=](State &state) { checkAndFill(state, sorted); });

    const QVector<int> numbers = randomNumbers(100000, 10000000);
    addTextSorts("short", textsOf(numbers, QStringLiteral("%1")), true);
    addTextSorts("paths", textsOf(numbers, QStringLiteral("/data/results/Run %1.csv")), true);
    addTextSorts("paths without case", textsOf(numbers, QStringLiteral("/data/results/Run %1.csv")),
                 false);

    const int selected = 20000;
    const QList<int> first = randomNumbers(selected, 2 * selected).toList();
    QList<int> second = first;
    std::reverse(second.begin(), second.end());
    for (int i = 0; i < selected; i += 2)
        second[i] += 2 * selected;
    const QList<int> merged = List::mergeIndexList(first, second);
    const double limitInNs = 10e6;
    addLimited("selections of 20,000", "mergeIndexList", limitInNs, [=](State &state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(List::mergeIndexList(first, second));
    });
    addLimited("selections of 20,000", "applyIndexList", limitInNs, [=](State &state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(List::applyIndexList(first, merged));
    });
    addLimited("selections of 20,000", "mergeSort", limitInNs, [=](State &state) {
        for (auto _ : state) {
            QList<int> into = second;
            List::mergeSort(first, into);
            benchmark::DoNotOptimize(into);
        }
    });

    const QString comma = QStringLiteral(",");
    const auto split = [=](const QString &text) {
        return List::safeSplit(text, comma, /*backslashQuotes=*/true);
    };
    addGrowth(
        "safeSplit of quoted items", 30000,
        [=](int size) {
            return List::safeJoin(textsOf(randomNumbers(size, many), QStringLiteral("a,%1,b")),
                                  comma);
        },
        split);
    addGrowth(
        "safeSplit of an item that never closes", 100000,
        [](int size) { return QStringLiteral("\"") + QStringLiteral("ab,").repeated(size); },
        split);
    addGrowth(
        "safeSplit of doubled quotes", 100000,
        [](int size) { return QStringLiteral("\"\"").repeated(size); }, split);
    addGrowth(
        "safeJoin of quotes", 100000,
        [](int size) { return QStringList(QStringLiteral("\"").repeated(size)); },
        [=](const QStringList &items) { return List::safeJoin(items, comma); });
    addGrowth(
        "joinIndexList", 30000, [](int size) { return randomNumbers(size, many).toList(); },
        [](const QList<int> &list) { return List::joinIndexList(list, ","); });
    addGrowth(
        "splitIndexList", 30000,
        [](int size) { return List::joinIndexList(randomNumbers(size, many).toList(), ","); },
        [](const Data::String &text) { return List::splitIndexList(text, ","); });
    return runBenchmarks(argc, argv);
}
