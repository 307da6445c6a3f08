#pragma once

#include "data/Variant.h"

extern "C" {

/// Makes the module KelmFramework in the running interpreter. See examples/console/framework.
void initKelmFramework();
}

/// What a script sees of the application that it runs in: as little as expressions need.
///
///     from KelmFramework import *
///     Framework.app().setScriptResult(Data.Variant(5))
class Framework
{
public:
    /// The one of the process. It is not the caller's.
    static Framework *app();

    /// Sets what ScriptManager gives as the result of the script that runs.
    void setScriptResult(const Data::Variant &value);
};
