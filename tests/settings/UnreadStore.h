#pragma once

#include "tests/support/Files.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QString>

#ifdef _WIN32
#include "tests/support/HeldFile_windows.h"

#include <memory>
#endif

/// While it lives, the settings are those of another application, which nothing has read yet and
/// nothing can read until heal(). The test makes a SettingsHome.
class UnreadStore
{
public:
    UnreadStore(const QByteArray &application, const QByteArray &contents)
    {
        QCoreApplication::setApplicationName(application);
        m_path = SettingsHome::file();
#ifdef _WIN32
        m_isReady = !makeFile(m_path, contents).isEmpty() && harm();
#else
        m_isReady = !makeFile(m_path + ".aside", contents).isEmpty() && QDir().mkpath(m_path);
#endif
    }
    ~UnreadStore()
    {
        heal();
        QFile::remove(m_path);
        SettingsHome::nameApplication();
    }
    UnreadStore(const UnreadStore &) = delete;
    UnreadStore &operator=(const UnreadStore &) = delete;

    bool isReady() const { return m_isReady; }

    /// Lets the file be read again. harm() undoes this.
    /// Qt for Windows reads a folder as an empty file: there the file is held open.
#ifdef _WIN32
    bool heal() const
    {
        m_holder.reset();
        return true;
    }
    bool harm() const
    {
        m_holder = std::make_unique<HeldFile>(m_path);
        return m_holder->isHeld();
    }
#else
    bool heal() const { return QDir().rmdir(m_path) && QFile::rename(m_path + ".aside", m_path); }
    bool harm() const { return QFile::rename(m_path, m_path + ".aside") && QDir().mkpath(m_path); }
#endif

    bool repair() const { return heal() && Utils::Settings().sync(); }

private:
    QString m_path;
    bool m_isReady;
#ifdef _WIN32
    mutable std::unique_ptr<HeldFile> m_holder;
#endif
};
