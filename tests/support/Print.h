#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"

#include <QtTest>

// How values of the library are shown when QCOMPARE fails.

inline QString describe(const Data::Variant &value)
{
    return value.isValid() ? value.toString() : Data::String("invalid");
}

/// As "{a=1, b=x}".
inline QString describe(const Data::VariantCollection &payload)
{
    QStringList entries;
    for (auto entry = payload.begin(); entry != payload.end(); ++entry)
        entries.append(entry.key() + "=" + describe(*entry));
    return "{" + entries.join(", ") + "}";
}

namespace QTest {

template <>
inline char *toString(const Data::String &text)
{
    return toString<QString>(text);
}

template <>
inline char *toString(const Data::Variant &value)
{
    return toString<QVariant>(value);
}

template <>
inline char *toString(const Data::VariantCollection &payload)
{
    return toString<QString>(describe(payload));
}

} // namespace QTest
