#pragma once

#include "utils/script/IScriptableModule.h"

namespace Workbench {

/// Offers the module "Workbench" to scripts, as long as the object exists.
class ScriptModule : public Utils::IScriptableModule
{
public:
    ScriptModule();

    bool initialize() override;
};

} // namespace Workbench
