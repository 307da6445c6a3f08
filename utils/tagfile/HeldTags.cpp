#include "utils/tagfile/HeldTags_p.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace Utils {

/// What a search looks for.
struct HeldTags::Wanted
{
    const Data::String &name;
    const Data::String &value;
    const Data::String key; // empty if only the name matters

    bool isFoundIn(const Tag &tag) const
    {
        return tag.name == name && (key.isEmpty() || tag.get(key, 0) == value);
    }

    uint hash() const { return key.isEmpty() ? qHash(name) : hashOf(name, value); }

    static uint hashOf(const QString &tagName, const QString &itsValue)
    {
        return qHash(itsValue, qHash(tagName));
    }
};

/// Notes that the tag at \p position is lent. Without memory for that, every search compares all
/// tags.
void HeldTags::setLent(int position)
{
    const Tag &tag = at(position);
    if (m_isLentWidely || m_lent.contains(&tag))
        return;
    m_isLentWidely = m_lent.size() >= maxLent;
    try {
        if (!m_isLentWidely)
            m_lent.insert(&tag);
        if (!m_isLentWidely && !m_indexes.empty()) {
            auto &positions = m_lentPositions;
            const auto next = std::lower_bound(positions.begin(), positions.end(), position);
            positions.insert(next, position);
        }
    } catch (const std::bad_alloc &) {
        m_isLentWidely = true;
    }
}

TagFile::Tag &HeldTags::lend(int position)
{
    setLent(position);
    return *m_tags[static_cast<std::size_t>(position)];
}

TagFile::Tag &HeldTags::appendLent(std::unique_ptr<Tag> tag)
{
    append(std::move(tag));
    return lend(size() - 1);
}

TagFile::Tag &HeldTags::prependLent(std::unique_ptr<Tag> tag)
{
    dropIndexes();
    m_tags.push_front(std::move(tag));
    return lend(0);
}

void HeldTags::append(std::unique_ptr<Tag> tag)
{
    dropIndexes();
    m_tags.push_back(std::move(tag));
}

void HeldTags::append(TagList tags)
{
    dropIndexes();
    m_tags.insert(m_tags.end(), std::make_move_iterator(tags.begin()),
                  std::make_move_iterator(tags.end()));
}

void HeldTags::remove(int position)
{
    dropIndexes();
    m_tags.erase(m_tags.begin() + position);
}

void HeldTags::clear()
{
    dropIndexes();
    m_tags.clear();
    m_lent.clear();
    m_isLentWidely = false;
}

void HeldTags::dropIndexes()
{
    m_indexes.clear();
    m_lentPositions.clear();
}

int HeldTags::find(const Data::String &name, const Data::String &key, const Data::String &value,
                   int from) const
{
    constexpr int costOfIndex = 8; // in comparisons for each tag
    constexpr std::size_t maxKeys = 8;
    constexpr int fewTags = 32;

    const Wanted wanted = {name, value, value.isEmpty() ? Data::String() : key};
    if (m_isLentWidely || size() <= fewTags)
        return compareAll(wanted, from);
    try {
        if (m_indexes.size() >= maxKeys && m_indexes.count(wanted.key) == 0)
            m_indexes.clear();
        Index &index = m_indexes[wanted.key];
        if (index.positions.isEmpty() && index.numCompared > qint64(costOfIndex) * size())
            make(index, wanted.key);
        if (!index.positions.isEmpty())
            return findIn(index, wanted, from);
        const int found = compareAll(wanted, from);
        index.numCompared += found - from;
        return found;
    } catch (const std::bad_alloc &) {
        return compareAll(wanted, from);
    }
}

bool HeldTags::matches(int position, const Wanted &wanted) const
{
    ++m_numCompared;
    return wanted.isFoundIn(at(position));
}

int HeldTags::compareAll(const Wanted &wanted, int from) const
{
    int position = from;
    while (position < size() && !matches(position, wanted))
        ++position;
    return position;
}

int HeldTags::findIn(const Index &index, const Wanted &wanted, int from) const
{
    const int indexed = index.positions.find(
        wanted.hash(), from, [&](int position) { return matches(position, wanted); });
    int found = indexed < 0 ? size() : indexed;
    auto lent = std::lower_bound(m_lentPositions.begin(), m_lentPositions.end(), from);
    for (; lent != m_lentPositions.end() && *lent < found; ++lent) {
        if (matches(*lent, wanted))
            found = *lent;
    }
    return found;
}

/// Makes the index of \p key. Tags without it or with an empty value are left out.
void HeldTags::make(Index &index, const Data::String &key) const
{
    std::vector<int> lentPositions;
    HashedPositions positions;
    for (int position = 0; position < size(); ++position) {
        const Tag &tag = at(position);
        if (m_lent.contains(&tag))
            lentPositions.push_back(position);
        const Data::String value = key.isEmpty() ? Data::String() : tag.get(key, 0);
        if (key.isEmpty())
            positions.add(qHash(tag.name), position);
        else if (!value.isEmpty())
            positions.add(Wanted::hashOf(tag.name, value), position);
    }
    index.numCompared = 0; // if there is no entry, it is made again after as many comparisons
    index.positions = std::move(positions);
    m_lentPositions = std::move(lentPositions);
}

} // namespace Utils
