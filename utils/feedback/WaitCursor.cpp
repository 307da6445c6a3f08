#include "utils/feedback/WaitCursor.h"

#include <QCursor>
#include <QGuiApplication>
#include <QThread>

namespace Utils {

// Without a QGuiApplication, its cursor functions and the constructor of QCursor crash. They are
// for its thread alone, but operations that show the wait cursor also run on threads of scripts.
static bool hasCursors()
{
    const auto *const application = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    return application && application->thread() == QThread::currentThread();
}

static void setWaitCursor()
{
    if (hasCursors())
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
}

static void restoreAllCursors()
{
    while (WaitCursor::activated())
        QGuiApplication::restoreOverrideCursor();
}

WaitCursor::WaitCursor(bool suspend, bool enable)
{
    if (!enable || !hasCursors() || suspend != activated())
        return;

    if (suspend) {
        m_state = -1;
        restoreAllCursors();
    } else {
        m_state = 1;
        setWaitCursor();
    }
}

WaitCursor::WaitCursor(const WaitCursor &other) = default;
WaitCursor &WaitCursor::operator=(const WaitCursor &other) = default;
WaitCursor::~WaitCursor() { reset(); }

void WaitCursor::reset()
{
    if (m_state > 0)
        restoreAllCursors();
    else if (m_state < 0)
        setWaitCursor();
    m_state = 0;
}

bool WaitCursor::activated()
{
    return hasCursors() && QGuiApplication::overrideCursor() != nullptr;
}

} // namespace Utils
