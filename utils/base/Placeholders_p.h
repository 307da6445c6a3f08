#pragma once

#include "data/String.h"

#include <QStringList>

namespace Utils {

/// \p text with each "%1" to "%9" replaced by the value of that number.
///
///     "%1 of %2", ("a", "b")  => "a of b"
///     "%2 and %2", ("a", "b") => "b and b"
///     "%1%2", ("%2", "b")     => "%2b"      values are not searched
///     "%1 %3", ("a", "b")     => "a %3"     a marker without a value stays
///
/// Unlike QString::arg(), it replaces markers by their number, even if \p text contains only some
/// of them: the author of the catalogue decides which, and a key without a text contains none.
Data::String fillPlaceholders(const QString &text, const QStringList &values);

} // namespace Utils
