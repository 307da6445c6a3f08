#pragma once

#include "utils/Export.h"

#include <QTranslator>

namespace Utils {

/// Answers the toolkit from the catalogue, so that one translation serves the whole program.
///
/// It is made by StringTable::initialize() and never deleted. The toolkit asks it for every text
/// that it shows, and keeps its own text where the answer is null.
class KELMUTILS_EXPORT Translator : public QTranslator
{
    Q_OBJECT

public:
    /// Installs itself in the application object, if there is one already.
    explicit Translator(QObject *parent = nullptr);
    ~Translator() override;

    /// The text of \p sourceText in \p context, or a null text when there is none or it is empty.
    /// \p n is not used; null stands for "" in all the others.
    ///
    ///     a known text of the toolkit                        its text in the table "Kelm.Widgets",
    ///     ("QLineEdit", "&Undo")                             here that of ".Kelm.Widgets.ctx.undo"
    ///
    ///     a context "Widgets::...", or "Q..." with           the text of the key; ".Kelm.Widgets"
    ///     "_Qok" as disambiguation and a source ".x"         is put in front of all but keys of
    ///                                                        that table and ".TORVE."
    ///
    ///     the name of a form whose strings are loaded,       its own text of ".x"; ".x" itself
    ///     and a source ".x"                                  when it has none
    ///
    /// In a context "Widgets::..." a source without a "." in front is an id of "Kelm.Widgets" as
    /// well: with the table loaded "x" gives its text, or "x" itself, and without it
    /// ".Kelm.Widgetsx" is looked up. Anywhere else such a source that is no known text of the
    /// toolkit has no answer.
    ///
    /// A key that the catalogue does not know is shown as lookup() gives it, which is meant: with
    /// no table loaded every known text of the toolkit is shown as its key.
    QString translate(const char *context, const char *sourceText,
                      const char *disambiguation = nullptr, int n = -1) const override;

    /// Always false, so that the toolkit never passes the translator over.
    bool isEmpty() const override;
};

} // namespace Utils
