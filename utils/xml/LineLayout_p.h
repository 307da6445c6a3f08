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
    struct Token
    {
        Token(const QChar *begin, const QChar *end);

        QStringView text;
        quint64 start; ///< of the text, to compare by
    };

    /// Where so many characters follow a line, its parts are copied together with what follows
    /// them, in the text and in the target.
    static constexpr int slack = 32;

    QChar *putLine(QStringView line, QChar *target);
    QChar *put(QStringView text, QChar *target) const;
    static QChar *put(QLatin1Char character, QChar *target);
    bool readTokens(QStringView tag);
    bool splitTag(QStringView tag);
    void addToken(const QChar *begin, const QChar *end);
    static bool isBefore(const Token &left, const Token &right);

    const QChar *m_readable = nullptr; // the end of the text
    bool m_hasSlack = false;           // after the current line
    QStringView m_tag;                 // never null
    QStringView m_name;
    QStringView m_type;
    std::vector<Token> m_others; // kept, so that it is allocated once
    QStringView m_ending;
};

} // namespace Xml
} // namespace Utils
