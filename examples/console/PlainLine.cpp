#include "examples/console/PlainLine.h"

#include "examples/console/Terminal.h"

namespace Kelm {

LineEditor::Outcome readPlainLine(const QString &prompt, QString &line)
{
    std::string bytes;
    switch (Terminal::readLine(prompt.toStdString(), bytes)) {
    case Terminal::Typed::Interrupted:
        return LineEditor::Outcome::Interrupted;
    case Terminal::Typed::End:
        return LineEditor::Outcome::End;
    case Terminal::Typed::Line:
        break;
    }
    line = QString::fromStdString(bytes);
    return LineEditor::Outcome::Line;
}

} // namespace Kelm
