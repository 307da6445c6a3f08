// Documents read and written, compared with Qt; and their layout, compared with the writer of
// another library. benchmarks/report explains how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "tests/xml/PlainLayout.h"
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

static void writeByQt(State &state, const Input &input)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(input.document.toString(2).size());
}

// The layout

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
    if (laidOut + '\n' != plainLayout(input.text))
        state.SkipWithError("not laid out");
}

/// The plain steps, as a yardstick.
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

static void openByQt(State &state, const Data::String &path)
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
        "write a document of 20 MB beside QDomDocument::toString", detail, 0.5,
        [=, &input](State &state) { writeOurs(state, input, path); },
        [&input](State &state) { writeByQt(state, input); });
    addPair(
        "lay its text out beside pugixml's save", detail, 1.5,
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
        "open a document of 20 MB beside QDomDocument::setContent", "attributes", 1.1,
        [=](State &state) { openOurs(state, source); },
        [=](State &state) { openByQt(state, source); });
    return runBenchmarks(argc, argv, /*mebibytes=*/3072);
}
