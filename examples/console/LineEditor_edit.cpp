#include "examples/console/LineEditor.h"

#include "examples/console/PlainLine.h"
#include "examples/console/Terminal.h"

#include <QVector>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include <histedit.h>

namespace Kelm {

static const int historySize = 1000;

struct LineEditor::Private
{
    explicit Private(const Completer &given);
    ~Private();

    static Private &of(EditLine *edit);
    static char *showPrompt(EditLine *edit);
    static unsigned char complete(EditLine *edit, int key);
    static unsigned char interrupt(EditLine *edit, int key);
    static unsigned char stop(EditLine *edit, int key);

    Completer completer;
    EditLine *edit = nullptr; // null when the terminal cannot draw
    History *history = nullptr;
    QByteArray prompt;
    bool isInterrupted = false;
};

LineEditor::Private::Private(const Completer &given) : completer(given)
{
    if (!Terminal::canEdit())
        return;
    edit = el_init("kelm", stdin, stdout, stderr);
    history = history_init();
    if (!edit || !history)
        return;
    HistEvent event;
    ::history(history, &event, H_SETSIZE, historySize);
    ::history(history, &event, H_SETUNIQUE, 1);
    el_set(edit, EL_CLIENTDATA, this);
    el_set(edit, EL_HIST, ::history, history);
    el_set(edit, EL_PROMPT, showPrompt);
    el_set(edit, EL_EDITOR, "emacs");
    el_source(edit, nullptr); // what the user has in .editrc
    el_set(edit, EL_ADDFN, "kelm-complete", "Completes the name before the cursor", complete);
    el_set(edit, EL_ADDFN, "kelm-interrupt", "Drops what was typed", interrupt);
    el_set(edit, EL_ADDFN, "kelm-stop", "Stops the program", stop);
    el_set(edit, EL_BIND, "^I", "kelm-complete", nullptr);
    el_set(edit, EL_BIND, "^C", "kelm-interrupt", nullptr);
    el_set(edit, EL_BIND, "^Z", "kelm-stop", nullptr);
    // Ctrl-C and Ctrl-Z are keys while a line is edited, and signals while a statement runs.
    el_set(edit, EL_SETTY, "-d", "-isig", nullptr);
}

LineEditor::Private::~Private()
{
    if (history)
        history_end(history);
    if (edit)
        el_end(edit);
}

LineEditor::Private &LineEditor::Private::of(EditLine *edit)
{
    void *data = nullptr;
    el_get(edit, EL_CLIENTDATA, &data);
    return *static_cast<Private *>(data);
}

char *LineEditor::Private::showPrompt(EditLine *edit) { return of(edit).prompt.data(); }

/// Returns what all \a names have in common at their start.
static QString commonStart(const QVector<Completion> &completions)
{
    QString common = completions.constFirst().name;
    for (const Completion &completion : completions) {
        while (!completion.name.startsWith(common))
            common.chop(1);
    }
    return common;
}

static bool isPartOfName(QChar character)
{
    return character.isLetterOrNumber() || character == '_';
}

/// Prints \a completions below the line, in columns.
static void list(const QVector<Completion> &completions)
{
    std::fputc('\n', stdout);
    if (completions.size() == 1) {
        std::printf("%s\n", qUtf8Printable(completions.constFirst().hint));
        return;
    }
    int longest = 0;
    for (const Completion &completion : completions)
        longest = std::max(longest, completion.name.size());
    const int columns = std::max(1, Terminal::width(Terminal::Stream::Output) / (longest + 2));
    for (int i = 0; i < completions.size(); ++i) {
        const bool isLast = (i + 1) % columns == 0 || i + 1 == completions.size();
        const QString name = completions.at(i).name;
        std::printf("%s%s", qUtf8Printable(isLast ? name : name.leftJustified(longest + 2)),
                    isLast ? "\n" : "");
    }
}

unsigned char LineEditor::Private::complete(EditLine *edit, int)
{
    const LineInfo *const line = el_line(edit);
    const QString text =
        QString::fromLocal8Bit(line->buffer, static_cast<int>(line->cursor - line->buffer));
    if (text.trimmed().isEmpty()) {
        el_insertstr(edit, "    ");
        return CC_REFRESH;
    }
    const QVector<Completion> completions = of(edit).completer(text);
    if (completions.isEmpty())
        return CC_ERROR;

    int start = text.size();
    while (start > 0 && isPartOfName(text.at(start - 1)))
        --start;
    const QString rest = commonStart(completions).mid(text.size() - start);
    if (!rest.isEmpty()) {
        el_insertstr(edit, rest.toLocal8Bit().constData());
        return CC_REFRESH;
    }
    if (completions.size() == 1 && completions.constFirst().hint.isEmpty())
        return CC_ERROR;
    list(completions);
    return CC_REDISPLAY;
}

unsigned char LineEditor::Private::interrupt(EditLine *edit, int)
{
    of(edit).isInterrupted = true;
    const LineInfo *const line = el_line(edit);
    el_cursor(edit, static_cast<int>(line->lastchar - line->cursor));
    el_deletestr(edit, static_cast<int>(line->lastchar - line->buffer));
    return CC_NEWLINE;
}

unsigned char LineEditor::Private::stop(EditLine *edit, int)
{
    el_set(edit, EL_PREP_TERM, 0);
    std::raise(SIGTSTP);
    Terminal::lendTerminal(true); // the signal has ended that
    el_set(edit, EL_PREP_TERM, 1);
    return CC_REDISPLAY;
}

LineEditor::LineEditor(const Completer &completer) : d(std::make_unique<Private>(completer)) {}
LineEditor::~LineEditor() = default;

LineEditor::Outcome LineEditor::read(const QString &prompt, QString &line)
{
    if (!d->edit || !d->history)
        return readPlainLine(prompt, line);
    d->prompt = prompt.toLocal8Bit();
    d->isInterrupted = false;
    Terminal::lendTerminal(true);
    // Before the prompt is shown: a Ctrl-D or Ctrl-C that is typed after it must arrive as a key.
    el_set(d->edit, EL_PREP_TERM, 1);
    el_resize(d->edit);
    int size = 0;
    const char *const text = el_gets(d->edit, &size);
    Terminal::lendTerminal(false);
    if (d->isInterrupted)
        return Outcome::Interrupted;
    if (!text || size <= 0)
        return Outcome::End;
    line = QString::fromLocal8Bit(text, size);
    if (line.endsWith('\n'))
        line.chop(1);
    return Outcome::Line;
}

void LineEditor::remember(const QString &line)
{
    HistEvent event;
    if (d->edit && d->history && !line.trimmed().isEmpty())
        history(d->history, &event, H_ENTER, line.toLocal8Bit().constData());
}

} // namespace Kelm
