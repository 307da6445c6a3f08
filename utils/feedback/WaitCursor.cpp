#include "utils/feedback/WaitCursor.h"

#include <QCursor>
#include <QGuiApplication>
#include <QThread>

namespace Utils {

// Without it, its cursor functions and the constructor of QCursor crash.
static QGuiApplication *guiApplication()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance());
}

// Cursors are set on the thread of the application alone, but operations that show the wait cursor
// also run on threads of scripts.
static bool setsCursors()
{
    const QGuiApplication *const application = guiApplication();
    return application && application->thread() == QThread::currentThread();
}

static void setWaitCursor()
{
    if (setsCursors())
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
}

static void restoreAllCursors()
{
    while (setsCursors() && WaitCursor::activated())
        QGuiApplication::restoreOverrideCursor();
}

WaitCursor::WaitCursor(bool suspend, bool enable)
{
    if (!enable || !setsCursors() || suspend != activated())
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
    return guiApplication() && QGuiApplication::overrideCursor() != nullptr;
}

} // namespace Utils
