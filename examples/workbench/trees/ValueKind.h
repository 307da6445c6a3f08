#pragma once

#include <QString>

namespace Workbench {

/// What a value of a tag file or of an XML document is. The files have texts only: the kind is that
/// of the text which is there.
enum class ValueKind
{
    Text,
    Number,  ///< "7.85e-06"
    YesNo,   ///< "yes", "no", "true", "false", in any case
    List,    ///< "frames; plates": two or more items, none of them empty
    Numbers, ///< "20 210000\n100 204960": lines of numbers, with as many in each line
};

/// The kind of \p value: the first one that fits, of numbers, yes and no, lines of numbers and
/// lists. An empty value is a text, and so is one of more than 100,000 characters.
ValueKind kindOfValue(const QString &value);

/// Why \p value is not of the kind \p kind, in a sentence for the user; "" when it is. An empty
/// value is of each kind: a value may be missing.
QString problemOf(const QString &value, ValueKind kind);

/// The name of a kind in the language of the program.
QString nameOf(ValueKind kind);

} // namespace Workbench
