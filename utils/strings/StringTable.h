#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// The catalogue of the texts that people read: static operations, no instances.
///
/// Program code holds dotted keys. A key is the name of a table behind a ".", with dots of its own,
/// and an id, which starts with "." as well and tells the kind of text in its first component:
/// ".err" an error, ".msg" a message, ".ctx" the text of a menu or a control.
///
///     ".Kelm.Data.err.noopen"  => ".err.noopen" of the table "Kelm.Data"
///
/// The catalogue belongs to the main thread. Nothing here reports a failure: what cannot be looked
/// up is shown as its key. When the process ends and the catalogue has gone, a key stands for
/// itself.
class KELMUTILS_EXPORT StringTable
{
public:
    /// What a file of strings holds. Internal.
    struct Table;

    StringTable() = delete;

    /// Sets the catalogue up, once: the first call with a \p language counts, and every other one
    /// changes nothing.
    ///
    /// Makes the Translator that answers the toolkit from the catalogue, so the application object
    /// must be there; the translator is never deleted. \p contexts is the name of a context or
    /// several separated by ";", \p productContext one more: the parts of files that are read.
    /// The application hears of the translator (QEvent::LanguageChange) while every key still
    /// stands for itself; a call from there changes nothing.
    ///
    ///     "en"     => "en"
    ///     "enIDS"  => "en"    five characters that end with "IDS": the first two
    ///     "de_DE"  => "de"    what stands before the first "_"
    ///     "_DE"    => ""      so that the next call counts again
    static void initialize(const Data::String &language, const Data::String &contexts,
                           const Data::String &productContext);

    /// Loads the table \p name for the current language: the file `<name>_<language>.xml`, or else
    /// `<name>_en.xml`, where File::findResource() finds it. False before initialize(), and when
    /// there is no such file, it is no string table, it cannot be read to its end, or the memory
    /// does not suffice; a table of that name stays as it was then.
    ///
    /// The file is XML with the document type "StringTable". Its root element, and each "context"
    /// and "ui" in it, holds any number of these elements, whose names may be in any case:
    ///
    ///     string id="..."     a text. The last of an id counts; without one, its id is "".
    ///     context name="..."  is skipped unless it is one of the contexts given to initialize()
    ///     ui name="..."       the texts of a form, which Translator answers with. All of a name
    ///                         are one form; a form in several tables is that of the table loaded
    ///                         last.
    ///
    /// Any other element is skipped with all that is in it. The text of a string is that of
    /// Xml::Element::childTextData(), in which, in this order:
    ///
    ///     \n                   is a line end; then, if the text has both "<" and ">", every one is
    ///                          "<br>"
    ///     \\                   is a backslash; so is "*SLASH*", which is meant
    ///     a backslash and tab  is a tab; "\t" in letters is none, and stays, which is meant
    ///     \\t                  what reads so by now has one backslash less
    static bool load(const Data::String &name);

    /// The text of \p key, with its %1, %2... for the caller to fill.
    ///
    /// The table is the one with the longest name that \p key starts with, component by component,
    /// and that leaves at least one for the id. With the table "Kelm.Utils" loaded, and in it
    /// ".err.x" alone:
    ///
    ///     ".Kelm.Utils.err.x"  => its text
    ///     ".Kelm.Utils.err.y"  => ".err.y"        the id alone, which is meant; no other table is
    ///                                             tried, even if one with a shorter name has it
    ///     ".Other.err.x"       => ".Other.err.x"  no such table
    ///     ".Kelm"              => ".Kelm"         a single component
    ///     "text", ""           => "text", ""      no key: without a "." in front it is text
    ///     already
    ///
    /// Every key stands for itself before initialize().
    static Data::String lookup(const Data::String &key);

    /// The text of the string \p text of the form \p uiName, as Translator gives it for that
    /// context: "" when it has none. Without a form, or before initialize(), the text of the key
    /// \p text. Both are UTF-8, and null is the empty text.
    static Data::String lookup(const char *text, const char *uiName = nullptr);

    /// The text of a key that may be short, which is one of fewer than three dots: then that of the
    /// table \p tableName, given without a "." in front.
    ///
    ///     ".err.noopen", "Kelm.Data"             => that of ".Kelm.Data.err.noopen"
    ///     ".Kelm.Utils.err.noopen", "Kelm.Data"  => that of ".Kelm.Utils.err.noopen"
    ///     "text", "Kelm.Data"                    => "text"
    static Data::String lookupx(const Data::String &key, const Data::String &tableName);

    /// The item \p index of the text of \p key, trimmed; "" when there is none. The first is 0.
    ///
    /// The items of the last key are kept and known by the key alone, which is meant: asked again
    /// in a row, with another separator or behind a load(), a key gives the same items.
    static Data::String lookupi(const Data::String &key, int index, char separator = ';');

    /// The value of \p subKey in the text of \p key, or \p defaultValue when it has none.
    ///
    ///     "[a=1][b=2]", "b"  => "2"
    ///     "[a=1=2]", "a"     => "1=2"
    ///     "[ab=1]", "a"      => the default
    ///     "a=1", "a"         => "1"           the outer brackets may be left out
    static Data::String lookupk(const Data::String &key, const Data::String &subKey,
                                const Data::String &defaultValue);

    /// The text of \p key in \p language, which is as the names of files have it; "" is the current
    /// one. An id that the file of that language has not gives the id, as in lookup().
    ///
    /// The file is read when it is first asked for, and its forms are not kept. Where there is
    /// none, the English one is read for it, unless the current language is English. Where there is
    /// none either, the text in the current language stands in, and the file is looked for again
    /// the next time; so, too, where the file cannot be read to its end.
    static Data::String lookupl(const Data::String &key, const Data::String &language);

    /// lookupi() in \p language; nothing is kept of another language than the current one.
    static Data::String lookupil(const Data::String &key, int index, char separator,
                                 const Data::String &language);

    /// lookupk() in \p language, with "" for the default.
    static Data::String lookupkl(const Data::String &key, const Data::String &subKey,
                                 const Data::String &language);
};

} // namespace Utils
