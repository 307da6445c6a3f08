#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// A point in time as one double: seconds since 1970-01-01 00:00 UTC, with the milliseconds in the
/// fraction. A value of 0 or below means that there is no time.
///
/// Text is in local time. Names of months and days are in the language of the system, not of the
/// default QLocale. Digits are written as 0 to 9 in every language; the digits of the language of
/// the system are read, too. A conversion to a calendar date truncates the fraction to
/// milliseconds: 1.001 becomes 1000 ms, because the nearest double is slightly below 1.001.
///
/// A value that no calendar date represents (NaN, infinite, more than 290 million years away) has
/// no text, except with formatSerialize(), and nextSecond() to nextMonth() return 0 for it.
///
///     const DateTime saved(path, DateTime::formatPath());
///     const Data::String day = saved.toString("yyyy-MM-dd");                     // "2020-03-04"
///     const Data::String age = DateTime::toString(saved.elapsed(), 0, 0).trimmed(); // "2 hours"
class KELMUTILS_EXPORT DateTime
{
public:
    DateTime(); ///< now

    // With these two overloads, a plain int as in DateTime(0) is ambiguous: write 0u or 0.0.
    DateTime(unsigned int seconds);
    DateTime(double time) : m_time(time) {}

    /// Reads a time from \p text. The value is 0 when \p text is not a time in the format
    /// \p format.
    ///
    ///     formatSerialize()  => the number of seconds, in the C locale
    ///     formatPath()       => the last modification of the file or folder with the path \p text
    ///     ""                 => as formatDefault()
    ///     any other          => a date pattern of QDateTime
    ///
    /// A time before 1970 is read, but its value is below 0, and so isValid() returns false for it.
    ///
    /// \compat Only as many characters of \p text are read as the pattern has. Further text is
    /// ignored. Where a field of the text is longer than its pattern, the end of the field is lost:
    /// "d" reads "12" as 1, and "MMM" finds no month in a longer name. So formatUI() cannot read a
    /// time with a two-digit day or hour.
    DateTime(const Data::String &text, const Data::String &format);

    /// The stored value: seconds since 1970.
    double timeId() const { return m_time; }

    /// Whole seconds since 1970. 4294967295 for a time before 1970 or after 2106, and for a value
    /// that no calendar date represents.
    unsigned int toTime_t() const;

    /// Whether the value is a time, that is, above 0. False for NaN.
    bool isValid() const { return m_time > 0.0; }

    /// The seconds from this time to now.
    double elapsed() const;

    /// The seconds from \p other to this time.
    double operator-(const DateTime &other) const { return m_time - other.m_time; }

    /// The start of the following second, minute, hour, day or month in local time. Works for
    /// values of 0 or below, too.
    ///
    /// The result is always later than this time, even where the clocks are set back. A day whose
    /// midnight is skipped when the clocks are set forward starts with its first moment. Where the
    /// clocks change by less than an hour, nextHour() may return a time that is no full hour.
    DateTime nextSecond() const;
    DateTime nextMinute() const;
    DateTime nextHour() const;
    DateTime nextDay() const;
    DateTime nextMonth() const;

    /// The time as text in a date pattern of QDateTime; formatDefault() when \p format is empty. ""
    /// when there is no time.
    ///
    /// With formatSerialize(), the result is the number of seconds with three decimals, for any
    /// value. formatPath() is a pattern like any other here.
    Data::String toString(const Data::String &format) const;

    /// A duration in words, without its sign.
    ///
    ///     toString(3661.5, 1, 0)  => "1 hour 1 minute 1 second"
    ///     toString(3661.5, 1, 1)  => "1 hr 1 min 1 sec"
    ///     toString(90061.0, 0, 0) => "1 day 1 hour "
    ///     toString(2.5, 1, 1)     => "2.500 sec"
    ///     toString(0.0, 0, 0)     => ""
    ///
    /// \p precision selects what is shown:
    ///
    ///     0        => no fraction, no seconds from 11 minutes on, no minutes from 6 hours on
    ///     above 0  => everything, but the fraction only below 5 seconds
    ///     below 0  => everything
    ///
    /// \p style selects the words for the units:
    ///
    ///     -1         => "d", "h", "m", "s"
    ///     0          => "day", "hour", "minute", "second", with an "s" added above 1
    ///     1          => "d", "hr", "min", "sec"
    ///     any other  => "day", "hour", "minute", "second"
    ///
    /// Returns "" for NaN and from 2147483648 seconds on.
    ///
    /// \compat The space after a day, hour or minute stays at the end of the text. A fraction that
    /// rounds up to a whole second is not carried: 2.9996 is "2.1000 seconds".
    static Data::String toString(double seconds, int precision, int style);

    /// Parses a duration and returns it in seconds. A number that cannot be read counts as 0.
    ///
    ///     "1:30"            => 90       minutes and seconds
    ///     "1:00:00"         => 3600     hours, minutes and seconds
    ///     "1:2:3:4"         => 62       minutes and seconds; further sections are ignored
    ///     "2 days 3 hours"  => 183600   units are words that start with "d", "h", "m" or "s"
    ///     "90"              => 90       a bare number is seconds
    ///
    /// \compat Corners of the form with units:
    /// - A number after the last unit is ignored: "1 hour 30" is 3600.
    /// - A number and its unit must be separated by exactly one space: "2d" and "2  days" are 0.
    /// - A space at the end makes a bare number 0.
    /// - When a unit occurs several times, the last number counts.
    /// - Words in upper case are no units.
    static double toDiff(const Data::String &text);

    /// Converts \p seconds to days, hours or minutes, with a fraction. Returns 0 for a negative
    /// number.
    static double days(double seconds);
    static double hours(double seconds);
    static double minutes(double seconds);

    static const Data::String &formatDefault();   ///< "dd MMM yyyy hh:mm:ss"
    static const Data::String &formatISO();       ///< "yyyy-MM-ddThh:mm:ss"
    static const Data::String &formatISOms();     ///< "yyyy-MM-ddThh:mm:ss.zzz"
    static const Data::String &formatPath();      ///< "_path", a marker instead of a pattern
    static const Data::String &formatSerialize(); ///< "_serialize", a marker instead of a pattern
    static const Data::String &formatUI();        ///< "MMM d, yyyy @ h:mm"

private:
    double m_time;
};

} // namespace Utils
