#include "tests/support/Recorder.h"

#include "tests/support/Print.h"

void Recorder::bare() { note("sig()"); }

void Recorder::single(const Data::Variant &value) { note("sig(" + describe(value) + ")"); }

void Recorder::pair(const Data::String &key, const Data::Variant &value)
{
    note("sig(" + key + ", " + describe(value) + ")");
}

void Recorder::payload(const Data::VariantCollection &data) { note("sig(" + describe(data) + ")"); }

void Recorder::text(const Data::String &text) { note("text(" + text + ")"); }

void Recorder::qtVariant(const QVariant &value) { note("qtVariant(" + value.toString() + ")"); }

void Recorder::mixed(const Data::VariantCollection &data, const Data::String &,
                     const Data::Variant &)
{
    note("mixed(" + describe(data) + ")");
}

void Recorder::swapped(const Data::Variant &value, const Data::String &text)
{
    note("swapped(" + describe(value) + ", " + text + ")");
}

void Recorder::note(const QString &call)
{
    calls.append(call);
    const std::function<void()> react = reaction; // which may replace itself or delete us
    if (react)
        react();
}
