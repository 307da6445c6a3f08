#pragma once

#include "utils/Export.h"

#include <QTranslator>

namespace Utils {

/// A QTranslator that takes its texts from the StringTable, so that one translation serves the
/// whole program.
///
/// StringTable::initialize() constructs it; it is never deleted. Qt calls translate() for every
/// text that it shows, and keeps its own text when the result is null.
class KELMUTILS_EXPORT Translator : public QTranslator
{
    Q_OBJECT

public:
    /// Constructs a translator that installs itself in the application object, if that exists.
    explicit Translator(QObject *parent = nullptr);
    ~Translator() override;

    /// The translation of \p sourceText in \p context. Null when there is no translation, or when
    /// it is empty. \p n is not used. For the other arguments, null is the same as "".
    ///
    /// - One of 24 texts of Qt itself, such as "&Undo" in the context "QLineEdit", yields its
    ///   translation in the table "Kelm.Widgets", in this example the text of the key
    ///   ".Kelm.Widgets.ctx.undo".
    /// - ".x" in a context "Widgets::...", or in a context "Q..." with the disambiguation "_Qok",
    ///   yields the text of the key ".Kelm.Widgets.x". Keys that start with ".Kelm.Widgets" or
    ///   ".TORVE." are looked up as they are.
    /// - ".x" in a context that is the name of a loaded form yields the string ".x" of the form, or
    ///   ".x" itself when the form has none.
    /// - "x", without a leading ".", in a context "Widgets::..." yields the text of the id "x" in
    ///   the table "Kelm.Widgets", or "x" itself when there is no such id. When the table is not
    ///   loaded, the key ".Kelm.Widgetsx" is looked up.
    /// - Anything else yields null.
    ///
    /// \compat A key that is not in the catalogue yields the result of StringTable::lookup(). So
    /// when no table is loaded, the 24 texts are shown as keys.
    QString translate(const char *context, const char *sourceText,
                      const char *disambiguation = nullptr, int n = -1) const override;

    /// Always false, so that Qt never skips the translator.
    bool isEmpty() const override;
};

} // namespace Utils
