#include "examples/workbench/Session.h"

#include "data/Array.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "utils/Application.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QGuiApplication>
#include <QIcon>

namespace Workbench {

Session::Session(const QMap<QString, QString> &variables, const QString &language)
    : m_host(variables)
{
    Utils::setApplication(&m_host);
    const QString preferred = Preferences::language.value();
    const QString resources = variables.value("RES_DIR");
    loadTexts(resources, language.isEmpty() ? preferred : language);
    Utils::File::setSafeWriting(true, Preferences::flushFiles.value());
    Utils::CSVTable().setHoleValue(Data::noValue); // for all tables in memory
    // Of this screen, of this disk, and what was typed: the panes read it when they are made, and
    // write it when the window closes.
    for (const char *group : {"Window", "gui", "Plot", "Process", "Console"}) {
        if (Utils::Settings().canExport(group))
            Utils::Settings().setFlags(group, /*canExport=*/false, /*canReset=*/true);
    }
    QGuiApplication::setWindowIcon(QIcon(Utils::File::join(resources, "icons/kelm-workbench.svg")));
    m_window = std::make_unique<MainWindow>();
    m_host.setWindow(m_window.get(), m_window->statusBar());
}

Session::~Session()
{
    m_window.reset();
    Utils::setApplication(nullptr);
}

/// The folder \p path, which is relative to the folder of the program unless it is absolute. It is
/// the same in an installed tree and in a build tree.
static QString besideProgram(const char *path)
{
    if (*path == '\0' || Utils::File::isAbsolute(path))
        return path;
    const QString folder = QCoreApplication::applicationDirPath();
    return Utils::File::cleanPath(Utils::File::join(folder, "..", path));
}

QMap<QString, QString> hostVariables()
{
    const QString resources = qEnvironmentVariable("KELM_RES_DIR", besideProgram(KELM_RES_DIR));
    return {
        {"RES_DIR", resources},
        {"HOME_DIR", qEnvironmentVariable("KELM_HOME_DIR", resources)},
        {"PYTHON_DIR", qEnvironmentVariable("PYTHON_DIR", besideProgram(KELM_PYTHON_DIR))},
        {"APP_PATH", QCoreApplication::applicationFilePath()},
        {"verbose", qEnvironmentVariable("KELM_VERBOSE", "0")},
    };
}

} // namespace Workbench
