// XML documents: what is read is written, and what is written is read and written as the same
// bytes, but for what docs/xml.md excepts.

#include "utils/xml/Document.h"

#include "fuzz/Input.h"
#include "utils/xml/Element.h"

#include <QRegularExpression>

using Data::String;
using Utils::Xml::Document;
using Utils::Xml::Element;

static const ScratchFile &scratch()
{
    static const ScratchFile file("document.xml");
    return file;
}

/// The calls of an element that read it, for it and all below.
static void askElements(const QDomElement &parent)
{
    Element element(parent);
    const int count = element.attributes().size();
    requireEqual(element.orderedAttributes().size(), count, "every attribute is there in order");
    element.childTextData();
    QDomElement child = parent.firstChildElement();
    for (; !child.isNull(); child = child.nextSiblingElement())
        askElements(child);
}

/// Whether the file of \p document is to be read. Its XML declaration stays as it is, with any
/// encoding, and a line that starts and ends like a tag, but is none, may be damaged.
static bool comesBack(const Document &document)
{
    // Qt takes an encoding also from what begins as the declaration does.
    const QDomProcessingInstruction first = document.firstChild().toProcessingInstruction();
    const bool isDeclaration = first.target().startsWith(QLatin1String("xml"));
    static const QRegularExpression encoding(QStringLiteral("encoding[^'\"]*['\"]([^'\"]*)"));
    const auto named = encoding.match(isDeclaration ? first.data() : QString());
    if (named.hasMatch() && named.captured(1) != QLatin1String("UTF-8"))
        return false;

    static const QRegularExpression tag(
        QStringLiteral("^<[^\\s<>\"/]+( [^\\s<>\"=]+=\"[^\"<]*\")+ ?/?>$"));
    for (const QString &line : document.toString(2).split(QLatin1Char('\n'))) {
        const QString text = line.trimmed();
        const bool isLikeTag = text.startsWith(QLatin1Char('<')) &&
                               text.endsWith(QLatin1Char('>')) &&
                               text.contains(QLatin1String("=\""));
        const bool isLeftAlone = text.startsWith(QLatin1String("<!")) ||
                                 text.startsWith(QLatin1String("<?")) ||
                                 text.contains(QLatin1String("</"));
        if (isLikeTag && !isLeftAlone && !tag.match(text).hasMatch())
            return false;
    }
    return true;
}

/// Whether the file of a document with the node \p parent is the same when it is read and written
/// again: no element has text beside what is no text, and no comment becomes an empty line.
static bool staysTheSame(const QDomNode &parent)
{
    bool hasText = false;
    bool hasOthers = false;
    for (QDomNode child = parent.firstChild(); !child.isNull(); child = child.nextSibling()) {
        hasText = hasText || child.isText();
        hasOthers = hasOthers || !child.isText();
        if ((child.isComment() && child.nodeValue() == QLatin1String("*")) || !staysTheSame(child))
            return false;
    }
    return !hasText || !hasOthers;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const String type = textOf(input.line());
    scratch().write(input.rest());

    Document document(Document::Normal, 0.0);
    String error;
    if (!document.open(scratch().path(), type, error)) {
        require(!error.isEmpty(), "there is a reason");
        return 0;
    }
    askElements(document.documentElement());
    require(document.write(scratch().path()), "a document that was read is written");
    const QByteArray written = scratch().read();

    if (!comesBack(document))
        return 0;

    Document again(Document::Normal, 0.0);
    if (!again.open(scratch().path(), type, error))
        qDebug() << error << written;
    require(error.isEmpty(), "what was written is read");
    require(again.write(scratch().path()), "and written again");
    if (staysTheSame(document))
        requireEqual(scratch().read(), written, "as the same bytes");
    return 0;
}
