#pragma once

#include "data/Variant.h"

extern "C" {

/// Makes the module KelmFramework in the running interpreter. See examples/console/framework.
void initKelmFramework();
}

/// The application, as scripts see it: only what expressions need.
///
///     from KelmFramework import *
///     Framework.app().setScriptResult(Data.Variant(5))
class Framework
{
public:
    /// Returns the application of the process, which the caller does not own.
    static Framework *app();

    /// Sets the result that ScriptManager returns for the running script.
    void setScriptResult(const Data::Variant &value);
};
