#pragma once

#include "examples/workbench/trees/TreeDocument.h"

namespace Utils {
class TagFile;
}

namespace Workbench {

/// Whether the text file \p path begins as a tag file does: with a tag "TYPE" that has a name.
bool isTagFile(const QString &path);

/// A tag file: its tags, and below each tag its keys with their values.
///
/// What a name, a key or a value may be is tried out: the library writes it and reads it back.
class TagDocument : public TreeDocument
{
    Q_OBJECT

public:
    explicit TagDocument(const QString &path);
    ~TagDocument() override;

    const Utils::TagFile &file() const { return *m_file; }

    QString description() const override;
    QString whatSavingLoses() const override;
    QString saveFilter() const override;

    bool hasChildren(int node) const override;
    Words words() const override;
    QString heading() const override;
    QString textOf(int node, Column column) const override;
    QString summaryOf(int node) const override;
    bool canEdit(int node, Column column) override;
    QString fileText(int node) const override;
    bool canRemove(int node) const override { return node != root; }
    bool canDuplicate(int node) const override { return node != root; }
    bool canMove(int node, int step) const override;

protected:
    bool readFile(const QString &path) override;
    bool writeFile(const QString &path) override;

    void listChildren(int node) override;
    Position positionFor(int node, bool branch) override;
    Part newPart(int parent, bool branch) const override;
    Part copyOf(int node) const override;
    std::vector<Addition> additions(int node, const QString &text, QString &problem) override;
    void insertPart(int node, const Part &part) override;
    Part removePart(int node) override;
    std::any putText(int node, Column column, const QString &text) override;
    void resetText(int node, Column column, const std::any &old) override;
    QString formProblem(int node, Column column, const QString &text) const override;

private:
    bool isTag(int node) const { return parentOf(node) == root; }
    int tagRow(int node) const { return rowOf(isTag(node) ? node : parentOf(node)); }
    std::vector<Addition> tagsToAdd(int node, const Utils::TagFile &pasted);
    std::vector<Addition> keysToAdd(int node, const QString &text, QString &problem);
    QStringList linesThatSavingLoses() const;
    QString firstThatIsReadDifferently() const;

    std::unique_ptr<Utils::TagFile> m_file;
    QString m_encoding;
};

} // namespace Workbench
