#pragma once

#include "data/IApplication.h"

#ifdef KELMUTILS_PYTHON_HOME

/// The host of benchmarks with scripts: it has the home of Python and nothing else.
class PythonHost : public Data::IApplication
{
public:
    Data::String getVariable(const char *key, const Data::String &defaultValue) override
    {
        return qstrcmp(key, "PYTHON_DIR") == 0 ? Data::String(KELMUTILS_PYTHON_HOME) : defaultValue;
    }
    void showMessage(const Data::String &, bool) override {}
    void logMessage(const Data::String &, int) override {}
    void setProgress(int, int, bool) override {}
    void setProgressLabel(const Data::String &, bool) override {}
    void showProgress(bool, bool, bool) override {}
};

#endif
