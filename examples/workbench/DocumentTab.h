#pragma once

#include <QWidget>

QT_FORWARD_DECLARE_CLASS(QFrame)
QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QPushButton)

namespace Workbench {

class Document;
class Pane;
struct DocumentKind;

/// The tab of a document: its view, and above it a bar that tells what happened to the file.
class DocumentTab : public QWidget
{
    Q_OBJECT

public:
    /// \p kind must be one of documentKinds().
    DocumentTab(const DocumentKind &kind, const QString &path, QWidget *parent);
    ~DocumentTab() override;

    const DocumentKind &kind() const { return m_kind; }
    Document &document() const { return *m_document; }
    Pane &view() const { return *m_view; }

    /// The name of the file, with a star when there are unsaved changes.
    QString title() const;

    /// Tells when the file is not there any more, or cannot be read.
    void checkFile();

    void closeBar();

Q_SIGNALS:
    void titleChanged();
    void reloadWanted();

private:
    enum class State // of the file
    {
        Readable,
        Missing,
        Unreadable
    };

    void tell(const char *id, bool canReload);

    const DocumentKind &m_kind;
    Document *m_document;
    QFrame *m_bar;
    QLabel *m_message;
    QPushButton *m_reload;
    QPushButton *m_ignore;
    Pane *m_view;
    State m_state = State::Readable; // as it was told
};

} // namespace Workbench
