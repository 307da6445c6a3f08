#include "examples/workbench/script/ScriptAccess.h"

#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/script/ScriptRunner.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "utils/feedback/WaitCursor.h"

#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>

namespace Workbench {

static ScriptAccess *theAccess = nullptr;

ScriptAccess::ScriptAccess(MainWindow &window, ScriptRunner &runner)
    : m_window(window), m_runner(runner)
{
    theAccess = this;
}

ScriptAccess::~ScriptAccess() { theAccess = nullptr; }

ScriptAccess *ScriptAccess::instance() { return theAccess; }

void ScriptAccess::setCurrentView(Pane *view)
{
    if (auto *const table = qobject_cast<TableView *>(view))
        m_last = &table->document();
}

QVector<TableDocument *> ScriptAccess::tables() const
{
    QVector<TableDocument *> found;
    for (DocumentTab *const tab : m_window.tabs()) {
        if (auto *const table = qobject_cast<TableDocument *>(&tab->document()))
            found.append(table);
    }
    return found;
}

TableDocument *ScriptAccess::table() const
{
    return isOpen(m_last) ? m_last.data() : tables().value(0);
}

TableDocument *ScriptAccess::table(const QString &name) const
{
    for (TableDocument *const table : tables()) {
        if (table->isAt(name) || QFileInfo(table->path()).fileName() == name)
            return table;
    }
    return nullptr;
}

bool ScriptAccess::isOpen(const TableDocument *document) const
{
    return document && tables().contains(const_cast<TableDocument *>(document));
}

QString ScriptAccess::open(const QString &path) { return m_window.open(path); }

bool ScriptAccess::close(const TableDocument *document)
{
    for (DocumentTab *const tab : m_window.tabs()) {
        if (&tab->document() == document)
            return m_window.closeTab(tab);
    }
    return true;
}

void ScriptAccess::setCell(TableDocument &document, int row, int col, const QString &text)
{
    if (text == document.cell(row, col))
        return;
    if (!m_changed.contains(&document)) {
        m_changed.append(&document);
        document.changes().beginMacro(QString());
    }
    document.setCell(row, col, text);
}

void ScriptAccess::endChanges()
{
    for (const QPointer<TableDocument> &document : qAsConst(m_changed)) {
        if (document)
            document->changes().endMacro();
    }
    m_changed.clear();
}

bool ScriptAccess::showMessage(const QString &message)
{
    if (QApplication::activeModalWidget())
        return false;
    const Utils::WaitCursor none(/*suspend=*/true, /*enable=*/true);
    QMessageBox box(QMessageBox::Information, text(".ctx.program"), message, QMessageBox::Ok,
                    &m_window);
    box.setTextFormat(Qt::PlainText);
    QPushButton *const stop =
        box.addButton(text(".ctx.stopScript").remove('&'), QMessageBox::RejectRole);
    box.setEscapeButton(stop);
    box.exec();
    if (box.clickedButton() == stop)
        m_runner.stop();
    return true;
}

} // namespace Workbench
