#include "utils/script/ScriptError_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Utils {

ScriptError ScriptErrorPrivate::ofText(const Data::String &text, const Data::String &file)
{
    ScriptErrorPrivate data;
    data.text = text;
    data.file = file;
    return make(data);
}

ScriptError ScriptErrorPrivate::make(const ScriptErrorPrivate &data)
{
    return ScriptError(new ScriptErrorPrivate(data));
}

ScriptError ScriptErrorPrivate::ofModule(const ScriptError &error, const Data::String &module)
{
    ScriptError result = error;
    result.d->module = module;
    return result;
}

ScriptError ScriptErrorPrivate::ofInterrupt(const ScriptError &error, bool isTimeLimit, int delay)
{
    ScriptError result = error;
    result.d->isInterrupted = true;
    result.d->isTimeLimit = isTimeLimit;
    result.d->interruptDelay = delay;
    return result;
}

/// Used where there is no error.
static const ScriptErrorPrivate &dataOf(const QSharedDataPointer<ScriptErrorPrivate> &data)
{
    static const auto *const none = new ScriptErrorPrivate; // never destroyed, as it is used late
    return data ? *data.constData() : *none;
}

ScriptError::ScriptError() = default;
ScriptError::ScriptError(ScriptErrorPrivate *data) : d(data) {}
ScriptError::ScriptError(const ScriptError &other) = default;
ScriptError &ScriptError::operator=(const ScriptError &other) = default;
ScriptError::~ScriptError() = default;

bool ScriptError::isEmpty() const { return !d; }

Data::String ScriptError::type() const { return dataOf(d).type; }
Data::String ScriptError::text() const { return dataOf(d).text; }
Data::String ScriptError::traceback() const { return dataOf(d).traceback; }

Data::String ScriptError::file() const { return dataOf(d).file; }
int ScriptError::line() const { return dataOf(d).line; }
int ScriptError::column() const { return dataOf(d).column; }

QList<ScriptError::Frame> ScriptError::frames() const { return dataOf(d).frames; }

bool ScriptError::isExit() const { return dataOf(d).exitStatus.has_value(); }
int ScriptError::exitStatus() const { return dataOf(d).exitStatus.value_or(0); }

bool ScriptError::isInterrupted() const { return dataOf(d).isInterrupted; }
bool ScriptError::isTimeLimit() const { return dataOf(d).isTimeLimit; }
int ScriptError::interruptDelay() const { return dataOf(d).interruptDelay; }

Data::String ScriptError::module() const { return dataOf(d).module; }

static QJsonValue textOrNull(const Data::String &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

static QJsonValue numberOrNull(int number) { return number == 0 ? QJsonValue() : number; }

Data::String ScriptError::toJson() const
{
    if (isEmpty())
        return QStringLiteral("{}");
    const ScriptErrorPrivate &data = dataOf(d);
    QJsonArray calls;
    for (const Frame &frame : data.frames) {
        calls.append(QJsonObject{
            {QStringLiteral("file"), textOrNull(frame.file)},
            {QStringLiteral("line"), numberOrNull(frame.line)},
            {QStringLiteral("function"), textOrNull(frame.function)},
            {QStringLiteral("source"), textOrNull(frame.source)},
        });
    }
    const QJsonObject object{
        {QStringLiteral("type"), textOrNull(data.type)},
        {QStringLiteral("text"), data.text},
        {QStringLiteral("file"), textOrNull(data.file)},
        {QStringLiteral("line"), numberOrNull(data.line)},
        {QStringLiteral("column"), numberOrNull(data.column)},
        {QStringLiteral("frames"), calls},
        {QStringLiteral("traceback"), textOrNull(data.traceback)},
    };
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace Utils
