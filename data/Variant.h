#pragma once

#include "data/String.h"

#include <QColor>
#include <QStringList>
#include <QVariant>

#include <utility>

namespace Data {

/// The value type of payloads and settings: a QVariant with no added field.
///
/// Text is always held as a plain QString, so that it compares and converts like one. Conversions
/// that cannot be made give the empty value of the wanted type.
class Variant : public QVariant
{
public:
    Variant() = default; ///< the invalid variant
    Variant(bool value) : QVariant(value) {}
    Variant(int value) : QVariant(value) {}
    Variant(double value) : QVariant(value) {}
    Variant(const char *utf8) : QVariant(QString::fromUtf8(utf8)) {}
    Variant(const QString &text) : QVariant(text) {}
    Variant(const QStringList &list) : QVariant(list) {}
    Variant(const QColor &color) : QVariant(color) {}

    Variant(const QVariant &other) : QVariant(other) {}
    Variant(QVariant &&other) noexcept : QVariant(std::move(other)) {}

    /// Any pointer would turn into a bool. A Data::IDataItem travels by itemVariant().
    Variant(const void *pointer) = delete;

    Data::String toString() const { return QVariant::toString(); }
};

} // namespace Data

Q_DECLARE_METATYPE(Data::Variant)
