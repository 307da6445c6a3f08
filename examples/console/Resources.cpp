#include "examples/console/Resources.h"

#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QLocale>

namespace Kelm {

/// The value of \p option, else of the environment variable \p name.
static QString chosen(const QCommandLineParser &given, const char *option, const char *name,
                      const QString &otherwise)
{
    if (given.isSet(option))
        return given.value(option);
    return qEnvironmentVariable(name, otherwise);
}

/// The folder \p path, which is relative to the folder of the program unless it is absolute. It is
/// the same in an installed tree and in a build tree. On Windows it has "/", too: scripts take a
/// backslash in a folder of modules for the start of an escape sequence.
static QString besideProgram(const char *path)
{
    if (*path == '\0' || Utils::File::isAbsolute(path))
        return path;
    const QString folder = QCoreApplication::applicationDirPath();
    return QDir::cleanPath(Utils::File::join(folder, "..", path));
}

QMap<QString, QString> hostVariables(const QCommandLineParser &given)
{
    const QString resources = chosen(given, "res-dir", "KELM_RES_DIR", besideProgram(KELM_RES_DIR));
    return {
        {"RES_DIR", resources},
        {"HOME_DIR", chosen(given, "home-dir", "KELM_HOME_DIR", resources)},
        {"PYTHON_DIR", chosen(given, "python-dir", "PYTHON_DIR", besideProgram(KELM_PYTHON_DIR))},
        {"APP_PATH", QCoreApplication::applicationFilePath()},
        {"verbose", given.isSet("verbose") ? "3" : "0"},
    };
}

void loadTexts(const QString &resources, const QString &language)
{
    Utils::File::setSearchPath(resources, "");
    Utils::StringTable::initialize(language.isEmpty() ? QLocale::system().name() : language,
                                   "Console", "");
    for (const char *table :
         {"Kelm.Data", "Kelm.Framework", "Kelm.Utils", "Kelm.Widgets", "Kelm.Console"})
        Utils::StringTable::load(table);
}

} // namespace Kelm
