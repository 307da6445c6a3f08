#pragma once

#include "utils/xml/LineLayout_p.h"

#include <QDomDocument>
#include <QHash>
#include <QStringList>
#include <QTextCodec>
#include <QVarLengthArray>
#include <QVector>

#include <vector>

namespace Utils {
namespace Xml {

/// How many levels of elements Qt can read, copy and destroy with the currently unused stack.
int bearableDepth();

/// Writes a document as QDomDocument::toString(2) does, in the layout of Document::write().
///
/// Three things differ from Qt:
/// - The attributes of an element, and the entities of a document type, have the same order in
///   every run: that of a QHash with the seed 0 into which they were inserted by name. In Qt the
///   seed, and so the order, differs from run to run.
/// - Deeply nested elements do not overflow the stack.
/// - Lines that are already in the layout are not parsed again.
class DocumentText
{
public:
    explicit DocumentText(const QDomDocument &document);

    /// The text, split at line ends, which are left out. Empty when elements are nested deeper than
    /// 5000 levels, whose indents alone are 50 MB, or deeper than bearableDepth().
    QStringList pieces();

private:
    struct Level
    {
        QDomNode element;
        QString name;
    };
    struct Attribute
    {
        QString name;
        QString value;
        QString prefix;
        QString space; // null when created without a namespace
        int rank = 2;  // 0 of a "name", 1 of a "type"
    };
    /// Characters that are written as references, in addition to those that always are.
    enum Encoding
    {
        Quotes = 1,
        WhiteSpace = 2, // except the space
        CarriageReturn = 4,
    };

    /// Whether \p name is a name as in files: a tag is split correctly into such names.
    static bool isPlainName(const QString &name);

    /// The name that Qt writes for \p node, without its prefix.
    static QString writtenName(const QDomNode &node);

    void writeDocumentType();
    QDomNode openElement(const QDomNode &node);
    QDomNode closeElement();
    void writeLeaf(const QDomNode &node);
    void readAttributes(const QDomElement &element);
    static bool isBefore(const Attribute *left, const Attribute *right);
    bool sortByText();
    void sortByHash();
    void writeAttributes(const QString &elementPrefix);
    QString qtText(const QDomNode &node) const;

    void indent();
    void add(QStringView text);
    void addEncoded(const QString &text, int what);
    bool canEncode(QChar character);
    void endLine();
    void flushLine();

    const QDomDocument m_document;
    QTextCodec *m_codec;
    bool m_isUnicode;                    // everything can be encoded, even half a character
    QHash<ushort, bool> m_encodable;     // by other codecs, for the characters tested so far
    std::vector<Level> m_levels;         // the open elements
    std::vector<Attribute> m_attributes; // of the current element
    std::vector<Attribute *> m_sorted;   // the same, sorted
    QVector<QString> m_names;            // of the attributes last sorted by hash
    QVector<int> m_order;                // the order of these names
    LineLayout m_layout;
    QVarLengthArray<QChar, 1024> m_line; // kept, so that it is allocated once
    bool m_isTag = false;                // the line is a single tag in the layout already
    bool m_hasEndTag = false;            // the line has an end tag: not changed if it is one line
    QString m_piece;
    QStringList m_pieces;
};

} // namespace Xml
} // namespace Utils
