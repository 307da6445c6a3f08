#pragma once

#include "utils/tagfile/TagFile.h"

#include <QTextStream>

#include <deque>
#include <memory>

// The format of tag files once more, written down step by step on a text stream: what the library
// is compared with.

using PlainTags = std::deque<std::unique_ptr<Utils::TagFile::Tag>>;

inline void readPlainly(QTextStream &in, int options, PlainTags &tags, qint64 maxLineLength = 0)
{
    using Utils::TagFile;

    const QString marker = "*COLON*";
    qint64 counter = 0;
    QString pending;
    if (in.atEnd())
        return;
    do {
        ++counter;
        QString line = pending.isEmpty() ? in.readLine(maxLineLength) : pending;
        pending.clear();
        if (line.isEmpty() || line.startsWith('$') || !line.startsWith('*'))
            continue;

        auto tag = std::make_unique<TagFile::Tag>(line.mid(1));
        tag->line = static_cast<int>(counter);
        while (!in.atEnd()) {
            ++counter;
            line = in.readLine(maxLineLength);
            if (line.isEmpty() || line.startsWith('$'))
                continue;
            if (line.startsWith('*')) {
                pending = line;
                --counter;
                break;
            }
            line.replace("\\:", marker);
            const int colon = line.indexOf(':');
            if (colon < 0)
                continue;
            const QString key = line.left(colon).replace(marker, ":");
            const QString rest = line.mid(colon + 1);
            if (rest.startsWith(' ')) {
                const QString value = rest.mid(1).replace(marker, ":");
                if (!(options & TagFile::DropNone) || value != "NONE")
                    tag->add(key, value);
                continue;
            }
            const int count = rest.toInt();
            QString value;
            for (int i = 0; i < count && !in.atEnd(); ++i) {
                if (!value.isEmpty())
                    value += '\n';
                value += in.readLine(maxLineLength);
            }
            tag->add(key, value);
            counter += count;
        }
        tags.push_back(std::move(tag));
    } while (!in.atEnd());
}

inline void writePlainly(QTextStream &out, int options, const PlainTags &tags)
{
    using Utils::TagFile;

    const auto writeProperty = [&](QString key, QString value) {
        const bool isComment = key == "$";
        key.replace(":", "\\:");
        if (isComment) {
            if (options & TagFile::WriteComments)
                out << QString("$ ") << value.replace("\n", "\n$ ") << QString("\n");
        } else if (value.contains('\n')) {
            out << key << QString(":") << value.count('\n') + 1 << QString("\n") << value
                << QString("\n");
        } else if (options & TagFile::WriteYesNo && value == "true") {
            out << key << QString(": yes\n");
        } else if (options & TagFile::WriteYesNo && value == "false") {
            out << key << QString(": no\n");
        } else if (options & TagFile::WriteNone && value.isEmpty()) {
            out << key << QString(": NONE\n");
        } else if (!(options & TagFile::LeaveOutEmpty) || !value.isEmpty()) {
            out << key << QString(": ") << value << QString("\n");
        }
    };
    const auto writeTag = [&](const QString &name, QString comment, bool blankLine) {
        if (blankLine)
            out << QString("\n");
        if (!comment.isEmpty() && options & TagFile::WriteComments)
            out << QString("$ ") << comment.replace("\n", "\n$ ") << QString("\n");
        if (name != "$")
            out << QString("*") << name << QString("\n");
    };

    bool separate = options & TagFile::BlankLines;
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const TagFile::Tag &tag = *tags[i];
        const int count = std::min(tag.keys.size(), tag.values.size());
        bool blank = separate;
        if (options & TagFile::BlankLines && count > 0)
            blank = true;
        if (!tag.name.isEmpty())
            writeTag(tag.name, tag.comment, blank && i >= 1);
        for (int p = 0; p < count; ++p)
            writeProperty(tag.keys[p], tag.values[p]);
        separate = count > 0 && blank;
    }
}
