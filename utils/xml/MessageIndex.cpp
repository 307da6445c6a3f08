#include "utils/xml/MessageIndex_p.h"

#include <QSet>

#include <algorithm>
#include <new>
#include <vector>

namespace Utils {
namespace Xml {

static qint64 numRead = 0;

static bool isIn(const QString &messages, const QString &text)
{
    numRead += messages.size();
    return messages.contains(text);
}

namespace {

/// The hashes of all parts of one length of a text that grows. A part that is not in the set does
/// not occur in the text; one that is in it may occur.
class PartSet
{
public:
    explicit PartSet(int length) : m_length(length) {}

    int length() const { return m_length; }

    /// Adds the parts of \p text that end after its first \p known characters.
    void extend(const QString &text, int known)
    {
        const auto needed = static_cast<std::size_t>(text.size()) / partsPerWord;
        if (needed >= m_words.size()) {
            std::size_t size = 1u << 10;
            while (size < 2 * needed)
                size *= 2;
            m_words.assign(size, 0);
            known = 0;
        }
        forEachPart(text, std::max(0, known - m_length + 1), [this](quint64 hash) {
            const quint64 mixed = mix(hash);
            m_words[wordOf(mixed)] |= bitsOf(mixed);
            return true;
        });
    }

    /// Whether every part of \p text is in the set.
    bool containsParts(const QString &text) const
    {
        return forEachPart(text, 0, [this](quint64 hash) {
            const quint64 mixed = mix(hash);
            return (m_words[wordOf(mixed)] & bitsOf(mixed)) == bitsOf(mixed);
        });
    }

private:
    // A Bloom filter of four bits for each part, all in one word. Of the parts that are not in the
    // set, about one in 200 seems to be.
    static constexpr std::size_t partsPerWord = 4;
    static constexpr quint64 factor = Q_UINT64_C(0x9e3779b97f4a7c15);

    static quint64 mix(quint64 hash) { return (hash ^ hash >> 32) * factor; }

    static quint64 bitsOf(quint64 mixed)
    {
        const auto bit = [mixed](int shift) { return Q_UINT64_C(1) << (mixed >> shift & 63); };
        return bit(40) | bit(46) | bit(52) | bit(58);
    }

    std::size_t wordOf(quint64 mixed) const
    {
        return static_cast<std::size_t>(mixed >> 8) & (m_words.size() - 1);
    }

    /// Calls \p visit with the hash of each part from \p first on, until it returns false.
    template <typename Visit>
    bool forEachPart(const QString &text, int first, const Visit &visit) const
    {
        quint64 highest = 1; // the weight of the character that leaves the part
        for (int i = 0; i < m_length; ++i)
            highest *= factor;
        quint64 hash = 0;
        numRead += std::max(0, text.size() - first);
        for (int i = first; i < text.size(); ++i) {
            hash = hash * factor + text[i].unicode() + 1;
            if (i >= first + m_length)
                hash -= highest * (text[i - m_length].unicode() + 1u);
            if (i >= first + m_length - 1 && !visit(hash))
                return false;
        }
        return true;
    }

    int m_length;
    std::vector<quint64> m_words; // as many as a power of two
};

/// An index of the messages of one document.
class MessageIndex
{
public:
    /// Whether the index is that of \p messages. It holds their text, so that no other one can have
    /// the same address.
    bool isOf(const QString &messages) const { return m_messages.isSharedWith(messages); }

    bool contains(const QString &text) const
    {
        return m_texts.contains(text) || (mayContain(text) && isIn(m_messages, text));
    }

    /// Makes the index that of \p messages, of which \p known characters are in it already.
    void extend(const QString &messages, int known)
    {
        for (PartSet &parts : m_parts)
            parts.extend(messages, known);
        m_messages = messages;
    }

    void addText(const QString &text) { m_texts.insert(text); }

    /// Releases the text, so that its owner can extend it in place.
    void release() { m_messages = QString(); }

    void clear() { *this = MessageIndex(); }

private:
    bool mayContain(const QString &text) const
    {
        const auto fits = [&](const PartSet &parts) { return parts.length() <= text.size(); };
        const auto longest = std::find_if(m_parts.begin(), m_parts.end(), fits);
        return longest == m_parts.end() || longest->containsParts(text);
    }

    QString m_messages;
    QSet<QString> m_texts; // that were appended since there is an index
    std::vector<PartSet> m_parts = {PartSet(16), PartSet(6)};
};

} // namespace

static void append(QString &messages, const QString &text)
{
    messages += messages.isEmpty() ? text : QLatin1Char('\n') + text;
}

void appendUnlessContained(QString &messages, const QString &text)
{
    constexpr int fewCharacters = 4096;
    if (messages.size() < fewCharacters) {
        if (!isIn(messages, text))
            append(messages, text);
        return;
    }

    static auto &index = *new MessageIndex; // documents may outlive static objects
    try {
        if (!index.isOf(messages)) {
            index.clear();
            index.extend(messages, 0);
        }
        if (index.contains(text))
            return;
        const int known = messages.size();
        index.release();
        append(messages, text);
        index.extend(messages, known);
        index.addText(text);
    } catch (const std::bad_alloc &) {
        index.clear();
        if (!isIn(messages, text))
            append(messages, text);
    }
}

qint64 numMessageCharactersRead() { return numRead; }

} // namespace Xml
} // namespace Utils
