#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

/// A home of its own for the settings of a test program and of the programs that it starts. Make it
/// before anything uses QSettings:
///
///     static const SettingsHome home;
class SettingsHome
{
public:
    SettingsHome()
    {
        for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"})
            qputenv(variable, m_folder.path().toUtf8());
        nameApplication();
    }

    /// Gives this program the names that decide where its settings are.
    static void nameApplication()
    {
        QCoreApplication::setOrganizationName("Company");
        QCoreApplication::setApplicationName("Tests");
#ifdef _WIN32
        // Not the registry, which all programs of the user share.
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                           qEnvironmentVariable("XDG_CONFIG_HOME"));
#endif
    }

    QString path() const { return m_folder.path(); }

    /// The file with the settings.
    static QString file() { return QSettings().fileName(); }

    /// Makes \p entries, as "a/x=1 b=2", all that is stored, as text.
    static void fill(const QString &entries)
    {
        QSettings settings;
        settings.clear();
        for (const QString &entry : entries.split(' ', Qt::SkipEmptyParts))
            settings.setValue(entry.section('=', 0, 0), entry.section('=', 1));
    }

    /// All that is stored, as fill() takes it, sorted by key.
    static QString stored() { return textOf(QSettings()); }

    /// The same as it is in the file, which a copy of it tells.
    static QString storedInFile()
    {
        const QTemporaryDir folder;
        const QString copy = folder.filePath("copy.ini");
        return QFile::copy(file(), copy) ? textOf(QSettings(copy, QSettings::IniFormat))
                                         : QString("no file");
    }

private:
    static QString textOf(const QSettings &settings)
    {
        QStringList keys = settings.allKeys();
        keys.sort(Qt::CaseSensitive);
        for (QString &key : keys)
            key += "=" + settings.value(key).toString();
        return keys.join(' ');
    }

    /// In memory where that is to be had: each write of settings waits for the disk.
    static QString folderTemplate()
    {
        const QFileInfo memory("/dev/shm");
        return (memory.isWritable() ? memory.filePath() : QDir::tempPath()) + "/settings-XXXXXX";
    }

    QTemporaryDir m_folder{folderTemplate()};
};
