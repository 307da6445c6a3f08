#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/settings/Settings.h"

#include <QStringList>

#include <limits>
#include <optional>
#include <type_traits>

namespace Utils {

/// A setting with its key, its default and its range in one object, to be defined once and used
/// everywhere.
///
///     const Utils::Setting<int> width("View/width", 640, 1, 10000);
///     width.value();   // 640, when nothing is stored
///     width.set(800);  // sends "View/width"
///     width.set(0);    // false: out of the range
///     width.reset();   // 640 again
///
/// T is bool, int, double, Data::String, QStringList, or an enum, which is stored as its number.
///
/// A stored value that does not convert to T, or is out of the range, is ignored: value() returns
/// the default. Such a value may come from another program, or from a user who has edited the file.
/// For a bool, only "true", "1", "false" and "0" convert, in any case. This differs from
/// Settings::getBool(), which returns true for every other text that is not empty, even "no".
///
/// The object holds no value. Each call uses the store that a new Settings object would use, and
/// the key from the root of that store. So the object may be static.
template <typename T>
class Setting
{
    static_assert(std::is_same<T, bool>::value || std::is_same<T, int>::value ||
                      std::is_same<T, double>::value || std::is_same<T, Data::String>::value ||
                      std::is_same<T, QStringList>::value || std::is_enum<T>::value,
                  "a setting is a bool, int, double, Data::String, QStringList or an enum");

public:
    /// A setting with any value.
    Setting(const Data::String &key, const T &defaultValue) : m_key(key), m_default(defaultValue) {}

    /// A setting with a value from \p least to \p most, both included. T must be int, double or an
    /// enum. \p defaultValue need not be in the range.
    Setting(const Data::String &key, const T &defaultValue, const T &least, const T &most)
        : m_key(key), m_default(defaultValue), m_range(Range{least, most})
    {
        static_assert(std::is_same<T, int>::value || std::is_same<T, double>::value ||
                          std::is_enum<T>::value,
                      "only numbers and enums have a range");
    }

    const Data::String &key() const { return m_key; }
    const T &defaultValue() const { return m_default; }

    /// The smallest and the largest value, for an editor of the setting; those of T without a
    /// range. T must be int or double.
    T least() const
    {
        static_assert(std::is_arithmetic<T>::value && !std::is_same<T, bool>::value,
                      "only numbers have a smallest value");
        return m_range ? m_range->least : std::numeric_limits<T>::lowest();
    }
    T most() const
    {
        static_assert(std::is_arithmetic<T>::value && !std::is_same<T, bool>::value,
                      "only numbers have a largest value");
        return m_range ? m_range->most : std::numeric_limits<T>::max();
    }

    /// The stored value, or the default.
    T value() const
    {
        const std::optional<T> held = converted(Settings().getValue(m_key, stored(m_default)));
        return held && isInRange(*held) ? *held : m_default;
    }

    /// Stores \p value by Settings::setValue(). False, with nothing stored, when it is out of the
    /// range or the key has no name. NaN is out of every range.
    bool set(const T &value) const
    {
        if (!isInRange(value) || m_key.count(QLatin1Char('/')) == m_key.size())
            return false;
        Settings().setValue(m_key, stored(value));
        return true;
    }

    /// Whether value() is the default, stored or not.
    bool isDefault() const { return value() == m_default; }

    /// Removes the stored value, and all values below the key, by Settings::removeKey().
    void reset() const { Settings().removeKey(m_key); }

private:
    struct Range
    {
        T least;
        T most;
    };

    static Data::Variant stored(const T &value)
    {
        if constexpr (std::is_enum<T>::value)
            return static_cast<int>(value);
        else
            return value;
    }

    static std::optional<T> converted(const Data::Variant &value)
    {
        bool isGood = value.isValid();
        if constexpr (std::is_same<T, QStringList>::value) {
            return value.toStringList(); // a list without items is stored as an invalid variant
        } else if constexpr (std::is_same<T, Data::String>::value) {
            return isGood ? std::optional<T>(value.toString()) : std::nullopt;
        } else if constexpr (std::is_same<T, bool>::value) {
            // A later process reads a bool or a number as text, so this one does, too.
            const Data::String text = value.toString();
            const auto isAny = [&](const char *a, const char *b) {
                return text.compare(QLatin1String(a), Qt::CaseInsensitive) == 0 ||
                       text == QLatin1String(b);
            };
            const bool isTrue = isAny("true", "1");
            return isTrue || isAny("false", "0") ? std::optional<T>(isTrue) : std::nullopt;
        } else if constexpr (std::is_same<T, double>::value) {
            const double number = value.toDouble(&isGood);
            return isGood ? std::optional<T>(number) : std::nullopt;
        } else {
            const int number = value.toInt(&isGood);
            return isGood ? std::optional<T>(static_cast<T>(number)) : std::nullopt;
        }
    }

    bool isInRange(const T &value) const
    {
        if constexpr (std::is_same<T, int>::value || std::is_same<T, double>::value ||
                      std::is_enum<T>::value)
            return !m_range || (value >= m_range->least && value <= m_range->most);
        else
            return true;
    }

    Data::String m_key;
    T m_default;
    std::optional<Range> m_range;
};

} // namespace Utils
