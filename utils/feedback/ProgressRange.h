#pragma once

#include "utils/Export.h"

#include <QtGlobal>

namespace Utils {

class Progress;

/// Makes the tasks that begin in a scope a part of an outer task: while the object exists, the
/// progress of a reporter that is nested in \p parent moves the count of \p parent from \p from to
/// \p to, and the host receives the progress of \p parent.
///
///     Utils::Progress progress(100, "Import");
///     {
///         const Utils::ProgressRange part(progress, 0, 80);
///         table.read(path, ...); // has a reporter of its own: 50 % of it are 40 % of the whole
///     }                          // 80 %
///
/// The destructor sets the count of \p parent to \p to and reports it, unless the task was
/// cancelled. The count never decreases. So do not call tick() of \p parent for a part.
///
/// Parts nest: a reporter in a part may have parts itself. A reporter that is nested in one without
/// a part changes only the label. When several reporters follow each other in one part, the largest
/// progress counts. A range of a \p parent that has no known end, or is inert, has no effect.
///
/// A range is a stack object. It may outlive \p parent.
class KELMUTILS_EXPORT ProgressRange
{
public:
    /// Begins a part of \p parent, from the count \p from to the count \p to, in steps. A negative
    /// \p from stands for 0, and a \p to below \p from for \p from.
    ProgressRange(Progress &parent, int from, int to);

    ProgressRange(const ProgressRange &) = delete;
    ProgressRange &operator=(const ProgressRange &) = delete;
    ~ProgressRange();

private:
    friend class Progress;

    /// The count of the parent when \p share of the part is done, from 0.0 to 1.0.
    Q_DECL_HIDDEN double position(double share) const;

    Progress *m_parent;     // null after its destruction
    ProgressRange *m_outer; // the part of the same parent in which this one began
    const int m_from;
    const int m_to;
};

} // namespace Utils
