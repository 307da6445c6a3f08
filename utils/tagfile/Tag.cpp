#include "utils/tagfile/TagFile.h"

#include "data/Truth_p.h"
#include "utils/base/NumberText_p.h"
#include "utils/tagfile/TagText_p.h"

#include <algorithm>
#include <new>

namespace Utils {

using Tag = TagFile::Tag;

Tag::Tag(const Data::String &tagName) : name(tagName) {}

bool Tag::isValid() const { return !name.isEmpty(); }

Tag &Tag::add(const Data::String &key, const Data::String &value)
{
    keys.append(key);
    try {
        values.append(value);
    } catch (const std::bad_alloc &) {
        keys.removeLast();
        throw;
    }
    return *this;
}

Tag &Tag::add(const Data::String &key, const char *value) { return add(key, Data::String(value)); }

Tag &Tag::add(const Data::String &key, bool value) { return add(key, value ? "true" : "false"); }

Tag &Tag::add(const Data::String &key, int value)
{
    return add(key, Data::String(QString::number(value)));
}

Tag &Tag::add(const Data::String &key, double value, char format, int precision)
{
    if (isWholeNumber(value))
        return add(key, numberText(value, 'g', 6));
    return add(key, numberText(value, format, precision));
}

Tag &Tag::add_g(const Data::String &key, double value) { return add(key, value, 'g', 6); }

Tag &Tag::add(const Data::String &key, const QByteArray &value)
{
    return add(key, Data::String(QString::fromLatin1(value.toHex())));
}

Tag &Tag::add(const Data::String &key, const QStringList &value, const char *separator)
{
    return add(key, Data::String(value.join(Data::String(separator))));
}

Tag &Tag::addComment(const Data::String &text) { return add("$", text); }

int Tag::numProps() const { return std::min(keys.size(), values.size()); }

int Tag::count(const Data::String &key) const
{
    return static_cast<int>(std::count(keys.begin(), keys.begin() + numProps(), key));
}

bool Tag::contains(const Data::String &key) const { return indexOf(key, 0) >= 0; }

int Tag::indexOf(const Data::String &key, int skip) const
{
    if (skip < 0)
        return -1;
    const int end = numProps();
    for (int i = 0; i < end; ++i) {
        if (keys[i] == key && skip-- == 0)
            return i;
    }
    return -1;
}

bool Tag::get(int index, Data::String &key, Data::String &value) const
{
    if (index < 0 || index >= numProps())
        return false;
    key = keys[index];
    value = values[index];
    return true;
}

Data::String Tag::get(const Data::String &key, int skip) const
{
    const int index = indexOf(key, skip);
    return index < 0 ? Data::String() : Data::String(values[index]);
}

bool Tag::getBool(const Data::String &key, int skip) const { return Data::saysYes(get(key, skip)); }

int Tag::getInt(const Data::String &key, int skip) const { return get(key, skip).toInt(); }

double Tag::getDouble(const Data::String &key, int skip) const { return get(key, skip).toDouble(); }

QByteArray Tag::getBytes(const Data::String &key, int skip) const
{
    return QByteArray::fromHex(get(key, skip).toLatin1());
}

QStringList Tag::getList(const Data::String &key, const char *separator, int skip) const
{
    const Data::String text = get(key, skip);
    return text.isEmpty() ? QStringList() : text.split(Data::String(separator));
}

Tag &Tag::remove(const Data::String &key)
{
    const int index = keys.indexOf(key);
    if (index < 0)
        return *this;
    // Shared lists are detached before anything is removed.
    keys.detach();
    values.detach();
    keys.removeAt(index);
    if (index < values.size())
        values.removeAt(index);
    return *this;
}

Tag &Tag::replace(const Data::String &key, const Data::String &value)
{
    const int index = keys.indexOf(key);
    if (index < 0)
        return add(key, value);
    while (values.size() <= index)
        values.append(QString());
    values[index] = value;
    return *this;
}

namespace {

/// Collects the lines of properties in a list. A colon in a key is not escaped.
struct ListOfLines
{
    void comment(const QString &text) { lines.append(text); }
    void block(const QString &key, const QString &numLines, const QString &value)
    {
        lines.append(key + QLatin1Char(':') + numLines);
        lines.append(value.split(QLatin1Char('\n')));
    }
    void line(const QString &key, const QString &value)
    {
        lines.append(key + QLatin1String(": ") + value);
    }

    QStringList lines;
};

} // namespace

QStringList Tag::toStringList(int first, int options) const
{
    ListOfLines list;
    const int end = numProps();
    for (int i = std::max(first, 0); i < end; ++i)
        writePropertyTo(list, keys[i], values[i], options);
    return list.lines;
}

/// Adds the properties in \p lines to \p tag.
static void addLines(Tag &tag, const QStringList &lines, int options)
{
    // Iterates over a copy, because the caller may pass the keys or values of the tag itself.
    const QStringList source = lines;
    auto next = source.begin();
    while (next != source.end()) {
        PropertyLine property;
        if (!parseProperty(*next++, property))
            continue;

        const QString key = property.key.toString();
        if (property.isBlock) {
            QString value;
            for (int left = property.numLines; left > 0 && next != source.end(); --left)
                appendBlockLine(value, *next++);
            tag.add(key, value);
        } else if (!isDropped(property.value, options)) {
            tag.add(key, property.value.toString());
        }
    }
}

Tag &Tag::fromList(const QStringList &lines, int options)
{
    const int numKeys = keys.size();
    const int numValues = values.size();
    try {
        addLines(*this, lines, options);
    } catch (const std::bad_alloc &) {
        keys.erase(keys.begin() + numKeys, keys.end());
        values.erase(values.begin() + numValues, values.end());
        throw;
    }
    return *this;
}

} // namespace Utils
