#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QMetaType>
#include <QString>

namespace Utils {

/// A value of a settings file that Qt cannot build here, as the text that it has in the file. It
/// stands for the value in memory, so that it is written again as it was.
struct UnbuiltValue
{
    QString text;
};

/// As a plain QSettings writes it, which knows of no other way.
QDataStream &operator<<(QDataStream &stream, const UnbuiltValue &value);
QDataStream &operator>>(QDataStream &stream, UnbuiltValue &value);

/// Whether there is a QGuiApplication, without which Qt ends the process where a QPixmap is made.
bool hasGuiApplication();

/// Whether the QVariant in \p bytes can be read without a QGuiApplication.
///
/// False for a QPixmap, QBitmap, QIcon or QCursor, for what has such a one in it, and for a
/// container that says that it has more elements than there are bytes, for which Qt would ask for
/// memory, or that is nested deeper than a hundred levels.
bool isReadableWithoutGui(const QByteArray &bytes, QDataStream::Version version);

} // namespace Utils

Q_DECLARE_METATYPE(Utils::UnbuiltValue)
