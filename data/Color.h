#pragma once

#include <QColor>
#include <QVariant>

namespace Data {

/// A colour: a QColor with no added field. In a variant it is a plain QColor.
class Color : public QColor
{
public:
    using QColor::QColor;

    Color() = default; ///< the invalid colour
    Color(const QColor &other) : QColor(other) {}

    /// The colour in \p variant, or what the variant converts to. The invalid colour when it does
    /// not convert, or when it holds an invalid one.
    static Color fromVariant(const QVariant &variant) { return variant.value<QColor>(); }
};

} // namespace Data
