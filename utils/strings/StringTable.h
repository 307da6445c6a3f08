#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QStringList>

#include <functional>

namespace Utils {

struct CatalogueTable;

/// The catalogue of the texts that users read. All functions are static.
///
/// Program code contains keys instead of texts. A key is "." and the name of a table, which may
/// contain dots itself, followed by an id. The id starts with "." as well; its first component is
/// the kind of text: ".err" an error, ".msg" a message, ".ctx" the text of a menu or a control.
///
///     ".Kelm.Data.err.noopen"  => ".err.noopen" of the table "Kelm.Data"
///
/// The catalogue must be used only on the main thread. The lookup functions report no failure: a
/// key that is not found is returned itself, as described below. After the catalogue is destroyed
/// at the end of the process, every key is returned itself.
class KELMUTILS_EXPORT StringTable
{
public:
    /// The contents of a string table file. Internal.
    using Table = CatalogueTable;

    StringTable() = delete;

    /// Initialises the catalogue. Only the first call with a \p language that is not empty has an
    /// effect. It sets the current language:
    ///
    ///     "en"     => "en"
    ///     "enIDS"  => "en"    five characters that end with "IDS": the first two
    ///     "de_DE"  => "de"    the part before the first "_"
    ///     "_DE"    => ""      the catalogue stays uninitialised, and the next call has an effect
    ///
    /// \p contexts is the name of a context, or several names separated by ";". \p productContext
    /// is one more name. load() reads only the contexts with these names.
    ///
    /// Constructs the Translator, through which Qt uses the catalogue, so the application object
    /// must exist. The translator is never deleted. Its installation sends QEvent::LanguageChange
    /// to the application. During this event every key still yields itself, and another call of
    /// this function has no effect.
    static void initialize(const Data::String &language, const Data::String &contexts,
                           const Data::String &productContext);

    /// Loads the table \p name in the current language from the file `<name>_<language>.xml` or,
    /// when there is none, `<name>_en.xml`. File::findResource() finds the file. False before
    /// initialize(), and when there is no such file, it is not a string table, it cannot be read
    /// completely, or there is not enough memory; a table of that name then stays as it was.
    ///
    /// The file is XML with the document type "StringTable". Its root element, and each "context"
    /// and "ui" in it, contains any number of these elements, whose names may be in upper or lower
    /// case:
    ///
    ///     string id="..."     a text. The last of an id counts; without one, its id is "".
    ///     context name="..."  skipped, unless its name was passed to initialize()
    ///     ui name="..."       the texts of a form, which Translator returns. All of the same name
    ///                         are one form; of a form in several tables, that of the table loaded
    ///                         last counts.
    ///
    /// Any other element is skipped with its contents. The text of a string is the result of
    /// Xml::Element::childTextData(), in which these are replaced, one after the other:
    ///
    ///     \n                 => a line feed. If there was one, and the text contains both "<" and
    ///                           ">", all line feeds then become "<br>".
    ///     \\                 => a backslash
    ///     backslash and tab  => a tab
    ///     \\t                => \t
    ///
    /// \compat "*SLASH*" becomes a backslash, too. The two characters `\t` are not converted to a
    /// tab.
    static bool load(const Data::String &name);

    /// The text of \p key. The caller replaces its placeholders %1, %2 and so on.
    ///
    /// Searches only one table. \p key begins with the name of this table, by whole components; if
    /// this is true of several tables, the table with the longest name is searched. At least one
    /// component must be left for the id. For example, when only the table "Kelm.Utils" is loaded,
    /// and it contains only ".err.x":
    ///
    ///     ".Kelm.Utils.err.x"  => its text
    ///     ".Kelm.Utils.err.y"  => ".err.y"        the id is unknown
    ///     ".Other.err.x"       => ".Other.err.x"  there is no such table
    ///     ".Kelm"              => ".Kelm"         a single component
    ///     "text", ""           => "text", ""      not a key, because it does not begin with "."
    ///
    /// Before initialize(), every key yields itself.
    ///
    /// \compat An unknown id in a known table yields the id alone. Other tables are not searched,
    /// even if a table with a shorter name contains the id.
    static Data::String lookup(const Data::String &key);

    /// The string \p text of the form \p uiName: the result of Translator::translate() for the
    /// context \p uiName, or "" when that is null. When \p uiName is null, or before initialize(),
    /// the result is the text of the key \p text. Both arguments are UTF-8; null for \p text is the
    /// empty text.
    static Data::String lookup(const char *text, const char *uiName = nullptr);

    /// The text of \p key, which may be short: a key with fewer than three dots is looked up in the
    /// table \p tableName, whose name is passed without the leading ".".
    ///
    ///     ".err.noopen", "Kelm.Data"             => the text of ".Kelm.Data.err.noopen"
    ///     ".Kelm.Utils.err.noopen", "Kelm.Data"  => the text of ".Kelm.Utils.err.noopen"
    ///     "text", "Kelm.Data"                    => "text"
    static Data::String lookupx(const Data::String &key, const Data::String &tableName);

    /// Splits the text of \p key at \p separator and returns the item at \p index, trimmed. The
    /// first item has the index 0. "" when there is no such item.
    ///
    /// \compat The items of the last key are kept, and they are found again by the key alone: the
    /// next call with the same key uses the same items, even with another \p separator or after
    /// load().
    static Data::String lookupi(const Data::String &key, int index, char separator = ';');

    /// The value of \p subKey in the text of \p key, or \p defaultValue when there is none.
    ///
    ///     "[a=1][b=2]", "b"  => "2"
    ///     "[a=1=2]", "a"     => "1=2"
    ///     "[ab=1]", "a"      => the default
    ///     "a=1", "a"         => "1"           the outer brackets are optional
    static Data::String lookupk(const Data::String &key, const Data::String &subKey,
                                const Data::String &defaultValue);

    /// The text of \p key in \p language, which is written as in the file names; "" is the current
    /// language. If the file of that language does not contain the id, the result is the id, as in
    /// lookup().
    ///
    /// The first call for a table and a language reads the file; the forms in it are ignored. When
    /// there is no such file, the English one is read instead, unless the current language is
    /// English. When there is no English file either, or when the file cannot be read completely,
    /// the result is the text in the current language, and the next call tries to read the file
    /// again.
    static Data::String lookupl(const Data::String &key, const Data::String &language);

    /// As lookupi(), in \p language. Items are kept for the current language only.
    static Data::String lookupil(const Data::String &key, int index, char separator,
                                 const Data::String &language);

    /// As lookupk(), in \p language and with the default "".
    static Data::String lookupkl(const Data::String &key, const Data::String &subKey,
                                 const Data::String &language);

    /// The text of \p key for the count \p n, by the plural rules of the current language. The file
    /// contains a text for each form of the language, whose id ends with the name of the form:
    ///
    ///     <string id=".msg.files.one">%1 file</string>
    ///     <string id=".msg.files.other">%1 files</string>
    ///
    ///     ".Kelm.Utils.msg.files", 1    => "%1 file"
    ///     ".Kelm.Utils.msg.files", 2    => "%1 files"
    ///     ".Kelm.Utils.msg.files", 1.5  => "%1 files"
    ///
    /// The forms are those of Unicode CLDR: "zero", "one", "two", "few", "many" and "other"; see
    /// pluralForms(). When the text of the form is missing, the result is the text of "other"; when
    /// that is missing, too, it is lookup() of \p key. As with lookup(), the caller replaces the
    /// placeholders.
    ///
    /// The form depends on the digits that are shown, as in "1 metre" and "1.0 metres". \p decimals
    /// is the number of digits after the point; when it is negative, they are as many as \p n
    /// needs. The sign has no effect, and NaN and infinities have the form "other".
    static Data::String lookupn(const Data::String &key, double n, int decimals = -1);

    /// As lookupn(), in \p language; see lookupl(). The rules are those of \p language.
    static Data::String lookupnl(const Data::String &key, double n, const Data::String &language,
                                 int decimals = -1);

    /// The plural forms of \p language, which is written as "en" or "pt_BR"; "" is the current
    /// language. The last one is "other". A language without rules in CLDR has only this one.
    static QStringList pluralForms(const Data::String &language = Data::String());

    /// The plural form of \p n in \p language, by which lookupnl() selects the text; "" is the
    /// current language. For \p decimals see lookupn().
    ///
    ///     1, "en"      => "one"
    ///     1, "en", 1   => "other"   1.0
    ///     21, "ru"     => "one"
    ///     2, "ja"      => "other"
    static Data::String pluralForm(double n, const Data::String &language = Data::String(),
                                   int decimals = -1);

    /// The keys that were looked up in \p language but not found, sorted; "" is the current
    /// language. A key counts when it begins with "." and initialize() has been called. The first
    /// 10,000 keys of a language are kept; load() does not remove them.
    static QStringList missingKeys(const Data::String &language = Data::String());

    /// A function that is called for a key that is not found, with the language of the lookup.
    using MissingKeyHandler =
        std::function<void(const Data::String &key, const Data::String &language)>;

    /// Sets the function that is called for each key when it becomes one of missingKeys(), after
    /// the lookup has failed; an empty one ends the calls. The handler may call all functions of
    /// this class, and is not called for keys that it looks up itself. It does not change the
    /// result of the lookup.
    static void setMissingKeyHandler(const MissingKeyHandler &handler);

    /// Changes the current language while the program runs: loads each loaded table in \p language,
    /// which is written as for initialize(), then sends QEvent::LanguageChange to the application.
    /// Qt passes the event to all windows, which then look up their texts anew.
    ///
    /// True without an event when \p language is the current one. False, with nothing changed,
    /// before initialize(), when \p language is empty, when load() of a table would fail, and when
    /// the memory does not suffice.
    static bool setLanguage(const Data::String &language);

    /// The current language, such as "en"; "" before initialize().
    static Data::String language();
};

} // namespace Utils
