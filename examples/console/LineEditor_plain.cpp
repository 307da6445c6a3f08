#include "examples/console/LineEditor.h"

#include "examples/console/PlainLine.h"

namespace Kelm {

struct LineEditor::Private
{};

LineEditor::LineEditor(const Completer &) {}
LineEditor::~LineEditor() = default;

LineEditor::Outcome LineEditor::read(const QString &prompt, QString &line)
{
    return readPlainLine(prompt, line);
}

void LineEditor::remember(const QString &) {}

} // namespace Kelm
