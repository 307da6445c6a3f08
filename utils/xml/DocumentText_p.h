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

/// How many levels of elements Qt can read, copy and release on the stack that is left.
int bearableDepth();

/// Writes a document as QDomDocument::toString(2) does, and lays it out on the way.
///
/// Three things differ. The attributes of an element, and the entities of a document type, come in
/// one order in every run of a program, while the toolkit's depends on the seed of its hashes: it
/// is that of seed 0, where they were inserted by name. It does not use up the stack where elements
/// nest deeply. And lines that are known to be laid out already are not taken apart again.
class DocumentText
{
public:
    explicit DocumentText(const QDomDocument &document);

    /// The text, cut into pieces at line ends, which are left out. None when elements nest deeper
    /// than 5000 levels, whose blanks alone are 50 MB, or than bearableDepth().
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
        QString space; // null when it was not made for namespaces
        int rank = 2;  // 0 of a "name", 1 of a "type"
    };
    /// What is written as a reference, beside what always is.
    enum Encoding
    {
        Quotes = 1,
        WhiteSpace = 2, // but for the blank
        CarriageReturn = 4,
    };

    void writeDocumentType();
    QDomNode openElement(const QDomNode &node);
    QDomNode closeElement();
    void writeLeaf(const QDomNode &node);
    void readAttributes(const QDomElement &element);
    static bool isBefore(const Attribute *left, const Attribute *right);
    bool sortByText();
    void sortByHash();
    void writeAttributes(const QString &elementPrefix);
    QString toolkitText(const QDomNode &node) const;

    void indent();
    void add(QStringView text);
    void addEncoded(const QString &text, int what);
    bool canEncode(QChar character);
    void endLine();
    void flushLine();

    const QDomDocument m_document;
    QTextCodec *m_codec;
    bool m_isUnicode;                    // everything can be encoded, even half a character
    QHash<ushort, bool> m_encodable;     // what is known of other codecs
    std::vector<Level> m_levels;         // the open elements
    std::vector<Attribute> m_attributes; // of the current element
    std::vector<Attribute *> m_sorted;   // the same in their order
    QVector<QString> m_names;            // of the attributes that were sorted by hash last
    QVector<int> m_order;                // and their order
    LineLayout m_layout;
    QVarLengthArray<QChar, 1024> m_line; // kept, so that it is allocated once
    bool m_isTag = false;                // the line is one tag, laid out already
    bool m_hasEndTag = false;            // it stays as it is, if it is one line
    QString m_piece;
    QStringList m_pieces;
};

} // namespace Xml
} // namespace Utils
