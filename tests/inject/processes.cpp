#include "tests/inject/Torture.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"

#include "utils/Application.h"
#include "utils/files/LogFile.h"
#include "utils/process/Process.h"
#include "utils/script/ScriptManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

// Child processes and scripts.

using Data::String;
using Data::Variant;
using Utils::Process;
using Utils::ScriptManager;

// A tree of processes is examined until it has stopped.
static const long killCalls = 60;

static const char talker[] = "i=0; while [ $i -lt 500 ]; do echo line $i; i=$((i+1)); done";

static QByteArray talk()
{
    QByteArray text;
    for (int i = 0; i < 500; ++i)
        text += "line " + QByteArray::number(i) + "\n";
    return text;
}

/// Waits for the end of \p process, at most two seconds, as an event loop would.
static void waitForEnd(Process &process)
{
    QElapsedTimer time;
    time.start();
    while (process.isRunning() && time.elapsed() < 2000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

static std::vector<Scenario> processOperations()
{
    return {
        {"Process::start", processGroups,
         [] {
             const auto output = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", talker});
                            const bool isStarted = process.start();
                            const bool hasEnded = isStarted && process.wait(/*showProgress=*/false);
                            outcome.isTold = !hasEnded || !process.normalExit() ||
                                             process.exitCode() != 0 || process.isOutputLost();
                            *output = process.output().toUtf8();
                            if (!isStarted && process.errorMessage().isEmpty())
                                outcome.damage = "no reason told";
                        },
                        [=](Outcome &outcome) { outcome.add(value(*output, talk())); }};
         }},
        {"Process::setLogFile", processGroups,
         [] {
             return Run{[](Outcome &outcome) {
                            Utils::LogFile log("a.log", /*removeIfEmpty=*/false);
                            Process process("/bin/sh", {"-c", talker});
                            process.setLogFile(&log, /*keepOutput=*/false);
                            outcome.isTold = !log.isValid() || !process.start() ||
                                             !process.wait(/*showProgress=*/false) ||
                                             process.exitCode() != 0 || process.isOutputLost();
                        },
                        [](Outcome &outcome) { outcome.add(contents("a.log", talk())); }};
         }},
        {"Process::sendData", processGroups,
         [] {
             const auto output = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", "read a; echo got $a"});
                            outcome.isTold = !process.start() || !process.sendData("text\n", 1000);
                            if (outcome.isTold) {
                                process.setKillMode(Process::KillSingle);
                                process.kill();
                            } else {
                                waitForEnd(process);
                                outcome.isTold = process.isRunning() || process.isOutputLost();
                            }
                            *output = process.output().toUtf8();
                        },
                        [=](Outcome &outcome) { outcome.add(value(*output, "got text\n")); }};
         }},
        {"Process::kill:tree", processGroups,
         [] {
             return Run{[](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", "sleep 30 & sleep 30"});
                            process.setKillMode(Process::KillTree);
                            if (!process.start()) {
                                outcome.isTold = true;
                                return;
                            }
                            usleep(20000); // for its child
                            process.kill();
                            waitForEnd(process);
                            outcome.isTold = process.isRunning();
                        },
                        [](Outcome &) {}};
         },
         killCalls},
        {"Process::kill:single", processGroups,
         [] {
             return Run{[](Outcome &outcome) {
                            Process process("/bin/sleep", {"30"});
                            process.setKillMode(Process::KillSingle);
                            if (!process.start()) {
                                process.kill(); // of none
                                outcome.isTold = true;
                                return;
                            }
                            process.kill();
                            waitForEnd(process);
                            outcome.isTold = process.isRunning();
                        },
                        [](Outcome &) {}};
         }},
        {"Process::kill:anyway", processGroups,
         [] {
             return Run{[](Outcome &outcome) {
                            // As a host that looks at nothing does.
                            Process process("/bin/sleep", {"30"});
                            outcome.isTold = !process.start();
                            process.kill();
                            Process::kill(process.getPID());
                            waitForEnd(process);
                        },
                        [](Outcome &) {}};
         }},
        {"Process::kill:id", processGroups,
         [] {
             const pid_t id = fork();
             if (id == 0) {
                 alarm(15);
                 pause();
                 _exit(0);
             }
             return Run{[=](Outcome &) { Process::kill(id); },
                        [=](Outcome &outcome) {
                            const bool hasGone = waitpid(id, nullptr, WNOHANG) == id;
                            const QByteArray state =
                                bytesOf("/proc/" + QString::number(id) + "/stat");
                            outcome.add(hasGone                 ? "killed"
                                        : state.contains(") T") ? "stopped for good"
                                                                : "runs");
                            if (!hasGone && id > 1) {
                                kill(id, SIGKILL);
                                waitpid(id, nullptr, 0);
                            }
                        }};
         },
         killCalls},
        {"Process:destroyed", processGroups,
         [] {
             return Run{[](Outcome &outcome) {
                            Process process("/bin/sleep", {"30"});
                            outcome.isTold = !process.start();
                        },
                        [](Outcome &) {}};
         }},
        {"Process::deleteWhenFinished", "open read write fork pipe",
         [] {
             return Run{[](Outcome &outcome) {
                            auto *const process = new Process("/bin/true");
                            process->deleteWhenFinished();
                            if (!process->start()) {
                                outcome.isTold = true;
                                delete process;
                                return;
                            }
                            process->wait(/*showProgress=*/false);
                        },
                        [](Outcome &) {}};
         }},
    };
}

#ifdef KELMUTILS_PYTHON_HOME

static FakeHost &scriptHost()
{
    static FakeHost host;
    host.variables = {{"APP_PATH", "/opt/tool/app"},
                      {"PYTHON_DIR", KELMUTILS_PYTHON_HOME},
                      {"HOME_DIR", "home"},
                      {"RES_DIR", "home"}};
    Utils::setApplication(&host);
    return host;
}

static const char scriptText[] = "import json, os\n"
                                 "numbers = range(100)\n"
                                 "with open('out.txt', 'w') as f:\n"
                                 "    for n in numbers:\n"
                                 "        f.write('%d\\n' % n)\n"
                                 "done = len(open('out.txt').read())\n"
                                 "assert done == 290\n";

static QByteArray scriptOutput()
{
    QByteArray text;
    for (int i = 0; i < 100; ++i)
        text += QByteArray::number(i) + "\n";
    return text;
}

/// Has Python run already, unless \p isFresh.
static ScriptManager &scripts(bool isFresh)
{
    scriptHost();
    ScriptManager &manager = ScriptManager::instance();
    if (!isFresh) {
        Variant result;
        String error;
        manager.execute("started = 1\n", "py", result, error);
    }
    return manager;
}

static Run runningFile(bool isFresh)
{
    makeFile("script.py", scriptText);
    ScriptManager &manager = scripts(isFresh);
    return {[&manager](Outcome &outcome) { outcome.isTold = !manager.execute("script.py"); },
            [](Outcome &outcome) { outcome.add(contents("out.txt", scriptOutput())); }};
}

static std::vector<Scenario> scriptOperations()
{
    return {
        {"ScriptManager:start", "open read stat readdir seek fork pipe",
         [] { return runningFile(/*isFresh=*/true); }},
        {"ScriptManager::execute:file", "all", [] { return runningFile(/*isFresh=*/false); }},
        {"ScriptManager::execute:code", "all",
         [] {
             ScriptManager &manager = scripts(/*isFresh=*/false);
             const auto found = keep<QByteArray>();
             return Run{[=, &manager](Outcome &outcome) {
                            Variant result("value");
                            String error;
                            const String code("value = sum(range(100))\n");
                            outcome.isTold = !manager.execute(code, "py", result, error);
                            if (outcome.isTold && error.isEmpty())
                                outcome.damage = "no reason told";
                            *found = result.toString().toUtf8();
                            if (found->isEmpty())
                                outcome.isTold = true;
                        },
                        [=](Outcome &outcome) { outcome.add(*found); }};
         }},
        {"ScriptManager::validate", "all",
         [] {
             ScriptManager &manager = scripts(/*isFresh=*/false);
             const auto isRefused = keep<bool>();
             return Run{
                 [=, &manager](Outcome &outcome) {
                     String error;
                     outcome.isTold = !manager.validate("a = 1\n", "py", error);
                     *isRefused = !manager.validate("a = = 1\n", "py", error);
                 },
                 [=](Outcome &outcome) { outcome.add(*isRefused ? "refused" : "accepted"); }};
         }},
        {"ScriptManager::pushData", "all",
         [] {
             ScriptManager &manager = scripts(/*isFresh=*/false);
             const auto found = keep<QByteArray>();
             return Run{[=, &manager](Outcome &outcome) {
                            manager.setDataContext("c", "py");
                            manager.pushData("width", 2.5, "py");
                            manager.pushData("m.text", "abc", "py");
                            Variant result("twice");
                            String error;
                            const String code("twice = width * 2\n");
                            outcome.isTold = !manager.execute(code, "py", result, error);
                            *found = result.toString().toUtf8();
                            if (found->isEmpty())
                                outcome.isTold = true;
                            manager.setDataContext("", "py");
                        },
                        [=](Outcome &outcome) { outcome.add(*found); }};
         }},
        {"ScriptManager::reset", "open read stat readdir seek fork pipe",
         [] {
             ScriptManager &manager = scripts(/*isFresh=*/false);
             const auto found = keep<QByteArray>();
             return Run{[=, &manager](Outcome &outcome) {
                            manager.reset("py");
                            Variant result("value");
                            String error;
                            outcome.isTold =
                                !manager.execute("value = 1 + 1\n", "py", result, error);
                            *found = result.toString().toUtf8();
                        },
                        [=](Outcome &outcome) { outcome.add(*found); }};
         }},
    };
}

#else

static std::vector<Scenario> scriptOperations() { return {}; }

#endif

std::vector<Scenario> processScenarios()
{
    std::vector<Scenario> scenarios = processOperations();
    for (const Scenario &scenario : scriptOperations())
        scenarios.push_back(scenario);
    return scenarios;
}
