#pragma once

#include "utils/tagfile/TagFile.h"

#include <deque>
#include <memory>

QT_FORWARD_DECLARE_CLASS(QIODevice)

namespace Utils {

/// Tags in order, in a container that is fast to change at both ends. Each tag keeps its address
/// when others are added or removed.
using TagList = std::deque<std::unique_ptr<TagFile::Tag>>;

// Qt ends the process when a string becomes too long, as the line of a file of zeros would.
constexpr int maxTagLineLength = 1 << 28;

/// Appends the tags in the rest of \p in to \p tags, with the options of TagFile. Lines of more
/// than \p maxLineLength characters are read in pieces. When it throws std::bad_alloc, \p tags
/// contains the tags that were read completely.
void readTags(QTextStream &in, int options, TagList &tags, int maxLineLength = maxTagLineLength);

/// The same for a text in UTF-8, exactly as by a QTextStream on \p device, but faster. False when
/// the device fails before its end.
bool readTags(QIODevice &device, int options, TagList &tags, int maxLineLength = maxTagLineLength);

} // namespace Utils
