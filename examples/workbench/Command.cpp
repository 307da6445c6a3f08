#include "examples/workbench/Command.h"

#include "examples/workbench/Texts.h"

#include <QAction>

namespace Workbench {

QAction *makeCommand(QObject *owner, const char *name, const QKeySequence &shortcut,
                     const std::function<void()> &run)
{
    auto *const action = new QAction(owner);
    action->setObjectName(name);
    action->setShortcut(shortcut);
    bindText(action, "text", QByteArray(".ctx.") + name);
    QObject::connect(action, &QAction::triggered, action, [run] { run(); });
    return action;
}

} // namespace Workbench
