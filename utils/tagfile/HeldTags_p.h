#pragma once

#include "utils/base/HashedPositions_p.h"
#include "utils/tagfile/TagReader_p.h"

#include <QSet>

#include <map>
#include <vector>

namespace Utils {

/// The tags of a TagFile, with an index that finds a tag by its name and the value of a key.
///
/// A search compares the tags one by one at first. When the searches for one key have compared as
/// many tags as an index of that key costs, it is made. Adding and removing tags drops all indexes.
///
/// Callers can change a tag that was lent to them at any time, unnoticed. So lent tags are compared
/// in each search, and there is no index when more than maxLent of them were lent.
class HeldTags
{
public:
    using Tag = TagFile::Tag;

    static constexpr int maxLent = 256;

    int size() const { return static_cast<int>(m_tags.size()); }
    const Tag &at(int position) const { return *m_tags[static_cast<std::size_t>(position)]; }

    /// A tag that the caller may change as long as it exists.
    Tag &lend(int position);
    Tag &appendLent(std::unique_ptr<Tag> tag);
    Tag &prependLent(std::unique_ptr<Tag> tag);

    void append(std::unique_ptr<Tag> tag);
    void append(TagList tags); ///< all or none

    /// Appends the tags that \p read appends to its argument, also when it throws.
    template <typename Read>
    void appendFrom(const Read &read)
    {
        dropIndexes();
        read(m_tags);
    }

    void remove(int position);
    void clear();

    /// The position of the first tag from \p from on with this name in which the first property
    /// \p key has the value \p value; size() when there is none. With an empty key or value, only
    /// the name matters.
    int find(const Data::String &name, const Data::String &key, const Data::String &value,
             int from) const;

    /// How many tags the searches have compared, for tests.
    qint64 numCompared() const { return m_numCompared; }

private:
    struct Wanted;

    struct Index
    {
        HashedPositions positions; // none until it is made
        qint64 numCompared = 0;    // by searches without it
    };

    void setLent(int position);
    bool matches(int position, const Wanted &wanted) const;
    int compareAll(const Wanted &wanted, int from) const;
    int findIn(const Index &index, const Wanted &wanted, int from) const;
    void make(Index &index, const Data::String &key) const;
    void dropIndexes();

    TagList m_tags;
    QSet<const Tag *> m_lent;    // may contain removed tags
    bool m_isLentWidely = false; // there are more lent tags than in m_lent

    // What searches have found out; by key, and by the empty key for names.
    mutable std::map<Data::String, Index> m_indexes;
    mutable std::vector<int> m_lentPositions; // in order, while there is an index
    mutable qint64 m_numCompared = 0;
};

} // namespace Utils
