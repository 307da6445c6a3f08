#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace Kelm {

/// A completion of what is being typed.
struct Completion
{
    QString name; ///< replaces the part of it that is written
    QString hint; ///< shown when there is no other one; may be ""
};

/// Reads lines from standard input, after a prompt. On a terminal that can draw, and where libedit
/// was found when the program was built, a line can be edited and completed, and earlier lines come
/// back.
class LineEditor
{
public:
    enum class Outcome
    {
        Line,
        Interrupted, ///< by Ctrl-C: what was typed is dropped
        End,         ///< of the input, as after Ctrl-D
    };

    /// Returns the completions of a text up to the cursor.
    using Completer = std::function<QVector<Completion>(const QString &text)>;

    explicit LineEditor(const Completer &completer);
    ~LineEditor();

    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;

    Outcome read(const QString &prompt, QString &line);

    /// Adds a line to those that come back.
    void remember(const QString &line);

private:
    struct Private;
    const std::unique_ptr<Private> d;
};

} // namespace Kelm
