#pragma once

#include "utils/signals/Slot.h"

#include <QList>
#include <QMap>

namespace Utils {

class Signal;

/// A slot that delivers a payload only if a key in the payload has a wanted value. A key with its
/// wanted values is a condition.
///
/// One key with one of its wanted values is enough; keys that the payload does not have are
/// ignored. A wanted text that contains "*" is a wildcard pattern for the whole text, in which "?"
/// and "[...]" have their meaning, too; without a "*" they are plain characters. Comparison is
/// case-sensitive.
///
///     wanted         delivered             not delivered
///     mode: "a*"     mode: "abc"           mode: "Abc", mode: 5, other: 1
///     mode: 1, 2     mode: 1, mode: 2      mode: 3
///     mode: invalid  any payload that has a mode
///
/// Values are compared by QVariant's ==, with the wanted value on the left. A slot with conditions
/// delivers only emissions of sig(payload), no single values and nothing without a payload; a slot
/// without conditions delivers everything.
class KELMUTILS_EXPORT ConditionalSlot : public Slot
{
    Q_OBJECT

public:
    /// A slot with one condition, or with none when \p key is empty.
    ConditionalSlot(const Data::String &key, const Data::Variant &value, const char *name,
                    QObject *parent);
    ~ConditionalSlot() override;

    /// Adds \p value to the wanted values of \p key. An invalid value stands for any value: it
    /// replaces the values added so far, and later ones are ignored. An empty key is ignored.
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
