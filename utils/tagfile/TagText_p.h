#pragma once

#include "data/String.h"

namespace Utils {

/// What a property with this key is: a comment line.
bool isCommentKey(const QString &key);

/// \p text as comment lines, without the line feed behind the last.
Data::String commentLines(const QString &text);

/// What stands behind the key in the one line of a value without line feeds, by \p options of
/// TagFile: its colon, and the value. Empty when there is to be no line.
Data::String oneLineValue(const QString &value, int options);

/// What stands behind the key in the first line of a value with line feeds: its colon, and the
/// number of lines that follow.
Data::String blockStart(const QString &value);

} // namespace Utils
