#include "utils/settings/Settings.h"

#include "utils/base/LastError_p.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/SettingsStore_p.h"
#include "utils/signals/SignalTracer_p.h"

#include <QMetaMethod>

#include <algorithm>

namespace Utils {

// Set when the signal of the process, which the first use constructs, has been destroyed. Static
// objects of a host that are destroyed later can still write settings.
static bool signalHasDied = false;

namespace {

/// The signal of the process, which knows whether it has receivers. A payload costs several times
/// as much as the change of a setting, so without receivers none is built.
class ChangeSignal : public SettingsSignal
{
public:
    ChangeSignal() : SettingsSignal("SettingChanged") {}

    static ChangeSignal &ofProcess()
    {
        static ChangeSignal signal;
        static const struct EndOfSignal
        {
            ~EndOfSignal() { signalHasDied = true; }
        } endOfSignal;
        return signal;
    }

    bool hasReceivers()
    {
        if (SignalTracer::active) // which is called for each send
            return true;
        // Not every disconnection is reported, and the query takes a lock for each emission.
        if (m_mayHaveReceivers)
            m_mayHaveReceivers = isAnyConnected();
        return m_mayHaveReceivers;
    }

    /// Leaves the signal as a send without receivers does.
    void skip()
    {
        clearAborted();
        clearData();
    }

protected:
    void connectNotify(const QMetaMethod &signal) override
    {
        m_mayHaveReceivers = true;
        SettingsSignal::connectNotify(signal);
    }

private:
    bool isAnyConnected() const
    {
        const QMetaObject &type = Signal::staticMetaObject;
        for (int i = type.methodOffset(); i < type.methodCount(); ++i) {
            const QMetaMethod method = type.method(i);
            if (method.methodType() == QMetaMethod::Signal && isSignalConnected(method))
                return true;
        }
        return false;
    }

    bool m_mayHaveReceivers = false;
};

} // namespace

Settings::Settings(const Data::String &group) : m_settings(std::make_shared<SettingsStore>())
{
    if (!group.isEmpty())
        m_settings->beginGroup(group);
}

Settings::Settings(const Settings &other) = default;
Settings &Settings::operator=(const Settings &other) = default;
Settings::~Settings() = default; // the groups end with the QSettings

Settings &Settings::beginGroup(const Data::String &group) const
{
    m_settings->beginGroup(group);
    return const_cast<Settings &>(*this);
}

Settings &Settings::endGroup() const
{
    m_settings->endGroup();
    return const_cast<Settings &>(*this);
}

Data::Variant Settings::getValue(const Data::String &key, const Data::Variant &defaultValue) const
{
    return isNameless(key) ? defaultValue : Data::Variant(m_settings->value(key, defaultValue));
}

bool Settings::getBool(const Data::String &key, bool defaultValue) const
{
    return getValue(key, defaultValue).toBool();
}

int Settings::getInt(const Data::String &key, int defaultValue) const
{
    return getValue(key, defaultValue).toInt();
}

Data::String Settings::getString(const Data::String &key, const Data::String &defaultValue) const
{
    return getValue(key, defaultValue).toString();
}

Data::Color Settings::getColor(const Data::String &key, const Data::Color &defaultValue) const
{
    const Data::Color color = Data::Color::fromVariant(getValue(key, defaultValue));
    return color.isValid() ? color : defaultValue;
}

Settings &Settings::setValue(const Data::String &key, const Data::Variant &value)
{
    if (isNameless(key))
        return *this;

    if (value.isValid())
        m_settings->setValue(key, value);
    else
        m_settings->remove(key);

    if (signalHasDied)
        return *this;
    ChangeSignal &signal = ChangeSignal::ofProcess();
    if (signal.hasReceivers())
        notify(fullKey(*m_settings, key), value);
    else
        signal.skip();
    return *this;
}

Settings &Settings::setBool(const Data::String &key, bool value) { return setValue(key, value); }

Settings &Settings::setInt(const Data::String &key, int value) { return setValue(key, value); }

Settings &Settings::setString(const Data::String &key, const Data::String &value)
{
    return setValue(key, value);
}

Settings &Settings::setColor(const Data::String &key, const Data::Color &value)
{
    return setValue(key, value);
}

Settings &Settings::removeKey(const Data::String &key) { return setValue(key, Data::Variant()); }

QStringList Settings::keys(const Data::String &group) const
{
    const GroupScope scope(*m_settings, group);
    QStringList names = m_settings->childKeys();
    names.sort(Qt::CaseSensitive); // not every store sorts them
    return names;
}

QStringList Settings::groups(const Data::String &group) const
{
    const GroupScope scope(*m_settings, group);
    QStringList names = m_settings->childGroups();
    names.sort(Qt::CaseSensitive);
    return names;
}

bool Settings::sync()
{
    const LastError operation;
    return m_settings->sync() || LastError::setFor(".err.settings", m_settings->reason());
}

Settings::Status Settings::status(Data::String *reason) const
{
    const QString failure = m_settings->reason();
    if (reason)
        *reason = failure;
    if (!failure.isEmpty())
        return Failed;
    return m_settings->isStored() ? Stored : Pending;
}

SettingsSignal &Settings::SettingChanged() { return ChangeSignal::ofProcess(); }

bool Settings::isSettingChangedAlive() { return !signalHasDied; }

bool Settings::isNameless(const Data::String &key)
{
    return std::all_of(key.begin(), key.end(), [](QChar c) { return c == QLatin1Char('/'); });
}

Data::String Settings::fullKey(const SettingsStore &settings, const Data::String &key)
{
    const QString group = settings.group();
    return group.isEmpty() ? key : Data::String(group + QLatin1Char('/') + key);
}

void Settings::notify(const Data::String &fullKey, const Data::Variant &value)
{
    if (signalHasDied)
        return;
    const LastError::Apart ofReceivers; // the reason is that of the operation that sends
    SettingChanged().send(fullKey, value);
}

} // namespace Utils
