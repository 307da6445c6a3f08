// A host that executes the steps in its arguments in order, and prints their results and the log
// messages:
//
//     NAME=value    sets a variable of the host
//     file:path     runs a file
//     code:text     runs code
//     check:text    checks code
//     console:text  interprets a statement
//     value:text    prints the value of an expression
//     push:name     pushes a list
//     memory:MiB    limits its address space to so much more than it uses
//     no-fork       cannot start processes or threads from then on, nor copy itself
//     no-process    the same by the limit of an ordinary user, as whom it runs from then on
//     reset         ends the interpreter
//     patience:ms   how long the end waits for threads
//     application   destroys the application object of Qt and makes another one
//     wait:ms       waits until code runs, at most so long
//     no-host       removes the host
//     limit:ms      how long a trial start may take
//     time:ms       how long a run may take
//     put:file=from replaces a file by a copy of another, or removes it if there is no other
//     clock:        prints the clock of the system, in ms, when all steps are done and it ends
//
// Python reads its home and the program's name once in a process, so each test of these needs a new
// process.

#include "utils/Application.h"
#include "utils/script/PythonStart_p.h"
#include "utils/script/PythonThreads_p.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonStandIns.h"
#include "tests/script/SystemClock.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Limits.h"
#include "tests/support/SystemCalls.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

using Data::String;
using Data::Variant;

static QCoreApplication *application = nullptr; // stays where a script ends the process
static FakeHost host;
static bool showsClock = false;

static void print(const QString &line)
{
    std::printf("%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

static void execute(const QString &step, const QString &text)
{
    Utils::ScriptManager &scripts = Utils::ScriptManager::instance();
    Variant result;
    String error;
    if (step == "file") {
        host.calls.clear();
        print(scripts.execute(text) ? "good" : "bad: " + host.calls.last());
    } else if (step == "code") {
        print(scripts.execute(text + "\n", "py", result, error) ? "good" : "bad: " + error);
    } else if (step == "check") {
        print(scripts.validate(text, "py", error) ? "good" : "bad: " + error);
    } else if (step == "console") {
        const bool isDone = scripts.interpret(text, "py").state == Utils::ScriptReply::Done;
        print(isDone ? "good" : "bad: " + scripts.error().text());
    } else if (step == "value") {
        result = "_value";
        const bool succeeded = scripts.execute("_value = " + text + "\n", "py", result, error);
        print(succeeded ? result.toString() : "bad: " + error);
    } else if (step == "push") {
        scripts.pushData(text, QVariant::fromValue(QList<int>{1}), "py");
    } else if (step == "memory") {
        const rlim_t size = memoryInUse() + (text.toULongLong() << 20);
        const rlimit limit = {size, size};
        setrlimit(RLIMIT_AS, &limit);
    } else if (step == "no-fork") {
        if (!failForks(EAGAIN))
            print("calls cannot be made to fail");
    } else if (step == "no-process") {
        const uid_t user = 65534;
        const rlimit none = {0, 0};
        if ((geteuid() == 0 && setresuid(user, user, user) != 0) ||
            setrlimit(RLIMIT_NPROC, &none) != 0)
            print("processes cannot be limited");
    } else if (step == "reset") {
        scripts.reset("py");
    } else if (step == "patience") {
        Utils::threadPatience = std::chrono::milliseconds(text.toInt());
    } else if (step == "application") {
        static int argc = 0;
        delete application;
        application = new QCoreApplication(argc, nullptr);
    } else if (step == "wait") {
        QElapsedTimer timer;
        timer.start();
        while (!scripts.execute("pass\n", "py", result, error) && timer.elapsed() < text.toInt())
            QThread::msleep(10);
    } else if (step == "no-host") {
        Utils::setApplication(nullptr);
    } else if (step == "limit") {
        Utils::startTrialLimit = std::chrono::milliseconds(text.toInt());
    } else if (step == "time") {
        Utils::ScriptManager::setTimeLimit(text.toInt());
    } else if (step == "put") {
        const QString path = text.section('=', 0, 0);
        QFile::remove(path);
        QFile::copy(text.section('=', 1), path);
    } else if (step == "clock") {
        showsClock = true;
    } else {
        print("unknown: " + step);
    }
}

int main(int argc, char **argv)
{
    application = new QCoreApplication(argc, argv);
    Utils::setApplication(&host);
    static PythonStandIns standIns;
    standIns.reaction = [](const QString &text) {
        if (text == "exit")
            std::exit(4);
        print(text);
    };

    host.reaction = [](const QString &call) {
        if (call.startsWith("logMessage"))
            print(call);
    };

    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (const QString &argument : arguments) {
        const QString step = argument.section(':', 0, 0);
        const QString variable = argument.section('=', 0, 0);
        if (!variable.contains(':') && variable == variable.toUpper())
            host.variables[variable] = argument.section('=', 1);
        else
            execute(step, argument.section(':', 1));
    }
    if (showsClock)
        print(QString::number(systemClock()));
    delete application;
    return 3;
}
