// A file of strings, and keys that are looked up in it.

#include "utils/strings/StringTable.h"

#include "fuzz/Input.h"
#include "utils/files/File.h"

#include <QCoreApplication>

using Data::String;
using Utils::StringTable;

static const ScratchFile &scratch()
{
    static const ScratchFile file("Fuzz.Table_en.xml");
    return file;
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication application(*argc, *argv);
    StringTable::initialize(QStringLiteral("en"), QStringLiteral("Console;Plain"),
                            QStringLiteral("Product"));
    Utils::File::setSearchPath(QStringLiteral("res"), Utils::File::parentFolder(scratch().path()));
    return 0;
}

static void checkKey(const String &key)
{
    const String text = StringTable::lookup(key);
    requireEqual<QString>(StringTable::lookup(key), text, "a key has one text");
    if (!key.startsWith(QLatin1Char('.')))
        requireEqual<QString>(text, key, "what is no key is text");
    requireEqual<QString>(StringTable::lookupl(key, QStringLiteral("en")), text,
                          "the text is that of the language");
    StringTable::lookupx(key, QStringLiteral("Fuzz.Table"));
    StringTable::lookupi(key, 1);
    StringTable::lookupil(key, 0, '|', QStringLiteral("en"));
    StringTable::lookupk(key, QStringLiteral("a"), QStringLiteral("default"));
    StringTable::lookup(key.toUtf8().constData(), "Form");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const String key = textOf(input.line());
    scratch().write(input.rest());

    StringTable::load(QStringLiteral("Fuzz.Table"));
    checkKey(key);
    checkKey(QStringLiteral(".Fuzz.Table") + key);
    return 0;
}
