#include "utils/Application.h"

#include "utils/Application_p.h"

namespace Utils {

static Data::IApplication *currentApplication = nullptr;

void setApplication(Data::IApplication *app) { currentApplication = app; }

Data::IApplication *application() { return currentApplication; }

} // namespace Utils
