#pragma once

#include "data/Variant.h"
#include "utils/script/IScriptableModule.h"

#include <QString>

#include <functional>

/// The modules that an application supplies to scripts, written in Python where possible:
///
///     KelmData       Data.Variant, which holds a value
///     KelmFramework  Framework.app().setScriptResult(), which passes the value of a variant to
///                    the manager: an int, a float or a str
///     host           host.call(text), which calls `reaction` and raises the error that this sets
///
/// They exist until the interpreter ends, and are made again in the next one during the lifetime of
/// the object.
class PythonStandIns : public Utils::IScriptableModule
{
public:
    PythonStandIns();
    ~PythonStandIns() override;

    bool initialize() override;

    std::function<void(const QString &text)> reaction;
    int initialized = 0; ///< how often
};
