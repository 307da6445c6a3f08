#pragma once

#include <QString>

#include <map>
#include <vector>

namespace Utils {
namespace Xml {

/// The limits of a ParseGuard.
struct ParseLimits
{
    int depth = 512; // of elements, and of the groups in a declaration
    /// This many characters of expanded entities are always accepted...
    qint64 expansion = 8LL * 1024 * 1024;
    /// ... and so are this many for each byte of the file.
    qint64 expansionPerByte = 100;
    /// The parser searches each entity for all others. This many characters take about ten seconds.
    qint64 search = 8LL * 1024 * 1024 * 1024;
};

/// Reads a document before Qt's parser does, and rejects it when the parser would exceed the
/// resources of the process.
///
/// Parser and tree overflow the stack when elements, or the groups in a declaration, are nested
/// deeply. They fill the memory or take very long when a small file has entities that expand to
/// much text, or refer to each other many times, or when it has very many entities. All this is
/// found here from the text, with little more memory than the entities need: the text of an entity
/// is read in place each time it is referred to.
///
/// A document that is not well-formed is left to the parser. After the first error in it, the text
/// may be interpreted differently here.
class ParseGuard
{
public:
    explicit ParseGuard(const ParseLimits &limits = ParseLimits()) : m_limits(limits) {}

    /// Reads the next \p text of the document, decoded from \p bytes bytes. The file has
    /// \p fileSize bytes or more. False when a limit is exceeded, and for each later call.
    bool accepts(const QString &text, qint64 bytes, qint64 fileSize);

    /// Whether the text ended among the declarations of the DOCTYPE.
    bool isInDeclarations() const { return m_home == State::Subset && m_state != State::Ended; }

    /// Which limit was exceeded; "" when none was.
    QString message() const { return m_message; }

    /// The position of that, counted from 1.
    int line() const { return m_line; }
    int column() const { return m_column; }

private:
    enum class State
    {
        Content,  // text
        Markup,   // after "<"
        StartTag, // in the name or between attributes
        EndTag,
        Declaration,  // after "<!"
        CommentStart, // after "<!-"
        Comment,
        CdataStart, // after "<!["
        Cdata,
        Instruction, // after "<?"
        DocType,
        Subset,       // the declarations of the DOCTYPE
        Keyword,      // of a declaration
        EntityHeader, // before the value
        EntityValue,
        AttributeList,
        OtherDeclaration,
        Quoted,           // everything up to the quote is skipped
        QuotedReferences, // the same with references to entities
        Reference,        // after "&" or "%"
        Ended,            // the parser stops
    };

    struct Entity
    {
        QString text;
        QString quotedText = {}; // the text as read within quotes, created on first use
    };
    using Entities = std::map<QString, Entity>;

    /// An entity that is being read.
    struct Source
    {
        QString text;
        int position;
    };

    void readOpenEntities();
    const QChar *skip(const QChar *at, const QChar *end);
    void read(QChar character);
    void readContent(QChar character);
    void readMarkup(QChar character);
    void readStartTag(QChar character);
    void readEndTag(QChar character);
    void readDeclaration(QChar character);
    void readUpToRun(QChar character, QChar mark);
    void readInstruction(QChar character);
    void readDocType(QChar character);
    void readSubset(QChar character);
    void readKeyword(QChar character);
    void readEntityHeader(QChar character);
    void readEntityValue(QChar character);
    void readAttributeList(QChar character);
    void readOtherDeclaration(QChar character);
    void readQuoted(QChar character);
    void readQuotedReferences(QChar character);
    void readReference(QChar character);
    void startReference(QChar mark, State before);
    void endReference();
    void open(Entities &entities);
    void quote(QChar character, State after, bool withReferences);
    void startEntityValue(QChar character);
    void endEntityValue();
    bool declareEntity();
    void readGroups(QChar character);
    void openElement();
    void closeElement();
    void refuse(const QString &message);

    const ParseLimits m_limits;
    State m_state = State::Content;
    State m_home = State::Content; // the state after a comment or instruction
    State m_afterQuote = State::Content;
    State m_beforeReference = State::Content;
    QChar m_quote;
    QChar m_mark;     // "&" or "%"
    QChar m_previous; // the last character of the markup
    int m_run = 0;    // number of successive "-" or "]", which may end a comment or CDATA
    int m_depth = 0;
    int m_groups = 0; // open ones in a declaration
    QString m_name;   // of the reference
    QString m_text;   // keyword, header or value of a declaration
    QString m_entity; // name of the entity with this value
    bool m_isParameter = false;
    Entities m_entities;
    Entities m_parameters;
    qint64 m_searched = 0; // characters of all entities, including their names
    qint64 m_searches = 0;
    std::vector<Source> m_sources;
    qint64 m_bytes = 0;
    qint64 m_expanded = 0;
    qint64 m_limit = 0; // of m_expanded
    int m_line = 1;
    int m_column = 1;
    QString m_message;
};

} // namespace Xml
} // namespace Utils
