#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

/// Writes \p contents to the file \p path, making the folders it needs. Gives the path, or "" when
/// the file cannot be written.
inline QString makeFile(const QString &path, const QByteArray &contents = "x")
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(contents) != contents.size())
        return QString();
    return path;
}
