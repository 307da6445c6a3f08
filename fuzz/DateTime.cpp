// Times and durations as text: what is written is read back as the same time.

#include "utils/text/DateTime.h"

#include "fuzz/Input.h"

#include <cmath>

using Utils::DateTime;

/// Clocks that are set forward and back, on every machine.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    return 0;
}

static void checkTime(const DateTime &time, const Data::String &format)
{
    time.toString(format);
    time.toTime_t();
    const Data::String number = time.toString(DateTime::formatSerialize());
    const DateTime again(number, DateTime::formatSerialize());
    // -0.000 is read as a zero without a sign.
    if (number.toDouble() != 0.0 || again.timeId() != 0.0)
        requireEqual(again.toString(DateTime::formatSerialize()), number, "a number is read back");

    const double lastTime = 250e9; // the year has four digits
    const double seconds = time.timeId();
    if (!(std::abs(seconds) < lastTime))
        return;
    for (const DateTime &next :
         {time.nextSecond(), time.nextMinute(), time.nextHour(), time.nextDay(), time.nextMonth()})
        require(next.timeId() > seconds, "the next unit is later");
    if (!time.isValid())
        return;
    // The hour that comes twice is read as one of both, and milliseconds are cut off.
    const DateTime read(time.toString(DateTime::formatISOms()), DateTime::formatISOms());
    const double difference = std::abs(read.timeId() - seconds);
    require(difference < 0.002 || std::abs(difference - 3600) < 0.002, "a time is read back");
}

static void checkDuration(const Data::String &text)
{
    const double seconds = DateTime::toDiff(text);
    for (int style = -1; style <= 2; ++style) {
        for (int precision = -1; precision <= 1; ++precision)
            DateTime::toString(seconds, precision, style);
        if (!(std::abs(seconds) < 2147483648.0))
            continue;
        const double whole = std::trunc(std::abs(seconds));
        requireEqual(DateTime::toDiff(DateTime::toString(whole, 1, style)), whole,
                     "a duration is read back");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int kind = input.choice(7);
    if (kind == 0) {
        checkDuration(textOf(input.rest()));
        return 0;
    }
    const Data::String formats[] = {DateTime::formatDefault(), DateTime::formatISO(),
                                    DateTime::formatISOms(),   DateTime::formatSerialize(),
                                    DateTime::formatUI(),      textOf(input.line())};
    const Data::String format = formats[kind - 1];
    if (format == DateTime::formatPath())
        return 0;
    checkTime(DateTime(textOf(input.rest()), format), format);
    return 0;
}
