#pragma once

#include <QString>
#include <QStringView>

#include <vector>

namespace Utils {
namespace Xml {

/// Converts text written by Qt to the layout of Document::write(), line by line.
class LineLayout
{
public:
    /// Appends the converted lines of \p text to \p target, with as many line ends as \p text has.
    void append(QStringView text, QString &target);

private:
    QChar *putLine(QStringView line, QChar *target);
    bool readTokens(QStringView tag);
    bool splitTag(QStringView tag);
    void addToken(const QChar *begin, const QChar *end);

    QStringView m_tag;
    QStringView m_name;
    QStringView m_type;
    std::vector<QStringView> m_others; // kept, so that it is allocated once
    QStringView m_ending;
};

} // namespace Xml
} // namespace Utils
