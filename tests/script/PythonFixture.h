#pragma once

#include "utils/Application.h"
#include "utils/script/PythonScript_p.h"

#include "tests/script/FakeEngine.h"
#include "tests/script/PythonStandIns.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/SettingsHome.h"

#include <QDir>
#include <QTemporaryDir>

#include <memory>
#include <optional>

/// A host, an engine that replaces that of the manager, and the modules that scripts need. There is
/// no start-up program, and expressions import "math" only.
class PythonFixture
{
public:
    PythonFixture()
    {
        QSettings().setValue("gui/pythonImports", "from math import *");
        host.variables = {{"APP_PATH", "/opt/tool/app"},
                          {"PYTHON_DIR", KELMUTILS_PYTHON_HOME},
                          {"HOME_DIR", folder.path()},
                          {"RES_DIR", folder.path()}};
        Utils::setApplication(&host);
        Utils::PythonInterpreter::isStartUpProgramDone = false;
    }
    ~PythonFixture() { Utils::setApplication(nullptr); }
    Q_DISABLE_COPY(PythonFixture)

    /// Writes a script and returns its path.
    QString script(const QByteArray &text, const QString &name = "script.py") const
    {
        return makeFile(folder.filePath(name), text);
    }

    /// The value of an expression in the scope of scripts, evaluated without the engine.
    Data::Variant value(const QString &expression)
    {
        if (!engine.runCode("_value = " + expression + "\n"))
            return "error: " + engine.errorMessage();
        return engine.getData("_value");
    }

    Data::Variant result() const { return EngineReplacement::state().scriptResult; }

    QTemporaryDir folder;
    FakeHost host;
    Utils::PythonScript engine;
    EngineReplacement replacement{{&engine}};
    PythonStandIns standIns;
};
