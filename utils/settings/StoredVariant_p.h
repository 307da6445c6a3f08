#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QVariant>

namespace Utils {

/// A value of a settings file that Qt cannot construct in this process, or not safely, as its text
/// in the file. It represents the value in memory, so that the value is written back unchanged.
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

/// Whether a reader builds values that need a QGuiApplication: a QPixmap, QBitmap, QIcon or
/// QCursor, and a QBrush with a QPixmap.
enum class Images
{
    Refused,
    Built
};

/// Whether Qt can read the QVariant in \p bytes safely.
///
/// False for a QEasingCurve, for a date that is not writable, and with Images::Refused for an
/// image; and for a value that contains one of them. Also false for a container or region that
/// claims to have more elements than there are bytes, for which Qt would allocate memory, and for a
/// container that is nested deeper than a hundred levels.
bool isReadable(const QByteArray &bytes, QDataStream::Version version, Images images);

/// Whether QDataStream can write \p time. A date in a time zone that this system does not know ends
/// the process.
bool isWritable(const QDateTime &time);

/// \p value with an invalid date in place of each date in it that is not writable.
QVariant writable(const QVariant &value);

} // namespace Utils

Q_DECLARE_METATYPE(Utils::UnbuiltValue)
