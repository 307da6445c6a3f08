#pragma once

#include "examples/workbench/Host.h"

#include <memory>

namespace Workbench {

class MainWindow;

/// The program between the application object and the event loop: all that must be made before the
/// window, in the order that the library needs, and ended in the reverse order.
///
///     QApplication application(argc, argv);
///     QCoreApplication::setApplicationName("workbench"); // where the settings are
///     Workbench::Session session(Workbench::hostVariables());
///     session.window().show();
///     return QApplication::exec();
class Session
{
public:
    /// \p variables are those of the host; "RES_DIR" is the folder of resources. \p language is
    /// that of the texts; "" is the language of the settings, or else of the system.
    explicit Session(const QMap<QString, QString> &variables, const QString &language = {});
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session();

    MainWindow &window() { return *m_window; }

private:
    Host m_host;
    std::unique_ptr<MainWindow> m_window;
};

/// The variables of the host by name: those of the environment, or else of the installed tree.
///
///     RES_DIR     KELM_RES_DIR, or share/kelm/res beside the program
///     HOME_DIR    KELM_HOME_DIR, or the same folder
///     PYTHON_DIR  PYTHON_DIR, or what the program was built or installed with
///     APP_PATH    the program
QMap<QString, QString> hostVariables();

} // namespace Workbench
