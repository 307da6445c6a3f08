#include "utils/script/PythonCompletion_p.h"

#include "utils/script/CompletionContext_p.h"
#include "utils/script/PythonInterpreter_p.h"
#include "utils/script/PythonModules_p.h"
#include "utils/script/PythonObjects_p.h"

#include <QMap>
#include <QRegularExpression>

#include <Python.h>

#include <algorithm>

namespace Utils {

using PythonObjects::Name;

static const char *const keywords[] = {
    "and",   "as",     "assert", "break", "class",   "continue", "def",   "del",
    "elif",  "else",   "except", "exec",  "finally", "for",      "from",  "global",
    "if",    "import", "in",     "is",    "lambda",  "not",      "or",    "pass",
    "print", "raise",  "return", "try",   "while",   "with",     "yield",
};

namespace {

/// The completions of a prefix. The first one of a name counts.
class Completions
{
public:
    explicit Completions(const QString &prefix) : m_prefix(prefix.toUtf8()) {}

    const QByteArray &prefix() const { return m_prefix; }

    void add(const Name &name)
    {
        if (isWanted(name.name))
            m_found.insert(name.name, PythonObjects::describe(name));
    }
    void add(const QByteArray &name, ScriptCompletion::Kind kind)
    {
        if (isWanted(name))
            m_found.insert(name, {QString::fromUtf8(name), kind, {}, {}});
    }
    void addKeywords()
    {
        for (const char *keyword : keywords)
            add(keyword, ScriptCompletion::Keyword);
    }

    QVector<ScriptCompletion> sorted() const
    {
        return QVector<ScriptCompletion>::fromList(m_found.values());
    }

private:
    /// Names that begin with "_" are wanted only when they are asked for.
    bool isWanted(const QByteArray &name) const
    {
        return name.startsWith(m_prefix) && !m_found.contains(name) &&
               (!name.startsWith('_') || m_prefix.startsWith('_')) && isIdentifier(name);
    }
    static bool isIdentifier(const QByteArray &name)
    {
        static const QRegularExpression form(QStringLiteral(R"(^[A-Za-z_]\w*$)"));
        return form.match(QString::fromUtf8(name)).hasMatch();
    }

    const QByteArray m_prefix;
    QMap<QByteArray, ScriptCompletion> m_found;
};

} // namespace

static PyObject *dictionaryOfModule(const char *name)
{
    PyObject *const module =
        PythonObjects::findInDictionary(PyImport_GetModuleDict(), QByteArray(name));
    return module && PyModule_Check(module) ? PyModule_GetDict(module) : nullptr;
}

/// Returns the object that \p path names in the scope of scripts, or null.
static PyObject *findObject(const QString &path)
{
    const QList<QByteArray> names = path.toUtf8().split('.');
    PyObject *found = nullptr;
    for (const char *scope : {"__main__", "__builtin__"}) {
        if (!found)
            found = PythonObjects::findInDictionary(dictionaryOfModule(scope), names.constFirst());
    }
    for (int i = 1; found && i < names.size(); ++i)
        found = PythonObjects::findAttribute(found, names.at(i));
    return found;
}

static void addModules(const QString &package, Completions &completions)
{
    const QSet<QByteArray> names = importableModules(package.toUtf8(), completions.prefix());
    for (const QByteArray &name : names)
        completions.add(name, ScriptCompletion::Module);
}

QVector<ScriptCompletion> completePython(const QString &text)
{
    const CompletionContext context(text);
    Completions completions(context.prefix);
    const auto add = [&](const Name &name) { completions.add(name); };
    if (context.kind == CompletionContext::Import)
        completions.add("import", ScriptCompletion::Keyword);
    if (!PythonInterpreter::isCallable()) {
        if (context.kind == CompletionContext::Name)
            completions.addKeywords();
        return completions.sorted();
    }

    const PythonObjects::Guard guard;
    switch (context.kind) {
    case CompletionContext::Name:
        completions.addKeywords();
        PythonObjects::visitDictionary(dictionaryOfModule("__main__"), nullptr, add);
        PythonObjects::visitDictionary(dictionaryOfModule("__builtin__"), nullptr, add);
        break;
    case CompletionContext::Attribute:
        if (PyObject *const object = findObject(context.path))
            PythonObjects::visitAttributes(object, add);
        break;
    case CompletionContext::Module:
        addModules(context.path, completions);
        break;
    case CompletionContext::NameOfModule:
        PythonObjects::visitDictionary(dictionaryOfModule(context.path.toUtf8().constData()),
                                       nullptr, add);
        addModules(context.path, completions);
        break;
    case CompletionContext::Import:
    case CompletionContext::Nothing:
        break;
    }
    return completions.sorted();
}

} // namespace Utils
