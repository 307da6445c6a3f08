#pragma once

// Every public header of the library.

#include "data/Array.h"
#include "data/Color.h"
#include "data/IApplication.h"
#include "data/IDataItem.h"
#include "data/Interval.h"
#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Application.h"
