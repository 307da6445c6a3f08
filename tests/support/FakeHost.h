#pragma once

#include "data/IApplication.h"

#include <QMap>
#include <QStringList>

/// A host that notes every call, in order, as "operation(arguments)".
class FakeHost : public Data::IApplication
{
public:
    QStringList calls;
    QMap<QString, Data::String> variables;

    Data::String getVariable(const char *key, const Data::String &defaultValue) override
    {
        calls.append(QString("getVariable(%1, %2)").arg(key, defaultValue));
        return variables.value(key, defaultValue);
    }
    void showMessage(const Data::String &text, bool flag) override
    {
        calls.append(QString("showMessage(%1, %2)").arg(text).arg(flag));
    }
    void logMessage(const Data::String &text, int level) override
    {
        calls.append(QString("logMessage(%1, %2)").arg(text).arg(level));
    }
    void setProgress(int count, int maxSteps, bool popup) override
    {
        calls.append(QString("setProgress(%1, %2, %3)").arg(count).arg(maxSteps).arg(popup));
    }
    void setProgressLabel(const Data::String &text, bool popup) override
    {
        calls.append(QString("setProgressLabel(%1, %2)").arg(text).arg(popup));
    }
    void showProgress(bool visible, bool cancelable, bool popup) override
    {
        calls.append(QString("showProgress(%1, %2, %3)").arg(visible).arg(cancelable).arg(popup));
    }
};
