#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QList>
#include <QStringList>
#include <QVector>

namespace Utils {

/// Sorting by index, lists as text, and selections: static operations, no instances.
///
/// Each reads its arguments and returns a new list, but for mergeSort(), which changes its second
/// argument. None reports an error.
class KELMUTILS_EXPORT List
{
public:
    List() = delete;

    /// The positions of \p values in sorted order. Equal elements stand in the order of their
    /// positions; descending is the ascending result read from its end, so they are reversed there.
    ///
    ///     3.0, 1.0, 2.0  => 1, 2, 0    descending 0, 2, 1
    ///     5, 5, 5        => 0, 1, 2    descending 2, 1, 0
    ///
    /// 0.0 and -0.0 are equal. What is not a number is neither below nor above nor equal to
    /// anything: it stays somewhere and keeps its neighbours from being sorted, the same way each
    /// time.
    static QList<int> indexSort(const QList<int> &values, bool ascending);
    static QList<int> indexSort(const QList<double> &values, bool ascending);
    static QList<int> indexSort(const QVector<double> &values, bool ascending);

    /// The same for text, in the order of QString::compare().
    ///
    /// Two things are meant as they are. Texts that differ in case only have no order between them
    /// when \p caseSensitive is false, not even that of their positions. And an empty text comes
    /// before whatever stands behind it in \p values, but not behind anything: empty texts are not
    /// grouped, and texts around them may be left out of order.
    ///
    ///     "b", "", "a"           => 1, 2, 0
    ///     "c", "", "b", "", "a"  => 1, 3, 4, 2, 0
    ///
    /// Where an order is lacking, here or among numbers, the result is that of a quicksort, and the
    /// same each time. Some lists of more than 10,000 elements would drive it to quadratic time:
    /// once it has taken a hundred million steps and 200 for each element, what it has left is
    /// sorted with empty texts in front, what is not a number at the end, and texts that differ in
    /// case only by position.
    static QList<int> indexSort(const QStringList &values, bool ascending, bool caseSensitive);

    /// A list of numbers as text, in which a run of numbers that ascend by 1 is written as a range.
    /// \p separator is UTF-8, null an empty one.
    ///
    ///     1, 2, 3, 7, 9, 10  => "1-3,7,9-10"
    ///     3, 2, 1            => "3,2,1"
    ///     2, 2               => "2,2"
    ///     -1, 0, 5           => "-1-,5"
    ///
    /// It is meant that a range which ends at 0 is left open, as in the last line.
    static Data::String joinIndexList(const QList<int> &list, const char *separator);

    /// The numbers of a text as joinIndexList() writes it, in their order and with duplicates.
    /// \p separator is UTF-8; null or an empty one takes each character for a piece.
    ///
    ///     "1-3,7,9-10"  => 1, 2, 3, 7, 9, 10
    ///     "3-1"         => nothing
    ///     "a,2,,1-x"    => 2
    ///     " +4 - 5 "    => 4, 5
    ///
    /// A piece that is no number and no range is passed over. The first "-" of a piece is that of a
    /// range, so negative numbers are passed over too, and only positive ones survive the way there
    /// and back. All this is meant. So is a limit that keeps a short text from filling the memory:
    /// a range that would make the list longer than 100,000,000 is passed over.
    static QList<int> splitIndexList(const Data::String &text, const char *separator);

    /// The items in one text. Quotes in an item are doubled, and an item that then holds
    /// \p separator is put in quotes; with an empty separator that is every item.
    ///
    ///     "a,b", "c"  => "\"a,b\",c"
    ///     "say \"a\"" => "say \"\"a\"\""
    static QString safeJoin(const QStringList &list, const QString &separator);

    /// The items of a text as safeJoin() writes it. An empty text is one empty item.
    ///
    ///     "\"a,b\",c"  => "a,b" and "c"
    ///     "a,,b"       => "a", "" and "b"
    ///     "\"a\",b"    => "\"a\"" and "b"       outer quotes stay when no separator is in them
    ///     "\"a,b"      => "a,b"                 a quote that never closes takes all the rest
    ///
    /// With \p backslashQuotes an item that begins and ends with a backslash and a quote gets a
    /// quote in place of each of these two pairs; the two characters alone become one quote. An
    /// empty separator gives one item, in which only the doubled quotes are made single.
    ///
    /// It is meant that this does not undo safeJoin() for an item without separator that begins
    /// with a quote and does not end with one: it takes in the items behind it, up to one that ends
    /// with a quote or to the end. Nor for an item with a separator in which a quote stands right
    /// before or behind one: it may end there. Nor for an item that ends with a part of a separator
    /// of several characters.
    static QStringList safeSplit(const QString &text, const QString &separator,
                                 bool backslashQuotes);

    // Selections: lists of indices that count from 1, in which a sign tells something.

    /// Which indices are in both lists, as they are, and which in one of them, negative. First
    /// those of \p a in order, then those that only \p b has. When one list is empty, the other as
    /// it is.
    ///
    ///     1, 2 with 2, 3  => -1, 2, -3
    ///
    /// It is meant that an index which \p b alone has appears as often as it has it.
    static QList<int> mergeIndexList(const QList<int> &a, const QList<int> &b);

    /// What \p selection becomes under the result of mergeIndexList(): its indices that \p merged
    /// names with either sign, then those that \p merged has as positive. Entries below 1 go.
    ///
    ///     1, 4 under -1, 2, -3  => 1, 2
    static QList<int> applyIndexList(const QList<int> &selection, const QList<int> &merged);

    /// Adds to \p into what only \p from has, in the order of \p from where the two agree: each in
    /// front of the first element behind it in \p from that \p into has by then; without one, in
    /// front of the first greater element of \p into; without that, at the end. An empty \p into
    /// becomes a copy of \p from.
    ///
    ///     1, 2, 3 into 3, 5  => 1, 2, 3, 5
    ///     2, 9 into 1, 5     => 1, 2, 5, 9
    static void mergeSort(const QList<int> &from, QList<int> &into);

    /// Each value in decimal.
    static QStringList format(const QList<int> &values);

    /// Each value as QString::number() writes it.
    static QStringList format(const QList<double> &values, char format, int precision);
    static QStringList format(const QVector<double> &values, char format, int precision);
};

} // namespace Utils
