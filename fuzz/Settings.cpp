// A store of settings whose file is made of the input: what is read of it and stored again is read
// again.

#include "utils/settings/Settings.h"

#include "fuzz/Input.h"
#include "tests/support/SettingsHome.h"

#include <QDir>
#include <QFileInfo>

using Data::String;
using Utils::Settings;

static const SettingsHome home;

/// Whether the group of \p key comes back in another case: Qt writes that one in its own.
static bool isRenamed(const String &key)
{
    const QLatin1String general("General/");
    return key.startsWith(general, Qt::CaseInsensitive) && !key.startsWith(general);
}

/// All values at \p group and below it. \p prefix is the group with a "/" behind it, or "".
static void collect(const Settings &settings, const String &group, const String &prefix,
                    QMap<QString, QVariant> &values)
{
    // An empty name is that of a key with too many "/" in the file: it is the group itself.
    for (const QString &key : settings.keys(group)) {
        const String path = prefix + key;
        const Data::Variant value = settings.getValue(path);
        if (!key.isEmpty() && value.isValid() && !isRenamed(path))
            values.insert(path, value); // the invalid value would remove the key
    }
    for (const QString &child : settings.groups(group)) {
        if (child.isEmpty())
            continue;
        const String path = prefix + child;
        collect(settings, path, path + QLatin1Char('/'), values);
    }
}

static QMap<QString, QVariant> valuesOf(const Settings &settings, const String &group = String())
{
    QMap<QString, QVariant> values;
    settings.beginGroup(group);
    collect(settings, String(), String(), values);
    settings.endGroup();
    return values;
}

/// The texts of \p values: their types hold only as long as the store is open.
static QMap<QString, QString> textsOf(const QMap<QString, QVariant> &values)
{
    QMap<QString, QString> texts;
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        texts.insert(value.key(), value.value().toString());
    return texts;
}

/// The names of the store at \p number: each is a file of its own, as what the toolkit has kept of
/// a file is known by its name.
static QString useStore(int number)
{
    QCoreApplication::setApplicationName(QStringLiteral("Fuzz%1").arg(number));
    return SettingsHome::file();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int number = 0;
    number = (number + 1) % 1000;
    const QString path = useStore(number);
    QDir().mkpath(QFileInfo(path).path());
    {
        QFile file(path);
        require(file.open(QIODevice::WriteOnly), "a file of settings is written");
        file.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    }

    QMap<QString, QVariant> values;
    {
        const Settings settings;
        values = valuesOf(settings);
        for (auto value = values.cbegin(); value != values.cend(); ++value) {
            settings.getBool(value.key());
            settings.getInt(value.key());
            settings.getColor(value.key());
            settings.getString(value.key());
        }
    }
    QFile::remove(path);

    const QString copy = useStore(number + 1000);
    {
        Settings settings;
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            settings.setValue(value.key(), Data::Variant(value.value()));
        requireEqual(valuesOf(settings), values, "what is stored is there");
    }
    const QString moved = useStore(number + 2000);
    QFile::rename(copy, moved);
    {
        const Settings settings;
        requireEqual(textsOf(valuesOf(settings)), textsOf(values), "what was stored is read");
    }
    {
        // Names that differ in nothing but case go a way of their own.
        const String name = QStringLiteral("fuzz_Copy");
        const String other = QStringLiteral("FUZZ_COPY");
        Settings settings;
        settings.copyKey(String(), name, /*recursive=*/true);
        requireEqual(textsOf(valuesOf(settings, name)), textsOf(values), "a copy is the same");
        settings.renameKey(name, other, /*recursive=*/true);
        requireEqual(textsOf(valuesOf(settings, other)), textsOf(values), "and is when renamed");
        require(valuesOf(settings, name).isEmpty(), "the old name has nothing");
        settings.removeKey(other);
        requireEqual(textsOf(valuesOf(settings)), textsOf(values), "and can be removed");
    }
    QFile::remove(moved);
    return 0;
}
