#include "utils/signals/SignalBlocker.h"

namespace Utils {

SignalBlocker::SignalBlocker(QObject *object, bool unblock)
{
    if (!object || object->signalsBlocked() != unblock)
        return;

    m_object = object;
    object->blockSignals(!unblock);
}

SignalBlocker::SignalBlocker(const SignalBlocker &other) = default;
SignalBlocker &SignalBlocker::operator=(const SignalBlocker &other) = default;
SignalBlocker::~SignalBlocker() { reset(); }

void SignalBlocker::reset()
{
    if (!m_object)
        return;

    m_object->blockSignals(!m_object->signalsBlocked());
    m_object.clear();
}

} // namespace Utils
