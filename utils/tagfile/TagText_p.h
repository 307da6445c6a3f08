#pragma once

#include "utils/tagfile/TagFile.h"

#include <QString>

namespace Utils {

// The grammar of tags and their properties, by options of TagFile: all readers and writers use
// these functions.
//
//     * name           a tag
//     key: value       a property in one line
//     key:2            a property whose value is the next two lines
//     $ text           a comment

// How they are read

/// A property as parsed from its first line.
struct PropertyLine
{
    QStringView key;
    QStringView value;    // of a property in one line
    bool isBlock = false; // else the next numLines lines are the value
    int numLines = 0;
};

/// Splits \p line at its first colon. False when it has none, so that it is not a property.
inline bool parseProperty(QStringView line, PropertyLine &property)
{
    const auto colon = line.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return false;

    property.key = line.left(colon);
    const QStringView rest = line.mid(colon + 1);
    property.isBlock = rest.isEmpty() || rest.front() != QLatin1Char(' ');
    if (property.isBlock)
        property.numLines = rest.toString().toInt();
    else
        property.value = rest.mid(1);
    return true;
}

/// Whether a property with this one-line value is ignored when reading.
inline bool isDropped(QStringView value, int options)
{
    return options & TagFile::DropNone && value == QLatin1String("NONE");
}

/// Appends a line of a block to \p block, which contains the lines before it.
inline void appendBlockLine(QString &block, QStringView line)
{
    if (!block.isEmpty())
        block += QLatin1Char('\n');
    block.append(line.data(), static_cast<int>(line.size()));
}

// How they are written

/// Whether a tag or a property with this name or key is a comment.
inline bool isComment(const QString &name) { return name == QLatin1String("$"); }

/// \p text as comment lines, without the line feed after the last.
QString commentLines(const QString &text);

/// Whether a property with this value, which has no line feed, is omitted when writing.
bool isLeftOut(const QString &value, int options);

/// The text that is written for a value without line feeds.
QString oneLineValue(const QString &value, int options);

/// Writes a property to \p out in its form: by comment(), block() or line(), or not at all.
template <typename Out>
void writePropertyTo(Out &&out, const QString &key, const QString &value, int options)
{
    if (isComment(key)) {
        if (options & TagFile::WriteComments)
            out.comment(commentLines(value));
    } else if (value.contains(QLatin1Char('\n'))) {
        out.block(key, QString::number(qint64(value.count(QLatin1Char('\n'))) + 1), value);
    } else if (!isLeftOut(value, options)) {
        out.line(key, oneLineValue(value, options));
    }
}

/// Appends to \p out the text that TagFile::writeTag() writes: nothing, or text that ends with a
/// line feed.
void appendTag(QString &out, const QString &name, const QString &comment, bool blankLine,
               int options);

/// The same for TagFile::writeProperty().
void appendProperty(QString &out, const QString &key, const QString &value, int options);

} // namespace Utils
