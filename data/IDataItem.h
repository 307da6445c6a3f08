#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QMetaType>

namespace Data {

/// Something of the host's that travels through a variant as a pointer, by custom under the
/// payload key "item". The library never owns one.
class KELMUTILS_EXPORT IDataItem
{
public:
    virtual ~IDataItem();

    /// The item's text, as it is written into documents.
    virtual String toString() const = 0;
};

/// The variant that carries \p item, which must be alive for as long as someone may read it.
KELMUTILS_EXPORT Variant itemVariant(IDataItem *item);

/// The item that \p variant carries, or null when it carries none. A pointer to a class derived
/// from IDataItem is none: only what itemVariant() made is recognised.
KELMUTILS_EXPORT IDataItem *itemOf(const QVariant &variant);

/// The meta-type id of "Data::IDataItem*", registered at the first call.
KELMUTILS_EXPORT int itemTypeId();

} // namespace Data

Q_DECLARE_METATYPE(Data::IDataItem *)
