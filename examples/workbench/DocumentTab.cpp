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
#include <QTimer>

namespace Workbench {

static const int checkInterval = 1000; // milliseconds

DocumentTab::DocumentTab(const DocumentKind &kind, const QString &path, QWidget *parent)
    : QWidget(parent), m_kind(kind), m_document(kind.makeDocument(path)), m_bar(new QFrame(this)),
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

    auto *const timer = new QTimer(this); // a watch does not report that a file is gone
    connect(timer, &QTimer::timeout, this, &DocumentTab::checkFile);
    timer->start(checkInterval);
    connect(m_reload, &QPushButton::clicked, this, &DocumentTab::reloadWanted);
    connect(m_ignore, &QPushButton::clicked, this, &DocumentTab::closeBar);
    connect(&m_document->changes(), &QUndoStack::cleanChanged, this, &DocumentTab::titleChanged);
    connect(&m_document->changes(), &QUndoStack::indexChanged, this, &DocumentTab::titleChanged);
    connect(m_document, &Document::pathChanged, this, &DocumentTab::titleChanged);
    connect(m_document, &Document::changedOnDisk, this, [this] {
        m_state = State::Readable;
        const char *const plain =
            m_document->holdsContents() ? ".msg.changedOnDisk" : ".msg.changedUnder";
        tell(m_document->isChanged() ? ".msg.changedBoth" : plain, true);
        m_view->update();
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
    const QFileInfo file(m_document->path());
    State state = State::Readable;
    if (!file.exists())
        state = State::Missing;
    else if (!file.isFile() || !file.isReadable())
        state = State::Unreadable;
    if (state == m_state)
        return;
    m_state = state;
    if (state == State::Missing)
        tell(".msg.missingOnDisk", false);
    else if (state == State::Unreadable)
        tell(".msg.unreadable", false);
    else
        closeBar();
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
