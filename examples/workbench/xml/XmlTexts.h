#pragma once

#include <QDomNode>

namespace Workbench {

// What the library reads back of what it writes.

/// Why the library does not read \p text back from the file that it writes, as the name or the
/// value of a node of the kind of \p like. In a sentence for the user; "" when it does.
QString problemOfName(const QDomNode &like, const QString &text);
QString problemOfValue(const QDomNode &like, const QString &text);

/// The name of the first node below \p document that is read back differently, from \p written,
/// which is the text that the library writes. "" when there is none.
QString firstChange(const QDomDocument &document, const QString &written);

} // namespace Workbench
