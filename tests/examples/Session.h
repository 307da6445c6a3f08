#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtTest>

#include <csignal>
#include <cstdlib>

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

/// A program on a terminal of its own, 80 columns wide.
class Session
{
public:
    Session(const QString &program, const QStringList &arguments, const char *kind = "xterm")
    {
        QByteArrayList texts{program.toUtf8()};
        for (const QString &argument : arguments)
            texts.append(argument.toUtf8());
        QVector<char *> pointers;
        for (QByteArray &text : texts)
            pointers.append(text.data());
        pointers.append(nullptr);

        winsize size = {};
        size.ws_col = 80;
        size.ws_row = 24;
        m_pid = forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_pid == 0) {
            setenv("TERM", kind, 1);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
    }

    ~Session()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        close(m_terminal);
    }

    void press(const QByteArray &keys) const
    {
        QCOMPARE(write(m_terminal, keys.constData(), static_cast<std::size_t>(keys.size())),
                 ssize_t(keys.size()));
    }

    /// Reads until \p text is on the terminal, after the texts of earlier calls.
    bool waitFor(const QByteArray &text)
    {
        int place = 0;
        while ((place = m_screen.indexOf(text, m_seen)) < 0) {
            if (!readMore())
                return false;
        }
        m_seen = place + text.size();
        return true;
    }

    /// Waits for the end and returns the exit status as a shell reports it; -1 when there is none.
    int finish()
    {
        while (readMore()) {
        }
        int status = 0;
        if (waitpid(m_pid, &status, 0) != m_pid)
            return -1;
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    /// All that was written to the terminal.
    QString screen() const { return QString::fromUtf8(m_screen); }

    /// Whether keys come in lines and are shown, as shells expect it.
    bool isAsBefore() const
    {
        termios mode = {};
        tcgetattr(m_terminal, &mode);
        return (mode.c_lflag & ICANON) && (mode.c_lflag & ECHO);
    }

    pid_t pid() const { return m_pid; }

    void setWidth(unsigned short columns) const
    {
        winsize size = {};
        size.ws_col = columns;
        QCOMPARE(ioctl(m_terminal, TIOCSWINSZ, &size), 0);
    }

    /// The process group that has the terminal.
    pid_t foreground() const { return tcgetpgrp(m_terminal); }

private:
    bool readMore()
    {
        pollfd ready = {m_terminal, POLLIN, 0};
        char bytes[4096];
        if (poll(&ready, 1, 60000) <= 0)
            return false;
        const ssize_t count = read(m_terminal, bytes, sizeof(bytes));
        if (count <= 0)
            return false; // EIO: no process has the terminal any more
        m_screen.append(bytes, static_cast<int>(count));
        return true;
    }

    int m_terminal = -1;
    pid_t m_pid = -1;
    QByteArray m_screen;
    int m_seen = 0;
};
