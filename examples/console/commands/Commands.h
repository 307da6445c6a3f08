#pragma once

#include "examples/console/Command.h"

#include <QVector>

namespace Kelm {

// Each is defined in the source of its name.
extern const Command checkCommand;
extern const Command copyCommand;
extern const Command evalCommand;
extern const Command findCommand;
extern const Command pythonCommand;
extern const Command runCommand;
extern const Command settingsCommand;
extern const Command stringsCommand;
extern const Command tableCommand;
extern const Command tagsCommand;
extern const Command watchCommand;
extern const Command xmlCommand;

/// Returns all commands, in the order of the help.
inline QVector<const Command *> allCommands()
{
    return {&runCommand,      &evalCommand, &checkCommand, &pythonCommand,
            &tableCommand,    &tagsCommand, &xmlCommand,   &stringsCommand,
            &settingsCommand, &findCommand, &copyCommand,  &watchCommand};
}

} // namespace Kelm
