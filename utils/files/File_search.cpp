#include "utils/files/File.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FolderList_p.h"
#include "utils/base/LastError_p.h"
#include "utils/files/File_p.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QVector>

#include <algorithm>

namespace Utils {

namespace {

/// The folders that a search has entered and not left: all from \p top down to \p bottom, and those
/// in \p outer, where a link to \p top was followed. The paths are canonical.
struct OpenFolders
{
    QString top;
    QString bottom;
    const OpenFolders *outer;
};

} // namespace

static bool isAtOrBelow(const QString &path, const QString &folder)
{
    return path.startsWith(folder) &&
           (path.size() == folder.size() || folder.endsWith(QLatin1Char('/')) ||
            path.at(folder.size()) == QLatin1Char('/'));
}

static bool isOpen(const QString &folder, const OpenFolders *open)
{
    for (; open; open = open->outer) {
        if (isAtOrBelow(folder, open->top) && isAtOrBelow(open->bottom, folder))
            return true;
    }
    return false;
}

/// The operator + would need a QString of the name.
static QString joined(const QString &prefix, QStringView name)
{
    QString path(prefix.size() + static_cast<int>(name.size()), Qt::Uninitialized);
    std::copy(name.begin(), name.end(), std::copy(prefix.begin(), prefix.end(), path.begin()));
    return path;
}

namespace {

/// Matches names against several wildcards, exactly as QDir does.
class NameFilter
{
public:
    explicit NameFilter(const QStringList &wildcards)
        : m_fitsAll(wildcards.contains(QLatin1String("*")))
    {
        for (const QString &wildcard : wildcards) {
            const QRegularExpression expression = wildcardExpression(wildcard);
            if (expression.isValid())
                m_expressions.append(expression);
        }
    }

    bool fits(QStringView name) const
    {
        if (m_fitsAll)
            return true;
        const QString subject = name.toString();
        return std::any_of(m_expressions.begin(), m_expressions.end(),
                           [&](const QRegularExpression &expression) {
                               return matchName(expression, subject).hasMatch();
                           });
    }

private:
    bool m_fitsAll;
    QVector<QRegularExpression> m_expressions;
};

struct Search
{
    NameFilter filter;
    bool recursive;
    int maxCount;

    /// Appends the matching files in \p folder, which is in \p open, to \p found. \p error, if not
    /// null, is set as by listFolder().
    void run(const QString &folder, const OpenFolders &open, QStringList &found,
             int *error = nullptr) const
    {
        if (!mayExist(folder))
            return;

        const int before = found.size();
        const auto isFull = [&] { return maxCount > 0 && found.size() - before >= maxCount; };

        // One pass for files and folders. QDir would need one pass for each, and compile the
        // wildcards again in every folder.
        QString prefix = QDir(folder).filePath(QStringLiteral("x"));
        prefix.chop(1);
        QVector<Below> folders;
        const auto visit = [&](const FolderItem &item) {
            if (item.isFolder) {
                if (recursive)
                    folders.append({joined(prefix, item.name), item.isLink});
                return true;
            }
            if (filter.fits(item.name))
                found.append(joined(prefix, item.name));
            return !isFull();
        };
        // It is closed before the recursion, which would else use a handle per level.
        listFolder(folder, visit, error);
        if (isFull())
            return;

        for (const Below &below : qAsConst(folders)) {
            enter(below, folder, open, found);
            if (isFull())
                return;
        }
    }

private:
    /// A folder, or a link to a folder, in the folder that is searched.
    struct Below
    {
        QString path;
        bool isLink;
    };

    /// Whether the search continues in \p folder. A missing folder has no entries, too.
    static bool mayExist(const QString &folder)
    {
        return folder.contains(QLatin1Char('*')) || !nativePath(folder) ? File::exists(folder)
                                                                        : true;
    }

    /// Continues the search in \p below, an entry of \p folder.
    void enter(const Below &below, const QString &folder, const OpenFolders &open,
               QStringList &found) const
    {
        if (!below.isLink)
            return run(below.path, open, found);

        const QString target = canonicalFolder(below.path);
        const OpenFolders here = {open.top, canonicalFolder(folder), open.outer};
        if (!isOpen(target, &here))
            run(below.path, {target, QString(), &here}, found);
    }
};

} // namespace

void notListed(const QString &folder, int error)
{
    try {
        const QFileInfo info(pathForQt(folder));
        if (!isName(folder) || !info.exists()) {
            LastError::isNoFile(folder);
        } else if (!info.isDir()) {
            LastError::setFor(".err.notafolder", folder);
        } else if (error != 0) {
            LastError::cannotRead(folder, error);
        }
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
    }
}

QStringList File::search(const Data::String &folder, const Data::String &filter, bool recursive,
                         int maxCount)
{
    const LastError operation;
    QStringList found;
    const Search search = {NameFilter(filter.split(QLatin1Char(';'))), recursive, maxCount};
    int error = 0;
    const QString path = pathForQt(folder);
    search.run(path, {canonicalFolder(path), QString(), nullptr}, found, &error);
    if (error != 0 || found.isEmpty())
        notListed(folder, error);
    return found;
}

Data::String File::find(const Data::String &folder, const Data::String &filter, bool recursive)
{
    return search(folder, filter, recursive, 1).value(0);
}

Data::String File::searchInFiles(const Data::String &text, const QStringList &files, int lines)
{
    LastError operation;
    for (const QString &file : files) {
        if (read(file, lines).contains(text)) {
            operation.succeeded();
            return file;
        }
    }
    return {};
}

Data::String File::searchInFiles(const Data::String &text, const Data::String &folder,
                                 const Data::String &filter, int lines)
{
    LastError operation;
    Data::String found = searchInFiles(text, search(folder, filter, /*recursive=*/false), lines);
    if (!found.isEmpty())
        operation.succeeded();
    return found;
}

} // namespace Utils
