#pragma once

#include "data/String.h"

#include <QColor>
#include <QStringList>
#include <QVariant>

#include <type_traits>
#include <utility>

namespace Data {

/// The value type of signal payloads and settings. The class adds no field to QVariant.
///
/// Text is always held as a plain QString, so that it compares and converts like a QString. A
/// conversion that is not possible yields the empty value of the target type.
class Variant : public QVariant
{
public:
    Variant() = default; ///< the invalid variant
    Variant(int value) : QVariant(value) {}
    Variant(double value) : QVariant(value) {}
    Variant(const char *utf8) : QVariant(QString::fromUtf8(utf8)) {}
    Variant(const QString &text) : QVariant(text) {}
    Variant(const QStringList &list) : QVariant(list) {}
    Variant(const QColor &color) : QVariant(color) {}

    /// Accepts a bool or a QVariant, but nothing that only converts to bool: otherwise pointers,
    /// functions and lambdas would become true. Use itemVariant() for a Data::IDataItem.
    template <typename T,
              std::enable_if_t<std::is_same_v<T, bool> || std::is_same_v<T, QVariant>, bool> = true>
    Variant(T value) : QVariant(std::move(value))
    {}

    Data::String toString() const { return QVariant::toString(); }
};

} // namespace Data

Q_DECLARE_METATYPE(Data::Variant)
