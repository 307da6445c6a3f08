#include "examples/workbench/tags/TagDocument.h"

#include "examples/workbench/Texts.h"
#include "utils/files/File.h"
#include "utils/tagfile/TagFile.h"

#include <QFile>
#include <QTextStream>

#include <algorithm>

namespace Workbench {

using Utils::File;
using Utils::TagFile;
using Tag = TagFile::Tag;
using Property = std::pair<QString, QString>; // a key and its value

static const char utf8[] = "UTF-8";

/// A file whose values are written as they are, so that a change of one value changes no other.
static std::unique_ptr<TagFile> makeFile()
{
    auto file = std::make_unique<TagFile>();
    file->setOption(TagFile::WriteYesNo, false);
    return file;
}

/// The tags of \p text.
static std::unique_ptr<TagFile> readText(QString text)
{
    auto file = makeFile();
    QTextStream in(&text);
    Data::String none;
    file->read(in, none);
    return file;
}

bool isTagFile(const QString &path)
{
    const qint64 headSize = 4096; // bytes
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QTextStream in(file.read(headSize));
    in.setCodec(utf8);
    TagFile head;
    Data::String none;
    head.read(in, none);
    return !head.fileType().isEmpty();
}

TagDocument::TagDocument(const QString &path) : TreeDocument(path), m_file(makeFile()) {}
TagDocument::~TagDocument() = default;

// The file

bool TagDocument::readFile(const QString &path)
{
    if (!fitsMemory(path))
        return false;
    auto file = makeFile();
    Data::String error;
    if (!file->read(path, error))
        return false;
    resetNodes();
    m_file = std::move(file);
    m_encoding = File::encoding(path);
    return true;
}

bool TagDocument::writeFile(const QString &path)
{
    Data::String error;
    if (!m_file->save(path, error))
        return false;
    m_encoding = utf8;
    return true;
}

/// The lines of the file on the disk that are not there any more when the library has read and
/// written it: comments, and what it does not understand.
QStringList TagDocument::linesThatSavingLoses() const
{
    if (isDevice(path()))
        return {};
    const QStringList old =
        QString(File::read(path(), File::encoding(path()))).remove('\r').split('\n');
    auto file = makeFile();
    Data::String error;
    file->read(path(), error);
    QStringList kept = file->toString().split('\n');
    kept.removeAll(QString()); // empty lines are layout

    QStringList lost;
    int next = 0;
    for (const QString &line : old) {
        if (next < kept.size() && line == kept[next])
            ++next;
        else if (!line.isEmpty())
            lost.append(line);
    }
    return lost;
}

/// The name of the first tag that would be read from the saved file differently, or the tag
/// itself; "" when there is none.
QString TagDocument::firstThatIsReadDifferently() const
{
    const auto saved = readText(m_file->toString());
    for (int i = 0; i < m_file->numTags(); ++i) {
        const Tag &tag = m_file->tag(i);
        const bool isSame = i < saved->numTags() && saved->tag(i).name == tag.name &&
                            saved->tag(i).keys == tag.keys && saved->tag(i).values == tag.values;
        if (!isSame)
            return '*' + tag.name;
    }
    return {};
}

QString TagDocument::whatSavingLoses() const
{
    QStringList losses;
    if (m_encoding != utf8)
        losses.append(text(".msg.losesEncoding").arg(m_encoding));
    const QStringList lines = linesThatSavingLoses();
    if (!lines.isEmpty())
        losses.append(
            textFor(".msg.losesLines", lines.size()).arg(lines.first().left(60).trimmed()));
    const QString tag = firstThatIsReadDifferently();
    if (!tag.isEmpty())
        losses.append(text(".msg.losesTag").arg(tag));
    return losses.join(' ');
}

QString TagDocument::saveFilter() const { return text(".ctx.tagFiles") + " (*.tag)"; }

QString TagDocument::description() const
{
    return textFor(".msg.tags", m_file->numTags()) + " \u00b7 " + m_encoding;
}

QString TagDocument::heading() const
{
    if (m_file->numTags() == 0)
        return text(".msg.noTags");
    const QString type = m_file->fileType();
    const QString version = m_file->fileVersion();
    QStringList parts;
    parts.append(type.isEmpty() ? text(".msg.noFileType") : type);
    if (!version.isEmpty())
        parts.append(text(".msg.version").arg(version));
    if (!m_encoding.startsWith("UTF"))
        parts.append(text(".msg.notUtf8"));
    return parts.join(" \u00b7 ");
}

// The tree

bool TagDocument::hasChildren(int node) const
{
    if (node == root)
        return m_file->numTags() > 0;
    return isTag(node) && m_file->tag(rowOf(node)).numProps() > 0;
}

void TagDocument::listChildren(int node)
{
    int count = 0;
    if (node == root)
        count = m_file->numTags();
    else if (isTag(node))
        count = m_file->tag(rowOf(node)).numProps();
    for (int i = 0; i < count; ++i)
        addNode(node);
}

TreeDocument::Words TagDocument::words() const { return {".ctx.tagFile", "addTag", "addKey"}; }

QString TagDocument::textOf(int node, Column column) const
{
    const Tag &tag = m_file->tag(tagRow(node));
    if (isTag(node)) {
        if (column == Kind)
            return text(".ctx.kindTag");
        return column == Name ? QString(tag.name) : QString();
    }
    Data::String key;
    Data::String value;
    tag.get(rowOf(node), key, value);
    if (column == Kind)
        return nameOf(kindOfValue(value));
    return column == Name ? key : value;
}

QString TagDocument::summaryOf(int node) const
{
    return isTag(node) ? QString(m_file->tag(rowOf(node)).get("name", 0)) : QString();
}

bool TagDocument::canEdit(int node, Column column)
{
    return column == Name || (column == Value && !isTag(node));
}

QString TagDocument::fileText(int node) const
{
    const Tag &tag = m_file->tag(tagRow(node));
    if (isTag(node)) {
        auto copy = makeFile();
        copy->addTag(tag);
        return copy->toString();
    }
    Tag single(tag.name);
    single.add(tag.keys.value(rowOf(node)), tag.values.value(rowOf(node)));
    return single.toStringList(0, m_file->options()).join('\n');
}

/// How the library reads back a property that it has written.
static QString problemOfProperty(const QString &key, const QString &value, bool isKey)
{
    auto file = makeFile();
    file->addTag("tag", "").add(key, Data::String(value));
    const auto back = readText(file->toString());
    const Tag &tag = back->tag(0);
    if (back->numTags() != 1 || tag.numProps() != 1)
        return text(".msg.notReadBack");
    const QString read = isKey ? tag.keys.first() : tag.values.first();
    return read == (isKey ? key : value) ? QString() : text(".msg.readBackAs").arg(read);
}

static QString problemOfKey(const QString &key)
{
    if (key.startsWith('$') || key.startsWith('*'))
        return text(".msg.keyStart").arg(key.at(0));
    return problemOfProperty(key, "value", /*isKey=*/true);
}

static QString problemOfTagName(const QString &name)
{
    auto file = makeFile();
    file->addTag(name, "").add("key", "value");
    const auto back = readText(file->toString());
    if (back->numTags() != 1)
        return text(".msg.notReadBack");
    const QString read = back->tag(0).name;
    return read == name ? QString() : text(".msg.readBackAs").arg(read);
}

QString TagDocument::formProblem(int node, Column column, const QString &text) const
{
    if (column == Name && text.isEmpty())
        return Workbench::text(".msg.needsName");
    if (isTag(node))
        return text == "$" ? Workbench::text(".msg.notReadBack") : problemOfTagName(text);
    if (column == Value)
        return problemOfProperty("key", text, /*isKey=*/false);
    return problemOfKey(text);
}

// Changes

bool TagDocument::canMove(int node, int step) const
{
    if (node == root)
        return false;
    const int count =
        isTag(node) ? m_file->numTags() : m_file->tag(rowOf(parentOf(node))).numProps();
    const int row = rowOf(node) + step;
    return row >= 0 && row < count;
}

TreeDocument::Position TagDocument::positionFor(int node, bool branch)
{
    if (branch)
        return {root, node == root ? numChildren(root) : tagRow(node) + 1};
    if (node == root)
        return {};
    const int tag = isTag(node) ? node : parentOf(node);
    return {tag, isTag(node) ? numChildren(tag) : rowOf(node) + 1};
}

TreeDocument::Part TagDocument::newPart(int parent, bool branch) const
{
    if (branch)
        return Tag("new");
    const Tag &tag = m_file->tag(rowOf(parent));
    QString key = "new";
    for (int i = 2; tag.contains(key); ++i)
        key = "new" + QString::number(i);
    return Property(key, QString());
}

TreeDocument::Part TagDocument::copyOf(int node) const
{
    const Tag &tag = m_file->tag(tagRow(node));
    if (isTag(node))
        return tag;
    return Property(tag.keys.value(rowOf(node)), tag.values.value(rowOf(node)));
}

/// The tags of \p pasted after that of \p node.
std::vector<TreeDocument::Addition> TagDocument::tagsToAdd(int node, const TagFile &pasted)
{
    Position position = positionFor(node, /*branch=*/true);
    std::vector<Addition> added;
    for (int i = 0; i < pasted.numTags(); ++i, ++position.row)
        added.push_back({position, pasted.tag(i)});
    return added;
}

/// The keys in \p text, in the tag of \p node.
std::vector<TreeDocument::Addition> TagDocument::keysToAdd(int node, const QString &text,
                                                           QString &problem)
{
    const auto file = readText("*tag\n" + text);
    if (file->numTags() != 1)
        return {};
    const Tag &pasted = file->tag(0);
    Position position = positionFor(node, /*branch=*/false);
    std::vector<Addition> added;
    for (int i = 0; i < pasted.numProps() && position.parent >= 0; ++i, ++position.row) {
        const Property property(pasted.keys.at(i), pasted.values.at(i));
        problem = problemOfKey(property.first);
        if (problem.isEmpty())
            problem = problemOfProperty("key", property.second, /*isKey=*/false);
        if (!problem.isEmpty())
            return {};
        added.push_back({position, property});
    }
    return added;
}

std::vector<TreeDocument::Addition> TagDocument::additions(int node, const QString &text,
                                                           QString &problem)
{
    const auto tags = readText(text);
    if (tags->numTags() > 0)
        return tagsToAdd(node, *tags);
    return keysToAdd(node, text, problem);
}

void TagDocument::insertPart(int node, const Part &part)
{
    const int row = rowOf(node);
    if (isTag(node)) {
        m_file->addTag("", "") = std::any_cast<Tag>(part); // also one without a name
        for (int i = m_file->numTags() - 1; i > row; --i)
            std::swap(m_file->mtag(i), m_file->mtag(i - 1));
        return;
    }
    const auto property = std::any_cast<Property>(part);
    Tag &tag = m_file->mtag(rowOf(parentOf(node)));
    tag.keys.insert(row, property.first);
    tag.values.insert(row, property.second);
}

TreeDocument::Part TagDocument::removePart(int node)
{
    Part part = copyOf(node);
    const int row = rowOf(node);
    if (isTag(node)) {
        m_file->removeTag(row);
        return part;
    }
    Tag &tag = m_file->mtag(rowOf(parentOf(node)));
    tag.keys.removeAt(row);
    tag.values.removeAt(row);
    return part;
}

std::any TagDocument::putText(int node, Column column, const QString &text)
{
    const QString old = textOf(node, column);
    resetText(node, column, text);
    return old;
}

void TagDocument::resetText(int node, Column column, const std::any &old)
{
    const auto text = std::any_cast<QString>(old);
    Tag &tag = m_file->mtag(tagRow(node));
    if (isTag(node))
        tag.name = text;
    else
        (column == Name ? tag.keys : tag.values)[rowOf(node)] = text;
}

} // namespace Workbench
