// A store of settings whose file is made of the input: what is read of it and stored again is read
// again. Each input goes through the text of a settings file. One in WHOLE_WAY of them, by its
// bytes, goes through files as well, which takes twenty times as long.

#include "utils/settings/Settings.h"

#include "utils/settings/IniText_p.h"

#include "fuzz/Input.h"
#include "tests/support/SettingsHome.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

using Data::String;
using Utils::Settings;

static const SettingsHome home;

/// Whether the group of \p key comes back in another case: Qt writes that one in its own.
static bool isRenamed(const String &key)
{
    const QLatin1String general("General/");
    return key.startsWith(general, Qt::CaseInsensitive) && !key.startsWith(general);
}

/// Whether \p value is a list without items: Qt stores it as it stores the invalid value.
static bool isEmptyList(const QVariant &value)
{
    const bool isList =
        value.userType() == QMetaType::QVariantList || value.userType() == QMetaType::QStringList;
    return isList && value.toList().isEmpty();
}

/// Whether \p value equals another one of the same content: what has a NaN, and a QSizePolicy
/// without QtWidgets, equals none.
static bool equalsItself(const QVariant &value)
{
    if (value.userType() == QMetaType::QSizePolicy)
        return false;
    // Containers that share their items are equal without a look at them.
    switch (value.userType()) {
    case QMetaType::QVariantList: {
        const QVariantList items = value.toList();
        return std::all_of(items.begin(), items.end(), equalsItself);
    }
    case QMetaType::QVariantMap: {
        const QVariantMap items = value.toMap();
        return std::all_of(items.begin(), items.end(), equalsItself);
    }
    case QMetaType::QVariantHash: {
        const QVariantHash items = value.toHash();
        return std::all_of(items.begin(), items.end(), equalsItself);
    }
    default:
        return value == value;
    }
}

/// All values at \p group and below it. \p prefix is the group followed by "/", or "".
static void collect(const Settings &settings, const String &group, const String &prefix,
                    QMap<QString, QVariant> &values)
{
    // An empty name is that of a key with too many "/" in the file: it is the group itself.
    for (const QString &key : settings.keys(group)) {
        const String path = prefix + key;
        const Data::Variant value = settings.getValue(path);
        // The invalid value would remove the key.
        const bool isComparable = equalsItself(value) && !isEmptyList(value);
        if (!key.isEmpty() && value.isValid() && isComparable && !isRenamed(path))
            values.insert(path, value);
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

/// The names of the store at \p number: each is a file of its own, as what QSettings has kept of
/// a file is known by its name.
static QString useStore(int number)
{
    QCoreApplication::setApplicationName(QStringLiteral("Fuzz%1").arg(number));
    return SettingsHome::file();
}

/// Reads \p text, writes what was read, and reads that.
static void checkText(const QByteArray &text)
{
    namespace IniText = Utils::IniText;
    QSettings::SettingsMap values;
    const QSettings::SettingsMap all = IniText::read(text);
    for (auto value = all.begin(); value != all.end(); ++value) {
        const QVariant built = IniText::built(*value);
        built.toString();
        built.toBool();
        built.toInt();
        // A name that is empty comes from a file that somebody edited, and is not written again.
        const bool isNormal = !value.key().split(QLatin1Char('/')).contains(QString());
        if (isNormal && !isRenamed(value.key()))
            values.insert(value.key(), *value);
    }
    const QByteArray written = IniText::write(values);
    const QSettings::SettingsMap again = IniText::read(written);
    requireEqual(again.keys(), values.keys(), "the keys that were written are read");
    requireEqual(IniText::write(again), written, "what was read is written alike again");
}

/// Whether the input goes through files, too: the same one always does.
static bool goesTheWholeWay(const QByteArray &bytes)
{
    return qChecksum(bytes.constData(), static_cast<uint>(bytes.size())) % WHOLE_WAY == 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    checkText(bytes);
    if (!goesTheWholeWay(bytes))
        return 0;

    static int number = 0;
    number = (number + 1) % 1000;
    const QString path = useStore(number);
    QDir().mkpath(QFileInfo(path).path());
    {
        QFile file(path);
        require(file.open(QIODevice::WriteOnly), "a file of settings is written");
        file.write(bytes);
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
