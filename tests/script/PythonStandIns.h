#pragma once

#include "data/Variant.h"
#include "utils/script/IScriptableModule.h"

#include <QString>

#include <functional>

/// What an application supplies to scripts, in Python text as far as it goes:
///
///     KelmData       Data.Variant, which holds a value
///     KelmFramework  Framework.app().setScriptResult(), which passes the value of a variant to
///                    the manager: an int, a float or a str
///     host           host.call(text), which calls `reaction` and raises the error that this sets
///
/// They are modules of the interpreter for as long as it runs, and again in the next one while the
/// object lives.
class PythonStandIns : public Utils::IScriptableModule
{
public:
    PythonStandIns();
    ~PythonStandIns() override;

    bool initialize() override;

    std::function<void(const QString &text)> reaction;
    int initialized = 0; ///< how often
};
