#include "utils/signals/Slot.h"

#include "data/IDataItem.h"
#include "utils/signals/Signal.h"
#include "utils/signals/Slot_p.h"

#include <utility>

namespace Utils {

Slot::Slot(const char *name, QObject *parent) : QObject(parent)
{
    setObjectName(Data::String(name));
}

Slot::~Slot() = default;

Slot &Slot::setCallback(void (*function)())
{
    return installCallback(std::make_unique<FunctionCB>(function));
}

Slot &Slot::setCallback(void (*function)(const Slot *))
{
    return installCallback(std::make_unique<FunctionCB>(function));
}

Slot &Slot::setCallback(void (*function)(const Data::VariantCollection &))
{
    return installCallback(std::make_unique<FunctionCB>(function));
}

void Slot::resetCallback() { m_callback.reset(); }

Data::VariantCollection Slot::data() const
{
    const auto *signal = qobject_cast<const Signal *>(sender());
    return signal ? signal->data() : m_data;
}

QObject *Slot::getSender() const { return sender(); }

Data::String Slot::signalName() const
{
    const auto *signal = qobject_cast<const Signal *>(sender());
    return signal ? signal->objectName() : QString();
}

bool Slot::isEnabled() const { return m_enabled; }

void Slot::setEnabled(bool enabled) { m_enabled = enabled; }

int Slot::flag() const { return m_flag; }

void Slot::setFlag(int flag) { m_flag = flag; }

bool Slot::connect(QObject *sender, const char *signal)
{
    return QObject::connect(sender, signal, this, SLOT(onSig()));
}

void Slot::onSig(const Data::String &key, const Data::Variant &value)
{
    const StoredDelivery delivery(this, m_data);
    m_data[key] = value;
    onSig();
}

void Slot::onSig(const Data::Variant &value)
{
    const StoredDelivery delivery(this, m_data);
    if (value.userType() == Data::itemTypeId())
        m_data[QStringLiteral("item")] = value;
    onSig();
}

void Slot::onSig(const Data::VariantCollection &payload)
{
    if (!m_enabled)
        return;

    const StoredDelivery delivery(this, m_data);
    m_data = payload;
    if (m_callback)
        m_callback->call(this);
}

void Slot::onSig()
{
    if (m_enabled && m_callback)
        m_callback->call(this);
}

Slot &Slot::installCallback(std::unique_ptr<SlotCB> callback)
{
    m_callback = std::move(callback);
    return *this;
}

} // namespace Utils
