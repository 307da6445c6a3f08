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

    /// The colour that \p variant holds or converts to. Invalid when \p variant does not convert to
    /// a colour, or holds an invalid one.
    static Color fromVariant(const QVariant &variant) { return variant.value<QColor>(); }
};

} // namespace Data
