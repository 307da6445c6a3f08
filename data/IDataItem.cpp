#include "data/IDataItem.h"

namespace Data {

IDataItem::~IDataItem() = default;

Variant itemVariant(IDataItem *item) { return QVariant::fromValue(item); }

IDataItem *itemOf(const QVariant &variant)
{
    return variant.userType() == itemTypeId() ? variant.value<IDataItem *>() : nullptr;
}

int itemTypeId() { return qMetaTypeId<IDataItem *>(); }

} // namespace Data
