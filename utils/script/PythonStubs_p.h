#pragma once

#include <QHash>
#include <QString>

namespace Utils {

/// The stubs of the modules of the library: what is written there about a class or a function.
class PythonStubs
{
public:
    struct Entry
    {
        QString signature; ///< each overload in a line of its own; "" for a class
        QString documentation;
    };

    /// Returns those of the library.
    static const PythonStubs &instance();

    /// Reads the text of a stub of \p module.
    void add(const QString &module, const QString &text);

    /// Returns the entry of a name in a class, as "size" in "File" of the module "KelmUtils"; null
    /// when there is none. With an empty \p name, it is that of the class itself.
    const Entry *find(const QString &module, const QString &className, const QString &name) const;

private:
    QHash<QString, Entry> m_entries;
};

/// The text of a stub in the library.
struct PythonStubText
{
    const char *module;
    const char *text;
};

/// The stubs of the modules that the library has. The last one has no module. The list of the
/// library's objects supplies them, as the bindings are above the engine.
extern const PythonStubText pythonStubTexts[];

} // namespace Utils
