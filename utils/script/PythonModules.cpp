#include "utils/script/PythonModules_p.h"

#include "utils/script/PythonObjects_p.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include <Python.h>

namespace Utils {

using PythonObjects::Name;

static PyObject *loadedModule(const QByteArray &name)
{
    return PythonObjects::findInDictionary(PyImport_GetModuleDict(), name);
}

/// Returns the texts in a list of Python.
static QStringList textsOf(PyObject *list)
{
    QStringList texts;
    for (Py_ssize_t i = 0; list && PyList_Check(list) && i < PyList_GET_SIZE(list); ++i) {
        PyObject *const item = PyList_GET_ITEM(list, i);
        if (PyString_Check(item))
            texts.append(QString::fromUtf8(PyString_AS_STRING(item)));
    }
    return texts;
}

/// Returns the folders in which the modules of \p package are, or those of sys.path.
static QStringList foldersOf(const QByteArray &package)
{
    QStringList folders;
    PyObject *const module = package.isEmpty() ? nullptr : loadedModule(package);
    if (module && PyModule_Check(module)) {
        const QByteArray path = "__path__";
        return textsOf(PythonObjects::findInDictionary(PyModule_GetDict(module), path));
    }
    folders = textsOf(PySys_GetObject(const_cast<char *>("path")));
    if (package.isEmpty())
        return folders;
    const QString inside =
        QLatin1Char('/') + QString::fromUtf8(package).replace(QLatin1Char('.'), QLatin1Char('/'));
    for (QString &folder : folders)
        folder = (folder.isEmpty() ? QStringLiteral(".") : folder) + inside;
    return folders;
}

/// Returns the name of the module in the file \p name, or "" when it is none.
static QByteArray moduleInFile(const QString &name)
{
    static const QRegularExpression source(QStringLiteral(R"(^([A-Za-z_]\w*)\.py[co]?$)"));
    static const QRegularExpression library(
        QStringLiteral(R"(^([A-Za-z_]\w*?)(?:module)?(?:\.[\w-]+)?\.(?:so|pyd)$)"));
    for (const QRegularExpression *form : {&source, &library}) {
        if (const auto found = form->match(name); found.hasMatch())
            return found.captured(1).toUtf8();
    }
    return {};
}

static bool isPackage(const QString &folder)
{
    return QFileInfo::exists(folder + QLatin1String("/__init__.py")) ||
           QFileInfo::exists(folder + QLatin1String("/__init__.pyc"));
}

static void addFolder(const QString &folder, const QString &prefix, QSet<QByteArray> &names)
{
    QDirIterator entries(folder.isEmpty() ? QStringLiteral(".") : folder,
                         QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        entries.next();
        const QString name = entries.fileName();
        if (!name.startsWith(prefix))
            continue;
        const QByteArray module = moduleInFile(name);
        if (!module.isEmpty())
            names.insert(module);
        else if (!name.contains(QLatin1Char('.')) && isPackage(entries.filePath()))
            names.insert(name.toUtf8());
    }
}

/// A path that Python has in the form of the system.
static QString withSlashes(const QByteArray &path)
{
    return QDir::fromNativeSeparators(QString::fromUtf8(path));
}

/// Returns the name of the module that is the file \p name of an archive, in its folder \p folder,
/// or "" when there is none.
static QByteArray moduleInArchive(QString name, const QString &folder)
{
    if (!folder.isEmpty() && !name.startsWith(folder + QLatin1Char('/')))
        return {};
    name.remove(0, folder.isEmpty() ? 0 : folder.size() + 1);
    if (name.endsWith(QLatin1String("/__init__.py")) ||
        name.endsWith(QLatin1String("/__init__.pyc")))
        name = name.section(QLatin1Char('/'), 0, -2) + QLatin1String(".py");
    return moduleInFile(name);
}

/// Adds the modules of the archives that Python has read.
static void addArchives(const QStringList &folders, QSet<QByteArray> &names)
{
    PyObject *const module = loadedModule("zipimport");
    PyObject *const archives =
        module && PyModule_Check(module)
            ? PythonObjects::findInDictionary(PyModule_GetDict(module), "_zip_directory_cache")
            : nullptr;
    PythonObjects::visitDictionary(archives, nullptr, [&](const Name &archive) {
        const QString path = withSlashes(archive.name);
        for (const QString &entry : folders) {
            const QString folder = QDir::fromNativeSeparators(entry);
            if (folder != path && !folder.startsWith(path + QLatin1Char('/')))
                continue;
            const QString inside = folder.mid(path.size() + 1);
            PythonObjects::visitDictionary(archive.value, nullptr, [&](const Name &file) {
                const QByteArray found = moduleInArchive(withSlashes(file.name), inside);
                if (!found.isEmpty())
                    names.insert(found);
            });
        }
    });
}

QSet<QByteArray> importableModules(const QByteArray &package, const QByteArray &prefix)
{
    QSet<QByteArray> names;
    const QByteArray start = package.isEmpty() ? QByteArray() : package + '.';
    PythonObjects::visitDictionary(PyImport_GetModuleDict(), nullptr, [&](const Name &loaded) {
        if (loaded.name.startsWith(start) && loaded.value != Py_None)
            names.insert(loaded.name.mid(start.size()).split('.').constFirst());
    });
    for (const _inittab *built = PyImport_Inittab; package.isEmpty() && built->name; ++built)
        names.insert(built->name);
    const QStringList folders = foldersOf(package);
    for (const QString &folder : folders)
        addFolder(folder, QString::fromUtf8(prefix), names);
    addArchives(folders, names);
    names.remove("__init__");
    names.remove("__main__");
    return names;
}

} // namespace Utils
