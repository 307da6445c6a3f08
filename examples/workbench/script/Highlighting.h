#pragma once

#include <QtGlobal>

QT_FORWARD_DECLARE_CLASS(QPlainTextEdit)

namespace Workbench {

/// Shows the Python code in \p editor in colours that fit the palette, also after the palette has
/// changed. Without KSyntaxHighlighting the code stays plain.
void highlightPython(QPlainTextEdit &editor);

} // namespace Workbench
