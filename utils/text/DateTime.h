#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// A point in time as one double: seconds since 1970-01-01 00:00 UTC, with the milliseconds in the
/// fraction. 0 or below means that there is no time.
///
/// Text is in local time, and names of months and days are in the language of the system, not of
/// the default QLocale. Digits are written as 0 to 9 in any language; those of the language of the
/// system are read, too. The fraction is cut to milliseconds where a calendar is asked, never
/// rounded: 1.001 is 1000 ms there, as the double lies just below it.
///
/// A value that no calendar holds (not a number, infinite, further away than 290 million years) has
/// no text but for formatSerialize(), and no unit follows it.
///
///     const DateTime saved(path, DateTime::formatPath());
///     const Data::String day = saved.toString("yyyy-MM-dd");                     // "2020-03-04"
///     const Data::String age = DateTime::toString(saved.elapsed(), 0, 0).trimmed(); // "2 hours"
class KELMUTILS_EXPORT DateTime
{
public:
    DateTime(); ///< now

    // The two numbers make a plain int, as in DateTime(0), ambiguous: write 0u or 0.0.
    DateTime(unsigned int seconds);
    DateTime(double time) : m_time(time) {}

    /// Reads a time from \p text, 0 when there is none in it.
    ///
    ///     formatSerialize()  the number of seconds, read in the C locale
    ///     formatPath()       a path; the time is the last modification of what is there
    ///     ""                 as formatDefault()
    ///     otherwise          a date pattern of QDateTime
    ///
    /// Only as many characters are read as the pattern has, so a text may go on behind it, and a
    /// pattern that is shorter than its text loses the end of it: "d" reads "12" as 1, and "MMM"
    /// finds no month in a longer name. So formatUI() reads no time of a two-digit day or hour. All
    /// this is meant. A time before 1970 is read, but counts as none.
    DateTime(const Data::String &text, const Data::String &format);

    /// The seconds since 1970, as held.
    double timeId() const { return m_time; }

    /// Whole seconds since 1970. 4294967295 for a time before 1970 or after 2106.
    unsigned int toTime_t() const;

    /// Whether there is a time. Not a number is none.
    bool isValid() const { return m_time > 0.0; }

    /// The seconds from this time to now.
    double elapsed() const;

    /// The seconds from \p other to this time.
    double operator-(const DateTime &other) const { return m_time - other.m_time; }

    /// The start of the following second, minute, hour, day or month in local time.
    ///
    /// It always lies behind this time, also where the clocks are set back. A day whose midnight
    /// the clocks skip starts with its first moment. Where they move by less than an hour, a full
    /// hour is counted as if they had not. A value of 0 or below is stepped like any other.
    DateTime nextSecond() const;
    DateTime nextMinute() const;
    DateTime nextHour() const;
    DateTime nextDay() const;
    DateTime nextMonth() const;

    /// The time in a date pattern of QDateTime, formatDefault() when \p format is empty. "" when
    /// there is no time.
    ///
    /// With formatSerialize() the number itself, with three decimals and whatever it is. With
    /// formatPath(), which has no meaning here, that text taken as a pattern.
    Data::String toString(const Data::String &format) const;

    /// A duration in words, without its sign.
    ///
    ///     toString(3661.5, 1, 0)  => "1 hour 1 minute 1 second"
    ///     toString(3661.5, 1, 1)  => "1 hr 1 min 1 sec"
    ///     toString(90061.0, 0, 0) => "1 day 1 hour "
    ///     toString(2.5, 1, 1)     => "2.500 sec"
    ///     toString(0.0, 0, 0)     => ""
    ///
    /// \p precision 0 leaves out the seconds from 11 minutes on and the minutes from 6 hours on, or
    /// with any hour or day, and shows no fraction. Above 0 a fraction is shown below 5 seconds,
    /// below 0 it always is.
    ///
    /// \p style picks the unit words: -1 "d", "h", "m", "s"; 0 "day" or "days" and so on; 1 "d",
    /// "hr", "min", "sec"; any other "day", "hour", "minute", "second".
    ///
    /// It is meant that the blank behind a day, hour or minute stays at the end, and that a
    /// fraction which rounds up to a second is not carried: 2.9996 is "2.1000 seconds". "" for what
    /// is no number, and from 2147483648 seconds on.
    static Data::String toString(double seconds, int precision, int style);

    /// A duration from text, in seconds. What cannot be read counts as 0.
    ///
    ///     "1:30"            => 90       minutes and seconds
    ///     "1:00:00"         => 3600     hours, minutes and seconds
    ///     "1:2:3:4"         => 62       minutes and seconds; further sections are ignored
    ///     "2 days 3 hours"  => 183600   units are words that start with "d", "h", "m" or "s"
    ///     "90"              => 90       a bare number is seconds
    ///
    /// In words, each of these is meant: a number behind the last unit is dropped ("1 hour 30" is
    /// 3600), a number must stand apart from its unit ("2d" is 0), the last of several words of a
    /// unit holds, a blank at the end or a doubled one makes a number 0, and upper case is no unit.
    static double toDiff(const Data::String &text);

    /// \p seconds as days, hours or minutes. 0 for a negative number.
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
