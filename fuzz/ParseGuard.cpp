// The guard before Qt's XML parser: what it says of a text holds for the tree that the parser
// builds.

#include "utils/xml/ParseGuard_p.h"

#include "fuzz/Input.h"

#include <QDomDocument>

using Utils::Xml::ParseGuard;

/// What a tree has.
struct Measure
{
    int depth = 0;         // levels of elements
    qint64 characters = 0; // of text and of the values of attributes
};

static void measure(const QDomNode &parent, int depth, Measure &result)
{
    result.depth = qMax(result.depth, depth);
    for (QDomNode node = parent.firstChild(); !node.isNull(); node = node.nextSibling()) {
        result.characters += node.nodeValue().size();
        const QDomNamedNodeMap attributes = node.attributes();
        for (int i = 0; i < attributes.size(); ++i)
            result.characters += attributes.item(i).nodeValue().size();
        if (!node.isDocumentType())
            measure(node, depth + (node.isElement() ? 1 : 0), result);
    }
}

/// Passes \p text to \p guard in pieces of \p length characters.
static bool accepts(ParseGuard &guard, const QString &text, int length)
{
    for (int at = 0; at < text.size(); at += length) {
        const QString piece = text.mid(at, length);
        if (!guard.accepts(piece, piece.size(), 0))
            return false;
    }
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int depth = 1 + input.choice(16);
    const qint64 expansion = input.choice(100);
    const int length = 1 + input.choice(40);
    const QString text = textOf(input.rest());
    if (text.isEmpty())
        return 0;

    // What is tested, and one that keeps the parser from what this program does not bear.
    const qint64 bearable = 100'000;
    const Utils::Xml::ParseLimits search{1000, bearable, 0, Utils::Xml::ParseLimits().search};
    ParseGuard guard({depth, expansion, 0, bearable});
    const bool isAccepted = accepts(guard, text, length);
    ParseGuard whole({depth, expansion, 0, bearable});
    requireEqual(accepts(whole, text, text.size()), isAccepted, "pieces do not matter");
    requireEqual(whole.message(), guard.message(), "nor for the message");
    requireEqual(guard.message().isEmpty(), isAccepted, "there is a message when it is refused");
    ParseGuard bearing(search);
    if (!accepts(bearing, text, text.size()))
        return 0;

    QDomDocument document;
    const bool isRead = document.setContent(text, /*namespaceProcessing=*/false);
    Measure tree;
    measure(document, 0, tree);
    if (isAccepted) {
        require(tree.depth <= depth, "the tree is no deeper than what was accepted");
        require(tree.characters <= text.size() + expansion, "nor larger");
    } else if (isRead && guard.message().startsWith(QLatin1String("elements"))) {
        require(tree.depth > depth, "the tree is as deep as was refused");
    }
    return 0;
}
