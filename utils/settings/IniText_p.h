#pragma once

#include <QByteArray>
#include <QSettings>

namespace Utils {

/// Reads and writes the text of a settings file exactly as QSettings does: that of
/// QSettings::IniFormat, and of the native format where that is a file, without a codec.
///
/// The reader and writer of QSettings itself ignore failures of the device. SettingsFile uses these
/// instead and checks the device.
namespace IniText {

/// The text that QSettings writes for \p values: sections sorted by name, and the keys of each,
/// too.
QByteArray write(const QSettings::SettingsMap &values);

/// The text of one value, which follows the "=".
QByteArray writeValue(const QVariant &value);

/// Reads all values that \p text contains. Of a key that occurs twice, the same one counts as in
/// QSettings.
QSettings::SettingsMap read(const QByteArray &text);

} // namespace IniText
} // namespace Utils
