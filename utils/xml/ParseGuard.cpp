#include "utils/xml/ParseGuard_p.h"

#include "utils/base/ReplaceAll_p.h"

#include <QStringList>

#include <algorithm>

namespace Utils {
namespace Xml {

static const QLatin1Char lineEnd('\n');

static bool isBlank(QChar character)
{
    return character == QLatin1Char(' ') || character == lineEnd ||
           character == QLatin1Char('\t') || character == QLatin1Char('\r');
}

static bool isQuote(QChar character)
{
    return character == QLatin1Char('"') || character == QLatin1Char('\'');
}

/// Whether \p name is predefined by the parser, which ignores declarations of it.
static bool isPredefined(const QString &name)
{
    for (const char *known : {"amp", "lt", "gt", "apos", "quot"}) {
        if (name == QLatin1String(known))
            return true;
    }
    return false;
}

/// The character for \p reference, such as "#65" or "#x41".
static QString referredCharacter(const QString &reference)
{
    const bool isHex = reference.startsWith(QLatin1String("#x"));
    const uint code = isHex ? reference.mid(2).toUInt(nullptr, 16) : reference.mid(1).toUInt();
    return code <= QChar::LastValidCodePoint ? QString::fromUcs4(&code, 1) : QString();
}

/// The text that the parser reads for an entity with \p text at positions where a quote would end
/// the value.
static QString quoted(const QString &text)
{
    return replaceAll(replaceAll(text, QStringLiteral("\""), QStringLiteral("&quot;")),
                      QStringLiteral("'"), QStringLiteral("&apos;"));
}

bool ParseGuard::accepts(const QString &text, qint64 bytes, qint64 fileSize)
{
    if (!m_message.isEmpty())
        return false;

    m_bytes += bytes;
    m_limit = std::max(m_limits.expansion, m_limits.expansionPerByte * std::max(m_bytes, fileSize));
    const QChar *const start = text.constData();
    const QChar *const end = start + text.size();
    const QChar *at = start;
    while (at != end && m_message.isEmpty()) {
        at = skip(at, end);
        if (at == end)
            break;
        read(*at);
        if (!m_sources.empty())
            readOpenEntities();
        ++at;
    }

    const QChar *lineStart = start;
    for (const QChar *i = start; (i = std::find(i, at, lineEnd)) != at; ++i) {
        ++m_line;
        m_column = 1;
        lineStart = i + 1;
    }
    m_column += static_cast<int>(at - lineStart);
    return m_message.isEmpty();
}

void ParseGuard::readOpenEntities()
{
    while (!m_sources.empty() && m_message.isEmpty()) {
        Source &source = m_sources.back();
        if (source.position == source.text.size()) {
            m_sources.pop_back();
            continue;
        }
        const QChar *const at = source.text.cbegin() + source.position;
        const QChar *const end = source.text.cend();
        const QChar *const stop = skip(at, end);
        source.position += static_cast<int>(stop - at) + (stop == end ? 0 : 1);
        if (stop != end)
            read(*stop);
    }
}

/// Skips plain text, the largest part of most documents. Returns the position where something else
/// begins.
const QChar *ParseGuard::skip(const QChar *at, const QChar *end)
{
    const auto find = [&](ushort one, ushort other, ushort third) {
        return std::find_if(at, end, [=](QChar character) {
            const ushort code = character.unicode();
            return code == one || code == other || code == third;
        });
    };
    switch (m_state) {
    case State::Content:
        return find('<', '&', '&');
    case State::QuotedReferences:
        return find('&', m_quote.unicode(), '&');
    case State::EntityValue: {
        const QChar *const stop = find('&', '%', m_quote.unicode());
        m_text.append(at, static_cast<int>(stop - at));
        return stop;
    }
    default:
        return at;
    }
}

void ParseGuard::read(QChar character)
{
    switch (m_state) {
    case State::Content:
        return readContent(character);
    case State::Markup:
        return readMarkup(character);
    case State::StartTag:
        return readStartTag(character);
    case State::EndTag:
        return readEndTag(character);
    case State::Declaration:
        return readDeclaration(character);
    case State::CommentStart:
        m_state = character == QLatin1Char('-') ? State::Comment : m_home;
        return;
    case State::Comment:
        return readUpToRun(character, QLatin1Char('-'));
    case State::CdataStart:
        if (character == QLatin1Char('['))
            m_state = State::Cdata;
        return;
    case State::Cdata:
        return readUpToRun(character, QLatin1Char(']'));
    case State::Instruction:
        return readInstruction(character);
    case State::DocType:
        return readDocType(character);
    case State::Subset:
        return readSubset(character);
    case State::Keyword:
        return readKeyword(character);
    case State::EntityHeader:
        return readEntityHeader(character);
    case State::EntityValue:
        return readEntityValue(character);
    case State::AttributeList:
        return readAttributeList(character);
    case State::OtherDeclaration:
        return readOtherDeclaration(character);
    case State::Quoted:
        return readQuoted(character);
    case State::QuotedReferences:
        return readQuotedReferences(character);
    case State::Reference:
        return readReference(character);
    case State::Ended:
        return;
    }
}

void ParseGuard::readContent(QChar character)
{
    if (character == QLatin1Char('<'))
        m_state = State::Markup;
    else if (character == QLatin1Char('&'))
        startReference(character, m_state);
}

/// Reads the character after a "<".
void ParseGuard::readMarkup(QChar character)
{
    m_previous = QChar();
    if (character == QLatin1Char('!')) {
        m_state = State::Declaration;
    } else if (character == QLatin1Char('?')) {
        m_state = State::Instruction;
    } else if (m_home == State::Subset) {
        m_state = m_home;
    } else if (character == QLatin1Char('/')) {
        m_state = State::EndTag;
    } else {
        m_state = State::StartTag;
        openElement();
    }
}

void ParseGuard::readStartTag(QChar character)
{
    if (isQuote(character)) {
        quote(character, m_state, /*withReferences=*/true);
    } else if (character == QLatin1Char('>')) {
        if (m_previous == QLatin1Char('/'))
            closeElement();
        m_state = State::Content;
    }
    m_previous = character;
}

void ParseGuard::readEndTag(QChar character)
{
    if (character == QLatin1Char('>')) {
        closeElement();
        m_state = State::Content;
    }
}

/// Reads the characters after a "<!".
void ParseGuard::readDeclaration(QChar character)
{
    m_run = 0;
    m_text = character;
    if (character == QLatin1Char('-'))
        m_state = State::CommentStart;
    else if (character == QLatin1Char('['))
        m_state = State::CdataStart;
    else
        m_state = m_home == State::Subset ? State::Keyword : State::DocType;
}

/// Reads a comment or CDATA, which ends with two \p mark and a ">".
void ParseGuard::readUpToRun(QChar character, QChar mark)
{
    if (character == QLatin1Char('>') && m_run >= 2)
        m_state = m_home;
    m_run = character == mark ? m_run + 1 : 0;
}

void ParseGuard::readInstruction(QChar character)
{
    if (character == QLatin1Char('>') && m_previous == QLatin1Char('?'))
        m_state = m_home;
    m_previous = character;
}

void ParseGuard::readDocType(QChar character)
{
    if (isQuote(character)) {
        quote(character, m_state, /*withReferences=*/false);
    } else if (character == QLatin1Char('[')) {
        m_state = State::Subset;
        m_home = m_state;
    } else if (character == QLatin1Char('>')) {
        m_state = State::Content;
    }
}

void ParseGuard::readSubset(QChar character)
{
    if (character == QLatin1Char('<')) {
        m_state = State::Markup;
    } else if (character == QLatin1Char('%')) {
        startReference(character, m_state);
    } else if (character == QLatin1Char(']')) {
        m_state = State::DocType;
        m_home = State::Content;
    }
}

void ParseGuard::readKeyword(QChar character)
{
    if (!isBlank(character)) {
        m_text += character;
        if (character == QLatin1Char('>'))
            m_state = m_home;
    } else if (m_text == QLatin1String("ENTITY")) {
        m_state = State::EntityHeader;
        m_text.clear();
    } else if (m_text == QLatin1String("ATTLIST")) {
        m_state = State::AttributeList;
    } else {
        m_state = State::OtherDeclaration;
        m_groups = 0;
    }
}

void ParseGuard::readEntityHeader(QChar character)
{
    if (isQuote(character))
        startEntityValue(character);
    else if (character == QLatin1Char('>'))
        m_state = m_home;
    else
        m_text += character;
}

void ParseGuard::readEntityValue(QChar character)
{
    if (character == m_quote)
        endEntityValue();
    else if (character == QLatin1Char('&') || character == QLatin1Char('%'))
        startReference(character, m_state);
    else
        m_text += character;
}

void ParseGuard::readAttributeList(QChar character)
{
    if (isQuote(character))
        quote(character, m_state, /*withReferences=*/true);
    else if (character == QLatin1Char('>'))
        m_state = m_home;
}

void ParseGuard::readOtherDeclaration(QChar character)
{
    if (isQuote(character))
        quote(character, m_state, /*withReferences=*/false);
    else if (character == QLatin1Char('>'))
        m_state = m_home;
    else
        readGroups(character);
}

void ParseGuard::readQuoted(QChar character)
{
    if (character == m_quote)
        m_state = m_afterQuote;
}

void ParseGuard::readQuotedReferences(QChar character)
{
    if (character == m_quote)
        m_state = m_afterQuote;
    else if (character == QLatin1Char('&'))
        startReference(character, m_state);
}

void ParseGuard::startReference(QChar mark, State before)
{
    m_mark = mark;
    m_beforeReference = before;
    m_name.clear();
    m_state = State::Reference;
}

void ParseGuard::readReference(QChar character)
{
    if (character == QLatin1Char(';')) {
        endReference();
        return;
    }
    if (!isBlank(character) && !isQuote(character) && character != QLatin1Char('<') &&
        character != QLatin1Char('&') && character != QLatin1Char('%'))
    {
        m_name += character;
        return;
    }

    // It was not a reference.
    m_state = m_beforeReference;
    if (m_state == State::EntityValue)
        m_text += m_mark + m_name;
    read(character);
}

void ParseGuard::endReference()
{
    m_state = m_beforeReference;
    const bool isParameter = m_mark == QLatin1Char('%');
    if (m_state == State::EntityValue && !isParameter) {
        if (m_name.startsWith(QLatin1Char('#')))
            m_text += referredCharacter(m_name);
        else
            m_text += m_mark + m_name + QLatin1Char(';'); // expanded when the entity is used
    } else if (isParameter) {
        open(m_parameters);
    } else if (!isPredefined(m_name)) {
        open(m_entities);
    }
}

void ParseGuard::open(Entities &entities)
{
    const auto found = entities.find(m_name);
    if (found == entities.end())
        return;
    Entity &entity = found->second;
    m_expanded += entity.text.size();
    if (m_expanded > m_limit)
        refuse(QStringLiteral("entities expand to more than %1 characters").arg(m_limit));

    // A recursive entity is detected only when more entities are open than were declared. Until
    // then it opens as many elements.
    if (m_sources.size() > std::max(m_entities.size(), m_parameters.size())) {
        m_sources.clear();
        m_state = State::Ended;
    } else if (m_state == State::Subset) {
        m_sources.push_back({QLatin1Char(' ') + entity.text + QLatin1Char(' '), 0});
    } else if (m_state == State::Content) {
        m_sources.push_back({entity.text, 0});
    } else {
        if (entity.quotedText.isNull())
            entity.quotedText = quoted(entity.text);
        m_sources.push_back({entity.quotedText, 0});
    }
}

void ParseGuard::quote(QChar character, State after, bool withReferences)
{
    m_quote = character;
    m_afterQuote = after;
    m_state = withReferences ? State::QuotedReferences : State::Quoted;
}

void ParseGuard::startEntityValue(QChar character)
{
    QStringList words = m_text.simplified().split(QLatin1Char(' '));
    m_isParameter = words.first() == QLatin1String("%");
    if (m_isParameter)
        words.removeFirst();
    m_entity = words.isEmpty() ? QString() : words.takeFirst();
    m_text.clear();
    if (words.isEmpty()) {
        m_quote = character;
        m_state = State::EntityValue;
        return;
    }
    // An entity in another file is not read, but is declared.
    declareEntity();
    quote(character, m_state, /*withReferences=*/false);
}

void ParseGuard::endEntityValue()
{
    if (declareEntity() && !m_isParameter) {
        constexpr int perSearch = 64;
        ++m_searches;
        m_searched += m_entity.size() + m_text.size() + perSearch;
        if (m_searched > m_limits.search / m_searches)
            refuse(QStringLiteral("too many entities are declared"));
    }
}

/// Declares the current entity. False if it was declared before: the first declaration of a name
/// counts.
bool ParseGuard::declareEntity()
{
    Entities &entities = m_isParameter ? m_parameters : m_entities;
    m_state = State::OtherDeclaration;
    m_groups = 0;
    return entities.emplace(m_entity, Entity{m_text}).second;
}

/// Counts the groups of a declaration, because the parser is recursive for each of them.
void ParseGuard::readGroups(QChar character)
{
    if (character == QLatin1Char('('))
        ++m_groups;
    else if (character == QLatin1Char(')'))
        --m_groups;
    if (m_groups > m_limits.depth)
        refuse(QStringLiteral("a declaration is nested deeper than %1 levels").arg(m_limits.depth));
}

void ParseGuard::openElement()
{
    ++m_depth;
    if (m_depth > m_limits.depth)
        refuse(QStringLiteral("elements are nested deeper than %1 levels").arg(m_limits.depth));
}

void ParseGuard::closeElement() { m_depth = std::max(m_depth - 1, 0); }

void ParseGuard::refuse(const QString &message)
{
    if (m_message.isEmpty())
        m_message = message;
}

} // namespace Xml
} // namespace Utils
