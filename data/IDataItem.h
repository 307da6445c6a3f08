#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QMetaType>

namespace Data {

/// An object of the host. A variant carries a pointer to it, see itemVariant(). In the payload of a
/// signal, the key of such a variant is "item" by convention. The library never owns an item.
class KELMUTILS_EXPORT IDataItem
{
public:
    virtual ~IDataItem();

    /// The text of the item, as written to documents.
    virtual String toString() const = 0;
};

/// A variant that carries \p item, which must outlive all readers of the variant.
KELMUTILS_EXPORT Variant itemVariant(IDataItem *item);

/// The item that \p variant carries, or null when it carries none. Only variants made by
/// itemVariant() are recognised: a pointer to a derived class, stored directly, is not.
KELMUTILS_EXPORT IDataItem *itemOf(const QVariant &variant);

/// The meta-type id of "Data::IDataItem*", registered by the first call.
KELMUTILS_EXPORT int itemTypeId();

} // namespace Data

Q_DECLARE_METATYPE(Data::IDataItem *)
