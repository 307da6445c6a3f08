#pragma once

#include "data/String.h"
#include "data/Variant.h"

#include <QMap>
#include <QMetaType>

namespace Data {

/// Values by name, in the order of the names. It is the type of the payload of a Utils::Signal.
/// Copies share their contents.
using VariantCollection = QMap<String, Variant>;

} // namespace Data

Q_DECLARE_METATYPE(Data::VariantCollection)
