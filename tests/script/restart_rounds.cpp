// Restarts the interpreter many times, and prints by how much the process has grown:
//
//     restart_rounds 200
//
// The first rounds, which fill caches, are not counted.

#include "utils/Application.h"
#include "utils/script/ScriptManager.h"

#include "tests/support/FakeHost.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>

#include <malloc.h>

/// The private memory of the process in KiB.
static int residentSize()
{
    malloc_trim(0);
    QFile file("/proc/self/status");
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QString text = QString::fromUtf8(file.readAll());
    return text.section("RssAnon:", 1).section("kB", 0, 0).trimmed().toInt();
}

static int openFiles()
{
    return QDir("/proc/self/fd")
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

static bool runRounds(int count)
{
    Utils::ScriptManager &scripts = Utils::ScriptManager::instance();
    for (int i = 0; i < count; ++i) {
        Data::Variant result("x");
        Data::String error;
        scripts.reset("py");
        if (!scripts.execute("import re, random, threading\n"
                             "from KelmUtils import Utils\n"
                             "x = str(Utils.File.join('a', 'b'))\n",
                             "py", result, error))
        {
            std::fprintf(stderr, "%s\n", error.c_str());
            return false;
        }
    }
    return true;
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    static FakeHost host;
    host.variables = {{"PYTHON_DIR", KELMUTILS_PYTHON_HOME}};
    Utils::setApplication(&host);

    const int rounds = QCoreApplication::arguments().value(1, "200").toInt();
    if (!runRounds(20))
        return 1;
    const int files = openFiles();
    const int size = residentSize();
    QElapsedTimer timer;
    timer.start();
    if (!runRounds(rounds))
        return 1;
    const double milliseconds = double(timer.nsecsElapsed()) / 1e6;
    const int growth = residentSize() - size;
    std::printf(
        "%d restarts: %.1f ms each, memory %d KiB and %.1f KiB more each, files %d and %d more\n",
        rounds, milliseconds / rounds, size, double(growth) / rounds, files, openFiles() - files);
    return 0;
}
