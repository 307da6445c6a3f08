#pragma once

#include "data/String.h"
#include "data/Variant.h"

#include <QMap>
#include <QMetaType>

namespace Data {

/// Values by name, in key order: the payload of the signal bus. Copies share their contents.
using VariantCollection = QMap<String, Variant>;

} // namespace Data

Q_DECLARE_METATYPE(Data::VariantCollection)
