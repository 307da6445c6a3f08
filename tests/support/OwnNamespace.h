#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QtTest>

#include <csignal>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

/// A PID namespace of its own, for tests that reach the limits of processes or whose faults would
/// send signals to others: their signals reach no process outside.
///
///     void initTestCase() { ENTER_OWN_NAMESPACE_OR_SKIP(); }
///     ...
///     OWN_NAMESPACE_MAIN(tst_Process_limits)
///
/// The main function starts the program anew as the first process of the namespace. Where that is
/// not allowed it runs as it is, and the macro skips all tests.
namespace OwnNamespace {

/// In the environment: the namespace outside.
constexpr char outside[] = "KELMUTILS_TEST_OUTER_NAMESPACE";

/// What the symbolic link at \p path holds.
inline QByteArray linkTarget(const char *path)
{
    char text[4096];
    const ssize_t size = readlink(path, text, sizeof(text));
    return QByteArray(text, static_cast<int>(size > 0 ? size : 0));
}

inline QByteArray current() { return linkTarget("/proc/self/ns/pid"); }

/// Whether this process is in another PID namespace than the one in which the test was started,
/// and /proc shows that one.
inline bool isEntered()
{
    const QByteArray before = qgetenv(outside);
    const QByteArray now = current();
    return !before.isEmpty() && !now.isEmpty() && now != before &&
           linkTarget("/proc/self") == QByteArray::number(getpid());
}

inline const char *const command[] = {"unshare",      "--pid",        "--fork",
                                      "--mount-proc", "--kill-child", "--"};

/// Whether the system lets us make such a namespace.
inline bool isAllowed()
{
    std::vector<const char *> arguments(std::begin(command), std::end(command));
    arguments.insert(arguments.end(), {"true", nullptr});
    pid_t child = 0;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int error = posix_spawnp(&child, arguments[0], &actions, nullptr,
                                   const_cast<char **>(arguments.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    return error == 0 && waitpid(child, &status, 0) == child && status == 0;
}

/// Starts this program anew in a namespace of its own. Comes back in there, and where it may not.
inline void enter(char **argv)
{
    if (isEntered() || !isAllowed())
        return;
    qputenv(outside, current());
    const QByteArray program = linkTarget("/proc/self/exe");
    std::vector<const char *> arguments(std::begin(command), std::end(command));
    arguments.push_back(program.constData());
    for (char **argument = argv + 1; *argument; ++argument)
        arguments.push_back(*argument);
    arguments.push_back(nullptr);
    execvp(arguments[0], const_cast<char **>(arguments.data()));
    qunsetenv(outside);
}

/// While it lives, this process is one of an ordinary user, for whom the limits hold.
class AsOrdinaryUser
{
public:
    AsOrdinaryUser()
    {
        if (m_isRoot)
            m_isDone = setresuid(user, user, 0) == 0;
        // Both are lost with the user: reading the own /proc, and the end with the parent.
        prctl(PR_SET_DUMPABLE, 1);
    }
    ~AsOrdinaryUser()
    {
        if (m_isRoot && m_isDone)
            m_isDone = setresuid(0, 0, 0) == 0;
        prctl(PR_SET_DUMPABLE, 1);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    }

    AsOrdinaryUser(const AsOrdinaryUser &) = delete;
    AsOrdinaryUser &operator=(const AsOrdinaryUser &) = delete;

    bool isDone() const { return m_isDone && geteuid() != 0; }

    static constexpr uid_t user = 65534;

private:
    const bool m_isRoot = geteuid() == 0;
    bool m_isDone = true;
};

} // namespace OwnNamespace

#define ENTER_OWN_NAMESPACE_OR_SKIP()                                \
    do {                                                             \
        if (!OwnNamespace::isEntered())                              \
            QSKIP("a PID namespace of its own is not allowed here"); \
    } while (false)

#define OWN_NAMESPACE_MAIN(Test)                        \
    int main(int argc, char **argv)                     \
    {                                                   \
        OwnNamespace::enter(argv);                      \
        const QCoreApplication application(argc, argv); \
        Test test;                                      \
        return QTest::qExec(&test, argc, argv);         \
    }
