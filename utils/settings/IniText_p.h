#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QSettings>
#include <QStringList>

namespace Utils {

/// Reads and writes the text of a settings file exactly as QSettings does: that of
/// QSettings::IniFormat, and of the native format where that is a file, without a codec.
///
/// The reader and writer of QSettings itself ignore failures of the device. SettingsFile uses these
/// instead and checks the device.
namespace IniText {

/// How write() names the group "general", when it has capital letters in other places than
/// "General".
enum class Groups
{
    AsQSettings, ///< "General": it is another group when it is read.
    AsTheyAre    ///< As it is. QSettings reads that, too.
};

/// The text that QSettings writes for \p values: sections sorted by name, and the keys of each,
/// too.
QByteArray write(const QSettings::SettingsMap &values, Groups groups = Groups::AsQSettings);

/// The text of one value, which follows the "=".
QByteArray writeValue(const QVariant &value);

/// Reads all values that \p text contains. Of a key that occurs twice, the same one counts as in
/// QSettings.
///
/// A value that Qt cannot read safely is an UnbuiltValue, and without a QGuiApplication so is one
/// that cannot be built without it.
QSettings::SettingsMap read(const QByteArray &text);

/// The texts that \p written, which follows the "=" of a line of UTF-8, stands for: several when it
/// is a list. No value is made of them.
QStringList readTexts(const QByteArray &written);

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
