// Documents read and written beside the toolkit, and their layout beside another library's writer.
// benchmarks/report tells how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/files/File.h"
#include "utils/xml/Document.h"
#include "utils/xml/LineLayout_p.h"

#include <QFile>
#include <QTemporaryDir>

#include <pugixml.hpp>
#include <random>
#include <stdexcept>
#include <string>

using benchmark::State;
using Utils::Xml::Document;

// Inputs

/// Elements with two to eight attributes, three levels deep, until the text has \p size bytes. One
/// in \p oneIn has a line of text instead of elements.
static QByteArray makeDocument(int size, int oneIn)
{
    static const char *const names[] = {"name",  "type", "value", "unit", "Alpha",  "index",
                                        "color", "x",    "y",     "z",    "visible"};
    std::mt19937 random(1);
    const auto upTo = [&](unsigned int count) { return static_cast<int>(random() % count); };
    const auto addTag = [&](QByteArray &text, const char *tag, int attributes) {
        text += QByteArray("<") + tag;
        for (int i = upTo(3); attributes > 0 && i < 11; i += 1 + upTo(2), --attributes)
            text +=
                QByteArray(" ") + names[10 - i] + "=\"" + QByteArray::number(upTo(1000000)) + '"';
    };

    QByteArray text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE Model>\n<Model>\n";
    text.reserve(size + 10000);
    while (text.size() < size) {
        addTag(text, "group", 3);
        text += ">\n";
        for (int items = 5 + upTo(10); items > 0; --items) {
            addTag(text, "item", 2 + upTo(7));
            if (oneIn > 0 && upTo(static_cast<unsigned int>(oneIn)) == 0) {
                text += ">a line of text &amp; more</item>\n";
                continue;
            }
            text += ">\n";
            for (int points = upTo(4); points > 0; --points) {
                addTag(text, "point", 4);
                text += "/>\n";
            }
            text += "</item>\n";
        }
        text += "</group>\n";
    }
    return text + "</Model>\n";
}

/// A document in every form that a side needs.
struct Input
{
    explicit Input(const QByteArray &contents)
    {
        if (!document.setContent(contents) || !peer.load_string(contents.constData()))
            throw std::runtime_error("the document cannot be read");
        text = document.toString(2);
    }

    Document document{Document::Normal, 0.0};
    pugi::xml_document peer;
    QString text;
};

// Writing

static void writeOurs(State &state, const Input &input, const Data::String &path)
{
    for (auto _ : state) {
        if (!input.document.write(path))
            state.SkipWithError("not written");
    }
}

static void writeByToolkit(State &state, const Input &input)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(input.document.toString(2).size());
}

// The layout

/// The plain steps, as a yardstick.
static QString plainTag(const QString &tag)
{
    QString ending(tag.endsWith(QLatin1String("/>")) ? QLatin1String("/>") : QLatin1String(">"));
    QString current;
    QString name;
    QString nameAttribute;
    QString typeAttribute;
    QStringList others;
    bool inQuotes = false;
    for (int i = 1; i < tag.size(); ++i) {
        const QChar character = tag.at(i);
        if (!inQuotes && character == '<' && tag.at(i - 1) == '>') {
            ending = tag.mid(i - 1);
            break;
        }
        const bool closes = character == '/' && i + 1 < tag.size() && tag.at(i + 1) == '>';
        if (!inQuotes && (character == ' ' || character == '>' || closes)) {
            if (name.isEmpty())
                name = current;
            else if (nameAttribute.isEmpty() && current.startsWith(QLatin1String("name=")))
                nameAttribute = current;
            else if (typeAttribute.isEmpty() && current.startsWith(QLatin1String("type=")))
                typeAttribute = current;
            else if (!current.isEmpty())
                others.append(current);
            current.clear();
        } else {
            if (character == '"')
                inQuotes = !inQuotes;
            current += character;
        }
    }
    others.sort(Qt::CaseSensitive);
    QStringList tokens(name);
    if (!nameAttribute.isEmpty())
        tokens.append(nameAttribute);
    if (!typeAttribute.isEmpty())
        tokens.append(typeAttribute);
    return (tokens + others).join(QLatin1Char(' ')) + ending;
}

static QStringList plainLayout(const QString &text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString &line : lines) {
        const QString tag = line.trimmed();
        if (tag == QLatin1String("<!--*-->"))
            line.clear();
        else if (tag.startsWith('<') && tag.endsWith('>') && tag.contains(' ') &&
                 tag.contains(QLatin1String("=\"")) && !tag.startsWith(QLatin1String("<!")) &&
                 !tag.contains(QLatin1String("</")) && !tag.startsWith(QLatin1String("<?")))
            line = line.left(line.indexOf('<') + 1) + plainTag(tag);
    }
    return lines;
}

static void layOutOurs(State &state, const Input &input)
{
    Utils::Xml::LineLayout layout;
    QString laidOut;
    laidOut.reserve(input.text.size());
    for (auto _ : state) {
        laidOut.resize(0);
        layout.append(input.text, laidOut);
        benchmark::DoNotOptimize(laidOut.constData());
    }
    if (laidOut != plainLayout(input.text).join(QLatin1Char('\n')))
        state.SkipWithError("not laid out");
}

static void layOutPlainly(State &state, const Input &input)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(plainLayout(input.text).size());
}

class StringWriter : public pugi::xml_writer
{
public:
    std::string text;
    void write(const void *data, size_t size) override
    {
        text.append(static_cast<const char *>(data), size);
    }
};

static void saveByPeer(State &state, const Input &input)
{
    StringWriter writer;
    writer.text.reserve(static_cast<size_t>(input.text.size()));
    for (auto _ : state) {
        writer.text.clear();
        input.peer.save(writer, "  ");
        benchmark::DoNotOptimize(writer.text.data());
    }
}

// Reading

static void openOurs(State &state, const Data::String &path)
{
    for (auto _ : state) {
        Document document(Document::Normal, 0.0);
        Data::String error;
        if (!document.open(path, "Model", error))
            state.SkipWithError("not opened");
    }
}

static void openByToolkit(State &state, const Data::String &path)
{
    for (auto _ : state) {
        QFile file(path);
        QDomDocument document;
        if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file))
            state.SkipWithError("not opened");
    }
}

static void addDocument(const char *detail, const Input &input, const Data::String &path)
{
    addPair(
        "write a document of 20 MB beside QDomDocument::toString", detail, 1.3,
        [=, &input](State &state) { writeOurs(state, input, path); },
        [&input](State &state) { writeByToolkit(state, input); });
    addPair(
        "lay its text out beside pugixml's save", detail, 2.2,
        [&input](State &state) { layOutOurs(state, input); },
        [&input](State &state) { saveByPeer(state, input); });
    addPair(
        "lay its text out beside the plain steps", detail, 0.0,
        [&input](State &state) { layOutOurs(state, input); },
        [&input](State &state) { layOutPlainly(state, input); });
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    const Data::String path = folder.filePath(QStringLiteral("document.xml"));
    const int size = 20 * 1000 * 1000;
    const QByteArray contents = makeDocument(size, 0);
    const Input attributes(contents);
    const Input texts(makeDocument(size, 2));
    addDocument("attributes", attributes, path);
    addDocument("attributes and texts", texts, path);

    const Data::String source = folder.filePath(QStringLiteral("source.xml"));
    if (!Utils::File::writeRaw(source, contents))
        throw std::runtime_error("cannot write the document");
    addPair(
        "open a document of 20 MB beside QDomDocument::setContent", "attributes", 1.2,
        [=](State &state) { openOurs(state, source); },
        [=](State &state) { openByToolkit(state, source); });
    return runBenchmarks(argc, argv);
}
