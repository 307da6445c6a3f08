#include "utils/files/File.h"

#include "utils/files/File_p.h"
#include "utils/platform/Platform.h"
#include "utils/settings/Settings.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>

namespace Utils {

static const QLatin1Char dot('.');

static Data::String withSlashes(QString name) { return name.replace(dot, QLatin1Char('/')); }

/// The first of \p paths that exists, or "".
static Data::String firstOf(std::initializer_list<Data::String> paths)
{
    for (const Data::String &path : paths) {
        const QFileInfo file(path);
        if (file.exists())
            return file.filePath();
    }
    return {};
}

static Data::String findInQt(const Data::String &name, const Data::String &extension)
{
    const Data::String root(":/");
    if (name.endsWith(extension))
        return firstOf({root + name});
    if (!name.contains(dot))
        return firstOf({root + name + extension});

    const Data::String withoutLastFolder = name.section(dot, 0, -3) + dot + name.section(dot, -1);
    return firstOf({root + name + extension, root + withSlashes(name) + extension,
                    root + withSlashes(withoutLastFolder) + extension});
}

static Data::String findInResources(const Data::String &name, const Data::String &extension,
                                    const Data::String &prefix)
{
    const Data::String &root = SearchPaths::resources;
    Data::String found = firstOf({File::join(root, prefix + name)});
    if (!found.isEmpty() || extension.isEmpty() || name.endsWith(extension))
        return found;

    const Data::String file = name + extension;
    const Data::String plugin = withSlashes(name) + extension;
    if (!name.contains(dot))
        return firstOf({File::join(root, prefix + file), File::join(root, "locale", file)});
    return firstOf({File::join(root, prefix + file), File::join(root, "locale", file),
                    File::join(root, "locale", "plugins", plugin)});
}

static Data::String findInPlugins(const Data::String &name, const Data::String &extension)
{
    const Data::String &root = SearchPaths::plugins;
    if (root.isEmpty())
        return {};

    Data::String found = firstOf({File::join(root, name)});
    if (!found.isEmpty() || !name.contains(dot))
        return found;

    Data::String folder = File::join(root, withSlashes(name.section(dot, 0, -2)));
    if (!QFileInfo::exists(folder))
        folder = File::join(root, withSlashes(name.section(dot, 0, -3)));
    if (!QFileInfo::exists(folder))
        return {};

    const Data::String leaf = name.section(dot, -1);
    const Data::String file = leaf + extension;
    return firstOf({File::join(folder, leaf, file), File::join(folder, file),
                    File::join(folder, "res", file)});
}

Data::String File::findResource(const Data::String &name, const Data::String &extensions)
{
    if (name.isEmpty())
        return {};
    if (isFile(name))
        return name;

    // Never destroyed, because static objects of a host may still call this function when the
    // process ends.
    static auto &cache = *new QMap<Data::String, Data::String>;
    const Data::String key = name + extensions;
    const auto known = cache.constFind(key);
    if (known != cache.constEnd())
        return *known;

    const bool isImage = !extensions.isEmpty() && imageFilter(true).contains(extensions);
    const Data::String prefix = isImage ? "icons/" : "";

    const QStringList pieces = extensions.split(QLatin1Char(';'));
    for (const QString &extension : pieces) {
        Data::String found = findInQt(name, extension);
        if (found.isEmpty())
            found = findInResources(name, extension, prefix);
        if (found.isEmpty())
            found = findInPlugins(name, extension);
        if (!found.isEmpty()) {
            cache.insert(key, found);
            return found;
        }
    }
    return {};
}

void File::setSearchPath(const Data::String &resourcePath, const Data::String &pluginPath)
{
    SearchPaths::resources = resourcePath;
    SearchPaths::plugins = pluginPath;
}

Data::String File::tempPath() { return Settings().getString("gui/tempPath", QDir::tempPath()); }

QStringList File::templatePaths()
{
    const Data::String shared = QString::fromStdString(Platform::sharedDataFolder());
    return {join(shared, "TORVE", "templates"), join(SearchPaths::resources, "templates")};
}

} // namespace Utils
