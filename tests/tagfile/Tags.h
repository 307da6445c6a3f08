#pragma once

#include "utils/tagfile/TagFile.h"

#include <QStringList>

// How the tests show tags.

/// As "3 point: x=1|text=one/two", for a tag in line 3, with "/" for each line feed.
inline QString describe(const Utils::TagFile::Tag &tag)
{
    QStringList properties;
    for (int i = 0; i < tag.numProps(); ++i)
        properties.append(tag.keys[i] + "=" + tag.values[i]);
    QString text = QString::number(tag.line) + " " + tag.name + ": " + properties.join("|");
    return text.replace('\n', '/');
}

inline QStringList describe(const Utils::TagFile &file)
{
    QStringList tags;
    for (int i = 0; i < file.numTags(); ++i)
        tags.append(describe(file.tag(i)));
    return tags;
}
