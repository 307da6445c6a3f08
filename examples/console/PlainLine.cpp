#include "examples/console/PlainLine.h"

#include "examples/console/Terminal.h"

#include <QByteArray>

#include <cerrno>
#include <cstdio>

namespace Kelm {

namespace {

/// Makes Ctrl-C end a read while it exists.
struct InterruptibleRead
{
    InterruptibleRead() { Terminal::endReadsAtInterrupt(true); }
    ~InterruptibleRead() { Terminal::endReadsAtInterrupt(false); }
    InterruptibleRead(const InterruptibleRead &) = delete;
    InterruptibleRead &operator=(const InterruptibleRead &) = delete;
};

} // namespace

LineEditor::Outcome readPlainLine(const QString &prompt, QString &line)
{
    const InterruptibleRead interruptible;
    std::fputs(prompt.toUtf8().constData(), stdout);
    std::fflush(stdout);
    QByteArray bytes;
    for (;;) {
        errno = 0;
        const int byte = std::fgetc(stdin);
        if (byte == '\n')
            break;
        if (byte != EOF) {
            bytes += static_cast<char>(byte);
            continue;
        }
        const bool isInterrupted = std::ferror(stdin) && errno == EINTR;
        std::clearerr(stdin);
        if (isInterrupted)
            return LineEditor::Outcome::Interrupted;
        if (bytes.isEmpty())
            return LineEditor::Outcome::End;
        break;
    }
    line = QString::fromUtf8(bytes);
    return LineEditor::Outcome::Line;
}

} // namespace Kelm
