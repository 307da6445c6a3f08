#include "data/MetaTypes_p.h"

#include "data/IDataItem.h"
#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"

namespace Data {

MetaTypes::MetaTypes()
{
    qRegisterMetaType<String>();
    qRegisterMetaType<Variant>();
    qRegisterMetaType<VariantCollection>();
    itemTypeId();

    if (!QMetaType::hasRegisteredConverterFunction<String, QString>())
        QMetaType::registerConverter<String, QString>();
}

} // namespace Data
