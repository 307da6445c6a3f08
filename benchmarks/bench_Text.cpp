// Numbers and texts of StringUtil beside what Qt and fmt do, and beside themselves at a tenth of
// the size: what is linear takes no more than ten times as long. benchmarks/report tells how names
// and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/base/NumberParse_p.h"
#include "utils/base/NumberText_p.h"
#include "utils/text/StringUtil.h"

#include <QLocale>

#include <fast_float/fast_float.h>
#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

using benchmark::State;
using Data::String;
using Utils::StringUtil;

// Inputs

enum class Kind
{
    measured,
    decimal,
    whole,
    any
};

static std::vector<double> makeNumbers(Kind kind)
{
    std::mt19937_64 random(1);
    std::vector<double> numbers(1000);
    for (double &number : numbers) {
        const double unit = std::ldexp(static_cast<double>(random() >> 11), -53);
        switch (kind) {
        case Kind::measured: // all digits there are
            number = (unit - 0.5) * 2000.0;
            break;
        case Kind::decimal: // a few
            number = std::round(unit * 2000000.0) / 1000.0 - 1000.0;
            break;
        case Kind::whole:
            number = std::round(unit * 20000.0) - 10000.0;
            break;
        case Kind::any: // of any size
            number = std::ldexp(unit, static_cast<int>(random() % 1200) - 600);
            break;
        }
    }
    return numbers;
}

/// Random picks of \p pieces, joined, up to \p size characters.
static String makeText(int size, const QStringList &pieces)
{
    std::mt19937 random(1);
    QString text;
    text.reserve(size + 50);
    while (text.size() < size)
        text += pieces[static_cast<int>(random() % static_cast<unsigned int>(pieces.size()))];
    return text;
}

// Numbers

/// Adds a pair that turns each of \p numbers into a text.
template <typename Ours, typename Peer>
static void addNumbers(const std::string &topic, const std::string &detail, double target,
                       const std::vector<double> &numbers, Ours ours, Peer peer)
{
    const auto each = [numbers](auto toText) {
        return [numbers, toText](State &state) {
            for (auto _ : state) {
                for (const double number : numbers)
                    benchmark::DoNotOptimize(toText(number));
            }
        };
    };
    addPair(topic, detail, target, each(ours), each(peer));
}

static void addNumberTexts(const std::string &kindName, Kind kind)
{
    const std::vector<double> numbers = makeNumbers(kind);
    const auto ours = [](double number) { return Utils::numberText(number); };
    const auto qt = [](double number) { return QString::number(number); };
    const auto fmt = [](double number) { return fmt::format("{:.6g}", number); };
    addNumbers("number to text, 6 digits", kindName + " to QString::number", 0.45, numbers, ours,
               qt);
    addNumbers("number to text, 6 digits", kindName + " to fmt", 0.0, numbers, ours, fmt);
}

/// Adds pairs that turn the shortest texts of \p kind into numbers.
static void addNumberParsing(const std::string &kindName, Kind kind)
{
    std::vector<QString> texts;
    std::vector<QByteArray> bytes;
    for (const double number : makeNumbers(kind)) {
        texts.push_back(QString::number(number, 'g', QLocale::FloatingPointShortest));
        bytes.push_back(texts.back().toLatin1());
    }
    const auto each = [](const auto &inputs, auto toNumber) {
        return [inputs, toNumber](State &state) {
            for (auto _ : state) {
                for (const auto &input : inputs)
                    benchmark::DoNotOptimize(toNumber(input));
            }
        };
    };
    const auto ours = each(bytes, [](const QByteArray &text) { return Utils::parseNumber(text); });
    addPair("text to number", kindName + " to strtod", 0.45, ours,
            each(bytes, [](const QByteArray &text) { return std::strtod(text, nullptr); }));
    addPair("text to number", kindName + " to fast_float", 0.0, ours,
            each(bytes, [](const QByteArray &text) {
                double number = 0.0;
                fast_float::from_chars(text.begin(), text.end(), number);
                return number;
            }));
    addPair("text to number", kindName + " to QByteArray::toDouble", 0.0, ours,
            each(bytes, [](const QByteArray &text) { return text.toDouble(); }));
    addPair("text to number", kindName + " to QString::toDouble", 0.0,
            each(texts, [](const QString &text) { return Utils::parseNumber(text); }),
            each(texts, [](const QString &text) { return text.toDouble(); }));
}

static void addDisplay(const std::string &localeName, const QLocale &locale)
{
    const std::vector<double> numbers = makeNumbers(Kind::decimal);
    const auto each = [=](auto toText) {
        return [=](State &state) {
            QLocale::setDefault(locale);
            for (auto _ : state) {
                for (const double number : numbers)
                    benchmark::DoNotOptimize(toText(number));
            }
            QLocale::setDefault(QLocale::c());
        };
    };
    addPair("display", localeName, 1.1,
            each([](double number) { return StringUtil::display(number); }),
            each([](double number) { return QLocale().toString(number, 'g', 6); }));
}

// Texts

/// Adds \p operation on a text of ten times the size beside ten times that on the text of the size.
template <typename Operation>
static void addScaling(const std::string &topic, const QStringList &pieces, Operation operation,
                       double target = 1.1)
{
    // More than the near caches hold on one side, and on the other less than the memory manager
    // takes from the system anew each time: neither is the operation's own cost.
    const int size = 400000;
    const String small = makeText(size, pieces);
    const String large = makeText(10 * size, pieces);
    const auto onLarge = [=](State &state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(operation(large));
    };
    const auto onSmall = [=](State &state) {
        for (auto _ : state) {
            for (int i = 0; i < 10; ++i)
                benchmark::DoNotOptimize(operation(small));
        }
    };
    addPair(topic, "10 x the size to 10 x the work", target, onLarge, onSmall);
}

static QStringList differentEntities()
{
    QStringList entities;
    for (int codePoint = 33; codePoint < 50000; ++codePoint) {
        if (codePoint != '&' && codePoint != ';' && !QChar(codePoint).isSurrogate())
            entities += QStringLiteral("&#%1; ").arg(codePoint);
    }
    return entities;
}

int main(int argc, char **argv)
{
    QLocale::setDefault(QLocale::c());

    addNumberTexts("measured", Kind::measured);
    addNumberTexts("decimal", Kind::decimal);
    addNumberTexts("whole", Kind::whole);
    addNumberTexts("any size", Kind::any);
    addNumberParsing("measured", Kind::measured);
    addNumberParsing("decimal", Kind::decimal);
    addNumberParsing("whole", Kind::whole);
    addNumberParsing("any size", Kind::any);
    addDisplay("C", QLocale::c());
    addDisplay("de_DE", QLocale(QStringLiteral("de_DE")));

    addScaling("escape", {"word", " ", "\\", "\t", "a:b"},
               [](const String &text) { return StringUtil::escape(text, " \t\n:", " ").size(); });
    addScaling("escape, backslashes", {"\\"},
               [](const String &text) { return StringUtil::escape(text, "", "").size(); });
    addScaling(
        "unescape", {"word", "\\s", "\\\\", "\\t"},
        [](const String &text) { return StringUtil::unescape(text, " \t\n").size(); }, 0.0);
    addScaling("replaceSymbol, few entities", {"word ", "&alpha;", "&#65;", "&lt;"},
               [](const String &text) { return StringUtil::replaceSymbol(text).size(); });
    addScaling("replaceSymbol, many entities", differentEntities(),
               [](const String &text) { return StringUtil::replaceSymbol(text).size(); });
    addScaling("combineLines", {"word ", "Word ", "\n", "12 ", "- "}, [](const String &text) {
        return StringUtil::combineLines(text, "\n", "<br>").size();
    });
    addScaling(
        "removeTags", {"word ", "<b>", "<a href='x'>"},
        [](const String &text) { return StringUtil::removeTags(text).size(); }, 0.0);
    return runBenchmarks(argc, argv);
}
