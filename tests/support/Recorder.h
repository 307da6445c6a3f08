#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"

#include <QObject>
#include <QStringList>
#include <QVariant>

#include <functional>

/// A receiver with a method for each shape of a signal, which notes what comes in, in order, and
/// then reacts to it.
///
///     bare()          "sig()"
///     single(1)       "sig(1)"
///     pair("a", 1)    "sig(a, 1)"
///     payload({a=1})  "sig({a=1})"
class Recorder : public QObject
{
    Q_OBJECT

public:
    QStringList calls;
    std::function<void()> reaction; ///< called after each entry of calls

public Q_SLOTS:
    void bare();
    void single(const Data::Variant &value);
    void pair(const Data::String &key, const Data::Variant &value);
    void payload(const Data::VariantCollection &data);

    // Shapes that no signal has.
    void text(const Data::String &text);
    void qtVariant(const QVariant &value);
    void mixed(const Data::VariantCollection &data, const Data::String &, const Data::Variant &);
    void swapped(const Data::Variant &value, const Data::String &text);

private:
    void note(const QString &call);
};

/// Connects all four shapes, against the order of the emissions, which must not matter.
template <typename Sender>
bool connectAllShapes(Sender &signal, const Recorder &recorder)
{
    return signal.connect(&recorder, SLOT(payload(const Data::VariantCollection &))) &&
           signal.connect(&recorder, SLOT(pair(const Data::String &, const Data::Variant &))) &&
           signal.connect(&recorder, SLOT(single(const Data::Variant &))) &&
           signal.connect(&recorder, SLOT(bare()));
}

/// Adds \p payload to what \p signal holds already and sends.
template <typename Sender>
bool send(Sender &signal, const Data::VariantCollection &payload)
{
    for (auto entry = payload.begin(); entry != payload.end(); ++entry)
        signal.addData(entry.key(), *entry);
    return signal.sendSignals();
}
