#pragma once

#include "utils/script/IScriptableModule.h"

namespace Utils {

/// Offers the module KelmUtils to scripts.
class ScriptableModuleKelmUtils : public IScriptableModule
{
public:
    ScriptableModuleKelmUtils();
    bool initialize() override; ///< True, also when the module could not be made.
};

/// Offers its companion, where no sibling library offers one: that is initialised sooner then, as
/// it is built later.
class ScriptableModuleKelmData : public IScriptableModule
{
public:
    ScriptableModuleKelmData();
    bool initialize() override; ///< As above.
};

extern ScriptableModuleKelmUtils scriptableModuleKelmUtils;
extern ScriptableModuleKelmData scriptableModuleKelmData;

} // namespace Utils
