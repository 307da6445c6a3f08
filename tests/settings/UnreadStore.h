#pragma once

#include "tests/support/Files.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QString>

/// While it lives, the settings are those of another application, which nothing has read yet and
/// nothing can read until heal(). The test makes a SettingsHome.
class UnreadStore
{
public:
    UnreadStore(const QByteArray &application, const QByteArray &contents)
    {
        QCoreApplication::setApplicationName(application);
        m_path = SettingsHome::file();
        m_isReady = !makeFile(m_path + ".aside", contents).isEmpty() && QDir().mkpath(m_path);
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
    bool heal() const { return QDir().rmdir(m_path) && QFile::rename(m_path + ".aside", m_path); }
    bool harm() const { return QFile::rename(m_path, m_path + ".aside") && QDir().mkpath(m_path); }

    bool repair() const { return heal() && Utils::Settings().sync(); }

private:
    QString m_path;
    bool m_isReady;
};
