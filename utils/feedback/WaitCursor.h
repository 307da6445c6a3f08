#pragma once

#include "utils/Export.h"

namespace Utils {

/// Shows the wait cursor for a scope, or, with \p suspend, the normal one: for a dialog in the
/// middle of a long task. It works on the override cursors of QGuiApplication, in its thread.
///
///     const WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
///
/// An object whose \p enable is false does nothing, now and at its end, so that a caller keeps one
/// code path. So does one in a program without QGuiApplication. Wait cursors nest: where an
/// override cursor is set already, whatever its shape, a further one changes nothing; and nothing
/// is suspended where none is set.
///
/// These are meant: whoever set the wait cursor takes away all override cursors at its end, also
/// those that others have set meanwhile, and also when it ends inside a suspension. A suspension
/// takes them all away, however many, and puts one wait cursor back, even if others have set one
/// meanwhile. A copy undoes the change once more at its own end, and an object that is assigned to
/// forgets what it had to undo itself.
class KELMUTILS_EXPORT WaitCursor
{
public:
    /// Shows the wait cursor, or takes it away with \p suspend. Without \p enable, and so with both
    /// defaults, nothing happens.
    explicit WaitCursor(bool suspend = false, bool enable = false);
    WaitCursor(const WaitCursor &other);
    WaitCursor &operator=(const WaitCursor &other);
    ~WaitCursor();

    /// Undoes now what this object did, and nothing at its end.
    void reset();

    /// Whether an override cursor is set, by whomever.
    static bool activated();

private:
    int m_state = 0; // 1: has set the wait cursor, -1: has taken it away, 0: nothing to undo
};

} // namespace Utils
