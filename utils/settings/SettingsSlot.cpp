#include "utils/settings/SettingsSlot.h"

#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <algorithm>

namespace Utils {

SettingsSlot::SettingsSlot(const Data::String &keys, QObject *parent) : Slot("SettingsSlot", parent)
{
    addKey(keys);
    if (keys != QLatin1String("-") && Settings::isSettingChangedAlive())
        Settings::SettingChanged().connect(
            this, SLOT(onSig(const Data::String &, const Data::Variant &)));
}

SettingsSlot::~SettingsSlot() = default;

void SettingsSlot::addKey(const Data::String &keys)
{
    m_keys += keys.split(QLatin1Char(';'), Qt::SkipEmptyParts);
}

void SettingsSlot::onSig(const Data::String &key, const Data::Variant &value)
{
    if (!testKey(key))
        return;

    // The function of the base class, not an override, which may call this one again.
    Slot::onSig(
        Data::VariantCollection{{QStringLiteral("key"), key}, {QStringLiteral("value"), value}});
}

bool SettingsSlot::testKey(const Data::String &key)
{
    return std::any_of(m_keys.cbegin(), m_keys.cend(),
                       [&](const QString &prefix) { return key.startsWith(prefix); });
}

} // namespace Utils
