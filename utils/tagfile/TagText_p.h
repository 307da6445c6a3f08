#pragma once

#include <QString>

namespace Utils {

// How tags and their properties are written, by options of TagFile.

/// Whether a tag or a property with this name or key is a comment.
bool isComment(const QString &name);

/// \p text as comment lines, without the line feed behind the last.
QString commentLines(const QString &text);

/// Whether a property with this value, which has no line feed, is not written at all.
bool isLeftOut(const QString &value, int options);

/// What is written for a value without line feeds.
QString oneLineValue(const QString &value, int options);

/// How many lines a value is, which is one more than the line feeds in it.
qint64 numberOfLines(const QString &value);

/// Appends what TagFile::writeTag() writes to \p out: nothing, or text that ends in a line feed.
void appendTag(QString &out, const QString &name, const QString &comment, bool blankLine,
               int options);

/// The same for TagFile::writeProperty().
void appendProperty(QString &out, const QString &key, const QString &value, int options);

} // namespace Utils
