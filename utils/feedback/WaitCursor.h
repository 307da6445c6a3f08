#pragma once

#include "utils/Export.h"

namespace Utils {

/// Shows the wait cursor for a scope, or, with \p suspend, the normal cursor, for a dialog during a
/// long task. It sets the override cursors of QGuiApplication, in its thread.
///
///     const WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
///
/// With \p enable false, the object does nothing, neither now nor at its end, so that a caller
/// needs only one code path. Nor does any object in a program without QGuiApplication.
///
/// Wait cursors nest: while an override cursor of any shape is set, a further object changes
/// nothing. A suspension changes nothing when no override cursor is set.
///
/// \compat Four corners:
/// - An object that has set the wait cursor removes all override cursors at its end, even those
///   that other code has set meanwhile, and even when it ends during a suspension.
/// - A suspension removes all override cursors, and at its end sets one wait cursor, however many
///   there were, and even if other code has set one meanwhile.
/// - A copy undoes the change once more at its own end.
/// - An assignment discards what the target itself had to undo.
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

    /// Whether an override cursor is set, by any code.
    static bool activated();

private:
    int m_state = 0; // 1: has set the wait cursor, -1: has removed it, 0: nothing to undo
};

} // namespace Utils
