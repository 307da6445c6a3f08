#include "examples/workbench/script/ConsoleLine.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QCompleter>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QStandardItemModel>

namespace Workbench {

static const int mostLines = 500; // of the history
static const int mostNames = 500; // in the list

ConsoleLine::ConsoleLine(QWidget *parent)
    : QLineEdit(parent), m_completer(new QCompleter(this)), m_names(new QStandardItemModel(this))
{
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setContextMenuPolicy(Qt::DefaultContextMenu);
    m_completer->setModel(m_names);
    m_completer->setWidget(this);
    m_completer->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    m_completer->setCompletionRole(Qt::UserRole);
    connect(m_completer, QOverload<const QModelIndex &>::of(&QCompleter::activated), this,
            [this](const QModelIndex &index) { insertName(index.data(Qt::UserRole).toString()); });
    // The list follows what is typed while it is shown.
    connect(this, &QLineEdit::textEdited, this, [this] {
        if (m_completer->popup()->isVisible())
            showNames(m_find(text().left(cursorPosition())));
    });
}

void ConsoleLine::setCompletions(const std::function<QVector<Completion>(const QString &)> &find)
{
    m_find = find;
}

void ConsoleLine::remember(const QString &line)
{
    if (!line.trimmed().isEmpty() && (m_history.isEmpty() || m_history.constLast() != line))
        m_history.append(line);
    setHistory(m_history);
}

void ConsoleLine::setHistory(const QStringList &lines)
{
    m_history = lines.mid(qMax(0, lines.size() - mostLines));
    m_recalled = m_history.size();
}

void ConsoleLine::recall(int step)
{
    const int wanted = m_recalled + step;
    if (wanted < 0 || wanted > m_history.size())
        return;
    if (m_recalled == m_history.size())
        m_typed = text();
    m_recalled = wanted;
    setText(wanted == m_history.size() ? m_typed : m_history.at(wanted));
}

/// Where the name starts that ends at the end of \p text.
static int nameStart(const QString &text)
{
    int start = text.size();
    while (start > 0 && (text.at(start - 1).isLetterOrNumber() || text.at(start - 1) == '_'))
        --start;
    return start;
}

/// What all names start with.
static QString commonStart(const QVector<Completion> &found)
{
    QString common = found.constFirst().name;
    for (const Completion &completion : found) {
        while (!completion.name.startsWith(common))
            common.chop(1);
    }
    return common;
}

void ConsoleLine::completeText()
{
    const QString before = text().left(cursorPosition());
    const QVector<Completion> found = m_find ? m_find(before) : QVector<Completion>();
    if (found.isEmpty())
        return;
    const QString common = commonStart(found);
    if (common.size() > before.size() - nameStart(before) || found.size() == 1)
        insertName(common);
    if (found.size() > 1)
        showNames(found);
}

void ConsoleLine::insertName(const QString &name)
{
    const int end = cursorPosition();
    const int start = nameStart(text().left(end));
    setText(text().left(start) + name + text().mid(end));
    setCursorPosition(start + name.size());
}

void ConsoleLine::showNames(const QVector<Completion> &found)
{
    m_names->clear();
    for (const Completion &completion : found.mid(0, mostNames)) {
        const QString signature = completion.hint.section('\n', 0, 0);
        auto *const item = new QStandardItem(signature.isEmpty() ? completion.name : signature);
        item->setData(completion.name, Qt::UserRole);
        item->setToolTip(completion.hint);
        m_names->appendRow(item);
    }
    if (found.isEmpty()) {
        m_completer->popup()->hide();
        return;
    }
    m_completer->complete();
    m_completer->popup()->setCurrentIndex(m_completer->completionModel()->index(0, 0));
}

/// Enters all pasted lines but the last one, which can still be changed.
void ConsoleLine::paste()
{
    QStringList lines = QApplication::clipboard()->text().split('\n');
    while (lines.size() > 1) {
        insert(lines.takeFirst());
        const QString line = text();
        clear();
        Q_EMIT entered(line);
        clear(); // the lines have their own blanks
    }
    insert(lines.constFirst());
}

bool ConsoleLine::event(QEvent *event)
{
    if (event->type() == QEvent::KeyPress && !m_completer->popup()->isVisible()) {
        const auto &key = *static_cast<QKeyEvent *>(event);
        // With nothing to complete, Tab goes to the next part of the window as everywhere.
        if (key.key() == Qt::Key_Tab && key.modifiers() == Qt::NoModifier && !text().isEmpty()) {
            if (text().left(cursorPosition()).trimmed().isEmpty())
                insert("    ");
            else
                completeText();
            return true;
        }
    }
    return QLineEdit::event(event);
}

/// Whether a key is left to the list of names while it is shown.
static bool isOfList(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Tab ||
           key == Qt::Key_Escape;
}

void ConsoleLine::keyPressEvent(QKeyEvent *event)
{
    if (m_completer->popup()->isVisible() && isOfList(event->key())) {
        event->ignore();
        return;
    }
    const bool isControl = event->modifiers() == Qt::ControlModifier;
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        const QString line = text();
        clear();
        Q_EMIT entered(line);
    } else if (event->key() == Qt::Key_Up) {
        recall(-1);
    } else if (event->key() == Qt::Key_Down) {
        recall(1);
    } else if (event->matches(QKeySequence::Paste)) {
        paste();
    } else if (isControl && event->key() == Qt::Key_C && !hasSelectedText()) {
        Q_EMIT interrupted();
    } else if (isControl && event->key() == Qt::Key_D && text().isEmpty()) {
        Q_EMIT ended();
    } else {
        QLineEdit::keyPressEvent(event);
    }
}

} // namespace Workbench
