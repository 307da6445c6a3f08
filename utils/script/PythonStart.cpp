#include "utils/script/PythonStart_p.h"

#include "utils/files/File.h"
#include "utils/platform/Platform.h"
#include "utils/script/PythonDepth_p.h"
#include "utils/script/PythonInterpreter_p.h"
#include "utils/script/PythonReference_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <Python.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

namespace Utils {

/// Python's default.
static const int recursionLimit = 1000;

// Long for a library on a slow network drive.
std::chrono::milliseconds startTrialLimit = std::chrono::seconds(30);

/// Whether a stream of Python is a terminal.
static bool isTerminal(PyObject *stream)
{
    const PythonReference result(
        PyObject_CallMethod(stream, const_cast<char *>("isatty"), nullptr));
    const bool isTrue = result && PyObject_IsTrue(result.get()) == 1;
    PyErr_Clear();
    return isTrue;
}

/// Makes Python use the character set of the locale for file names and on terminals.
static bool useCodeset(const char *codeset)
{
    const PythonReference encoder(PyCodec_Encoder(codeset));
    if (!encoder) {
        const bool isUnknown = PyErr_ExceptionMatches(PyExc_LookupError) != 0;
        if (isUnknown)
            PyErr_Clear();
        return isUnknown;
    }

    if (!Py_FileSystemDefaultEncoding)
        Py_FileSystemDefaultEncoding = strdup(codeset); // for the next interpreters, too
    const char *const chosen = std::getenv("PYTHONIOENCODING");
    if (chosen && *chosen != '\0') // Python has set that already
        return true;
    for (const char *name : {"stdin", "stdout", "stderr"}) {
        PyObject *const stream = PySys_GetObject(const_cast<char *>(name));
        if (stream && PyFile_Check(stream) && isTerminal(stream) &&
            !PyFile_SetEncodingAndErrors(stream, codeset, nullptr))
            return false;
    }
    return true;
}

/// Loads the package of the codecs. True when it is missing, too: Python starts without it. False,
/// with an error set, when it is damaged.
static bool loadCodecs()
{
    const PythonReference package(PyImport_ImportModule("encodings"));
    if (package || !PyErr_ExceptionMatches(PyExc_ImportError))
        return package != nullptr;

    // One that is damaged may raise the same.
    PyObject *type = nullptr;
    PyObject *value = nullptr;
    PyObject *traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    const bool isMissing = value && PyString_Check(value) &&
                           std::strcmp(PyString_AS_STRING(value), "No module named encodings") == 0;
    PyErr_Restore(type, value, traceback);
    if (isMissing)
        PyErr_Clear();
    return isMissing;
}

/// Starts the interpreter as Py_InitializeEx() does without signal handlers and without "site",
/// and loads the codecs then. False when those are damaged; the interpreter, with an error set,
/// runs all the same.
static bool initializePython()
{
    // Python looks the character set of the locale up in the package "encodings" when it starts,
    // and exits the process when that raises anything but an ImportError. So there is no such
    // package until it has started, and then the same is done here.
    const _frozen excluded[] = {{const_cast<char *>("encodings"), nullptr, 0},
                                {nullptr, nullptr, 0}};
    auto *const original = std::exchange(PyImport_FrozenModules, const_cast<_frozen *>(excluded));
    const int originalFlag = std::exchange(Py_NoSiteFlag, 1); // it would exit the process, too
    Py_InitializeEx(/*initsigs=*/0);
    Py_NoSiteFlag = originalFlag;
    PyImport_FrozenModules = original;

    const std::string codeset = Platform::localeCodeset();
    return codeset.empty() || (loadCodecs() && useCodeset(codeset.c_str()));
}

/// Whether a file ends as Python expects it of an archive.
static bool isZip(const QString &path)
{
    const int endSize = 22;
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.size() >= endSize &&
           file.seek(file.size() - endSize) && file.read(4) == "PK\5\6";
}

/// Whether a standard library may be found in \a home, however Python was built. Python must not
/// be started with a home that has none, as it computes its search path only once in a process.
static bool mayHaveLibrary(const PythonHome &home)
{
    if (qEnvironmentVariableIsSet("PYTHONPATH") || isZip(home.archive()))
        return true;

    const QDir folder(home.folder);
    const QFileInfoList folders = folder.entryInfoList({QStringLiteral("lib*")}, QDir::Dirs);
    const auto hasModules = [](const QString &path) {
        // The folder has hundreds of files, so it is listed only when there is none of the usual.
        const QString module = path + QLatin1String("/os.py");
        return QFileInfo(module).isFile() || QFileInfo(module + QLatin1Char('c')).isFile() ||
               !QDir(path).entryList({QStringLiteral("os.py*")}, QDir::Files).isEmpty();
    };
    return std::any_of(folders.begin(), folders.end(), [&](const QFileInfo &library) {
        const QString path = library.filePath();
        return hasModules(path) || hasModules(path + QLatin1String("/python2.7"));
    });
}

/// Makes Python search the archive \a zip first, which not every build does by itself. Not by
/// sys.path: the codecs are loaded before that can be changed.
static void addToSearchPath(const QString &zip)
{
    static const char variable[] = "PYTHONPATH";
    const bool wasSet = qEnvironmentVariableIsSet(variable);
    const QByteArray original = qgetenv(variable);
    QByteArray path = zip.toUtf8();
    if (!original.isEmpty())
        path += QDir::listSeparator().toLatin1() + original;
    qputenv(variable, path);
    Py_GetPath(); // which computes the path once and keeps it
    if (wasSet)
        qputenv(variable, original);
    else
        qunsetenv(variable);
}

/// Starts the interpreter and imports "site". False when the standard library is damaged; no
/// interpreter runs then.
static bool startWithLibrary(const PythonHome &home)
{
    const PythonExitGuard guard;
    if (home.isArchive)
        addToSearchPath(home.archive());

    Py_SetRecursionLimit(recursionLimit); // one that a script has set outlives its interpreter
    bool isStarted = initializePython();
    if (isStarted) {
        limitRecursion(recursionLimit); // before "site", which may run scripts of the user
        const PythonReference site(PyImport_ImportModule("site"));
        isStarted = site != nullptr;
    }
    if (!isStarted) {
        PyErr_Print(); // which file it is
        Py_Finalize();
    }
    return isStarted;
}

Data::String PythonHome::archive() const
{
    return File::join(folder, QStringLiteral("python27.zip"));
}

bool startPython(const PythonHome &home)
{
    if (!mayHaveLibrary(home))
        return false;

    // Extension modules take the symbols of Python from the process, and are not linked with it.
    Platform::makeSymbolsGlobal(reinterpret_cast<const void *>(&Py_InitializeEx));

    // A fault in the library's own code may end the process, and Python cannot be told another
    // home once it has read the first one. So the first start is tried in a copy of the process.
    const auto tryStart = [&home] {
        const bool isStarted = startWithLibrary(home);
        const PythonReference sip(isStarted ? PyImport_ImportModule("sip") : nullptr); // may be
                                                                                       // missing
        return isStarted;
    };
    static bool hasStarted = false;
    if (!hasStarted && Platform::tryInCopy(tryStart, startTrialLimit) == false)
        return false;
    if (!startWithLibrary(home))
        return false;
    hasStarted = true;
    return true;
}

} // namespace Utils
