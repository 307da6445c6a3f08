#pragma once

#include "utils/settings/Settings.h"

namespace Utils {

/// The settings of one named workspace: the settings in the group "Workspaces/<name>".
class KELMUTILS_EXPORT WorkspaceSettings : public Settings
{
public:
    /// With an empty \p name, the current group is "Workspaces" itself.
    explicit WorkspaceSettings(const Data::String &name);
    ~WorkspaceSettings() override;
};

} // namespace Utils
