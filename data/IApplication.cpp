#include "data/IApplication.h"

namespace Data {

IApplication::~IApplication() = default;

} // namespace Data
