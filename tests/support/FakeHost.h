#pragma once

#include "data/IApplication.h"

#include <QMap>
#include <QStringList>

#include <functional>

/// A host that notes every call, in order, as "operation(arguments)", and then reacts to it.
class FakeHost : public Data::IApplication
{
public:
    QStringList calls;
    QMap<QString, Data::String> variables;
    std::function<void(const QString &call)> reaction; ///< called after each entry of calls

    Data::String getVariable(const char *key, const Data::String &defaultValue) override
    {
        note(QString("getVariable(%1, %2)").arg(key, defaultValue));
        return variables.value(key, defaultValue);
    }
    void showMessage(const Data::String &text, bool flag) override
    {
        note(QString("showMessage(%1, %2)").arg(text, QString::number(flag)));
    }
    void logMessage(const Data::String &text, int level) override
    {
        note(QString("logMessage(%1, %2)").arg(text, QString::number(level)));
    }
    void setProgress(int count, int maxSteps, bool popup) override
    {
        note(QString("setProgress(%1, %2, %3)").arg(count).arg(maxSteps).arg(popup));
    }
    void setProgressLabel(const Data::String &text, bool popup) override
    {
        note(QString("setProgressLabel(%1, %2)").arg(text, QString::number(popup)));
    }
    void showProgress(bool visible, bool cancelable, bool popup) override
    {
        note(QString("showProgress(%1, %2, %3)").arg(visible).arg(cancelable).arg(popup));
    }

private:
    void note(const QString &call)
    {
        calls.append(call);
        if (reaction)
            reaction(call);
    }
};
