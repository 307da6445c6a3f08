// Operations on the text of paths.

#include "fuzz/Input.h"
#include "utils/files/File.h"

#include <QDir>

using Data::String;
using Utils::File;

static void checkPath(const String &path)
{
    const String clean = File::cleanPath(path);
    requireEqual<QString>(File::cleanPath(clean), clean, "a clean path is clean");
    require(File::isSamePath(path, path), "a path is itself");
    require(File::isSamePath(path, clean), "a path is the same when it is clean");
    require(File::isContainedIn(path, path), "a path is in itself");
    require(File::isContainedIn(path, String()), "a path is in nothing");

    const String name = File::base(path, /*withExtension=*/true);
    require(path.endsWith(name) && !name.contains(QLatin1Char('/')), "a name ends its path");
    const String extension = File::extension(path);
    require(name.endsWith(extension), "an extension ends its name");
    if (name.contains(QLatin1Char('.')))
        requireEqual<QString>(File::base(path) + QLatin1Char('.') + extension, name,
                              "a name is its base and its extension");
    File::parentFolder(path);
    require(!(File::isAbsolute(path) && path.isEmpty()), "no path is no absolute one");
    if (!path.contains(QChar(0)))
        require(File::isAbsolute(File::absolutePath(path, QStringLiteral("/home"))),
                "an absolute path is one");
}

static void checkPaths(const String &some, const String &other)
{
    requireEqual(File::isSamePath(some, other), File::isSamePath(other, some),
                 "two paths are the same both ways");
    const bool isWithin = File::isContainedIn(some, other);
    if (File::isSamePath(some, other))
        require(isWithin, "the same path is contained");
    const String joined = File::join(some, other);
    require(some.isEmpty() || joined.startsWith(some), "the first path comes first");
    require(other.isEmpty() || joined.endsWith(other), "the last one is at the end");
    require(joined.size() <= some.size() + other.size() + 1, "with one separator");
}

static void checkNames(const String &path, int length, int parts)
{
    const String shortened = File::abbreviateName(path, length, parts);
    if (path.size() < length)
        requireEqual<QString>(shortened, path, "a short path stays");
    for (bool allowSpaces : {false, true}) {
        bool isValid = false;
        const String name = File::validate(path, allowSpaces, &isValid);
        requireEqual(isValid, name == path, "a valid name stays");
        for (const char character : "/\\:*?\"<>|") {
            if (character != '\0')
                require(!name.contains(QLatin1Char(character)), "a valid name has no such thing");
        }
        requireEqual<QString>(File::validate(name, allowSpaces), name, "it is valid then");
    }
    File::sizeString(path);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int kind = input.choice(4);
    const int number = input.choice(100);
    const String line = textOf(input.line());
    const String rest = textOf(input.rest());
    if (kind == 0)
        checkPath(line);
    else if (kind == 1)
        checkPaths(line, rest);
    else if (kind == 2)
        checkNames(line, number, number % 9);
    else
        File::checkFilter(line, rest);
    return 0;
}
