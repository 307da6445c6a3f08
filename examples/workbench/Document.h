#pragma once

#include <QObject>
#include <QUndoStack>

#include <memory>

namespace Utils {
class FileWatch;
}

namespace Workbench {

/// A file that is open. The main window shows it in a tab, asks before unsaved changes are lost,
/// and offers to read it again when it has changed on the disk.
class Document : public QObject
{
    Q_OBJECT

public:
    explicit Document(const QString &path);
    ~Document() override;

    QString path() const { return m_path; }

    /// Whether the path \p path leads to the file of the document. Other than for
    /// File::isSamePath(), names that differ only in case are two files where the file system says
    /// so, and a link leads to its file.
    bool isAt(const QString &path) const;

    /// The changes that can be undone. The document is changed when the stack is not clean.
    QUndoStack &changes() { return m_changes; }
    bool isChanged() const { return !m_changes.isClean(); }

    /// Reads the file, for the first time or again. False, with the reason in failure() and the
    /// contents as they were, when it cannot be read.
    bool read();

    /// Writes the file \p path, which becomes that of the document. False, with the reason in
    /// failure() and the document still changed, when it cannot be written.
    bool write(const QString &path);

    /// Why the last read() or write() has failed, as a text for the user.
    QString failure() const;

    /// How the file is written, in one line for the status bar.
    virtual QString description() const = 0;

    /// Whether the contents are in memory, so that they can be saved when the file is gone.
    virtual bool holdsContents() const;

    /// What would be lost if the document were saved over its file, in a sentence; "" for nothing.
    virtual QString whatSavingLoses() const;

    /// The filter of the dialog that asks for the name to save under, as QFileDialog expects it.
    virtual QString saveFilter() const = 0;

Q_SIGNALS:
    void pathChanged();
    void contentsReplaced(); ///< after read()
    void changedOnDisk();    ///< by another program

protected:
    /// What read() and write() do with a file. When they fail, the reason is that of
    /// File::lastError(), or the one that fail() is called with.
    virtual bool readFile(const QString &path) = 0;
    virtual bool writeFile(const QString &path) = 0;
    bool fail(const QString &reason); ///< false

    /// Whether reading or writing \p path could wait for another program without end.
    static bool isDevice(const QString &path);

private:
    void watch();

    QString m_path;
    QString m_failure; // "" for that of the library
    QUndoStack m_changes;
    std::unique_ptr<Utils::FileWatch> m_watch;
};

} // namespace Workbench
