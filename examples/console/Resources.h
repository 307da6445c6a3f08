#pragma once

#include <QMap>
#include <QString>

QT_FORWARD_DECLARE_CLASS(QCommandLineParser)

namespace Kelm {

/// Returns the variables of the host by name. Each value comes from the option, else from the
/// environment, else it is a default:
///
///     RES_DIR     --res-dir, KELM_RES_DIR, ../share/kelm/res beside the program
///     HOME_DIR    --home-dir, KELM_HOME_DIR, the same folder as RES_DIR
///     PYTHON_DIR  --python-dir, PYTHON_DIR, what the program was built or installed with
///     APP_PATH    the program
///     verbose     3 with --verbose, else 0
QMap<QString, QString> hostVariables(const QCommandLineParser &given);

/// Sets the folder of resources to \p resources, and loads the texts of the library and of the
/// program from there. \p language is a language such as "de"; "" is that of the system.
void loadTexts(const QString &resources, const QString &language);

} // namespace Kelm
