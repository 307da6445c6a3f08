#pragma once

#include "utils/Export.h"

#include <QtGlobal>

namespace Utils {

class Progress;

/// Makes the tasks that begin in a scope a part of an outer task: while the object exists, the
/// progress of a reporter that is nested in \p parent moves the count of \p parent from \p from to
/// \p to, and the host gets the progress of \p parent.
///
///     Utils::Progress progress(100, "Import");
///     {
///         const Utils::ProgressRange part(progress, 0, 80);
///         table.read(path, ...); // has a reporter of its own: 50 % of it are 40 % of the whole
///     }                          // 80 %
///
/// At its end the count of \p parent becomes \p to, unless the task was cancelled; the count never
/// goes back. It is reported then. So \p parent is not ticked for a part.
///
/// Parts nest: a reporter in a part may have parts itself. A reporter that is nested in a part, but
/// in none of its own, changes only the label. Several reporters may follow each other in one part,
/// of which the largest progress counts. Without a known end of \p parent, or with an inert one,
/// there is nothing to share.
///
/// A range is a stack object. It may outlive \p parent.
class KELMUTILS_EXPORT ProgressRange
{
public:
    ProgressRange(Progress &parent, int from, int to);

    ProgressRange(const ProgressRange &) = delete;
    ProgressRange &operator=(const ProgressRange &) = delete;
    ~ProgressRange();

private:
    friend class Progress;

    /// The count of the parent when \p share of the part is done.
    Q_DECL_HIDDEN double position(double share) const;

    Progress *m_parent;     // null after its destruction
    ProgressRange *m_outer; // the part of the same parent in which this one began
    const int m_from;
    const int m_to;
};

} // namespace Utils
