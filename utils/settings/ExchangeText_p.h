#pragma once

#include <QByteArray>
#include <QSettings>

namespace Utils {

/// The text of a file of exported settings: that of a settings file between two comments. They
/// distinguish such a file from other files, and a complete one from one that is cut off.
///
///     ; Exported settings, format 1
///     [View]
///     width=800
///     ; End of the exported settings
///
/// It is UTF-8, so that it can be changed in an editor.
namespace ExchangeText {

/// The text for \p values. Values that read() does not accept are left out: those that only a
/// program with a QGuiApplication can read, and keys of more than 2000 characters.
QByteArray write(const QSettings::SettingsMap &values);

enum class Outcome
{
    Complete,
    Foreign,    ///< the first line is another one
    Incomplete, ///< the last line is missing
    BadLine,    ///< a line is neither empty nor a comment, a section or a key with its value
};

/// Reads all of \p text into \p values, or none of it. \p badLine is set to the number, from 1, of
/// the line that cannot be read.
Outcome read(const QByteArray &text, QSettings::SettingsMap &values, int &badLine);

} // namespace ExchangeText
} // namespace Utils
