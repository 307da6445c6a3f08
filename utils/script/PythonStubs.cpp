#include "utils/script/PythonStubs_p.h"

#include <QRegularExpression>
#include <QStringList>

namespace Utils {

static QString key(const QString &module, const QString &className, const QString &name)
{
    return module + QLatin1Char('.') + className + QLatin1Char('.') + name;
}

static int indentation(const QString &line)
{
    int count = 0;
    while (count < line.size() && line.at(count) == QLatin1Char(' '))
        ++count;
    return count;
}

/// Returns the documentation that starts in \a line of \a lines, or "" when there is none.
static QString documentation(const QStringList &lines, int line)
{
    const QString quotes = QStringLiteral("\"\"\"");
    QString text = lines.value(line).trimmed();
    if (!text.startsWith(quotes))
        return {};
    text.remove(0, quotes.size());
    while (!text.contains(quotes) && ++line < lines.size())
        text += QLatin1Char('\n') + lines.at(line).trimmed();
    return text.section(quotes, 0, 0).trimmed();
}

/// Returns the signature of the definition \a text, as "size(path: Text) -> int".
static QString signature(QString text)
{
    static const QRegularExpression end(QStringLiteral(R"(:\s*(\.\.\.)?\s*$)"));
    static const QRegularExpression self(QStringLiteral(R"(\(self(: \w+)?(, )?)"));
    static const QRegularExpression positional(QStringLiteral(R"(,? ?/\))"));
    text.remove(end).remove(0, int(qstrlen("def ")));
    return text.replace(self, QStringLiteral("(")).replace(positional, QStringLiteral(")"));
}

const PythonStubs &PythonStubs::instance()
{
    static const PythonStubs stubs = [] {
        PythonStubs made;
        for (const PythonStubText *stub = pythonStubTexts; stub->module; ++stub)
            made.add(QString::fromUtf8(stub->module), QString::fromUtf8(stub->text));
        return made;
    }();
    return stubs;
}

void PythonStubs::add(const QString &module, const QString &text)
{
    static const QRegularExpression classLine(QStringLiteral(R"(^class (\w+))"));
    static const QRegularExpression functionLine(QStringLiteral(R"(^def (\w+)\()"));
    const QStringList lines = text.split(QLatin1Char('\n'));
    QStringList classes; // in which a line is, by indentation
    for (int i = 0; i < lines.size(); ++i) {
        const int level = indentation(lines.at(i)) / 4;
        QString line = lines.at(i).trimmed();
        const auto classFound = classLine.match(line);
        const auto functionFound = functionLine.match(line);
        if (classFound.hasMatch()) {
            classes = classes.mid(0, level);
            classes.append(classFound.captured(1));
            m_entries[key(module, classes.constLast(), {})].documentation =
                documentation(lines, i + 1);
        } else if (functionFound.hasMatch()) {
            while (!line.endsWith(QLatin1String("...")) && !line.endsWith(QLatin1Char(':')) &&
                   i + 1 < lines.size())
                line += QLatin1Char(' ') + lines.at(++i).trimmed();
            Entry &entry =
                m_entries[key(module, classes.value(level - 1), functionFound.captured(1))];
            if (!entry.signature.isEmpty())
                entry.signature += QLatin1Char('\n');
            entry.signature += signature(line);
            if (entry.documentation.isEmpty())
                entry.documentation = documentation(lines, i + 1);
        }
    }
}

const PythonStubs::Entry *PythonStubs::find(const QString &module, const QString &className,
                                            const QString &name) const
{
    const auto found = m_entries.constFind(key(module, className, name));
    return found == m_entries.constEnd() ? nullptr : &*found;
}

} // namespace Utils
