#pragma once

#include <QByteArray>
#include <QDataStream>
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
///
/// Without a QGuiApplication, a value that Qt can only build with one is an UnbuiltValue.
QSettings::SettingsMap read(const QByteArray &text);

/// Whether one of \p values is an UnbuiltValue, or a list with one.
bool hasUnbuilt(const QSettings::SettingsMap &values);

/// \p value as callers see it: what an UnbuiltValue stands for when Qt can build it now, and the
/// invalid value when it cannot; in a list, too.
QVariant built(const QVariant &value);

/// The text of \p bytes. It keeps zero bytes, at which QString::fromLatin1(QByteArray) stops.
QString latin1(const QByteArray &bytes);

/// The format of the bytes of a QDataStream in the file.
QDataStream::Version streamVersion(bool isDateTime);

} // namespace IniText
} // namespace Utils
