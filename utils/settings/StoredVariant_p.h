#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QMetaType>
#include <QString>

namespace Utils {

/// A value of a settings file that Qt cannot construct in this process, as its text in the file. It
/// represents the value in memory, so that the value is written back unchanged.
struct UnbuiltValue
{
    QString text;
};

/// Writes the text as a plain QSettings does, which cannot write it in any other way.
QDataStream &operator<<(QDataStream &stream, const UnbuiltValue &value);
QDataStream &operator>>(QDataStream &stream, UnbuiltValue &value);

/// Whether there is a QGuiApplication. Without it, Qt ends the process when a QPixmap is
/// constructed.
bool hasGuiApplication();

/// Whether the QVariant in \p bytes can be read without a QGuiApplication.
///
/// False for a QPixmap, QBitmap, QIcon or QCursor, and for a value that contains one. Also false
/// for a container that claims to have more elements than there are bytes, for which Qt would
/// allocate memory, and for one that is nested deeper than a hundred levels.
bool isReadableWithoutGui(const QByteArray &bytes, QDataStream::Version version);

} // namespace Utils

Q_DECLARE_METATYPE(Utils::UnbuiltValue)
