#pragma once

#include <QString>

namespace Utils {

// How tags and their properties are written, with the options of TagFile.

/// Whether a tag or a property with this name or key is a comment.
bool isComment(const QString &name);

/// \p text as comment lines, without the line feed after the last.
QString commentLines(const QString &text);

/// Whether a property with this value, which has no line feed, is not written at all.
bool isLeftOut(const QString &value, int options);

/// The text that is written for a value without line feeds.
QString oneLineValue(const QString &value, int options);

/// The number of lines of a value: one more than its line feeds.
qint64 numberOfLines(const QString &value);

/// Appends to \p out the text that TagFile::writeTag() writes: nothing, or text that ends with a
/// line feed.
void appendTag(QString &out, const QString &name, const QString &comment, bool blankLine,
               int options);

/// The same for TagFile::writeProperty().
void appendProperty(QString &out, const QString &key, const QString &value, int options);

} // namespace Utils
