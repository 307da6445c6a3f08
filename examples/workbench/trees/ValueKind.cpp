#include "examples/workbench/trees/ValueKind.h"

#include "examples/workbench/Texts.h"

#include <QStringList>

namespace Workbench {

static const int mostExamined = 100000; // characters: a view asks each time that it draws the value

static bool isNumber(const QString &value)
{
    bool isValid = false;
    value.toDouble(&isValid); // as TagFile::Tag::getDouble() and Xml::Element::getAttribute() do
    return isValid;
}

static QString problemOfNumber(const QString &value)
{
    return isNumber(value) ? QString() : text(".msg.notANumber").arg(value.trimmed());
}

static QString problemOfYesNo(const QString &value)
{
    // The library has the words for yes only: to it, any other text is no.
    static const QStringList words = {"yes", "no", "true", "false", "1", "0"};
    return words.contains(value.toLower()) ? QString() : text(".msg.notYesNo");
}

static QString problemOfList(const QString &value)
{
    const QStringList items = value.split(';');
    for (const QString &item : items) {
        if (item.trimmed().isEmpty())
            return text(".msg.emptyItem");
    }
    return {};
}

static QString problemOfNumbers(const QString &value)
{
    const QStringList lines = value.split('\n');
    int wanted = -1;
    for (int i = 0; i < lines.size(); ++i) {
        const QStringList numbers = lines[i].simplified().split(' ');
        for (const QString &number : numbers) {
            if (!isNumber(number))
                return text(".msg.notANumberInLine").arg(i + 1).arg(number);
        }
        wanted = wanted < 0 ? numbers.size() : wanted;
        if (numbers.size() != wanted)
            return text(".msg.otherCount").arg(i + 1).arg(numbers.size()).arg(wanted);
    }
    return {};
}

QString problemOf(const QString &value, ValueKind kind)
{
    if (value.isEmpty())
        return {};
    switch (kind) {
    case ValueKind::Number:
        return problemOfNumber(value);
    case ValueKind::YesNo:
        return problemOfYesNo(value);
    case ValueKind::List:
        return problemOfList(value);
    case ValueKind::Numbers:
        return problemOfNumbers(value);
    case ValueKind::Text:
        break;
    }
    return {};
}

ValueKind kindOfValue(const QString &value)
{
    if (value.isEmpty() || value.size() > mostExamined)
        return ValueKind::Text;
    for (const ValueKind kind : {ValueKind::Number, ValueKind::YesNo, ValueKind::Numbers}) {
        if (problemOf(value, kind).isEmpty())
            return kind;
    }
    const bool isList = value.contains(';') && problemOfList(value).isEmpty();
    return isList ? ValueKind::List : ValueKind::Text;
}

QString nameOf(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Number:
        return text(".ctx.kindNumber");
    case ValueKind::YesNo:
        return text(".ctx.kindYesNo");
    case ValueKind::List:
        return text(".ctx.kindList");
    case ValueKind::Numbers:
        return text(".ctx.kindNumbers");
    case ValueKind::Text:
        break;
    }
    return text(".ctx.kindText");
}

} // namespace Workbench
