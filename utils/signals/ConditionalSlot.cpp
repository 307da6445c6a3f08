#include "utils/signals/ConditionalSlot.h"

#include "utils/signals/Signal.h"

#include <QRegExp>

#include <algorithm>

namespace Utils {

static bool isText(const Data::Variant &value) { return value.userType() == QMetaType::QString; }

static bool fits(const Data::Variant &value, const Data::Variant &wanted)
{
    // The comparison of QVariant is not symmetric: the wanted value must be on the left.
    if (!wanted.isValid() || wanted == value)
        return true;
    if (!isText(value) || !isText(wanted))
        return false;

    const Data::String pattern = wanted.toString();
    return pattern.contains(QLatin1Char('*')) &&
           QRegExp(pattern, Qt::CaseSensitive, QRegExp::Wildcard).exactMatch(value.toString());
}

ConditionalSlot::ConditionalSlot(const Data::String &key, const Data::Variant &value,
                                 const char *name, QObject *parent)
    : Slot(name, parent)
{
    addData(key, value);
}

ConditionalSlot::~ConditionalSlot() = default;

void ConditionalSlot::addData(const Data::String &key, const Data::Variant &value)
{
    if (key.isEmpty())
        return;

    QList<Data::Variant> &wanted = m_conditions[key];
    if (wanted.isEmpty() || !value.isValid())
        wanted = {value};
    else if (wanted.first().isValid())
        wanted.append(value);
}

bool ConditionalSlot::connect(Signal *signal)
{
    // Called through the base class, because a derived signal may hide its virtual connect().
    return signal && signal->connect(static_cast<const QObject *>(this),
                                     SLOT(onSig(const Data::VariantCollection &)));
}

void ConditionalSlot::onSig(const Data::VariantCollection &payload)
{
    if (m_conditions.isEmpty() || isWanted(payload))
        Slot::onSig(payload);
}

void ConditionalSlot::onSig()
{
    if (m_conditions.isEmpty())
        Slot::onSig();
}

bool ConditionalSlot::isWanted(const Data::VariantCollection &payload) const
{
    for (auto condition = m_conditions.begin(); condition != m_conditions.end(); ++condition) {
        const auto held = payload.constFind(condition.key());
        if (held == payload.constEnd())
            continue;
        const auto fitsHeld = [&](const Data::Variant &wanted) { return fits(*held, wanted); };
        if (std::any_of(condition->begin(), condition->end(), fitsHeld))
            return true;
    }
    return false;
}

} // namespace Utils
