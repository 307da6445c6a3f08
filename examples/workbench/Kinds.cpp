#include "examples/workbench/Kinds.h"

#include "examples/workbench/bus/BusPane.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/process/ProcessPane.h"
#ifdef KELM_WORKBENCH_SCRIPTS
#include "examples/workbench/script/ScriptDocument.h"
#include "examples/workbench/script/ScriptPane.h"
#include "examples/workbench/script/ScriptView.h"
#endif
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "examples/workbench/tags/TagDocument.h"
#include "examples/workbench/trees/TreeView.h"
#include "examples/workbench/xml/XmlDocument.h"

#include <QDir>
#include <QFileInfo>

namespace Workbench {

static Pane *makeTreeView(Document *document, QWidget *parent)
{
    return new TreeView(static_cast<TreeDocument &>(*document), parent);
}

const std::vector<DocumentKind> &documentKinds()
{
    // Tables are last: any text may be one.
    static const std::vector<DocumentKind> kinds = {
#ifdef KELM_WORKBENCH_SCRIPTS
        {"Script",
         ".ctx.scripts",
         {"*.py"},
         nullptr,
         [](const QString &path) -> Document * { return new ScriptDocument(path); },
         [](Document *document, QWidget *parent) -> Pane * {
             return new ScriptView(static_cast<ScriptDocument &>(*document), parent);
         }},
#endif
        {"TagFile",
         ".ctx.tagFiles",
         {"*.tag"},
         isTagFile,
         [](const QString &path) -> Document * { return new TagDocument(path); },
         makeTreeView},
        {"XmlDocument",
         ".ctx.xmlDocuments",
         {"*.xml"},
         isXmlFile,
         [](const QString &path) -> Document * { return new XmlDocument(path); },
         makeTreeView},
        {"Table",
         ".ctx.tables",
         {"*.csv", "*.tsv", "*.txt", "*.dat"},
         nullptr,
         [](const QString &path) -> Document * { return new TableDocument(path); },
         [](Document *document, QWidget *parent) -> Pane * {
             return new TableView(static_cast<TableDocument &>(*document), parent);
         }},
    };
    return kinds;
}

const DocumentKind &kindOf(const QString &path)
{
    const QFileInfo file(path);
    for (const DocumentKind &kind : documentKinds()) {
        const bool canLook = kind.hasForm && file.isFile(); // a pipe would wait
        if (QDir::match(kind.patterns, file.fileName()) || (canLook && kind.hasForm(path)))
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
        {"Bus", Qt::BottomDockWidgetArea,
         [](QWidget *parent) -> Pane * { return new BusPane(parent); },
         /*isHiddenAtFirst=*/true},
    };
    return kinds;
}

} // namespace Workbench
