#include "examples/workbench/script/Highlighting.h"

namespace Workbench {

void highlightPython(QPlainTextEdit &) {}

} // namespace Workbench
