#pragma once

#include <QDir>
#include <QDirIterator>
#include <QStringList>

/// All below \p folder, hidden or not, sorted: "file", "folder/", "link@". No link is followed.
inline QStringList tree(const QString &folder)
{
    QStringList entries;
    QDirIterator entry(folder,
                       QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (entry.hasNext()) {
        const QString path = QDir(folder).relativeFilePath(entry.next());
        const QFileInfo info = entry.fileInfo();
        entries.append(path + (info.isSymLink() ? "@" : info.isDir() ? "/" : ""));
    }
    entries.sort();
    return entries;
}
