#pragma once

#include <QByteArray>
#include <QSettings>

namespace Utils {

/// The text of a settings file as QSettings reads and writes it, to the byte: that of
/// QSettings::IniFormat, and of the native format where that is a file, without a codec.
///
/// QSettings tells its own reader and writer of no failure of the device. With these two around a
/// device, SettingsFile does.
namespace IniText {

/// What QSettings writes for \p values: the sections by name, the keys of each by name.
QByteArray write(const QSettings::SettingsMap &values);

/// One value as it stands after the "=".
QByteArray writeValue(const QVariant &value);

/// Reads as much as there is in \p text. A key that comes twice has the value that QSettings takes.
QSettings::SettingsMap read(const QByteArray &text);

} // namespace IniText
} // namespace Utils
