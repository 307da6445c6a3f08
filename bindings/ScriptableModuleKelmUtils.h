#pragma once

#include "utils/script/IScriptableModule.h"

namespace Utils {

/// Offers the module KelmUtils to scripts.
class ScriptableModuleKelmUtils : public IScriptableModule
{
public:
    ScriptableModuleKelmUtils();
    bool initialize() override; ///< Returns true even if the module could not be made.
};

/// Offers the module KelmData to scripts. That of a sibling library is built later, and so
/// initialised before this one, which then does nothing.
class ScriptableModuleKelmData : public IScriptableModule
{
public:
    ScriptableModuleKelmData();
    bool initialize() override; ///< Returns true even if the module could not be made.
};

extern ScriptableModuleKelmUtils scriptableModuleKelmUtils;
extern ScriptableModuleKelmData scriptableModuleKelmData;

} // namespace Utils
