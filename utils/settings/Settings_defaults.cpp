#include "utils/settings/Settings.h"

#include "utils/base/LastError_p.h"
#include "utils/settings/SettingsStore_p.h"

namespace Utils {

// A text that is the value of no real setting: a key that returns it as the default is not set.
static const QLatin1String unsetMarker("aslfkhj asgflmnsdflkjsacasdlkj");

static const QLatin1String flagsKey("Default");

Settings &Settings::setDefault(const Data::String &key, const Data::Variant &value,
                               bool keepDefault)
{
    if (isNameless(key))
        return *this;

    const LastError operation;
    const auto isUnset = [&] {
        const Data::Variant stored = m_settings->storedValue(key, QString(unsetMarker));
        return stored.toString() == unsetMarker;
    };
    if (isUnset()) {
        if (!m_settings->isRead())
            m_settings->keepDefault(key, value);
        else if (isUnset()) // also in what may have been read again
            m_settings->setValue(key, value);
    }
    if (keepDefault)
        m_settings->setValue(key + "_default", value);
    return *this;
}

void Settings::setFlags(const Data::String &group, bool canExport, bool canReset)
{
    const QLatin1String exportWord(canExport ? "export" : "noexport");
    const QLatin1String resetWord(canReset ? "reset" : "noreset");
    const GroupScope scope(*m_settings, group);
    m_settings->setValue(flagsKey, QString(exportWord + QLatin1Char(' ') + resetWord));
}

bool Settings::canExport(const Data::String &group) const
{
    return group != QLatin1String("MRU") && !hasFlag(group, QLatin1String("noexport"));
}

bool Settings::canReset(const Data::String &group) const
{
    return !hasFlag(group, QLatin1String("noreset"));
}

bool Settings::hasFlag(const Data::String &group, QLatin1String word) const
{
    const GroupScope scope(*m_settings, group);
    const QString flags = m_settings->value(flagsKey, QString()).toString();
    return flags.contains(word);
}

} // namespace Utils
