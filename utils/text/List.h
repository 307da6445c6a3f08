#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QList>
#include <QStringList>
#include <QVector>

namespace Utils {

/// Static functions that sort by index, convert lists to text and back, and combine selections.
///
/// Each function returns a new list, except mergeSort(), which changes its second argument. None
/// reports an error.
class KELMUTILS_EXPORT List
{
public:
    List() = delete;

    /// The positions of the elements of \p values in sorted order. Equal elements keep the order of
    /// their positions. Positions count from 0. The descending result is the ascending one in
    /// reverse order, so equal elements are reversed, too.
    ///
    ///     3.0, 1.0, 2.0  => 1, 2, 0    descending 0, 2, 1
    ///     5, 5, 5        => 0, 1, 2    descending 2, 1, 0
    ///
    /// 0.0 and -0.0 are equal. NaN is neither less than, greater than nor equal to any element: its
    /// position in the result is undefined, and elements around it may stay unsorted, but the
    /// result is the same each time.
    static QList<int> indexSort(const QList<int> &values, bool ascending);
    static QList<int> indexSort(const QList<double> &values, bool ascending);
    static QList<int> indexSort(const QVector<double> &values, bool ascending);

    /// The same for texts, in the order of QString::compare().
    ///
    /// \compat Two corners:
    /// - When \p caseSensitive is false, texts that differ only in case have no defined order, not
    ///   even that of their positions.
    /// - An empty text is less than all elements at later positions, and no other text is less than
    ///   an empty one. So empty texts are not grouped, and texts around them may stay unsorted.
    ///
    /// Positions of lists with empty texts:
    ///
    ///     "b", "", "a"           => 1, 2, 0
    ///     "c", "", "b", "", "a"  => 1, 3, 4, 2, 0
    ///
    /// Lists with such elements, or with NaN, are sorted by a quicksort, whose result is the same
    /// each time. It would take quadratic time for some lists of more than 10,000 elements.
    /// Therefore it stops after 100 million steps plus 200 for each element; the ranges that are
    /// not sorted by then are sorted with empty texts first, NaN last, and texts that differ only
    /// in case by position.
    static QList<int> indexSort(const QStringList &values, bool ascending, bool caseSensitive);

    /// Converts a list of numbers to text. A run of numbers that ascend by 1 becomes a range.
    /// \p separator is UTF-8; null is an empty separator.
    ///
    ///     1, 2, 3, 7, 9, 10  => "1-3,7,9-10"
    ///     3, 2, 1            => "3,2,1"
    ///     2, 2               => "2,2"
    ///     -1, 0, 5           => "-1-,5"
    ///
    /// \compat A range that ends at 0 lacks its end, as in the last line.
    static Data::String joinIndexList(const QList<int> &list, const char *separator);

    /// Converts a text written by joinIndexList() to the list of numbers, in the order of the text
    /// and with duplicates. \p separator is UTF-8; with null or an empty one, each character is an
    /// item.
    ///
    ///     "1-3,7,9-10"  => 1, 2, 3, 7, 9, 10
    ///     "3-1"         => nothing
    ///     "a,2,,1-x"    => 2
    ///     " +4 - 5 "    => 4, 5
    ///
    /// An item that is neither a number nor a range is ignored. So is a range that would make the
    /// list longer than 100,000,000 numbers, or for which there is no memory: otherwise a short
    /// text could fill the memory.
    ///
    /// \compat The first "-" of an item is always that of a range, so negative numbers are ignored.
    /// Only positive numbers survive joinIndexList() followed by splitIndexList().
    static QList<int> splitIndexList(const Data::String &text, const char *separator);

    /// Joins the items of \p list to one text. Double quotes in an item are doubled. An item that
    /// then contains \p separator is enclosed in quotes; with an empty separator that is every
    /// item.
    ///
    ///     "a,b", "c"  => "\"a,b\",c"
    ///     "say \"a\"" => "say \"\"a\"\""
    static QString safeJoin(const QStringList &list, const QString &separator);

    /// Splits a text written by safeJoin() into its items. An empty text is one empty item.
    ///
    ///     "\"a,b\",c"  => "a,b" and "c"
    ///     "a,,b"       => "a", "" and "b"
    ///     "\"a\",b"    => "\"a\"" and "b"       outer quotes stay when no separator is in them
    ///     "\"a,b"      => "a,b"                 an unclosed quote includes all the rest
    ///
    /// With \p backslashQuotes, in an item that begins and ends with a backslash and a quote, each
    /// of these two pairs becomes a quote. An item that consists of a single such pair becomes one
    /// quote. With an empty \p separator the whole text is one item, in which doubled quotes become
    /// single quotes; nothing else is changed.
    ///
    /// \compat The items of safeJoin() are not restored in these cases:
    /// - An item without a separator begins with a quote and does not end with one: it absorbs the
    ///   items after it, up to one that ends with a quote, or all of them.
    /// - An item with a separator has a quote directly before or after it: the item may end there.
    /// - An item ends with a part of a separator of several characters.
    static QStringList safeSplit(const QString &text, const QString &separator,
                                 bool backslashQuotes);

    // Selections: lists of 1-based indices in which the sign has a meaning.

    /// Merges two selections. An index that both lists have is kept; an index that only one list
    /// has is negated. The indices of \p a come first, in order, then those that only \p b has.
    /// When one list is empty, returns the other one unchanged.
    ///
    ///     1, 2 with 2, 3  => -1, 2, -3
    ///
    /// \compat An index that only \p b has is in the result as often as in \p b.
    static QList<int> mergeIndexList(const QList<int> &a, const QList<int> &b);

    /// Applies \p merged, a result of mergeIndexList(), to \p selection. Keeps the indices of
    /// \p selection that \p merged has with either sign, then appends the positive indices of
    /// \p merged that are not in the result yet. Entries of \p selection below 1 are removed.
    ///
    ///     1, 4 under -1, 2, -3  => 1, 2
    static QList<int> applyIndexList(const QList<int> &selection, const QList<int> &merged);

    /// Inserts into \p into the elements that only \p from has. An element is inserted before the
    /// first of its successors in \p from that \p into has at that moment. If \p into has none of
    /// them, the element is inserted before the first greater element of \p into, or at the end if
    /// there is no greater one. So the result keeps the order of \p from where the two lists agree.
    /// An empty \p into becomes a copy of \p from.
    ///
    ///     1, 2, 3 into 3, 5  => 1, 2, 3, 5
    ///     2, 9 into 1, 5     => 1, 2, 5, 9
    static void mergeSort(const QList<int> &from, QList<int> &into);

    /// Converts each value to decimal text.
    static QStringList format(const QList<int> &values);

    /// Converts each value as QString::number() does.
    static QStringList format(const QList<double> &values, char format, int precision);
    static QStringList format(const QVector<double> &values, char format, int precision);
};

} // namespace Utils
