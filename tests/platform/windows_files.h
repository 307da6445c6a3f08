#pragma once

#include <QDir>
#include <QString>

#include <string>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

/// The path \p path as the calls of Windows take it.
inline std::wstring wide(const QString &path)
{
    return QDir::toNativeSeparators(path).toStdWString();
}

inline bool isReadOnly(const QString &path)
{
    const DWORD attributes = GetFileAttributesW(wide(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

inline bool makeReadOnly(const QString &path)
{
    return SetFileAttributesW(wide(path).c_str(), FILE_ATTRIBUTE_READONLY);
}

/// Another current folder, while it lives.
class CurrentFolder
{
public:
    explicit CurrentFolder(const QString &folder) { QDir::setCurrent(folder); }
    ~CurrentFolder() { QDir::setCurrent(m_before); }
    CurrentFolder(const CurrentFolder &) = delete;
    CurrentFolder &operator=(const CurrentFolder &) = delete;

private:
    const QString m_before = QDir::currentPath();
};
