#include "utils/base/ReplaceAll_p.h"

namespace Utils {

QString replaceAll(const QString &text, const QString &before, const QString &after)
{
    int at = text.indexOf(before);
    if (at < 0)
        return text;

    QString replaced;
    replaced.reserve(text.size());
    int copied = 0;
    while (at >= 0) {
        replaced.append(text.constData() + copied, at - copied);
        replaced.append(after);
        copied = at + before.size();
        // An empty text is found before each character and at the end.
        at = text.indexOf(before, before.isEmpty() ? at + 1 : copied);
    }
    replaced.append(text.constData() + copied, text.size() - copied);
    return replaced;
}

} // namespace Utils
