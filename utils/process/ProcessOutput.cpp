#include "utils/process/ProcessOutput_p.h"

#include "utils/base/Utf8_p.h"

#include <QTextCodec>

#include <algorithm>
#include <utility>

namespace Utils {

static const QLatin1Char lineEnd('\n');
static const QLatin1Char carriageReturn('\r');

ProcessOutput::ProcessOutput(int limit) : m_limit(limit) {}

ProcessOutput::~ProcessOutput() = default;

void ProcessOutput::clear()
{
    m_text = QString();
    takeRecent();
}

void ProcessOutput::begin(const Encoding &encoding)
{
    m_encoding = encoding.unlessUtf8();
    m_isBegun = false;
    m_rest = QByteArray();
    m_decoder.reset();
    m_half = QChar();
}

Data::String ProcessOutput::append(const QByteArray &bytes, bool keep)
{
    QString piece = decode(bytes);
    add(piece, keep);
    return piece;
}

/// Whether a character is incomplete. Some codecs report it only when another one follows.
static bool isWithinCharacter(QTextDecoder &decoder)
{
    return decoder.needsMoreData() ||
           decoder.toUnicode("\n", 1).startsWith(QChar(QChar::ReplacementCharacter));
}

Data::String ProcessOutput::end(bool keep)
{
    // Taken first: the next output begins anew even without memory for the end of this one.
    const std::unique_ptr<QTextDecoder> decoder = std::move(m_decoder);
    const QByteArray rest = std::exchange(m_rest, QByteArray());
    const bool isHalf = !std::exchange(m_half, QChar()).isNull();
    m_isBegun = false;
    const bool isCutOff = decoder ? isHalf || isWithinCharacter(*decoder) : !rest.isEmpty();
    if (!isCutOff)
        return {};
    QString piece(QChar::ReplacementCharacter);
    add(piece, keep);
    return piece;
}

Data::String ProcessOutput::text() const { return m_text; }

Data::String ProcessOutput::takeRecent()
{
    separateRecent();
    m_recentBegin = m_text.size();
    return std::exchange(m_recent, QString());
}

QString ProcessOutput::decode(const QByteArray &bytes)
{
    if (m_encoding.isSingleByte())
        return m_encoding.toText(bytes.constData(), bytes.constData() + bytes.size());
    if (!m_decoder && m_encoding.isValid()) {
        const QTextCodec *const codec = QTextCodec::codecForName(m_encoding.name().toLatin1());
        m_decoder.reset(codec->makeDecoder());
    }
    if (m_decoder)
        return inPairs(m_decoder->toUnicode(bytes));

    const QByteArray all = m_rest + bytes;
    QString piece(all.size(), Qt::Uninitialized);
    QChar *target = piece.data();
    const char *source = all.constData();
    const char *const end = source + all.size();
    const bool isValid = decodeUtf8(source, end, target);
    const auto length = static_cast<int>(target - piece.constData());
    piece.truncate(length);
    m_rest = QByteArray(source, static_cast<int>(end - source));
    if (!isValid) { // from here on Qt decodes, which is slower
        QTextCodec *const codec = QTextCodec::codecForName("UTF-8");
        m_decoder.reset(codec->makeDecoder(QTextCodec::IgnoreHeader));
        piece += m_decoder->toUnicode(m_rest);
    }
    if (!m_isBegun && piece.startsWith(QChar::ByteOrderMark))
        piece.remove(0, 1);
    m_isBegun = m_isBegun || length > 0;
    return piece;
}

QString ProcessOutput::inPairs(QString text)
{
    if (!m_half.isNull())
        text.prepend(std::exchange(m_half, QChar()));
    if (!text.isEmpty() && qAsConst(text).back().isHighSurrogate()) {
        m_half = qAsConst(text).back();
        text.chop(1);
    }
    if (text.isValidUtf16())
        return text;
    for (QChar *at = text.begin(); at != text.end(); ++at) {
        if (at->isHighSurrogate() && at + 1 != text.end() && at[1].isLowSurrogate())
            ++at;
        else if (at->isSurrogate())
            *at = QChar::ReplacementCharacter;
    }
    return text;
}

void ProcessOutput::add(const QString &piece, bool keep)
{
    if (!keep || piece.size() > m_limit - m_text.size())
        separateRecent();
    if (keep) {
        m_text.append(piece);
        m_text.truncate(m_limit);
    }
    if (m_recentBegin < 0)
        m_recent.append(piece);
    if (!keep)
        keepLastLine();
    m_recent.truncate(m_limit);
    m_searched = std::min(m_searched, m_limit);
}

void ProcessOutput::separateRecent()
{
    if (m_recentBegin < 0)
        return;
    m_recent = m_text.mid(m_recentBegin);
    m_recentBegin = -1;
    m_searched = 0;
}

void ProcessOutput::keepLastLine()
{
    // The start of a growing last line is not searched again for each piece.
    if (m_recent.indexOf(lineEnd, m_searched) < 0) {
        m_searched = m_recent.size();
        return;
    }

    int last = m_recent.size() - 1;
    while (m_recent.at(last) == carriageReturn) // stops at the line end found before
        --last;
    const bool isWhole = m_recent.at(last) == lineEnd;
    const int before = isWhole ? last - 1 : last;
    const int begin = before < 0 ? 0 : m_recent.lastIndexOf(lineEnd, before) + 1;
    m_recent = m_recent.mid(begin, last + 1 - begin).remove(carriageReturn);
    m_searched = isWhole ? m_recent.size() - 1 : m_recent.size();
}

} // namespace Utils
