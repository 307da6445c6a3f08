#pragma once

#include <QString>

#include <map>
#include <vector>

namespace Utils {
namespace Xml {

/// What a ParseGuard lets pass.
struct ParseLimits
{
    int depth = 512; // of elements, and of the groups of a declaration
    /// So many characters of entities are always borne...
    qint64 expansion = 8 * 1024 * 1024;
    /// ... and so many for each byte of the file.
    qint64 expansionPerByte = 100;
    /// The parser looks for each entity in all others: so many characters in about ten seconds.
    qint64 search = 8LL * 1024 * 1024 * 1024;
};

/// Reads a document in front of the toolkit's parser, and says when it goes beyond what that bears.
///
/// The parser and the tree run out of stack where elements or the groups of a declaration nest
/// deeply, and out of memory and time where a small file has entities that stand for much text, or
/// for much of each other, or very many entities. All are told here, from the text alone and with
/// little more memory than the entities take: text that stands for an entity is read from there, as
/// often as it is referred to.
///
/// A document that is not well-formed is left to the parser. What is behind its error may be
/// understood in another way here.
class ParseGuard
{
public:
    explicit ParseGuard(const ParseLimits &limits = ParseLimits()) : m_limits(limits) {}

    /// Takes the next \p text of the document, which was read from \p bytes bytes of \p fileSize or
    /// more. False when it goes beyond a limit; from then on always.
    bool accepts(const QString &text, qint64 bytes, qint64 fileSize);

    /// Whether the text ended among the declarations of the DOCTYPE.
    bool isInDeclarations() const { return m_home == State::Subset && m_state != State::Ended; }

    /// What is wrong, "" as long as nothing is.
    QString message() const { return m_message; }

    /// Where, counted from 1.
    int line() const { return m_line; }
    int column() const { return m_column; }

private:
    enum class State
    {
        Content,  // text
        Markup,   // behind "<"
        StartTag, // in the name or between attributes
        EndTag,
        Declaration,  // behind "<!"
        CommentStart, // behind "<!-"
        Comment,
        CdataStart, // behind "<!["
        Cdata,
        Instruction, // behind "<?"
        DocType,
        Subset,       // the declarations of the DOCTYPE
        Keyword,      // of a declaration
        EntityHeader, // up to the value
        EntityValue,
        AttributeList,
        OtherDeclaration,
        Quoted,           // nothing is looked at up to the quote
        QuotedReferences, // the same with references to entities
        Reference,        // behind "&" or "%"
        Ended,            // the parser stops
    };

    struct Entity
    {
        QString text;
        QString quotedText = {}; // what is read within quotes, made when it is asked for
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
    void readMarkup(QChar character);
    void readReference(QChar character);
    void startReference(QChar mark, State before);
    void endReference();
    void open(Entities &entities);
    void quote(QChar character, State behind, bool withReferences);
    void startEntityValue(QChar character);
    void endEntityValue();
    bool declareEntity();
    void readGroups(QChar character);
    void openElement();
    void closeElement();
    void refuse(const QString &message);

    const ParseLimits m_limits;
    State m_state = State::Content;
    State m_home = State::Content; // where comments and instructions end
    State m_behindQuote = State::Content;
    State m_beforeReference = State::Content;
    QChar m_quote;
    QChar m_mark;     // "&" or "%"
    QChar m_previous; // the last character of the markup
    int m_run = 0;    // of the characters that start the end of a comment or of CDATA
    int m_depth = 0;
    int m_groups = 0; // that are open in a declaration
    QString m_name;   // of the reference
    QString m_text;   // keyword, header or value of a declaration
    QString m_entity; // name of the entity with that value
    bool m_isParameter = false;
    Entities m_entities;
    Entities m_parameters;
    qint64 m_searched = 0; // characters of the entities, with their names
    qint64 m_searches = 0;
    std::vector<Source> m_sources;
    qint64 m_bytes = 0;
    qint64 m_expanded = 0;
    qint64 m_limit = 0; // of that
    int m_line = 1;
    int m_column = 1;
    QString m_message;
};

} // namespace Xml
} // namespace Utils
