#pragma once

#include "examples/workbench/trees/TreeDocument.h"

#include <QDomNode>

namespace Utils::Xml {
class Document;
}

namespace Workbench {

/// Whether the text file \p path begins with an XML declaration.
bool isXmlFile(const QString &path);

/// An XML document: its elements, and below each element its attributes, in the order of the
/// library, and its child nodes. The text of an element that has no other children is its value.
///
/// What a name or a text may be is tried out: the library writes it and reads it back.
class XmlDocument : public TreeDocument
{
    Q_OBJECT

public:
    explicit XmlDocument(const QString &path);
    ~XmlDocument() override;

    const Utils::Xml::Document &document() const { return *m_document; }

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
    bool canRemove(int node) const override;
    bool canDuplicate(int node) const override;
    bool canMove(int node, int step) const override;
    void setText(int node, Column column, const QString &text) override;

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
    std::vector<Addition> attributesToAdd(int node, const QDomElement &pasted, QString &problem);
    void addNodeOf(int parent, const QDomNode &dom);
    void setDom(int node, const QDomNode &dom);
    const QDomNode &dom(int node) const { return m_doms[std::size_t(node)]; }
    QDomElement element(int node) const { return dom(node).toElement(); }
    int elementOf(int node) const;

    std::unique_ptr<Utils::Xml::Document> m_document;
    std::vector<QDomNode> m_doms; // of the nodes that are listed
    QString m_encoding;
};

} // namespace Workbench
