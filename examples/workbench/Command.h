#pragma once

#include <QKeySequence>

#include <functional>

QT_FORWARD_DECLARE_CLASS(QAction)
QT_FORWARD_DECLARE_CLASS(QObject)

namespace Workbench {

/// Makes an action that calls \p run, for a menu. \p name is the id of its text without ".ctx.",
/// and its object name. \p owner owns the action.
QAction *makeCommand(QObject *owner, const char *name, const QKeySequence &shortcut,
                     const std::function<void()> &run);

} // namespace Workbench
