#pragma once

#include <QStringList>

#include <vector>

QT_FORWARD_DECLARE_CLASS(QWidget)

namespace Workbench {

class Document;
class Pane;

/// A kind of file that the workbench opens.
struct DocumentKind
{
    const char *id;                       ///< on the signal bus, such as "Table"
    const char *name;                     ///< id of a text, such as ".ctx.tables"
    QStringList patterns;                 ///< of file names, such as "*.csv"
    bool (*hasForm)(const QString &path); ///< whether a file of another name is one; may be null
    Document *(*makeDocument)(const QString &path);
    Pane *(*makeView)(Document *document, QWidget *parent); ///< the view owns the document
};

/// All kinds of files. The last one is that of files which match no pattern.
const std::vector<DocumentKind> &documentKinds();

/// The kind of the file \p path.
const DocumentKind &kindOf(const QString &path);

/// A tool in a dock of the main window.
struct ToolKind
{
    const char *name; ///< of the dock, in the settings
    Qt::DockWidgetArea area;
    Pane *(*make)(QWidget *parent);
    bool isHiddenAtFirst = false; ///< until the user shows it, by the menu Window
};

/// All tools, in the order of their menus.
const std::vector<ToolKind> &toolKinds();

} // namespace Workbench
