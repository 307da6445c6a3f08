#pragma once

namespace Data {

/// Makes the types of namespace Data known to Qt by name, so that spies and queued connections can
/// carry a payload. A Data::String in a variant converts to a QString from then on.
struct MetaTypes
{
    MetaTypes();
};
extern const MetaTypes metaTypes;

} // namespace Data
