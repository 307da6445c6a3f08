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

/// Offers the module KelmData to scripts. If a sibling library offers a module of the same name,
/// that one is constructed later, becomes the first of the list of modules, and so is initialised
/// before this one. This one then does nothing.
class ScriptableModuleKelmData : public IScriptableModule
{
public:
    ScriptableModuleKelmData();
    bool initialize() override; ///< Returns true even if the module could not be made.
};

extern ScriptableModuleKelmUtils scriptableModuleKelmUtils;
extern ScriptableModuleKelmData scriptableModuleKelmData;

} // namespace Utils
