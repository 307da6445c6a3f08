#pragma once

#include "utils/Export.h"

namespace Utils {

/// Shows the wait cursor until the object is destroyed. With \p suspend, it shows the normal cursor
/// instead, as for a dialog during a long task. The class sets the override cursors of
/// QGuiApplication. On other threads than that of the application, no object does anything.
///
///     const WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
///
/// When \p enable is false, neither the constructor nor the destructor does anything, so that a
/// caller needs only one code path. In a program without QGuiApplication no object does anything.
///
/// Wait cursors nest: while an override cursor of any shape is set, a further object changes
/// nothing. A suspension is an object constructed with \p suspend; it changes nothing when no
/// override cursor is set.
///
/// \compat Four corners:
/// - An object that has set the wait cursor removes all override cursors at its end, even those
///   that other code has set meanwhile, and even when it ends during a suspension.
/// - A suspension removes all override cursors, and at its end sets a single wait cursor, even if
///   it has removed several, and even if other code has set an override cursor meanwhile.
/// - A copy also undoes the change of the original, at its own end.
/// - After an assignment, the target no longer undoes its own change.
class KELMUTILS_EXPORT WaitCursor
{
public:
    /// Shows the wait cursor, or removes it with \p suspend. Does nothing unless \p enable is true,
    /// which is not the default.
    explicit WaitCursor(bool suspend = false, bool enable = false);
    WaitCursor(const WaitCursor &other);
    WaitCursor &operator=(const WaitCursor &other);
    ~WaitCursor();

    /// Undoes the change of this object now instead of at its end.
    void reset();

    /// Whether an override cursor is set, by any code. Qt does not lock its list of cursors: call
    /// it on another thread only while that of the application sets and removes none.
    static bool activated();

private:
    int m_state = 0; // 1: has set the wait cursor, -1: has removed it, 0: nothing to undo
};

} // namespace Utils
