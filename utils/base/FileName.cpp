#include "utils/base/FileName_p.h"

namespace Utils {

QString withoutPathPrefix(const QString &path)
{
    const auto startsWith = [](const QString &text, const QString &prefix) {
        const QString start = text.left(prefix.size()).replace(QLatin1Char('/'), QLatin1Char('\\'));
        return start.compare(prefix, Qt::CaseInsensitive) == 0;
    };
    const auto withSlashes = [](QString text) {
        return text.replace(QLatin1Char('\\'), QLatin1Char('/'));
    };
    const QString prefix = QStringLiteral(R"(\\?\)");
    const bool isLong = startsWith(path, prefix);
    if (!isLong && !startsWith(path, QStringLiteral(R"(\\.\)")))
        return path;
    const QString rest = path.mid(prefix.size());
    const QString share = QStringLiteral(R"(UNC\)");
    if (isLong && startsWith(rest, share))
        return QLatin1String("//") + withSlashes(rest.mid(share.size()));
    // "\\.\C:" is the disk itself.
    const bool isOnDrive = rest.size() > (isLong ? 1 : 2) && rest.at(1) == QLatin1Char(':');
    return isOnDrive ? withSlashes(rest) : path;
}

} // namespace Utils
