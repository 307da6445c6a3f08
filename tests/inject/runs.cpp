#include "tests/inject/Torture.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"

#include "utils/Application.h"
#include "utils/files/File.h"
#include "utils/process/Process.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include <csignal>
#include <unistd.h>

// Programs that are run to their end and stopped, and scripts that are interrupted, or that the
// host reads and feeds.

using Data::String;
using Data::Variant;
using Utils::Process;
using Utils::ScriptManager;

// A tree of processes is examined until it has ended.
static const long stopCalls = 60;

/// Appends a text of ASCII to \a target, which has room for it: an allocation here would count as
/// one of the operation, and when it fails, a line or text is lost by the receiver.
static void append(QByteArray &target, const QString &text)
{
    for (const QChar character : text)
        target.append(character.toLatin1());
}

/// Bytes to which append() is applied.
static std::shared_ptr<QByteArray> keepReceived()
{
    auto received = keep<QByteArray>();
    received->reserve(4096);
    return received;
}

/// What must hold after a run() with \p result: each failure has its reason.
static void checkReason(Process::RunResult result, Outcome &outcome)
{
    if (result != Process::RunFinished && Utils::File::lastError().isEmpty())
        outcome.damage = "no reason told";
}

static std::vector<Scenario> runOperations()
{
    return {
        {"Process::run", processGroups,
         [] {
             const auto output = keep<QByteArray>();
             const auto result = keep(Process::RunFinished); // also when run() throws
             return Run{[=](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", "seq 1 500"});
                            *result = process.run();
                            outcome.isTold = *result != Process::RunFinished ||
                                             !process.normalExit() || process.exitCode() != 0 ||
                                             process.isOutputLost();
                            *output = process.output().toUtf8();
                        },
                        [=](Outcome &outcome) {
                            QByteArray whole;
                            for (int i = 1; i <= 500; ++i)
                                whole += QByteArray::number(i) + "\n";
                            outcome.add(value(*output, whole));
                            checkReason(*result, outcome);
                        }};
         }},
        {"Process::onLine", processGroups,
         [] {
             const auto lines = keepReceived();
             const auto result = keep(Process::RunFinished); // also when run() throws
             return Run{[=](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", "seq 1 100; echo end >&2"});
                            process.setSeparateErrorOutput(true);
                            process.onLine([=](const String &line, Process::Channel channel) {
                                *lines += channel == Process::StandardError ? "error " : "";
                                append(*lines, line);
                                *lines += ';';
                            });
                            *result = process.run();
                            outcome.isTold = *result != Process::RunFinished ||
                                             !process.normalExit() || process.exitCode() != 0 ||
                                             process.isOutputLost();
                        },
                        [=](Outcome &outcome) {
                            // The order of the two streams is not fixed.
                            const int errors = lines->count("error end;");
                            lines->replace("error end;", "");
                            QByteArray whole;
                            for (int i = 1; i <= 100; ++i)
                                whole += QByteArray::number(i) + ";";
                            outcome.add(value(*lines, whole));
                            outcome.add(errors == 1 ? "whole" : "no error line");
                            checkReason(*result, outcome);
                        }};
         }},
        {"Process::run:too long", processGroups,
         [] {
             const auto result = keep(Process::RunFinished); // also when run() throws
             return Run{[=](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", "trap '' TERM; sleep 30 & wait"});
                            process.setStopPolicy(20, Process::AskTree);
                            *result = process.run(50);
                            outcome.isTold = *result == Process::RunNotStarted;
                            if (process.isRunning())
                                outcome.damage = "the program runs on";
                        },
                        [=](Outcome &outcome) {
                            outcome.add(*result == Process::RunTimedOut   ? "stopped"
                                        : *result == Process::RunFinished ? "finished"
                                                                          : "not started");
                            checkReason(*result, outcome);
                        }};
         },
         stopCalls},
        {"Process::stop", processGroups,
         [] {
             return Run{[](Outcome &outcome) {
                            Process process("/bin/sh", {"-c", "sleep 30 & sleep 30"});
                            process.setStopPolicy(500, Process::AskTree);
                            if (!process.start()) {
                                outcome.isTold = true;
                                return;
                            }
                            usleep(20000); // for its child
                            outcome.isTold = !process.stop();
                            if (!outcome.isTold && process.isRunning())
                                outcome.damage = "the program runs on";
                        },
                        [](Outcome &) {}};
         },
         stopCalls},
    };
}

#ifdef KELMUTILS_PYTHON_HOME

/// Has Python run already.
static ScriptManager &scripts()
{
    static FakeHost host;
    host.variables = {{"APP_PATH", "/opt/tool/app"},
                      {"PYTHON_DIR", KELMUTILS_PYTHON_HOME},
                      {"HOME_DIR", "home"},
                      {"RES_DIR", "home"}};
    Utils::setApplication(&host);
    ScriptManager &manager = ScriptManager::instance();
    Variant result;
    String error;
    manager.execute("started = 1\n", "py", result, error);
    return manager;
}

/// A script that does not end, and that \p interrupt is to end. It may fail before that.
static Run interrupting(const QByteArray &script, const std::function<void()> &interrupt)
{
    makeFile("endless.py", script);
    ScriptManager &manager = scripts();
    const auto hasSucceeded = keep<bool>();
    return {[=, &manager](Outcome &outcome) {
                interrupt();
                *hasSucceeded = manager.execute("endless.py");
                outcome.isTold = !*hasSucceeded && !manager.error().isInterrupted();
            },
            [=, &manager](Outcome &outcome) {
                alarm(0);
                ScriptManager::setTimeLimit(0);
                outcome.add(*hasSucceeded ? "ended by itself" : "ended");
                Variant result("value");
                String error;
                if (!manager.execute("value = 1 + 1\n", "py", result, error) || result != 2)
                    outcome.damage = "the next run fails: " + error.toUtf8();
            }};
}

static void interruptSoon()
{
    // In a handler, which is how a terminal interrupts: no thread of the test makes calls then.
    signal(SIGALRM, [](int) { ScriptManager::interrupt(); });
    ualarm(30000, 0);
}

static void limitTime() { ScriptManager::setTimeLimit(30); }

static const char endlessLoop[] = "while True: pass\n";
static const char longSleep[] = "import time\ntime.sleep(60)\n";

static std::vector<Scenario> interruptOperations()
{
    return {
        {"ScriptManager::interrupt:loop", "all",
         [] { return interrupting(endlessLoop, interruptSoon); }},
        {"ScriptManager::interrupt:sleep", "all",
         [] { return interrupting(longSleep, interruptSoon); }},
        {"ScriptManager::setTimeLimit:loop", "all",
         [] { return interrupting(endlessLoop, limitTime); }},
        {"ScriptManager::setTimeLimit:sleep", "all",
         [] { return interrupting(longSleep, limitTime); }},
    };
}

static std::vector<Scenario> consoleOperations()
{
    return {
        {"ScriptManager::interpret", "all",
         [] {
             ScriptManager &manager = scripts();
             const auto output = keepReceived();
             return Run{[=, &manager](Outcome &outcome) {
                            manager.setOutputSink([=](const String &text, Utils::ScriptChannel) {
                                append(*output, text);
                            });
                            const auto state = manager.interpret("sum(range(100))", "py").state;
                            outcome.isTold = state != Utils::ScriptReply::Done;
                            manager.setOutputSink({});
                        },
                        [=](Outcome &outcome) { outcome.add(value(*output, "4950\n")); }};
         }},
        {"ScriptManager::setInputSource", "all",
         [] {
             makeFile("reading.py", "import sys\n"
                                    "lines = list(iter(raw_input, 'end'))\n"
                                    "sys.stdout.write('%d of %s' % (len(lines), lines[-1]))\n");
             ScriptManager &manager = scripts();
             const auto output = keepReceived();
             const auto count = keep<int>();
             return Run{[=, &manager](Outcome &outcome) {
                            manager.setInputSource([=](String &text) {
                                text = ++*count < 50 ? "line\n" : "end\n";
                                return true;
                            });
                            manager.setOutputSink(
                                [=](const String &text, Utils::ScriptChannel channel) {
                                    if (channel == Utils::ScriptChannel::Output)
                                        append(*output, text);
                                });
                            outcome.isTold = !manager.execute("reading.py");
                            manager.setOutputSink({});
                            manager.setInputSource({});
                        },
                        [=](Outcome &outcome) { outcome.add(value(*output, "49 of line")); }};
         }},
        {"ScriptManager::complete", "malloc",
         [] {
             ScriptManager &manager = scripts();
             const auto found = keep<int>();
             return Run{[=, &manager](Outcome &outcome) {
                            *found = manager.complete("import sys\nstar", "py").size();
                            outcome.isTold = *found == 0;
                        },
                        [=](Outcome &outcome) { outcome.add(QByteArray::number(*found)); }};
         }},
    };
}

#else

static std::vector<Scenario> interruptOperations() { return {}; }
static std::vector<Scenario> consoleOperations() { return {}; }

#endif

std::vector<Scenario> runScenarios()
{
    std::vector<Scenario> scenarios = runOperations();
    for (const auto &added : {interruptOperations(), consoleOperations()})
        scenarios.insert(scenarios.end(), added.begin(), added.end());
    return scenarios;
}
