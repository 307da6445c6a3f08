#pragma once

#include "utils/tagfile/TagFile.h"

#include <memory>
#include <vector>

QT_FORWARD_DECLARE_CLASS(QIODevice)

namespace Utils {

/// Tags in order; each keeps its place in memory when others come or go.
using TagList = std::vector<std::unique_ptr<TagFile::Tag>>;

// Qt ends the program where a string grows too long, as the line of a file of zeros would.
constexpr int maxTagLineLength = 1 << 28;

/// Appends the tags of what is left in \p in to \p tags, by options of TagFile. Lines of more than
/// \p maxLineLength characters are read in pieces. Throws std::bad_alloc, with what was read up to
/// there in \p tags.
void readTags(QTextStream &in, int options, TagList &tags, int maxLineLength = maxTagLineLength);

/// The same for a text in UTF-8, exactly as by a QTextStream on \p device, but faster. False when
/// the device fails in front of its end.
bool readTags(QIODevice &device, int options, TagList &tags, int maxLineLength = maxTagLineLength);

} // namespace Utils
