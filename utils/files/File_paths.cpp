#include "utils/files/File.h"

#include "utils/base/FileName_p.h"

#include <QDir>
#include <QFileInfo>
#include <QRegExp>

#include <algorithm>

namespace Utils {

static const QLatin1Char separator('/');

Data::String File::join(const Data::String &a, const Data::String &b, const Data::String &c,
                        const Data::String &d, const Data::String &e, const Data::String &f)
{
    QStringList pieces;
    for (const Data::String *piece : {&a, &b, &c, &d, &e, &f}) {
        if (!piece->isEmpty())
            pieces.append(*piece);
    }
    return pieces.join(separator);
}

Data::String File::absolutePath(const Data::String &path, const Data::String &folder)
{
    if (isAbsolute(path))
        return path;
    return cleanPath(join(folder.isEmpty() ? currentDir() : folder, path));
}

Data::String File::base(const Data::String &path, bool withExtension)
{
    const QFileInfo file(path);
    return withExtension ? file.fileName() : file.completeBaseName();
}

Data::String File::extension(const Data::String &path) { return QFileInfo(path).suffix(); }

Data::String File::parentFolder(const Data::String &path)
{
    return QFileInfo(pathForQt(path)).dir().path();
}

Data::String File::cleanPath(const Data::String &path)
{
    const QString clean = QDir::cleanPath(pathForQt(path));
    return clean.startsWith(separator) ? clean : QDir::toNativeSeparators(clean);
}

Data::String File::currentDir() { return QDir::currentPath(); }

bool File::isAbsolute(const Data::String &path) { return !isRelative(path); }

bool File::isRelative(const Data::String &path)
{
    if (path.startsWith(QLatin1Char('.')))
        return true;
    if (parentFolder(path) == QLatin1String("."))
        return true;

    const bool isRooted = path.startsWith(separator);
    const bool isOnDrive = path.size() >= 2 && path.at(1) == QLatin1Char(':');
    const bool isOnServer = path.startsWith(QLatin1String("\\\\"));
    return !isRooted && !isOnDrive && !isOnServer;
}

/// Whether \p test is true for two paths as they are, in lower case, cleaned, or both.
template <typename Test>
static bool holdsInAnyForm(const QString &a, const QString &b, Test test)
{
    if (test(a, b) || test(a.toLower(), b.toLower()))
        return true;
    const QString cleanA = File::cleanPath(a);
    const QString cleanB = File::cleanPath(b);
    return test(cleanA, cleanB) || test(cleanA.toLower(), cleanB.toLower());
}

bool File::isSamePath(const Data::String &a, const Data::String &b)
{
    return holdsInAnyForm(a, b, [](const QString &x, const QString &y) { return x == y; });
}

bool File::isContainedIn(const Data::String &path, const Data::String &folder)
{
    const auto startsWith = [](const QString &x, const QString &y) { return x.startsWith(y); };
    return holdsInAnyForm(path, folder, startsWith);
}

bool File::checkFilter(const Data::String &path, const Data::String &filter)
{
    QString patterns = filter;
    const int open = filter.indexOf(QLatin1Char('('));
    if (open >= 0 && filter.contains(QLatin1Char(')'))) {
        const int close = filter.indexOf(QLatin1Char(')'), open);
        // Without a ")" after it, the patterns extend to the end of the text.
        patterns = close < 0 ? filter.mid(open + 1) : filter.mid(open + 1, close - open - 1);
    }

    const Data::String name = base(path, /*withExtension=*/true);
    const QStringList pieces = patterns.split(QLatin1Char(' '));
    return std::any_of(pieces.begin(), pieces.end(), [&](const QString &piece) {
        return QRegExp(piece, Qt::CaseInsensitive, QRegExp::Wildcard).exactMatch(name);
    });
}

Data::String File::abbreviateName(const Data::String &path, int maxChars, int maxParts)
{
    if (path.size() < maxChars)
        return path;

    const int limit = std::max(maxParts, 3);
    QString copy = path;
    QStringList pieces = copy.replace(QLatin1Char('\\'), separator).split(separator);
    if (pieces.size() < limit)
        return path;

    const QString ellipsis = QStringLiteral("...");
    pieces.insert(2, ellipsis);
    int length = copy.size() + ellipsis.size() + 1; // of the joined pieces
    while (pieces.size() > limit + 2 || (pieces.size() > 4 && length > maxChars))
        length -= pieces.takeAt(3).size() + 1;
    return pieces.join(separator);
}

Data::String File::validate(const Data::String &name, bool allowSpaces, bool *valid)
{
    const QLatin1Char space(' ');
    const QRegExp illegal(QStringLiteral("[/\\\\:*?\\\"<>|]+"));
    const bool hasSpaces = !allowSpaces && name.contains(space);
    const bool hasIllegal = name.contains(illegal);
    if (valid)
        *valid = !hasSpaces && !hasIllegal;

    Data::String result = name;
    if (hasSpaces)
        result.replace(space, QLatin1Char('_'));
    if (hasIllegal)
        result.remove(illegal);
    return result;
}

Data::String File::imageFilter(bool extensionsOnly)
{
    static const Data::String extensions = QStringLiteral(".png;.xpm");
    static const Data::String ofDialog = QStringLiteral("Image Files (*.png *.xpm *.jpg *.gif)");
    return extensionsOnly ? extensions : ofDialog;
}

Data::String File::layoutFilter(bool extensionsOnly)
{
    return extensionsOnly ? QStringLiteral(".ui") : QStringLiteral("Layout Files (*.ui)");
}

} // namespace Utils
