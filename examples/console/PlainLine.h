#pragma once

#include "examples/console/LineEditor.h"

namespace Kelm {

/// Reads a line as the terminal supplies it.
LineEditor::Outcome readPlainLine(const QString &prompt, QString &line);

} // namespace Kelm
