#pragma once

#include <QPointer>
#include <QVariant>
#include <QVector>

#include <utility>

namespace Workbench {

class MainWindow;
class Pane;
class ScriptRunner;
class TableDocument;

/// What scripts reach of the program: the tables that are open, and messages.
class ScriptAccess
{
public:
    ScriptAccess(MainWindow &window, ScriptRunner &runner);
    ScriptAccess(const ScriptAccess &) = delete;
    ScriptAccess &operator=(const ScriptAccess &) = delete;
    ~ScriptAccess();

    /// The one of the program; null when there is no window.
    static ScriptAccess *instance();

    /// Tells which view is current. The last one of a table is that of table().
    void setCurrentView(Pane *view);

    /// The tables that are open, in the order of their tabs.
    QVector<TableDocument *> tables() const;

    /// The table that is or was current last; null when none is open.
    TableDocument *table() const;

    /// The table with a path, or with a name of a file; null when it is not open.
    TableDocument *table(const QString &name) const;

    bool isOpen(const TableDocument *document) const;

    /// Opens a file in a tab. Returns why it cannot be read; "" when it is open.
    QString open(const QString &path);

    /// Closes the tab of a table, after asking about unsaved changes. False when it stays open.
    bool close(const TableDocument *document);

    /// Shows a text until the user has read it. A button stops the script. False when another
    /// dialog is open.
    bool showMessage(const QString &message);

    /// Changes a cell. All changes of a run, up to endChanges(), are undone by one step.
    void setCell(TableDocument &document, int row, int col, const QString &text);
    void endChanges();

    /// The result that the last run has set; takeResult() forgets it.
    void setResult(const QVariant &result) { m_result = result; }
    QVariant takeResult() { return std::exchange(m_result, {}); }

private:
    MainWindow &m_window;
    ScriptRunner &m_runner;
    QPointer<TableDocument> m_last;
    QVariant m_result;
    QVector<QPointer<TableDocument>> m_changed; // by the run
};

} // namespace Workbench
