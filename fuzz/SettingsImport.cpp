// A file of any bytes is imported into settings. When it is refused, nothing has changed. When it
// is accepted, what was stored is exported, and that is accepted and stores the same.

#include "utils/settings/Settings.h"

#include "fuzz/Input.h"
#include "tests/support/SettingsHome.h"

#include <QMap>
#include <QSettings>

using Data::String;
using Utils::Settings;

static const SettingsHome home;

/// All values of the store by their keys, as texts.
static QMap<QString, QString> stored()
{
    // One object for all inputs: each new one would write what is pending.
    static const QSettings &settings = *new QSettings;
    QMap<QString, QString> values;
    for (const QString &key : settings.allKeys())
        values.insert(key, QString::fromUtf8(QVariant(settings.value(key)).typeName()) + ' ' +
                               settings.value(key).toStringList().join('|'));
    return values;
}

/// Those of them in \p group.
static QMap<QString, QString> in(const QString &group, const QMap<QString, QString> &values)
{
    QMap<QString, QString> result;
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (value.key().startsWith(group + '/'))
            result.insert(value.key().mid(group.size() + 1), *value);
    }
    return result;
}

/// Stores what each input begins with.
static void fill(Settings settings)
{
    settings.removeKey("to").removeKey("copy");
    settings.setInt("to/a", 1).setString("to/g/b", "2").setInt("to/k", 3).setInt("to/k_default", 4);
    settings.setFlags("to/private", /*canExport=*/false, /*canReset=*/true);
    settings.setInt("to/private/a", 5).setInt("to/MRU/files/aa", 6);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFile imported("imported.ini");
    static const ScratchFile exported("exported.ini");
    // Never destroyed, so that nothing is written to the disk between inputs.
    static auto &settings = *new Settings;
    static auto &to = *new Settings("to");
    static auto &copy = *new Settings("copy");
    static QMap<QString, QString> before; // empty when something has changed
    if (before.isEmpty()) {
        fill(settings);
        before = stored();
    }

    imported.write(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    const bool isAccepted = to.importFrom(imported.path());
    const QMap<QString, QString> after = stored();
    if (!isAccepted) {
        requireEqual(after, before, "what is refused changes nothing");
        return 0;
    }

    for (const char *key :
         {"to/k_default", "to/private/Default", "to/private/a", "to/MRU/files/aa"})
        requireEqual(after[key], before[key], "what is not exported is not imported");
    for (const QString &key : before.keys())
        require(after.contains(key), "other values stay");
    before.clear();

    require(to.exportTo(exported.path()), "what was imported can be exported");
    require(copy.importFrom(exported.path()), "what was exported can be imported");
    require(copy.exportTo(imported.path()), "and exported again");
    const QByteArray text = exported.read();
    // The order of a QVariantHash changes each time when it is written and read.
    if (!text.contains("\\x1c"))
        requireEqual(imported.read(), text, "as the same text");
    for (const QString &key : in("copy", stored()).keys())
        require(after.contains("to/" + key), "a copy has no other keys");
    return 0;
}
