#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

/// Writes \p contents to the file \p path, and creates its folders. Returns the path, or "" when
/// the file cannot be written.
inline QString makeFile(const QString &path, const QByteArray &contents = "x")
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(contents) != contents.size())
        return QString();
    return path;
}

/// The bytes of the file \p path, or a text that says so when it cannot be opened.
inline QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}
