#include "tests/inject/Torture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

// Without the library under test, and without Qt where it could fail in the same way.

QByteArray bytesOf(const QString &path)
{
    const std::ifstream file(path.toStdString(), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return QByteArray::fromStdString(bytes.str());
}

QByteArray value(const QByteArray &found, const QByteArray &whole)
{
    if (found == whole)
        return "whole";
    if (found.isEmpty())
        return "empty";
    return whole.startsWith(found) ? "a part" : "other";
}

QByteArray contents(const QString &path, const QByteArray &fresh, const QByteArray &old)
{
    if (!std::filesystem::exists(path.toStdString()))
        return "missing";
    const QByteArray found = bytesOf(path);
    if (found == fresh)
        return "new";
    if (found == old && !old.isEmpty())
        return "old";
    return value(found, fresh);
}

QByteArrayList treeOf(const QString &path)
{
    QByteArrayList entries;
    const std::string top = path.toStdString();
    std::error_code error;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(top, error)) {
        const std::string name = entry.path().string();
        QByteArray text = QByteArray::fromStdString(name);
        if (entry.is_directory())
            text += "/";
        else
            text += "=" + bytesOf(QString::fromStdString(name));
        entries.append(text);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

QByteArray treeState(const QByteArrayList &found, const QByteArrayList &whole)
{
    if (found == whole)
        return "whole";
    if (found.isEmpty())
        return "empty";
    const auto isKnown = [&](const QByteArray &entry) { return whole.contains(entry); };
    return std::all_of(found.begin(), found.end(), isKnown) ? "a part" : "foreign entries";
}

QByteArray lines(int count, const char *seed)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += QByteArray(seed) + " number " + QByteArray::number(i) + "\n";
    return text;
}
