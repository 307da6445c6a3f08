#include "utils/text/DateTime.h"

#include "utils/base/FileStatus_p.h"
#include "utils/text/DateTime_p.h"

#include <QDateTime>

#include <cmath>
#include <limits>

namespace Utils {

static const qint64 millisecondsPerSecond = 1000;
static const qint64 millisecondsPerMinute = 60 * millisecondsPerSecond;
static const qint64 millisecondsPerHour = 60 * millisecondsPerMinute;

// Slightly less than the range of 64 bits, so that a month or a time zone can be added.
static const double farthestMilliseconds = 9.2e18;

static double inSeconds(qint64 milliseconds) { return static_cast<double>(milliseconds) / 1000.0; }

static double fromQDateTime(const QDateTime &dateTime)
{
    return inSeconds(dateTime.toMSecsSinceEpoch());
}

/// Returns an invalid QDateTime for a time that is out of range.
static QDateTime toQDateTime(double time)
{
    const double milliseconds = time * 1000.0;
    if (!(std::abs(milliseconds) <= farthestMilliseconds)) // true for NaN, too
        return {};
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(milliseconds));
}

// Calculates in milliseconds since 1970, because a local time of day is ambiguous in the hour that
// the clocks repeat.
static DateTime nextUnit(double time, qint64 unit)
{
    const QDateTime from = toQDateTime(time);
    if (!from.isValid())
        return 0.0;
    const QDateTime ahead = from.addMSecs(unit);
    const qint64 past = ahead.time().msecsSinceStartOfDay() % unit;
    return inSeconds(from.toMSecsSinceEpoch() + unit - past);
}

// Does not set the time of the day to 0:00, which the clocks may skip: a step would then end where
// it began. A zone that moves across the date line skips a whole day.
static DateTime startOfDay(const QDate &day)
{
    const QDateTime start = day.startOfDay();
    return fromQDateTime(start.isValid() ? start : day.addDays(1).startOfDay());
}

// Not by the current local time, which is ambiguous in the hour that the clocks repeat.
DateTime::DateTime() : m_time(inSeconds(QDateTime::currentMSecsSinceEpoch())) {}

DateTime::DateTime(unsigned int seconds) : m_time(fromQDateTime(QDateTime::fromTime_t(seconds))) {}

DateTime::DateTime(const Data::String &text, const Data::String &format) : m_time(0.0)
{
    if (format == formatSerialize()) {
        m_time = text.toDouble();
        return;
    }

    if (format == formatPath()) {
        m_time = inSeconds(fileStatus(text).modified);
        return;
    }

    const Data::String &pattern = format.isEmpty() ? formatDefault() : format;
    const QDateTime dateTime = QDateTime::fromString(text.left(pattern.size()), pattern);
    if (dateTime.isValid())
        m_time = fromQDateTime(dateTime);
}

unsigned int DateTime::toTime_t() const { return toQDateTime(m_time).toTime_t(); }

double DateTime::elapsed() const { return DateTime() - *this; }

DateTime DateTime::nextSecond() const { return nextUnit(m_time, millisecondsPerSecond); }
DateTime DateTime::nextMinute() const { return nextUnit(m_time, millisecondsPerMinute); }
DateTime DateTime::nextHour() const { return nextUnit(m_time, millisecondsPerHour); }

DateTime DateTime::nextDay() const
{
    const QDateTime from = toQDateTime(m_time);
    return from.isValid() ? startOfDay(from.date().addDays(1)) : 0.0;
}

DateTime DateTime::nextMonth() const
{
    const QDateTime from = toQDateTime(m_time);
    if (!from.isValid())
        return 0.0;
    const QDate day = from.date().addMonths(1);
    return startOfDay(day.addDays(1 - day.day()));
}

Data::String DateTime::toString(const Data::String &format) const
{
    if (format == formatSerialize())
        return QString::number(m_time, 'f', 3);
    if (!isValid())
        return {};
    return dateTimeText(toQDateTime(m_time), format.isEmpty() ? formatDefault() : format);
}

QString dateTimeText(const QDateTime &dateTime, const QString &pattern)
{
    QString text = dateTime.toString(pattern);
    for (QChar &character : text) {
        if (character.isDigit())
            character = QLatin1Char(static_cast<char>('0' + character.digitValue()));
    }
    return text;
}

static QString unitWord(QLatin1String word, int count, int style)
{
    QString full = word;
    switch (style) {
    case -1:
        return full.left(1);
    case 0:
        return count > 1 ? full + QLatin1Char('s') : full;
    case 1:
        if (word == QLatin1String("day"))
            return QStringLiteral("d");
        if (word == QLatin1String("hour"))
            return QStringLiteral("hr");
        return full.left(3);
    default:
        return full;
    }
}

Data::String DateTime::toString(double seconds, int precision, int style)
{
    const double length = std::abs(seconds);
    if (!(length < std::numeric_limits<int>::max() + 1.0)) // true for NaN, too
        return {};

    const int total = static_cast<int>(length);
    int milliseconds = static_cast<int>((length + 0.0005 - total) * 1000);
    const int wholeDays = total / 86400;
    const int wholeHours = total % 86400 / 3600;
    int wholeMinutes = total % 3600 / 60;
    int wholeSeconds = total % 60;

    if (precision == 0) {
        if (wholeDays > 0 || wholeHours > 0 || wholeMinutes > 10)
            wholeSeconds = 0;
        if (wholeDays > 0 || wholeHours > 5)
            wholeMinutes = 0;
        milliseconds = 0;
    }

    QString fraction;
    const bool isShort = wholeDays == 0 && wholeHours == 0 && wholeMinutes == 0 && wholeSeconds < 5;
    if (milliseconds > 0 && (precision < 0 || isShort))
        fraction = QStringLiteral(".%1").arg(milliseconds, 3, 10, QLatin1Char('0'));

    QString text;
    const auto append = [&](int count, QLatin1String word) {
        if (count > 0)
            text += QStringLiteral("%1 %2 ").arg(count).arg(unitWord(word, count, style));
    };
    append(wholeDays, QLatin1String("day"));
    append(wholeHours, QLatin1String("hour"));
    append(wholeMinutes, QLatin1String("minute"));

    const QLatin1String second("second");
    if (wholeSeconds > 0) {
        text += QStringLiteral("%1%3 %2")
                    .arg(wholeSeconds)
                    .arg(unitWord(second, wholeSeconds, style), fraction);
    } else if (!fraction.isEmpty()) {
        text += QStringLiteral("0%1 %2").arg(fraction, unitWord(second, 1, style));
    }
    return text;
}

double DateTime::toDiff(const Data::String &text)
{
    double wholeDays = 0.0;
    double wholeHours = 0.0;
    double wholeMinutes = 0.0;
    double wholeSeconds = 0.0;

    const QLatin1Char colon(':');
    if (text.contains(colon)) {
        const QStringList sections = text.split(colon);
        const int first = sections.size() == 3 ? 1 : 0;
        if (first == 1)
            wholeHours = sections[0].toDouble();
        wholeMinutes = sections[first].toDouble();
        wholeSeconds = sections[first + 1].toDouble();
    } else {
        double pending = 0.0;
        const auto moveTo = [&pending](double &part) {
            part = pending;
            pending = 0.0;
        };
        const QStringList pieces = text.split(QLatin1Char(' '));
        for (const QString &piece : pieces) {
            if (piece.startsWith(QLatin1Char('d')))
                moveTo(wholeDays);
            else if (piece.startsWith(QLatin1Char('h')))
                moveTo(wholeHours);
            else if (piece.startsWith(QLatin1Char('m')))
                moveTo(wholeMinutes);
            else if (piece.startsWith(QLatin1Char('s')))
                moveTo(wholeSeconds);
            else
                pending = piece.toDouble();
        }
        if (wholeDays + wholeHours + wholeMinutes + wholeSeconds == 0.0)
            wholeSeconds = pending;
    }

    return wholeDays * 60 * 60 * 24 + wholeHours * 60 * 60 + wholeMinutes * 60 + wholeSeconds;
}

double DateTime::days(double seconds) { return seconds < 0.0 ? 0.0 : seconds / 86400.0; }
double DateTime::hours(double seconds) { return seconds < 0.0 ? 0.0 : seconds / 3600.0; }
double DateTime::minutes(double seconds) { return seconds < 0.0 ? 0.0 : seconds / 60.0; }

const Data::String &DateTime::formatDefault() { return DateTimeFormats::standard; }
const Data::String &DateTime::formatISO() { return DateTimeFormats::iso; }
const Data::String &DateTime::formatISOms() { return DateTimeFormats::isoMs; }
const Data::String &DateTime::formatPath() { return DateTimeFormats::path; }
const Data::String &DateTime::formatSerialize() { return DateTimeFormats::serialize; }
const Data::String &DateTime::formatUI() { return DateTimeFormats::ui; }

} // namespace Utils
