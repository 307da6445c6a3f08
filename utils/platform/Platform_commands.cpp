#include "utils/platform/Platform.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Utils::Platform {

/// Whether \p character has no meaning to any shell within a word.
static bool isPlain(char character)
{
    const bool isLetter =
        (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
    const bool isDigit = character >= '0' && character <= '9';
    return isLetter || isDigit || (character != '\0' && std::strchr("%+,-./:=@_", character));
}

/// Whether shells take \p word for a part of their grammar where a command begins. A name with an
/// "=" is an assignment there, and a word that begins with "-" or "+" an option of the shell that
/// gets the command by its option -c.
static bool isReserved(const std::string &word)
{
    static const char *const words[] = {"case", "coproc", "do",   "done",     "elif", "else",
                                        "esac", "fi",     "for",  "function", "if",   "in",
                                        "then", "select", "time", "until",    "while"};
    const auto isWord = [&](const char *reserved) { return word == reserved; };
    return std::any_of(std::begin(words), std::end(words), isWord) ||
           std::strchr("-+", word.front()) || word.find('=') != std::string::npos;
}

static std::string quotedForShell(const std::string &word, bool isFirst)
{
    const bool isAsItIs = !word.empty() && std::all_of(word.begin(), word.end(), isPlain) &&
                          word.front() != '=' && !(isFirst && isReserved(word));
    if (isAsItIs)
        return word;
    std::string text(1, '\'');
    for (const char character : word) {
        if (character == '\'')
            text += R"('\'')";
        else
            text += character;
    }
    return text + '\'';
}

static std::string quotedForWindows(const std::string &word)
{
    if (!word.empty() && word.find_first_of(" \t\n\v\"") == std::string::npos)
        return word;
    // Only before a double quote does a backslash have a meaning.
    std::string text;
    std::size_t backslashes = 0;
    for (const char character : word) {
        if (character == '"')
            text.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    if (!word.empty() && word.find_first_of(" \t\n\v") == std::string::npos)
        return text;
    return '"' + text.append(backslashes, '\\') + '"';
}

/// Calls \p quoted with each of \p words, and whether it is the first one, and joins the results.
template <typename Quoted>
static std::string joined(const std::vector<std::string> &words, const Quoted &quoted)
{
    std::string line;
    bool isFirst = true;
    for (const std::string &word : words) {
        if (!isFirst)
            line += ' ';
        line += quoted(word.substr(0, word.find('\0')), isFirst);
        isFirst = false;
    }
    return line;
}

std::string shellCommandLine(const std::vector<std::string> &words)
{
    return joined(words, &quotedForShell);
}

std::string windowsCommandLine(const std::vector<std::string> &words)
{
    if (!words.empty() && words.front().find('"') != std::string::npos)
        return {};
    return joined(words, [](const std::string &word, bool isFirst) {
        if (!isFirst)
            return quotedForWindows(word);
        // In the path of a program, backslashes are ordinary characters.
        const bool isQuoted = word.empty() || word.find_first_of(" \t\n\v") != std::string::npos;
        return isQuoted ? '"' + word + '"' : word;
    });
}

} // namespace Utils::Platform
