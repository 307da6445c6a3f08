#pragma once

#include <QString>

namespace Utils {

/// What is being written at the end of a text of Python.
struct CompletionContext
{
    enum Kind
    {
        Nothing,      ///< a text, a comment, a number, or what only a run could tell
        Name,         ///< a name of the scope
        Attribute,    ///< an attribute of the object \ref path
        Module,       ///< a module, or one in the package \ref path
        NameOfModule, ///< a name that is imported from the module \ref path
        Import,       ///< the word "import" after "from MODULE"
    };

    /// Finds the context at the end of \p text.
    explicit CompletionContext(const QString &text);

    Kind kind = Nothing;
    QString path;   ///< names with dots between them, or ""
    QString prefix; ///< the start of the name that is being written, or ""
};

} // namespace Utils
