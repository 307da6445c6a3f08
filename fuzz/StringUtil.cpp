// Escapes, brackets, lists of properties and texts for people.

#include "utils/text/StringUtil.h"

#include "fuzz/Input.h"

using Data::String;
using Utils::StringUtil;

static bool areDifferent(const String &characters)
{
    for (int i = 0; i < characters.size(); ++i) {
        if (characters.indexOf(characters.at(i), i + 1) >= 0)
            return false;
    }
    return true;
}

static void checkEscapes(const String &characters, const String &edges, const String &text)
{
    StringUtil::unescape(text, characters);
    // A backslash among them doubles all: some of them make a text of a gigabyte.
    const int most = 8;
    if ((characters + edges).count(QLatin1Char('\\')) > most)
        return;
    const String escaped = StringUtil::escape(text, characters, edges);
    const String all = characters + edges;
    const auto hasBoth = [&](QLatin1Char character, QLatin1Char letter) {
        return all.contains(character) && all.contains(letter);
    };
    if (!areDifferent(all) || all.contains(QLatin1Char('\\')) ||
        hasBoth(QLatin1Char(' '), QLatin1Char('s')) ||
        hasBoth(QLatin1Char('\t'), QLatin1Char('t')) ||
        hasBoth(QLatin1Char('\n'), QLatin1Char('n')))
        return;
    if (text.contains(QLatin1String("SLASH")) || (text.size() == 1 && edges.contains(text)))
        return; // what does not come back
    requireEqual<QString>(StringUtil::unescape(escaped, all), text, "an escaped text comes back");
}

static void checkBrackets(const String &text)
{
    for (int i = -1; i <= qMin(text.size(), 64); ++i) {
        const int match = StringUtil::findMatch(text, i);
        require(match == -1 || (match >= i && match < text.size()), "a bracket is in the text");
        require(StringUtil::extractMatch(text, i).size() <= text.size(), "and what it holds");
    }
}

static void checkProperties(Input &input)
{
    QMap<String, String> map;
    bool comesBack = true;
    while (!input.isAtEnd()) {
        const String key = textOf(input.line());
        const String value = textOf(input.line());
        map.insert(key, value);
        const QLatin1String border("][");
        comesBack &=
            !key.contains(QLatin1Char('=')) && !key.contains(border) && !value.contains(border);
    }
    const String text = StringUtil::joinProps(map);
    const QMap<String, String> read = StringUtil::splitProps2(text);
    StringUtil::propKeys(text);
    StringUtil::propValues(text);
    if (comesBack && !map.isEmpty())
        requireEqual(read, map, "properties come back");
    // Whatever was read comes back.
    for (const char *key : {"][", "=", "["}) {
        for (const String &held : read.keys() + read.values()) {
            if (held.contains(QLatin1String(key)))
                return;
        }
    }
    if (!read.isEmpty())
        requireEqual(StringUtil::splitProps2(StringUtil::joinProps(read)), read,
                     "what was read comes back");
}

static void checkPairs(const String &text, char pairSeparator, char keySeparator)
{
    const auto map = StringUtil::splitStringMap(text, pairSeparator, keySeparator);
    StringUtil::stringMapKeys(text, pairSeparator, keySeparator);
    StringUtil::joinStringMap(map, pairSeparator, keySeparator);
    requireEqual(StringUtil::mapValues(map).size(), map.size(), "each key has a value");
}

static void checkTexts(const String &text)
{
    StringUtil::makeLabel(text, /*keepCase=*/false);
    StringUtil::makeLabel(text, /*keepCase=*/true);
    StringUtil::combineLines(text, QStringLiteral("\n"), QStringLiteral("<br>"));
    StringUtil::replaceSymbol(text);
    require(StringUtil::splitLink(text).size() >= 3, "a link has three parts");
    StringUtil::formatTable(text, QStringLiteral(": "), 2);
    const String plain = StringUtil::removeTags(text);
    requireEqual<QString>(StringUtil::removeTags(plain), plain, "no tags are left");

    const double number = StringUtil::displayNumber(text);
    StringUtil::display(number);
    StringUtil::display(Data::Variant(text));
    StringUtil::output(number, 'f', 3);
    StringUtil::formatPercent(number, 2);
    const QStringList lines = text.split(QLatin1Char('\n'));
    StringUtil::findInList(lines.last(), lines, lines.first(), lines.size() / 2);
    StringUtil::joinLimit(lines, 3, QStringLiteral(", "), /*exact=*/false);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    switch (input.choice(5)) {
    case 0: {
        const String characters = textOf(input.line());
        const String edges = textOf(input.line());
        checkEscapes(characters, edges, textOf(input.rest()));
        break;
    }
    case 1:
        checkBrackets(textOf(input.rest()));
        break;
    case 2:
        checkProperties(input);
        break;
    case 3: {
        const char separators[] = {'[', ']', ';', ',', '=', '\n'};
        const char pairSeparator = separators[input.choice(6)];
        const char keySeparator = separators[input.choice(6)];
        checkPairs(textOf(input.rest()), pairSeparator, keySeparator);
        break;
    }
    default:
        checkTexts(textOf(input.rest()));
    }
    return 0;
}
