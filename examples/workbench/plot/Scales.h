#pragma once

#include <qwt_scale_draw.h>

#include <QStringList>

namespace Workbench {

/// \p text in the marks that keep a number with its sign and unit in order in a window from right
/// to left; unchanged in other windows.
QString leftToRight(const QString &text);

/// An axis whose labels are numbers with a unit and its prefixes, such as "1.5 kN".
class UnitScale : public QwtScaleDraw
{
public:
    explicit UnitScale(const QString &unit);

    QwtText label(double value) const override;

    /// The text of \p value with as many digits as the steps of the axis need.
    QString textOf(double value) const;

private:
    const QString m_unit;
};

/// An axis whose labels are names, at 0, 1, 2...
class NameScale : public QwtScaleDraw
{
public:
    explicit NameScale(const QStringList &names);

    QwtText label(double value) const override;

private:
    const QStringList m_names;
};

} // namespace Workbench
