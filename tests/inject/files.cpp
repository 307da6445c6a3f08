#include "tests/inject/Torture.h"

#include "tests/support/Files.h"

#include "utils/feedback/MemoryChecker.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/files/FileByteReader.h"
#include "utils/files/FileReader.h"
#include "utils/files/FileWatch.h"
#include "utils/files/LogFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSharedPointer>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

// Files, folders, readers, logs and watches. A file with an old content is there before most of
// them, so that what is lost of it shows.

using Data::String;
using Utils::File;

static const char everything[] = "all";

/// Reads the file "a.txt" of \p whole, as \p read does, into a text.
template <typename Read>
static Run reading(const QByteArray &whole, const Read &read)
{
    makeFile("a.txt", whole);
    const auto found = keep<QByteArray>();
    return {[=](Outcome &outcome) {
                *found = read();
                outcome.isTold = found->isEmpty();
            },
            [=](Outcome &outcome) { outcome.add(value(*found, whole)); }};
}

/// Writes \p fresh into the file "a.txt", as \p write does.
template <typename Write>
static Run writing(const QByteArray &fresh, const Write &write)
{
    const QByteArray old = lines(3000, "old");
    makeFile("a.txt", old);
    return {[=](Outcome &outcome) { outcome.isTold = !write(); },
            [=](Outcome &outcome) { outcome.add(contents("a.txt", fresh, old)); }};
}

/// The same under File::setSafeWriting(): the file may not be anything but old or new.
template <typename Write>
static Run writingSafely(const QByteArray &fresh, const Write &write)
{
    const Run run = writing(fresh, write);
    return {[=](Outcome &outcome) {
                File::setSafeWriting(true);
                run.act(outcome);
                File::setSafeWriting(false);
            },
            [=](Outcome &outcome) {
                run.inspect(outcome);
                if (outcome.states.last() != "old" && outcome.states.last() != "new")
                    outcome.damage = "neither the old nor the new content";
                for (const QByteArray &entry : treeOf(".")) {
                    if (entry.contains(".kelm-saving-"))
                        outcome.damage = "a file beside it";
                }
            }};
}

/// A tree of three levels in "from/tree".
static void makeTree()
{
    for (int i = 1; i < 3; ++i) {
        const QString number = QString::number(i);
        makeFile("from/tree/file" + number, "top " + number.toUtf8());
        makeFile("from/tree/below/file" + number, "below " + number.toUtf8());
        makeFile("from/tree/below/deep/file" + number, "deep " + number.toUtf8());
        makeFile("from/tree/other/file" + number, "other " + number.toUtf8());
    }
}

static QByteArrayList expectedTree(const QByteArray &target)
{
    QByteArrayList entries;
    for (const QByteArray &entry : treeOf("from/tree"))
        entries.append(target + entry.mid(static_cast<int>(std::strlen("from"))));
    return entries;
}

/// What is besides the sources and the home of the run.
static QByteArrayList resultTree()
{
    QByteArrayList entries;
    for (QByteArray entry : treeOf(".")) {
        entry = entry.mid(2);
        if (!entry.startsWith("from") && !entry.startsWith("home"))
            entries.append(entry);
    }
    return entries;
}

static Run copyingTree(bool isThere)
{
    makeTree();
    if (isThere)
        makeFile("to/tree/file1", "old");
    else
        QDir().mkdir("to");
    const QByteArrayList sources = treeOf("from");
    QByteArrayList whole = expectedTree("to");
    whole.append("to/");
    whole.append("to/tree/");
    std::sort(whole.begin(), whole.end());
    return {[](Outcome &outcome) { outcome.isTold = File::copyDir("from/tree", "to") != 1; },
            [=](Outcome &outcome) {
                QByteArrayList found = resultTree();
                const int old = found.indexOf("to/tree/file1=old");
                if (old >= 0)
                    found.removeAt(old);
                outcome.add(treeState(found, whole));
                if (outcome.states.last() == "foreign entries")
                    outcome.damage = "files where nobody asked for them";
                if (treeOf("from") != sources)
                    outcome.damage = "the source has changed";
            }};
}

/// Removes as \p path tells. \p kept is what may not go.
static Run removing(const String &path, int count, const QByteArrayList &kept)
{
    makeTree();
    makeFile("from/apart", "kept");
    makeFile("apart", "kept");
    const auto removed = keep<int>();
    return {[=](Outcome &outcome) {
                *removed = File::remove(path);
                outcome.isTold = *removed < count;
            },
            [=](Outcome &outcome) {
                outcome.add(treeOf("from/tree").isEmpty() ? "gone" : "files left");
                const QByteArrayList found = treeOf(".");
                for (const QByteArray &entry : kept) {
                    if (!found.contains(entry))
                        outcome.damage = "lost " + entry;
                }
            }};
}

/// Answers one request, in a process of its own, which is not made to fail. Its port.
static int serveOnce(const QByteArray &body)
{
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    bind(server, reinterpret_cast<sockaddr *>(&address), size);
    listen(server, 1);
    getsockname(server, reinterpret_cast<sockaddr *>(&address), &size);
    const int port = ntohs(address.sin_port);
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(10);
        const int client = accept(server, nullptr, nullptr);
        char request[2000];
        if (read(client, request, sizeof(request)) > 0) {
            const QByteArray answer =
                "HTTP/1.0 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) +
                "\r\n\r\n" + body;
            for (int sent = 0; sent < answer.size();) {
                const ssize_t count = write(client, answer.constData() + sent,
                                            static_cast<std::size_t>(answer.size() - sent));
                if (count <= 0)
                    break;
                sent += static_cast<int>(count);
            }
        }
        _exit(0);
    }
    close(server);
    return port;
}

/// A log at \p path that gets three entries.
static Run logging(const QString &path, const std::function<void(Utils::LogFile &)> &open)
{
    makeFile("a.log", "old\n");
    const auto isValid = keep<bool>();
    return {[=](Outcome &outcome) {
                Utils::LogFile log(path, /*removeIfEmpty=*/true);
                if (open)
                    open(log);
                *isValid = log.isValid();
                outcome.isTold = !log.isValid();
                for (const char *const text : {"one", "two", "three"})
                    log.append(text, /*newLine=*/true);
            },
            [=](Outcome &outcome) {
                const bool isHere = contents("a.log", "one\ntwo\nthree\n") == "new";
                outcome.add(isHere ? QByteArray("new")
                                   : contents("a.log", "one\ntwo\nthree\n", "old\n"));
                if (!isHere && contents("home/a.log", "one\ntwo\nthree\n") == "new")
                    outcome.add("new in the home folder");
            }};
}

/// \p run with a look at File::lastError() at its end: each failure that is told needs a reason,
/// and a reason also tells a failure by itself.
static Run withReason(const Run &run)
{
    return {run.act, [=](Outcome &outcome) {
                run.inspect(outcome);
                const bool hasReason = !File::lastError().isEmpty();
                if (outcome.isTold && !hasReason)
                    outcome.damage = "no reason told";
                outcome.isOnlyReason = hasReason && !outcome.isTold;
            }};
}

/// Whether the operation of \p scenario has reasons, and a failure would be one: to keep a target
/// as it is told is none.
static bool hasReasons(const Scenario &scenario)
{
    const QByteArray name = scenario.name;
    const QByteArrayList parts = name.split(':'); // "File", "", the operation, the special case
    const QByteArrayList operations = {
        "read",   "readRaw",   "write",  "writeRaw", "copy",         "copyDir",      "move",
        "remove", "createDir", "search", "find",     "containsWord", "searchInFiles"};
    return parts.value(0) == "File" && operations.contains(parts.value(2)) &&
           name != "File::copy:keep";
}

std::vector<Scenario> fileScenarios()
{
    const QByteArray text = lines(4000);
    const QString unicode = QString::fromUtf8(text);
    std::vector<Scenario> scenarios = {
        {"File::read", everything,
         [=] { return reading(text, [] { return File::read("a.txt").toUtf8(); }); }},
        {"File::read:head", everything,
         [] { return reading(lines(40), [] { return File::read("a.txt", 40).toUtf8(); }); }},
        {"File::read:tail", everything,
         [] {
             makeFile("a.txt", lines(20000));
             const auto found = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            *found = File::read("a.txt", -19000).toUtf8();
                            outcome.isTold = found->isEmpty();
                        },
                        [=](Outcome &outcome) {
                            const QByteArray whole = lines(20000);
                            outcome.add(!whole.endsWith(*found)      ? "other"
                                        : found->count('\n') < 19000 ? "a part"
                                                                     : "whole");
                        }};
         }},
        {"File::readRaw", everything,
         [=] { return reading(text, [] { return File::readRaw("a.txt"); }); }},
        {"File::write:text", everything,
         [=] { return writing(text, [=] { return File::write("a.txt", unicode); }); }},
        {"File::write:lines", everything,
         [=] {
             QStringList list = unicode.split('\n');
             list.removeLast();
             return writing(text, [=] { return File::write("a.txt", list); });
         }},
        {"File::writeRaw", everything,
         [=] { return writing(text, [=] { return File::writeRaw("a.txt", text); }); }},
        {"File::write:safely", everything,
         [=] { return writingSafely(text, [=] { return File::write("a.txt", unicode); }); }},
        {"File::writeRaw:safely", everything,
         [=] { return writingSafely(text, [=] { return File::writeRaw("a.txt", text); }); }},
        {"File::writeRaw:safely, two names", everything,
         [=] {
             // It is written in place at the end, so a fault in there is only reported.
             const Run run = writing(text, [=] {
                 File::setSafeWriting(true);
                 const bool isWritten = File::writeRaw("a.txt", text);
                 File::setSafeWriting(false);
                 return isWritten;
             });
             (void)!::link("a.txt", "from-b.txt");
             return run;
         }},
        {"File::openRead", everything,
         [=] {
             return reading(text, [] {
                 QByteArray bytes;
                 const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(
                     File::openRead("a.txt"), &std::fclose);
                 if (file) {
                     char block[4096];
                     std::size_t count = 0;
                     while ((count = std::fread(block, 1, sizeof(block), file.get())) > 0)
                         bytes.append(block, static_cast<int>(count));
                     if (std::ferror(file.get()))
                         bytes.clear(); // what every caller has to look at
                 }
                 return bytes;
             });
         }},
        {"File::openWrite", everything,
         [=] {
             return writing(text, [=] {
                 std::FILE *const file = File::openWrite("a.txt", /*append=*/false);
                 if (!file)
                     return false;
                 const auto size = static_cast<std::size_t>(text.size());
                 const bool isWritten = std::fwrite(text.constData(), 1, size, file) == size;
                 return std::fclose(file) == 0 && isWritten;
             });
         }},
        {"File::openWrite:append", everything,
         [] {
             makeFile("a.txt", "old\n");
             return Run{[](Outcome &outcome) {
                            std::FILE *const file = File::openWrite("a.txt", /*append=*/true);
                            outcome.isTold = !file;
                            if (!file)
                                return;
                            const bool isWritten = std::fwrite("new\n", 1, 4, file) == 4;
                            outcome.isTold = (std::fclose(file) != 0) || !isWritten;
                        },
                        [](Outcome &outcome) {
                            outcome.add(contents("a.txt", "old\nnew\n", "old\n"));
                            if (!bytesOf("a.txt").startsWith("old\n"))
                                outcome.damage = "lost what was there";
                        }};
         }},
        {"File::exists", everything,
         [] {
             makeFile("folder/a.txt");
             return Run{[](Outcome &outcome) { outcome.isTold = !File::exists("folder/a.txt"); },
                        [](Outcome &) {}};
         }},
        {"File::exists:wildcard", everything,
         [] {
             makeFile("folder/a.txt");
             return Run{[](Outcome &outcome) { outcome.isTold = !File::exists("folder/*.txt"); },
                        [](Outcome &) {}};
         }},
        {"File::size", everything,
         [] {
             makeFile("a.txt", "12345");
             const auto found = keep<qint64>();
             return Run{[=](Outcome &outcome) {
                            *found = File::size("a.txt");
                            outcome.isTold = *found == 0;
                        },
                        [=](Outcome &outcome) { outcome.add(*found == 5 ? "right" : "wrong"); }};
         }},
        {"File::timestamp", everything,
         [] {
             makeFile("a.txt");
             const utimbuf times = {1000000, 1000000};
             utime("a.txt", &times);
             const auto found = keep<unsigned int>();
             return Run{
                 [=](Outcome &outcome) {
                     *found = File::timestamp("a.txt");
                     outcome.isTold = *found == 0 || File::timestampString("a.txt").isEmpty();
                 },
                 [=](Outcome &outcome) { outcome.add(*found == 1000000 ? "right" : "wrong"); }};
         }},
        {"File::isFile", everything,
         [] {
             makeFile("folder/a.txt");
             return Run{[](Outcome &outcome) {
                            outcome.isTold = !File::isFile("folder/a.txt") ||
                                             !File::isDir("folder") || File::isDir("folder/a.txt");
                        },
                        [](Outcome &) {}};
         }},
        {"File::containsWord", everything,
         [=] {
             makeFile("a.txt", text + "needle\n");
             return Run{[](Outcome &outcome) {
                            outcome.isTold = !File::containsWord("a.txt", "needle", true);
                        },
                        [](Outcome &) {}};
         }},
        {"File::sizeString", everything,
         [] {
             makeFile("a.txt", "12345");
             const auto found = keep<String>();
             return Run{[=](Outcome &outcome) {
                            *found = File::sizeString("a.txt");
                            outcome.isTold = found->isEmpty();
                        },
                        [=](Outcome &outcome) { outcome.add(found->toUtf8()); }};
         }},
        {"File::copy:new", everything,
         [=] {
             makeFile("from.txt", text);
             return Run{[](Outcome &outcome) { outcome.isTold = !File::copy("from.txt", "a.txt"); },
                        [=](Outcome &outcome) {
                            outcome.add(contents("a.txt", text));
                            if (bytesOf("from.txt") != text)
                                outcome.damage = "the source has changed";
                        }};
         }},
        {"File::copy:over", everything,
         [=] {
             makeFile("from.txt", text);
             makeFile("a.txt", "old");
             return Run{[](Outcome &outcome) { outcome.isTold = !File::copy("from.txt", "a.txt"); },
                        [=](Outcome &outcome) {
                            outcome.add(contents("a.txt", text, "old"));
                            if (bytesOf("from.txt") != text)
                                outcome.damage = "the source has changed";
                        }};
         }},
        {"File::copy:safely, new", everything,
         [=] {
             makeFile("from.txt", text);
             return Run{[](Outcome &outcome) {
                            File::setSafeWriting(true);
                            outcome.isTold = !File::copy("from.txt", "a.txt");
                            File::setSafeWriting(false);
                        },
                        [=](Outcome &outcome) {
                            outcome.add(contents("a.txt", text));
                            if (outcome.states.last() != "new" &&
                                outcome.states.last() != "missing")
                                outcome.damage = "a part of the copy";
                        }};
         }},
        {"File::copy:safely, over", everything,
         [=] {
             makeFile("from.txt", text);
             return writingSafely(text, [] { return File::copy("from.txt", "a.txt"); });
         }},
        {"File::copy:keep", everything,
         [=] {
             makeFile("from.txt", text);
             makeFile("a.txt", "old");
             const auto isCopied = keep<bool>();
             return Run{[=](Outcome &) { *isCopied = File::copy("from.txt", "a.txt", 0); },
                        [=](Outcome &outcome) {
                            outcome.add(*isCopied ? "true" : "false");
                            if (bytesOf("a.txt") != "old")
                                outcome.damage = "lost what was to be kept";
                        }};
         }},
        {"File::copy:newer", everything,
         [=] {
             makeFile("from.txt", text);
             makeFile("a.txt", "old");
             const utimbuf times = {2000000000, 2000000000};
             utime("a.txt", &times);
             const auto isCopied = keep<bool>();
             return Run{[=](Outcome &outcome) {
                            *isCopied = File::copy("from.txt", "a.txt", -1);
                            outcome.isTold = !*isCopied;
                        },
                        [=](Outcome &outcome) {
                            outcome.add(contents("a.txt", text, "old"));
                            if (bytesOf("a.txt") != "old")
                                outcome.damage = "lost what is newer";
                        }};
         }},
        {"File::copy:itself", everything,
         [=] {
             makeFile("folder/a.txt", text);
             QFile::link(".", "folder/link");
             return Run{[](Outcome &outcome) {
                            outcome.isTold = !File::copy("folder/a.txt", "folder/link/a.txt");
                        },
                        [=](Outcome &outcome) {
                            if (bytesOf("folder/a.txt") != text)
                                outcome.damage = "lost the file";
                        }};
         }},
        {"File::copy:chunks", "open read write short fsync unlink rename stat seek",
         [] {
             const QByteArray large(2200 * 1024, 'x');
             makeFile("from.txt", large);
             makeFile("a.txt", "old");
             return Run{[](Outcome &outcome) {
                            const Utils::Progress popup(0, "copy", false, false, /*popup=*/true);
                            outcome.isTold = !File::copy("from.txt", "a.txt");
                        },
                        [=](Outcome &outcome) { outcome.add(contents("a.txt", large, "old")); }};
         }},
        {"File::copyDir:new", everything, [] { return copyingTree(false); }},
        {"File::copyDir:into", everything, [] { return copyingTree(true); }},
        {"File::copyDir:wildcard", everything,
         [] {
             makeFile("from/tree1/file", "1");
             makeFile("from/tree2/file", "2");
             const QByteArrayList whole = {"to/", "to/tree1/", "to/tree1/file=1", "to/tree2/",
                                           "to/tree2/file=2"};
             return Run{
                 [](Outcome &outcome) { outcome.isTold = File::copyDir("from/tree*", "to") != 1; },
                 [=](Outcome &outcome) {
                     outcome.add(treeState(resultTree(), whole));
                     if (outcome.states.last() == "foreign entries")
                         outcome.damage = "files where nobody asked for them";
                 }};
         }},
        {"File::move", "fork pipe malloc",
         [=] {
             makeFile("from.txt", text);
             makeFile("a.txt", "old");
             return Run{[](Outcome &) { File::move("from.txt", "a.txt"); },
                        [=](Outcome &outcome) {
                            outcome.add(contents("a.txt", text, "old"));
                            if (bytesOf("a.txt") != text && bytesOf("from.txt") != text)
                                outcome.damage = "lost the file";
                        }};
         }},
        {"File::move:folder", "fork pipe malloc",
         [] {
             makeTree();
             QDir().mkdir("to");
             const QByteArrayList before = treeOf("from/tree");
             return Run{[](Outcome &) { File::moveDir("from/tr*", "to"); },
                        [=](Outcome &outcome) {
                            const int count = before.size();
                            outcome.add(treeOf("to/tree").size() == count     ? "moved"
                                        : treeOf("from/tree").size() == count ? "not moved"
                                        : treeOf("to").size() == count ? "in place of the folder"
                                                                       : "in between");
                            if (outcome.states.last() == "in between")
                                outcome.damage = "lost files";
                        }};
         }},
        {"File::remove:all", everything,
         [] {
             return removing("from/tree/*", 11, {"./apart=kept", "./from/apart=kept"});
         }},
        {"File::remove:folder", everything,
         [] {
             return removing("from/tree/below/deep", 3, {"./apart=kept", "./from/apart=kept"});
         }},
        {"File::remove:file", everything,
         [] {
             return removing("from/tree/file1", 1, {"./apart=kept", "./from/tree/file2=top 2"});
         }},
        {"File::remove:wildcard", everything,
         [] {
             return removing("from/tree/fi*", 2,
                             {"./apart=kept", "./from/tree/below/file2=below 2"});
         }},
        {"File::remove:exceptions", everything,
         [] {
             makeTree();
             return Run{
                 [](Outcome &outcome) { outcome.isTold = File::remove("from/tree/*", "b*") != 5; },
                 [](Outcome &outcome) {
                     outcome.add(treeOf("from/tree").size() == 6 ? "removed" : "files left");
                     if (treeOf("from/tree/below").size() != 5)
                         outcome.damage = "lost what was to be kept";
                 }};
         }},
        {"File::remove:link", everything,
         [] {
             makeTree();
             QDir().mkpath("links/inner");
             QFile::link("../../from/tree", "links/inner/link");
             const QByteArrayList before = treeOf("from");
             return Run{[](Outcome &outcome) { outcome.isTold = File::remove("links/*") != 2; },
                        [=](Outcome &outcome) {
                            outcome.add(treeOf("links").isEmpty() ? "removed" : "left");
                            if (treeOf("from") != before)
                                outcome.damage = "lost what a link leads to";
                        }};
         }},
        {"File::createDir", everything,
         [] {
             return Run{[](Outcome &outcome) { outcome.isTold = !File::createDir("a/b/c/d"); },
                        [](Outcome &outcome) {
                            outcome.add(QDir("a/b/c/d").exists() ? "there" : "not there");
                        }};
         }},
        {"File::search", everything,
         [] {
             makeTree();
             const auto found = keep<QStringList>();
             return Run{
                 // Not finding anything below is no failure by itself.
                 [=](Outcome &) { *found = File::search("from", "file*"); },
                 [=](Outcome &outcome) { outcome.add(found->size() == 8 ? "whole" : "a part"); }};
         }},
        {"File::find", everything,
         [] {
             makeTree();
             return Run{[](Outcome &outcome) {
                            outcome.isTold = File::find("from/tree", "file2", true).isEmpty();
                        },
                        [](Outcome &) {}};
         }},
        {"File::searchInFiles", everything,
         [=] {
             makeFile("folder/a.txt", text + "needle");
             return Run{[](Outcome &outcome) {
                            outcome.isTold =
                                File::searchInFiles("needle", "folder", "*.txt").isEmpty();
                        },
                        [](Outcome &) {}};
         }},
        {"File::findResource", everything,
         [] {
             makeFile("res/locale/thing.xml");
             return Run{[](Outcome &outcome) {
                            File::setSearchPath("res", "plugins");
                            outcome.isTold = File::findResource("thing", ".xml").isEmpty();
                        },
                        [](Outcome &outcome) {
                            // It may be looked for again.
                            outcome.add(File::findResource("thing", ".xml").isEmpty() ? "lost"
                                                                                      : "found");
                        }};
         }},
        {"File::read:http", "open read write stat pipe seek fork",
         [=] {
             const int port = serveOnce(text);
             const auto found = keep<QByteArray>();
             return Run{[=](Outcome &outcome) {
                            const QString number = QString::number(port);
                            *found = File::read("http://127.0.0.1:" + number + "/x").toUtf8();
                            outcome.isTold = found->isEmpty();
                        },
                        [=](Outcome &outcome) { outcome.add(value(*found, text)); }};
         }},
        {"FileReader::readLine", everything,
         [=] {
             return reading(text, [] {
                 QByteArray found;
                 Utils::FileReader reader("a.txt");
                 String line;
                 while (reader.readLine(line, /*trim=*/false))
                     found += line.toUtf8() + "\n";
                 return found;
             });
         }},
        {"FileReader::readFile", everything,
         [=] {
             class Reader : public Utils::FileReader
             {
             public:
                 using FileReader::FileReader;
                 QByteArray found;

             protected:
                 bool lineRead(const String &line) override
                 {
                     found += line.toUtf8() + "\n";
                     return true;
                 }
             };
             return reading(text, [] {
                 Reader reader("a.txt");
                 reader.readFile();
                 return reader.found;
             });
         }},
        {"FileByteReader::readLine", everything,
         [=] {
             return reading(text, [] {
                 QByteArray found;
                 Utils::FileByteReader reader("a.txt");
                 QByteArray line;
                 while (reader.readLine(line, /*trim=*/false))
                     found += line + "\n";
                 return found;
             });
         }},
        {"FileByteReader::readFile", everything,
         [] {
             class Reader : public Utils::FileByteReader
             {
             public:
                 using FileByteReader::FileByteReader;
                 QByteArray found;

             protected:
                 bool lineRead(const QByteArray &line) override
                 {
                     found += line + "\n";
                     return true;
                 }
             };
             return reading(lines(20000), [] {
                 Reader reader("a.txt");
                 reader.readFile();
                 return reader.found;
             });
         }},
        {"FileByteReader::read", everything,
         [=] {
             return reading(text, [=] {
                 Utils::FileByteReader reader("a.txt");
                 const QByteArray start = reader.read(1000);
                 const QByteArray rest = reader.read(text.size());
                 return start.isEmpty() || rest.isEmpty() ? QByteArray() : start + rest;
             });
         }},
        {"LogFile", everything, [] { return logging("a.log", {}); }},
        {"LogFile::setPath", everything,
         [] { return logging("", [](Utils::LogFile &log) { log.setPath("a.log"); }); }},
        {"LogFile:empty", everything,
         [] {
             makeFile("a.log", "old\n");
             return Run{[](Outcome &outcome) {
                            const Utils::LogFile log("a.log", /*removeIfEmpty=*/true);
                            outcome.isTold = !log.isValid();
                        },
                        [](Outcome &outcome) { outcome.add(contents("a.log", "", "old\n")); }};
         }},
        {"LogFile:removeNothing", everything,
         [] {
             return Run{[](Outcome &outcome) {
                            Utils::LogFile log("a.log", /*removeIfEmpty=*/true);
                            outcome.isTold = !log.isValid();
                            log.append("entry", /*newLine=*/true);
                        },
                        [](Outcome &outcome) {
                            outcome.add(contents("a.log", "entry\n"));
                            if (contents("home/a.log", "entry\n") == "new")
                                outcome.add("new in the home folder");
                        }};
         }},
        {"FileWatch", "stat pipe open read",
         [] {
             makeFile("a.txt");
             const utimbuf times = {1000000, 1000000};
             utime("a.txt", &times);
             const auto seen = keep<int>();
             return Run{[=](Outcome &) {
                            Utils::FileWatch watch("a.txt", 100);
                            QObject::connect(&watch,
                                             qOverload<const String &>(&Utils::FileWatch::sig),
                                             [=] { ++*seen; });
                            const utimbuf later = {2000000, 2000000};
                            utime("a.txt", &later);
                            QElapsedTimer time;
                            time.start();
                            while (*seen == 0 && time.elapsed() < 1500)
                                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
                        },
                        [=](Outcome &outcome) { outcome.add(*seen > 0 ? "told" : "not told"); }};
         }},
        {"MemoryChecker::setReportFile", everything,
         [] {
             return Run{[](Outcome &) { Utils::MemoryChecker::setReportFile("report.txt"); },
                        [](Outcome &outcome) { outcome.add(contents("report.txt", "")); }};
         }},
    };
    for (Scenario &scenario : scenarios) {
        if (hasReasons(scenario))
            scenario.prepare = [prepare = scenario.prepare] { return withReason(prepare()); };
    }
    return scenarios;
}
