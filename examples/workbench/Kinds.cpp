#include "examples/workbench/Kinds.h"

#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/process/ProcessPane.h"
#ifdef KELM_WORKBENCH_SCRIPTS
#include "examples/workbench/script/ScriptDocument.h"
#include "examples/workbench/script/ScriptPane.h"
#include "examples/workbench/script/ScriptView.h"
#endif
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"

#include <QDir>
#include <QFileInfo>

namespace Workbench {

const std::vector<DocumentKind> &documentKinds()
{
    // Tables are last: any text may be one.
    static const std::vector<DocumentKind> kinds = {
#ifdef KELM_WORKBENCH_SCRIPTS
        {".ctx.scripts",
         {"*.py"},
         [](const QString &path) -> Document * { return new ScriptDocument(path); },
         [](Document *document, QWidget *parent) -> Pane * {
             return new ScriptView(static_cast<ScriptDocument &>(*document), parent);
         }},
#endif
        {".ctx.tables",
         {"*.csv", "*.tsv", "*.txt", "*.dat"},
         [](const QString &path) -> Document * { return new TableDocument(path); },
         [](Document *document, QWidget *parent) -> Pane * {
             return new TableView(static_cast<TableDocument &>(*document), parent);
         }},
    };
    return kinds;
}

const DocumentKind &kindOf(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    for (const DocumentKind &kind : documentKinds()) {
        if (QDir::match(kind.patterns, name))
            return kind;
    }
    return documentKinds().back();
}

const std::vector<ToolKind> &toolKinds()
{
    static const std::vector<ToolKind> kinds = {
        {"Plot", Qt::RightDockWidgetArea,
         [](QWidget *parent) -> Pane * { return new PlotPane(parent); }},
        {"Processes", Qt::BottomDockWidgetArea,
         [](QWidget *parent) -> Pane * { return new ProcessPane(parent); },
         /*isHiddenAtFirst=*/true},
#ifdef KELM_WORKBENCH_SCRIPTS
        {"Scripts", Qt::BottomDockWidgetArea,
         [](QWidget *parent) -> Pane * { return new ScriptPane(parent); }},
#endif
    };
    return kinds;
}

} // namespace Workbench
