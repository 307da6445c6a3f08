#include "utils/settings/WorkspaceSettings.h"

namespace Utils {

WorkspaceSettings::WorkspaceSettings(const Data::String &name)
    : Settings(QStringLiteral("Workspaces"))
{
    beginGroup(name);
}

WorkspaceSettings::~WorkspaceSettings() = default;

} // namespace Utils
