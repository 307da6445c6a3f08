#pragma once

#include "utils/signals/Slot.h"

#include <QList>
#include <QMap>

namespace Utils {

class Signal;

/// A slot that passes a payload on only if one of its keys has a wanted value.
///
/// It is enough that one key has one of the values wanted for it; a key that the payload lacks is
/// passed over. A wanted text that holds a "*" is a wildcard pattern for the whole text, in which
/// "?" and "[...]" work too; without a "*" they are plain characters. Case counts.
///
///     wanted         passes                does not pass
///     mode: "a*"     mode: "abc"           mode: "Abc", mode: 5, other: 1
///     mode: 1, 2     mode: 1, mode: 2      mode: 3
///     mode: invalid  any payload that has a mode
///
/// Values are compared by QVariant's ==, with the wanted value on the left. With conditions, bare
/// deliveries and those of single values do not pass, as nothing can satisfy them; without any,
/// everything passes.
class KELMUTILS_EXPORT ConditionalSlot : public Slot
{
    Q_OBJECT

public:
    /// A slot with one condition, or with none when \p key is empty.
    ConditionalSlot(const Data::String &key, const Data::Variant &value, const char *name,
                    QObject *parent);
    ~ConditionalSlot() override;

    /// Adds \p value to those wanted for \p key. An invalid value means any: it replaces the values
    /// before it, and later ones are ignored. An empty key is ignored.
    void addData(const Data::String &key, const Data::Variant &value);

    /// Connects the payload shape of \p signal to this slot. False for null.
    bool connect(Signal *signal);
    using Slot::connect;

    using Slot::onSig;
    void onSig(const Data::VariantCollection &payload) override;
    void onSig() override;

private:
    bool isWanted(const Data::VariantCollection &payload) const;

    QMap<Data::String, QList<Data::Variant>> m_conditions;
};

} // namespace Utils
