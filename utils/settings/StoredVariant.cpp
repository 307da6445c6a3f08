#include "utils/settings/StoredVariant_p.h"

#include <QBrush>
#include <QColor>
#include <QDateTime>
#include <QGuiApplication>
#include <QPalette>
#include <QTimeZone>
#include <QVariant>

#include <algorithm>

namespace Utils {

static const int deepest = 100;

QDataStream &operator<<(QDataStream &stream, const UnbuiltValue &value)
{
    return stream << value.text;
}

QDataStream &operator>>(QDataStream &stream, UnbuiltValue &value) { return stream >> value.text; }

bool hasGuiApplication() { return qobject_cast<QGuiApplication *>(QCoreApplication::instance()); }

namespace {

/// Reads a QVariant as QVariant::load() does, but without anything that would end the process. Each
/// function skips the item that it is named after, and returns false when that item cannot be read
/// safely.
///
/// Bytes that are incomplete or damaged count as readable: Qt stops reading there, too.
class Check
{
public:
    Check(const QByteArray &bytes, QDataStream::Version version, Images images)
        : m_stream(bytes), m_images(images)
    {
        m_stream.setVersion(version);
    }

    bool variant(int level = 0)
    {
        const int type = variantType();
        switch (type) {
        case QMetaType::QPixmap:
        case QMetaType::QBitmap:
        case QMetaType::QIcon:
        case QMetaType::QCursor:
            if (m_images == Images::Refused)
                return false;
            break;
        case QMetaType::QEasingCurve: // the address of a function of the process that has written
                                      // it
            return false;
        case QMetaType::QVariant:
            return level < deepest && variant(level + 1);
        case QMetaType::QVariantList:
            return level < deepest && elements<Nothing>(level + 1);
        case QMetaType::QVariantMap:
        case QMetaType::QVariantHash:
            return level < deepest && elements<QString>(level + 1);
        case QMetaType::QTextFormat:
            read<qint32>(); // the kind of format
            return level < deepest && elements<qint32>(level + 1);
        case QMetaType::QColor:
            return color();
        case QMetaType::QBrush:
            return brush();
        case QMetaType::QPen:
            return pen();
        case QMetaType::QPalette:
            return palette();
        case QMetaType::QRegion:
            return region();
        case QMetaType::QDateTime:
            return isWritable(read<QDateTime>());
        case QMetaType::QStringList:
        case QMetaType::QByteArrayList:
        case QMetaType::QKeySequence:
            if (!hasRoomFor(4))
                return false;
            break;
        case QMetaType::QPolygon:
            if (!hasRoomFor(8))
                return false;
            break;
        case QMetaType::QPolygonF:
            if (!hasRoomFor(16))
                return false;
            break;
        default:
            break;
        }
        value(type);
        return true;
    }

private:
    struct Nothing
    {
        friend QDataStream &operator>>(QDataStream &stream, Nothing &) { return stream; }
    };

    bool isOld() const { return m_stream.version() < QDataStream::Qt_5_0; }
    bool isGood() const { return m_stream.status() == QDataStream::Ok; }

    template <typename T>
    T read()
    {
        T value{};
        m_stream >> value;
        return value;
    }

    /// The header of a QVariant. The type numbers in streams of Qt 4 are different.
    int variantType()
    {
        auto type = read<quint32>();
        if (isOld()) {
            if (type == 127)
                type = QMetaType::User;
            else if (type >= 128 && type != QMetaType::User)
                type -= 97;
            else if (type == 75)
                type = QMetaType::QSizePolicy;
            else if (type > 75 && type <= 86)
                --type;
        } else {
            read<qint8>(); // whether it is null
        }
        if (type == QMetaType::User)
            return QMetaType::type(read<QByteArray>());
        return static_cast<int>(type);
    }

    void value(int type)
    {
        QVariant value(type, nullptr);
        if (!value.isValid()) {
            if (isOld())
                read<QString>();
        } else if (!QMetaType::load(m_stream, value.userType(), value.data())) {
            // A type of Qt Widgets, which is not loaded: Qt reads nothing after it.
            m_stream.setStatus(QDataStream::ReadCorruptData);
        }
    }

    /// Reads ahead the number of elements, and returns whether as many can follow, with at least
    /// \p size bytes each.
    bool hasRoomFor(int size)
    {
        m_stream.startTransaction();
        const auto count = read<quint32>();
        const qint64 rest = m_stream.device()->bytesAvailable();
        const bool isCounted = isGood();
        m_stream.rollbackTransaction();
        m_stream.resetStatus();
        return !isCounted || qint64(count) * size <= rest;
    }

    template <typename Key>
    bool elements(int level)
    {
        if (!hasRoomFor(4))
            return false;
        for (auto count = read<quint32>(); count > 0 && isGood(); --count) {
            read<Key>();
            if (!variant(level))
                return false;
        }
        return true;
    }

    /// Qt takes any byte as the kind of a color. What a color of an unknown kind does is undefined.
    bool color()
    {
        const auto kind = read<qint8>();
        for (int i = 5; i > 0; --i)
            read<quint16>(); // alpha, three or four components, padding
        return kind >= QColor::Invalid && kind <= QColor::ExtendedRgb;
    }

    /// The texture of a brush is a QPixmap in streams of Qt 4, and a QImage later.
    bool brush()
    {
        m_stream.startTransaction();
        const auto style = read<quint8>();
        const bool isColor = color();
        const bool isGradient = style == Qt::LinearGradientPattern ||
                                style == Qt::RadialGradientPattern ||
                                style == Qt::ConicalGradientPattern;
        bool isReadable =
            isColor && (!isOld() || style != Qt::TexturePattern || m_images == Images::Built);
        if (isGradient) {
            for (int i = isOld() ? 1 : 4; i > 0; --i)
                read<qint32>(); // the type, spread and modes of the gradient
            isReadable = isReadable && stops();
        }
        m_stream.rollbackTransaction();
        m_stream.resetStatus();
        if (isReadable)
            read<QBrush>();
        return isReadable;
    }

    /// The colors of a gradient.
    bool stops()
    {
        static const int sizeOfEach = 19;

        const auto count = read<quint32>();
        if (isGood() && qint64(count) * sizeOfEach > m_stream.device()->bytesAvailable())
            return false;
        for (quint32 i = 0; i < count && isGood(); ++i) {
            read<double>(); // where it is
            if (!color())
                return false;
        }
        return true;
    }

    bool pen()
    {
        if (isOld()) {
            read<quint8>(); // the style
        } else {
            read<quint16>(); // the style
            read<bool>();    // whether it is cosmetic
        }
        read<double>(); // the width
        if (!brush())
            return false;
        read<double>(); // the miter
        if (!hasRoomFor(8))
            return false;
        read<QVector<double>>(); // the dashes
        if (!isOld()) {
            read<double>(); // the dash offset
            read<bool>();   // whether the width is the default
        }
        return true;
    }

    bool palette()
    {
        const int roles = isOld() ? QPalette::AlternateBase + 1 : QPalette::ToolTipText + 1;
        for (int i = QPalette::NColorGroups * roles; i > 0 && isGood(); --i) {
            if (!brush())
                return false;
        }
        return true;
    }

    /// Of the kinds that Qt reads, only the one that it writes: a number of rectangles.
    bool region()
    {
        static const qint32 rectangles = 10;
        static const int sizeOfEach = 16;

        const auto bytes = read<QByteArray>();
        QDataStream stream(bytes);
        qint32 kind = 0;
        quint32 count = 0;
        stream >> kind >> count;
        return bytes.isEmpty() ||
               (kind == rectangles && 8 + qint64(count) * sizeOfEach == bytes.size());
    }

    QDataStream m_stream;
    const Images m_images;
};

} // namespace

bool isWritable(const QDateTime &time)
{
    return time.timeSpec() != Qt::TimeZone || time.timeZone().isValid();
}

static bool isWritable(const QVariant &value)
{
    const auto areWritable = [](const auto &values) {
        return std::all_of(values.begin(), values.end(),
                           [](const QVariant &each) { return isWritable(each); });
    };
    switch (value.userType()) {
    case QMetaType::QDateTime:
        return isWritable(value.toDateTime());
    case QMetaType::QVariantList:
        return areWritable(value.toList());
    case QMetaType::QVariantMap:
        return areWritable(value.toMap());
    case QMetaType::QVariantHash:
        return areWritable(value.toHash());
    default:
        return true;
    }
}

template <typename Values>
static QVariant withWritable(Values values)
{
    for (QVariant &each : values)
        each = writable(each);
    return values;
}

QVariant writable(const QVariant &value)
{
    if (isWritable(value))
        return value;
    switch (value.userType()) {
    case QMetaType::QVariantList:
        return withWritable(value.toList());
    case QMetaType::QVariantMap:
        return withWritable(value.toMap());
    case QMetaType::QVariantHash:
        return withWritable(value.toHash());
    default:
        return QDateTime();
    }
}

bool isReadable(const QByteArray &bytes, QDataStream::Version version, Images images)
{
    return Check(bytes, version, images).variant();
}

} // namespace Utils
