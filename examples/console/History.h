#pragma once

#include <QString>
#include <QStringList>

namespace Kelm {

/// The lines that were typed into a console, in a file of the user that only they can read.
class History
{
public:
    /// Reads the file \p path, if there is one, and keeps its last lines.
    explicit History(const QString &path);

    /// Returns the path for a console: "python_history" in the folder of the program's own data.
    static QString defaultPath();

    const QStringList &lines() const { return m_lines; }

    /// Appends a line to the file at once, so that it is there after a kill, too. Returns false
    /// when it cannot be written.
    bool append(const QString &line);

private:
    const QString m_path;
    QStringList m_lines;
};

} // namespace Kelm
