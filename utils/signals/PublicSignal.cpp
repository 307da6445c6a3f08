#include "utils/signals/PublicSignal.h"

namespace Utils {

PublicSignal::PublicSignal(const char *name, QObject *parent) : Signal(name, parent) {}

PublicSignal::~PublicSignal() = default;

bool PublicSignal::sendSignals() { return Signal::sendSignals(); }

} // namespace Utils
