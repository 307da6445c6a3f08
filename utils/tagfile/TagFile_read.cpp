#include "utils/tagfile/TagFile.h"
#include "utils/tagfile/TagFile_p.h"

#include <QFile>
#include <QTextStream>

#include <new>

namespace Utils {

using Tag = TagFile::Tag;

// Qt ends the program where a string grows too long, as the line of a file of zeros would.
static const qint64 maxLineLength = 1 << 28;

/// What stands for "\:" in a line until it is split at its first plain colon.
static const QLatin1String colonMarker("*COLON*");

static bool isIgnored(const QString &line)
{
    return line.isEmpty() || line.startsWith(QLatin1Char('$'));
}

static bool isTag(const QString &line) { return line.startsWith(QLatin1Char('*')); }

static QString withColons(QString text) { return text.replace(colonMarker, QLatin1String(":")); }

/// Reads the next \p count lines, or as many as there are.
static QString readBlock(QTextStream &in, int count)
{
    QString value;
    QString line;
    while (count-- > 0 && !in.atEnd()) {
        in.readLineInto(&line, maxLineLength);
        if (!value.isEmpty())
            value += QLatin1Char('\n');
        value += line;
    }
    return value;
}

/// Adds what \p line holds to \p tag, with the lines of a block from \p in, whose number is added
/// to \p lineNumber even when they are not there.
static void readProperty(Tag &tag, QString line, QTextStream &in, int options, qint64 &lineNumber)
{
    line.replace(QLatin1String("\\:"), colonMarker);
    const int colon = line.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return;

    const QString key = withColons(line.left(colon));
    const QString rest = line.mid(colon + 1);
    if (rest.startsWith(QLatin1Char(' '))) {
        const QString value = withColons(rest.mid(1));
        if (!(options & TagFile::DropNone) || value != QLatin1String("NONE"))
            tag.add(key, value);
        return;
    }
    const int count = rest.toInt();
    tag.add(key, readBlock(in, count));
    lineNumber += count;
}

void TagFilePrivate::readTags(QTextStream &in)
{
    QString line;
    QString pending; // a tag line that ended the tag above it
    qint64 lineNumber = 0;
    while (!in.atEnd()) {
        ++lineNumber;
        if (pending.isEmpty())
            in.readLineInto(&line, maxLineLength);
        else
            line = pending;
        pending.clear();
        if (isIgnored(line) || !isTag(line))
            continue;

        auto tag = std::make_unique<Tag>(line.mid(1));
        tag->line = static_cast<int>(lineNumber);
        while (!in.atEnd()) {
            ++lineNumber;
            in.readLineInto(&line, maxLineLength);
            if (isIgnored(line))
                continue;
            if (isTag(line)) {
                pending = line;
                --lineNumber;
                break;
            }
            readProperty(*tag, line, in, options, lineNumber);
        }
        tags.push_back(std::move(tag));
    }
}

bool TagFile::read(const Data::String &path, Data::String &error)
{
    if (path.isEmpty())
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = fileMessage(".err.fileread", path);
        return false;
    }
    QTextStream in(&file);
    in.setCodec("UTF-8");
    return read(in, error);
}

bool TagFile::read(const Data::String &path, QStringList &errors)
{
    Data::String error;
    const bool isRead = read(path, error);
    if (!isRead && !path.isEmpty())
        errors.append(error);
    return isRead;
}

bool TagFile::read(QTextStream &in, Data::String &)
{
    try {
        d->readTags(in);
    } catch (const std::bad_alloc &) {
        // What was read up to here stays.
    }
    return true;
}

} // namespace Utils
