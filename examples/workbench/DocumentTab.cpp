#include "examples/workbench/DocumentTab.h"

#include "examples/workbench/Document.h"
#include "examples/workbench/Kinds.h"
#include "examples/workbench/Pane.h"
#include "examples/workbench/Texts.h"

#include <QBoxLayout>
#include <QFileInfo>
#include <QFrame>
#include <QLabel>
#include <QPushButton>

namespace Workbench {

DocumentTab::DocumentTab(const DocumentKind &kind, const QString &path, QWidget *parent)
    : QWidget(parent), m_document(kind.makeDocument(path)), m_bar(new QFrame(this)),
      m_message(new QLabel(m_bar)), m_reload(new QPushButton(m_bar)),
      m_ignore(new QPushButton(m_bar)), m_view(kind.makeView(m_document, this))
{
    m_document->setParent(this);
    m_bar->setFrameShape(QFrame::StyledPanel);
    m_bar->setAutoFillBackground(true);
    m_bar->setBackgroundRole(QPalette::ToolTipBase);
    m_message->setForegroundRole(QPalette::ToolTipText);
    m_message->setWordWrap(true);
    bindText(m_reload, "text", ".ctx.reload");
    bindText(m_ignore, "text", ".ctx.ignore");
    auto *const row = new QHBoxLayout(m_bar);
    row->addWidget(m_message, 1);
    row->addWidget(m_reload);
    row->addWidget(m_ignore);
    m_bar->hide();

    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_bar);
    layout->addWidget(m_view, 1);
    setFocusProxy(m_view);

    connect(m_reload, &QPushButton::clicked, this, &DocumentTab::reloadWanted);
    connect(m_ignore, &QPushButton::clicked, this, &DocumentTab::closeBar);
    connect(&m_document->changes(), &QUndoStack::cleanChanged, this, &DocumentTab::titleChanged);
    connect(&m_document->changes(), &QUndoStack::indexChanged, this, &DocumentTab::titleChanged);
    connect(m_document, &Document::pathChanged, this, &DocumentTab::titleChanged);
    connect(m_document, &Document::changedOnDisk, this, [this] {
        m_isMissing = false;
        tell(m_document->isChanged() ? ".msg.changedBoth" : ".msg.changedOnDisk", true);
    });
}

DocumentTab::~DocumentTab()
{
    m_document->changes().disconnect(this); // it reports that it is clean when it ends
}

QString DocumentTab::title() const
{
    const QString name = QFileInfo(m_document->path()).fileName();
    return m_document->isChanged() ? name + '*' : name;
}

void DocumentTab::checkFile()
{
    const bool isMissing = !QFileInfo::exists(m_document->path());
    if (isMissing && !m_isMissing)
        tell(m_document->holdsContents() ? ".msg.missingOnDisk" : ".msg.goneFromDisk", false);
    m_isMissing = isMissing;
}

void DocumentTab::closeBar()
{
    const bool hadFocus = m_bar->isAncestorOf(focusWidget());
    m_bar->hide();
    if (hadFocus)
        m_view->setFocus();
}

void DocumentTab::tell(const char *id, bool canReload)
{
    bindText(m_message, "text", id);
    m_reload->setVisible(canReload);
    m_bar->show();
}

} // namespace Workbench
