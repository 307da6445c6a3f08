#pragma once

#include <QDomDocument>

/// Adds \p levels nested elements "a" to \p document and returns the innermost. Built from the
/// inside out: appending to an element takes longer the deeper it is.
inline QDomElement addDeepTree(QDomDocument &document, int levels)
{
    const QDomElement innermost = document.createElement("a");
    QDomElement element = innermost;
    for (int i = 1; i < levels; ++i) {
        QDomElement parent = document.createElement("a");
        parent.appendChild(element);
        element = parent;
    }
    document.appendChild(element);
    return innermost;
}

/// Takes the levels of \p document off one by one: as a whole they need more stack than there is.
inline void takeApart(QDomDocument &document)
{
    QDomNode node = document;
    while (node.hasChildNodes()) {
        const QDomNode child = node.lastChild();
        node.removeChild(child);
        node = child;
    }
}
