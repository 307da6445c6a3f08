#include "utils/text/DateTime.h"

#include "utils/files/File.h"

#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QProcess>
#include <QtTest>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>
#include <type_traits>

#include <fcntl.h>
#include <sys/stat.h>

using Data::String;
using Utils::DateTime;

static const double infinity = std::numeric_limits<double>::infinity();
static const double notANumber = std::numeric_limits<double>::quiet_NaN();
static const unsigned int noTime_t = 4294967295u;

static double now() { return QDateTime::currentMSecsSinceEpoch() / 1000.0; }

/// The seconds of a time in UTC, written as "2020-03-29 01:00:00.000".
static double utc(const QString &text)
{
    const QDateTime read = QDateTime::fromString(text, "yyyy-MM-dd hh:mm:ss.zzz");
    return QDateTime(read.date(), read.time(), Qt::UTC).toMSecsSinceEpoch() / 1000.0;
}

/// As utc() reads it.
static QString inUtc(const DateTime &time)
{
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(qRound64(time.timeId() * 1000.0));
    return moment.toUTC().toString("yyyy-MM-dd hh:mm:ss.zzz");
}

static const char berlin[] = "Europe/Berlin";

static void setZone(const char *name)
{
#ifdef _WIN32 // whose C library knows no zones by name: that of the system, which is to be Berlin
    Q_UNUSED(name)
    qunsetenv("TZ");
#else
    qputenv("TZ", name);
#endif
    tzset();
}

/// Changes the time zone for a scope.
class Zone
{
public:
    explicit Zone(const char *name) { setZone(name); }
    ~Zone() { setZone(berlin); }
    Q_DISABLE_COPY(Zone)
};

class tst_DateTime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const QDateTime summer(QDate(2020, 3, 29), QTime(1, 0), Qt::UTC);
        if (summer.toLocalTime().time() != QTime(3, 0) ||
            summer.addSecs(-1).toLocalTime().time() != QTime(1, 59, 59))
            SKIP_ON_WINDOWS("the time zone of the system is not that of Berlin");
    }

    void isOneNumber()
    {
        QCOMPARE(sizeof(DateTime), sizeof(double));
        QVERIFY(std::is_trivially_copyable_v<DateTime>);
        QVERIFY(!std::is_polymorphic_v<DateTime>);
    }

    void knowsNamedFormats()
    {
        QCOMPARE(DateTime::formatDefault(), String("dd MMM yyyy hh:mm:ss"));
        QCOMPARE(DateTime::formatISO(), String("yyyy-MM-ddThh:mm:ss"));
        QCOMPARE(DateTime::formatISOms(), String("yyyy-MM-ddThh:mm:ss.zzz"));
        QCOMPARE(DateTime::formatPath(), String("_path"));
        QCOMPARE(DateTime::formatSerialize(), String("_serialize"));
        QCOMPARE(DateTime::formatUI(), String("MMM d, yyyy @ h:mm"));
    }

    void startsAsNow()
    {
        const double before = now();
        const DateTime time;
        const double after = now();

        QVERIFY(time.timeId() >= before);
        QVERIFY(time.timeId() <= after);
    }

    void holdsWholeSeconds_data()
    {
        QTest::addColumn<unsigned int>("seconds");

        QTest::newRow("none") << 0u;
        QTest::newRow("one") << 1u;
        QTest::newRow("a day in 2020") << 1583298367u;
        QTest::newRow("after 2038") << 3000000000u;
        QTest::newRow("the last") << 4294967294u;
    }

    void holdsWholeSeconds()
    {
        QFETCH(unsigned int, seconds);

        const DateTime time(seconds);

        QCOMPARE(time.timeId(), double(seconds));
        QCOMPARE(time.toTime_t(), seconds);
    }

    void holdsTheNumberAsGiven_data()
    {
        QTest::addColumn<double>("number");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<unsigned int>("seconds"); // toTime_t

        const double largest = std::numeric_limits<double>::max();
        const double smallest = std::numeric_limits<double>::denorm_min();
        QTest::newRow("none") << 0.0 << false << 0u;
        QTest::newRow("none, signed") << -0.0 << false << 0u;
        QTest::newRow("the least") << smallest << true << 0u;
        QTest::newRow("a fraction is cut") << 1.999 << true << 1u;
        QTest::newRow("before 1970") << -1.0 << false << noTime_t;
        QTest::newRow("a fraction before 1970") << -0.5 << false << 0u;
        QTest::newRow("the last time_t") << 4294967294.5 << true << 4294967294u;
        QTest::newRow("after time_t") << 4294967296.0 << true << noTime_t;
        QTest::newRow("no value") << 1e300 << true << noTime_t;
        QTest::newRow("largest") << largest << true << noTime_t;
        QTest::newRow("most negative") << -largest << false << noTime_t;
        QTest::newRow("infinite") << infinity << true << noTime_t;
        QTest::newRow("negative infinite") << -infinity << false << noTime_t;
        QTest::newRow("not a number") << notANumber << false << noTime_t;
    }

    void holdsTheNumberAsGiven()
    {
        QFETCH(double, number);
        QFETCH(bool, valid);
        QFETCH(unsigned int, seconds);

        const DateTime time(number);

        QVERIFY(time.timeId() == number || std::isnan(number));
        QCOMPARE(std::isnan(time.timeId()), std::isnan(number));
        QCOMPARE(time.isValid(), valid);
        QCOMPARE(time.toTime_t(), seconds);
    }

    void tellsTheSecondsBetweenTwoTimes()
    {
        QCOMPARE(DateTime(10.5) - DateTime(4.0), 6.5);
        QCOMPARE(DateTime(4.0) - DateTime(10.5), -6.5);
        QCOMPARE(DateTime(4.0) - DateTime(-1.0), 5.0);
    }

    void tellsTheSecondsSinceATime_data()
    {
        QTest::addColumn<double>("ago");

        QTest::newRow("past") << 100.0;
        QTest::newRow("future") << -100.0;
    }

    void tellsTheSecondsSinceATime()
    {
        QFETCH(double, ago);

        const double before = now();
        const DateTime time(before - ago);
        const double elapsed = time.elapsed();
        const double after = now();

        QVERIFY(elapsed >= ago - 1e-6);
        QVERIFY(elapsed <= ago + (after - before) + 1e-6);
    }

    // The time zone is Europe/Berlin: one hour ahead of UTC, two in summer.
    void readsText_data()
    {
        QTest::addColumn<String>("text");
        QTest::addColumn<String>("format");
        QTest::addColumn<QString>("expected"); // UTC; empty: no time

        const auto row = [](const char *name, const char *text, const String &format,
                            const char *expected) {
            QTest::newRow(name) << String(text) << format << QString(expected);
        };
        const String iso = DateTime::formatISO();
        const String isoMs = DateTime::formatISOms();
        const String ui = DateTime::formatUI();
        // clang-format off
        row("default format",         "04 Mar 2020 05:06:07",            "",           "2020-03-04 04:06:07.000");
        row("month in any case",      "04 mAR 2020 05:06:07",            "",           "2020-03-04 04:06:07.000");
        row("default, text after",    "04 Mar 2020 05:06:07 and more",   "",           "2020-03-04 04:06:07.000");
        row("default, cut short",     "04 Mar 2020 05:06",               "",           "");
        row("nonsense",               "nonsense",                        "",           "");
        row("nothing",                "",                                "",           "");
        row("nothing, ISO",           "",                                iso,          "");
        row("ISO",                    "2020-03-04T05:06:07",             iso,          "2020-03-04 04:06:07.000");
        row("ISO, text after",        "2020-03-04T05:06:07 trailing",    iso,          "2020-03-04 04:06:07.000");
        row("ISO, more digits",       "2020-03-04T05:06:078",            iso,          "2020-03-04 04:06:07.000");
        row("ISO, text before",       " 2020-03-04T05:06:07",            iso,          "");
        row("ISO, a day too many",    "2020-02-30T05:06:07",             iso,          "");
        row("ISO, hour 24",           "2020-02-20T24:00:00",             iso,          "");
        row("ISO in summer",          "2020-07-04T05:06:07",             iso,          "2020-07-04 03:06:07.000");
        row("ISO with ms",            "2020-03-04T05:06:07.089",         isoMs,        "2020-03-04 04:06:07.089");
        row("ISO with ms, Z",         "2020-03-04T05:06:07.089Z",        isoMs,        "2020-03-04 04:06:07.089");
        row("ISO with ms, no ms",     "2020-03-04T05:06:07",             isoMs,        "");
        row("for people",             "Mar 4, 2020 @ 5:06",              ui,           "2020-03-04 04:06:00.000");
        row("for people, longer day",      "Mar 14, 2020 @ 5:06",             ui,           "");
        row("for people, longer still","Mar 14, 2020 @ 15:06",            ui,           "");
        row("a digit is lost",        "12.03.2020",                      "d.MM.yyyy",  "");
        row("a digit is not lost",    "2.03.2020",                       "d.MM.yyyy",  "2020-03-01 23:00:00.000");
        row("a year is cut",          "2020-03",                         "yyyy",       "2019-12-31 23:00:00.000");
        row("1970",                   "01 Jan 1970 01:00:00",            "",           "");
        row("after 1970",             "01 Jan 1970 01:00:01",            "",           "1970-01-01 00:00:01.000");
        row("end of summer time",     "2020-10-25T03:00:00",             iso,          "2020-10-25 02:00:00.000");
        // clang-format on
    }

    void readsText()
    {
        QFETCH(String, text);
        QFETCH(String, format);
        QFETCH(QString, expected);

        const DateTime time(text, format);

        QCOMPARE(time.isValid(), !expected.isEmpty());
        QCOMPARE(inUtc(time), expected.isEmpty() ? QString("1970-01-01 00:00:00.000") : expected);
    }

    void readsATimeBefore1970()
    {
        const DateTime time("1969-12-31T01:00:00", DateTime::formatISO());

        QCOMPARE(time.timeId(), -86400.0);
        QVERIFY(!time.isValid());
    }

    void readsTheNumberItself_data()
    {
        QTest::addColumn<String>("text");
        QTest::addColumn<double>("expected");

        const auto row = [](const char *name, const char *text, double expected) {
            QTest::newRow(name) << String(text) << expected;
        };
        row("fraction", "1234.5", 1234.5);
        row("negative", "-2.25", -2.25);
        row("with an exponent", "1e3", 1000.0);
        row("blanks around", " 12 ", 12.0);
        row("malformed", "12 s", 0.0);
        row("decimal comma", "1,5", 0.0);
        row("nothing", "", 0.0);
        row("infinite", "inf", infinity);
    }

    void readsTheNumberItself()
    {
        QFETCH(String, text);
        QFETCH(double, expected);

        QCOMPARE(DateTime(text, DateTime::formatSerialize()).timeId(), expected);
    }

    void readsTheTimeOfAPath()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("a.txt");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        const auto setModified = [&](qint64 milliseconds) {
            const QDateTime time = QDateTime::fromMSecsSinceEpoch(milliseconds);
            return file.setFileTime(time, QFileDevice::FileModificationTime);
        };

        QVERIFY(setModified(1583298367089));
        QCOMPARE(inUtc(DateTime(path, DateTime::formatPath())), QString("2020-03-04 05:06:07.089"));
        QVERIFY(setModified(1583298368000)); // nothing is kept
        QCOMPARE(inUtc(DateTime(path, DateTime::formatPath())), QString("2020-03-04 05:06:08.000"));
    }

    void readsTheTimeOfAPathFromBeforeTheEpoch_data()
    {
        QTest::addColumn<QByteArray>("zone"); // in some of which Qt knows another time

        QTest::newRow("ahead by another time than now") << QByteArray("Asia/Kathmandu");
        QTest::newRow("on the other side of the date line") << QByteArray("Pacific/Apia");
        QTest::newRow("as now") << QByteArray("Europe/Berlin");
    }

    void readsTheTimeOfAPathFromBeforeTheEpoch()
    {
        SKIP_ON_WINDOWS("the time of a file is set in another way on Windows");
        QFETCH(QByteArray, zone);
        const QTemporaryDir folder;
        const QByteArray path = folder.filePath("a.txt").toUtf8();
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
        const Zone local(zone.constData());
        const auto timeOf = [&](time_t seconds, long nanoseconds) {
            const timespec times[] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
            utimensat(AT_FDCWD, path.constData(), times, 0);
            return DateTime(String(path.constData()), DateTime::formatPath()).timeId();
        };

        QCOMPARE(timeOf(-1, 250000000), -0.75);
        QCOMPARE(timeOf(0, 0), 0.0);
        QCOMPARE(timeOf(-100000000, 0), -100000000.0);
    }

    void readsTheTimeOfAFolder()
    {
        const QTemporaryDir folder;

        QVERIFY(DateTime(folder.path(), DateTime::formatPath()).elapsed() < 86400.0);
    }

    void readsNoTimeOfWhatIsNotThere()
    {
        QCOMPARE(DateTime("/no/such/file", DateTime::formatPath()).timeId(), 0.0);
        QCOMPARE(DateTime("", DateTime::formatPath()).timeId(), 0.0);
        QVERIFY(!DateTime("/no/such/file", DateTime::formatPath()).isValid());
    }

    void writesText_data()
    {
        QTest::addColumn<double>("time");
        QTest::addColumn<String>("format");
        QTest::addColumn<String>("expected");

        const auto row = [](const char *name, double time, const String &format,
                            const char *expected) {
            QTest::newRow(name) << time << format << String(expected);
        };
        const double winter = utc("2020-03-04 04:06:07.089");
        const double summer = utc("2020-07-04 03:06:07.000");
        const String number = DateTime::formatSerialize();
        // clang-format off
        row("default",                winter,     "",                        "04 Mar 2020 05:06:07");
        row("default, named",         winter,     DateTime::formatDefault(), "04 Mar 2020 05:06:07");
        row("ISO",                    winter,     DateTime::formatISO(),     "2020-03-04T05:06:07");
        row("ISO with ms",            winter,     DateTime::formatISOms(),   "2020-03-04T05:06:07.089");
        row("for people",             winter,     DateTime::formatUI(),      "Mar 4, 2020 @ 5:06");
        row("in summer",              summer,     DateTime::formatISO(),     "2020-07-04T05:06:07");
        row("any pattern",            winter,     "'on' d.M.yy",             "on 4.3.20");
#ifndef _WIN32 // where the zone has another name
        row("the path marker",        winter,     DateTime::formatPath(),    "_pamCET5"); // ap, t and h
#endif
        row("ms are cut",             1.0019,     "ss.zzz",                  "01.001");
        row("ms are cut in a double", 1.001,      "ss.zzz",                  "01.000");
        row("none",                   0.0,        "",                        "");
        row("none, ISO",              0.0,        DateTime::formatISO(),     "");
        row("before 1970",            -1.0,       "",                        "");
        row("far away",               1e12,       "yyyy",                    "33658");
        row("no value",               1e300,      "",                        "");
        row("infinite",               infinity,   "",                        "");
        row("not a number",           notANumber, "",                        "");
        row("number",                 1234.5,     number,                    "1234.500");
        row("number, rounded",        1.0019,     number,                    "1.002");
        row("number, none",           0.0,        number,                    "0.000");
        row("number, negative",       -2.25,      number,                    "-2.250");
        row("number, no exponent",    1e15,       number,                    "1000000000000000.000");
        row("number, infinite",       infinity,   number,                    "inf");
        row("number, not one",        notANumber, number,                    "nan");
        // clang-format on
    }

    void writesText()
    {
        QFETCH(double, time);
        QFETCH(String, format);
        QFETCH(String, expected);

        QCOMPARE(DateTime(time).toString(format), expected);
    }

    void readsTheNumberThatItWrites()
    {
        const String format = DateTime::formatSerialize();

        QCOMPARE(DateTime("1234.5", format).toString(format), String("1234.500"));
    }

    void readsTheTextThatItWrites()
    {
        const String text = "2020-03-04T05:06:07.089";
        const DateTime time(text, DateTime::formatISOms());

        QCOMPARE(time.toString(DateTime::formatISOms()), text);
        QCOMPARE(DateTime(time.toString(""), "").timeId(), std::floor(time.timeId()));
    }

    void namesMonthsInTheLanguageOfTheSystem()
    {
        SKIP_ON_WINDOWS("the language of Windows is set by no variable");
        QProcess process; // the language of a process is fixed
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "de_DE.UTF-8");
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), QStringList("--print-may"));
        QVERIFY(process.waitForFinished(-1));

        QCOMPARE(process.readAllStandardOutput(), QByteArray("04 Mai 2020 05:06:07\n"
                                                             "04 Mai 2020 05:06:07\n"
                                                             "\n"));
    }

    void writesTheDigitsOfFilesInAnyLanguage_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QByteArray>("month");

        QTest::newRow("Arabic") << "ar_EG.UTF-8" << QByteArray("مايو");
        QTest::newRow("Persian") << "fa_IR.UTF-8" << QByteArray("مهٔ");
        QTest::newRow("Burmese") << "my_MM.UTF-8" << QByteArray("မေ");
        QTest::newRow("German") << "de_DE.UTF-8" << QByteArray("Mai");
    }

    void writesTheDigitsOfFilesInAnyLanguage()
    {
        SKIP_ON_WINDOWS("the language of Windows is set by no variable");
        QFETCH(QString, language);
        QFETCH(QByteArray, month);
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", language);
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), QStringList("--print-digits"));
        QVERIFY(process.waitForFinished(-1));

        QCOMPARE(process.readAllStandardOutput(), "2020-05-04T05:06:07.000\n" // written
                                                  "2020-05-04T05:06:07.000\n" // and read
                                                  "2020-05-04T05:06:07.000\n" // in its own digits
                                                  "04 " +
                                                      month +
                                                      "\n"
                                                      "2020-05-04T05:06:07\n"); // of a file
    }

    void namesNoMonthInTheDefaultLocale()
    {
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::German));
        const String text = DateTime(utc("2020-05-04 03:06:07.000")).toString("");
        const bool isRead = DateTime("04 May 2020 05:06:07", "").isValid();
        QLocale::setDefault(before);

        QCOMPARE(text, String("04 May 2020 05:06:07"));
        QVERIFY(isRead);
    }

    void stepsToTheNextUnit_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("second");
        QTest::addColumn<QString>("minute");
        QTest::addColumn<QString>("hour");

        const auto row = [](const char *name, const QString &day, const char *from,
                            const char *second, const char *minute, const char *hour) {
            QTest::newRow(name) << day + from << day + second << day + minute << day + hour;
        };
        // clang-format off
        row("within",             "2020-05-06 ", "10:20:30.400", "10:20:31.000", "10:21:00.000", "11:00:00.000");
        row("from a start",       "2020-05-06 ", "10:00:00.000", "10:00:01.000", "10:01:00.000", "11:00:00.000");
        row("from an end",        "2020-05-06 ", "10:59:59.000", "11:00:00.000", "11:00:00.000", "11:00:00.000");
        row("from a last ms",     "2020-05-06 ", "10:59:59.999", "11:00:00.000", "11:00:00.000", "11:00:00.000");
        row("over a year",        "2020-12-31 ", "22:59:59.500", "23:00:00.000", "23:00:00.000", "23:00:00.000");
        row("to summer time",     "2020-03-29 ", "00:59:59.500", "01:00:00.000", "01:00:00.000", "01:00:00.000");
        row("before summer time", "2020-03-29 ", "00:30:00.000", "00:30:01.000", "00:31:00.000", "01:00:00.000");
        row("first 2:59:59",      "2020-10-25 ", "00:59:59.500", "01:00:00.000", "01:00:00.000", "01:00:00.000");
        row("first 2:30",         "2020-10-25 ", "00:30:00.000", "00:30:01.000", "00:31:00.000", "01:00:00.000");
        row("second 2:30",        "2020-10-25 ", "01:30:00.000", "01:30:01.000", "01:31:00.000", "02:00:00.000");
        row("second 2:59:59",     "2020-10-25 ", "01:59:59.500", "02:00:00.000", "02:00:00.000", "02:00:00.000");
        row("before 1970",        "1969-12-31 ", "10:59:58.500", "10:59:59.000", "11:00:00.000", "11:00:00.000");
        // clang-format on
    }

    void stepsToTheNextUnit()
    {
        QFETCH(QString, from);
        QFETCH(QString, second);
        QFETCH(QString, minute);
        QFETCH(QString, hour);
        const DateTime time(utc(from));

        QCOMPARE(inUtc(time.nextSecond()), second);
        QCOMPARE(inUtc(time.nextMinute()), minute);
        QCOMPARE(inUtc(time.nextHour()), hour);
        QCOMPARE(inUtc(time), from);
    }

    // Days and months start at 23:00 UTC, in summer at 22:00.
    void stepsToTheNextDay_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("day");
        QTest::addColumn<QString>("month");

        const auto row = [](const char *name, const char *from, const char *day,
                            const char *month) {
            QTest::newRow(name) << QString(from) << QString(day) << QString(month);
        };
        // clang-format off
        row("within",              "2020-05-06 10:20:30.400", "2020-05-06 22:00:00.000", "2020-05-31 22:00:00.000");
        row("from a start",        "2020-05-31 22:00:00.000", "2020-06-01 22:00:00.000", "2020-06-30 22:00:00.000");
        row("31 January",          "2020-01-31 12:00:00.000", "2020-01-31 23:00:00.000", "2020-01-31 23:00:00.000");
        row("29 February",         "2020-02-29 12:00:00.000", "2020-02-29 23:00:00.000", "2020-02-29 23:00:00.000");
        row("31 December",         "2020-12-31 12:00:00.000", "2020-12-31 23:00:00.000", "2020-12-31 23:00:00.000");
        row("28 February, common", "2021-02-28 12:00:00.000", "2021-02-28 23:00:00.000", "2021-02-28 23:00:00.000");
        row("day of summer time",  "2020-03-28 23:00:00.000", "2020-03-29 22:00:00.000", "2020-03-31 22:00:00.000");
        row("before that day",     "2020-03-28 12:00:00.000", "2020-03-28 23:00:00.000", "2020-03-31 22:00:00.000");
        row("day of winter time",  "2020-10-24 22:00:00.000", "2020-10-25 23:00:00.000", "2020-10-31 23:00:00.000");
        row("before that day",     "2020-10-24 12:00:00.000", "2020-10-24 22:00:00.000", "2020-10-31 23:00:00.000");
        row("local day, not UTC",  "2020-12-31 23:30:00.000", "2021-01-01 23:00:00.000", "2021-01-31 23:00:00.000");
        row("no time",             "1970-01-01 00:00:00.000", "1970-01-01 23:00:00.000", "1970-01-31 23:00:00.000");
        row("before 1970",         "1969-12-30 12:00:00.000", "1969-12-30 23:00:00.000", "1969-12-31 23:00:00.000");
        // clang-format on
    }

    void stepsToTheNextDay()
    {
        QFETCH(QString, from);
        QFETCH(QString, day);
        QFETCH(QString, month);
        const DateTime time(utc(from));

        QCOMPARE(inUtc(time.nextDay()), day);
        QCOMPARE(inUtc(time.nextMonth()), month);
        QCOMPARE(inUtc(time), from);
    }

    void movesAWholeSecondOnByExactlyOne()
    {
        QCOMPARE(DateTime(1583298367.0).nextSecond().timeId(), 1583298368.0);
    }

    void stepsOverAMidnightThatTheClocksSkip()
    {
        SKIP_ON_WINDOWS("the C library of Windows knows no zone by its name");
        const Zone zone("America/Sao_Paulo"); // 2017-10-15 starts at 1:00, which is 3:00 UTC
        const DateTime time(utc("2017-10-15 02:30:00.000"));

        QCOMPARE(inUtc(time.nextDay()), QString("2017-10-15 03:00:00.000"));
        QCOMPARE(inUtc(time.nextDay().nextDay()), QString("2017-10-16 02:00:00.000"));
    }

    void stepsOverADayThatTheClocksSkip()
    {
        SKIP_ON_WINDOWS("the C library of Windows knows no zone by its name");
        const Zone zone("Pacific/Apia"); // from the end of 2011-12-29, 10:00 UTC, to 2011-12-31
        const DateTime time(utc("2011-12-29 12:00:00.000"));

        QCOMPARE(inUtc(time.nextDay()), QString("2011-12-30 10:00:00.000"));
        QCOMPARE(inUtc(time.nextDay().nextDay()), QString("2011-12-31 10:00:00.000"));
    }

    void stepsForwardWhereTheClocksGoBackByHalfAnHour()
    {
        SKIP_ON_WINDOWS("the C library of Windows knows no zone by its name");
        const Zone zone("Australia/Lord_Howe"); // 2020-04-05 2:00, which is 15:00 UTC
        const DateTime time(utc("2020-04-04 14:10:00.000"));

        QCOMPARE(inUtc(time.nextHour()), QString("2020-04-04 14:30:00.000"));
        QCOMPARE(inUtc(time.nextHour().nextHour()), QString("2020-04-04 15:30:00.000"));
    }

    void hasNoUnitBehindWhatNoCalendarHolds_data()
    {
        QTest::addColumn<double>("time");

        QTest::newRow("no value") << 1e300;
        QTest::newRow("just too far") << 9.3e15;
        QTest::newRow("just too far before") << -9.3e15;
        QTest::newRow("infinite") << infinity;
        QTest::newRow("negative infinite") << -infinity;
        QTest::newRow("not a number") << notANumber;
    }

    void hasNoUnitBehindWhatNoCalendarHolds()
    {
        QFETCH(double, time);
        const DateTime far(time);

        for (const DateTime &next :
             {far.nextSecond(), far.nextMinute(), far.nextHour(), far.nextDay(), far.nextMonth()})
            QCOMPARE(next.timeId(), 0.0);
    }

    void stepsFarAway()
    {
        const DateTime far(9.1e15);

        for (const DateTime &next :
             {far.nextSecond(), far.nextMinute(), far.nextHour(), far.nextDay(), far.nextMonth()})
        {
            QVERIFY(next - far > 0.0);
            QVERIFY(next - far < 32 * 86400.0);
        }
    }

    void writesADurationInWords_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<int>("precision");
        QTest::addColumn<int>("style");
        QTest::addColumn<String>("expected");

        const auto row = [](const char *name, double seconds, int precision, int style,
                            const char *expected) {
            QTest::newRow(name) << seconds << precision << style << String(expected);
        };
        const double day = 86400.0;
        const double hour = 3600.0;
        // clang-format off
        row("all parts",               3661.5,              1,  0, "1 hour 1 minute 1 second");
        row("with a day",              90061.0,             1,  0, "1 day 1 hour 1 minute 1 second");
        row("rounded down",            90061.0,             0,  0, "1 day 1 hour ");
        row("fraction, abbreviated",   2.5,                 1,  1, "2.500 sec");
        row("fraction, letter",        0.25,               -1, -1, "0.250 s");
        row("negative",                -90.0,               1,  0, "1 minute 30 seconds");
        row("blank at the end",        3600.0,              1,  0, "1 hour ");
        row("nothing",                 0.0,                 0,  0, "");
        row("nothing, precise",        0.0,                -1,  0, "");
        row("nothing, signed",         -0.0,                1,  0, "");

        row("letters",                 day + hour + 61.0,   1, -1, "1 d 1 h 1 m 1 s");
        row("singular",                day + hour + 61.0,   1,  0, "1 day 1 hour 1 minute 1 second");
        row("abbreviations",           day + hour + 61.0,   1,  1, "1 d 1 hr 1 min 1 sec");
        row("words",                   day + hour + 61.0,   1,  2, "1 day 1 hour 1 minute 1 second");
        row("letters, many",           2 * (day + hour + 61.0), 1, -1, "2 d 2 h 2 m 2 s");
        row("plural",                  2 * (day + hour + 61.0), 1,  0, "2 days 2 hours 2 minutes 2 seconds");
        row("abbreviations, many",     2 * (day + hour + 61.0), 1,  1, "2 d 2 hr 2 min 2 sec");
        row("words, many",             2 * (day + hour + 61.0), 1,  2, "2 day 2 hour 2 minute 2 second");
        row("words, below -1",         2 * (day + hour + 61.0), 1, -2, "2 day 2 hour 2 minute 2 second");
        row("only days",               3 * day,             1,  0, "3 days ");
        row("days and seconds",        day + 5.0,           1,  0, "1 day 5 seconds");
        row("above a month",           400 * day + 1.0,     1,  0, "400 days 1 second");

        row("fraction below 5 s",      4.75,                1,  0, "4.750 seconds");
        row("no fraction from 5 s",    5.25,                1,  0, "5 seconds");
        row("but when precise",        5.25,               -1,  0, "5.250 seconds");
        row("no fraction after 1 min", 61.5,               1,  0, "1 minute 1 second");
        row("but when precise, too",   61.5,               -1,  0, "1 minute 1.500 second");
        row("no fraction after 1 h",   hour + 1.5,          1,  0, "1 hour 1 second");
        row("no fraction after 1 d",   day + 1.5,           1,  0, "1 day 1 second");
        row("precise after 1 d",       day + 0.5,          -1,  0, "1 day 0.500 second");
        row("any negative precision",  day + 0.5,          -7,  0, "1 day 0.500 second");
        row("any positive precision",  4.75,                9,  0, "4.750 seconds");
        row("fraction alone, plural",  0.75,                1,  0, "0.750 second");
        row("fraction alone, short",   0.75,                1,  1, "0.750 sec");
        row("fraction alone, word",    0.75,                1,  2, "0.750 second");
        row("fraction above a second", 1.25,                1,  0, "1.250 second");
        row("fraction padded",         0.002,               1,  0, "0.002 second");
        row("fraction rounded up",     0.0016,              1,  0, "0.002 second");
        row("fraction rounded down",   0.0014,              1,  0, "0.001 second");
        row("fraction too small",      0.0004,              1,  0, "");
        row("fraction just in sight",  0.0006,              1,  0, "0.001 second");
        row("fraction not carried",    2.9996,              1,  0, "2.1000 seconds");
        row("nor into a second",       0.9996,              1,  0, "0.1000 second");
        row("fraction in minutes",     60.25,              -1,  0, "1 minute 0.250 second");

        row("no fraction",             2.5,                 0,  0, "2 seconds");
        row("nothing left",            0.5,                 0,  0, "");
        row("seconds up to 10 min",    659.0,               0,  0, "10 minutes 59 seconds");
        row("minutes alone",           600.0,               0,  0, "10 minutes ");
        row("no seconds above",        661.0,               0,  0, "11 minutes ");
        row("seconds when precise",    661.0,               1,  0, "11 minutes 1 second");
        row("no seconds above 1 h",    hour + 61.0,         0,  0, "1 hour 1 minute ");
        row("minutes up to 5 h",       5 * hour + 3599.0,   0,  0, "5 hours 59 minutes ");
        row("no minutes above",        6 * hour + 60.0,     0,  0, "6 hours ");
        row("no minutes above 1 d",    day + 61.0,          0,  0, "1 day ");
        row("hours above 1 d",         9 * day + 7 * hour,  0,  0, "9 days 7 hours ");

        row("longest",                 2147483647.0,        1, -1, "24855 d 3 h 14 m 7 s");
        row("longest, precise",        2147483647.5,       -1, -1, "24855 d 3 h 14 m 7.500 s");
        row("longest, negative",       -2147483647.0,       1, -1, "24855 d 3 h 14 m 7 s");
        row("too long",                2147483648.0,        1,  0, "");
        row("too long, negative",      -2147483648.0,       1,  0, "");
        row("no value",                1e300,               1,  0, "");
        row("infinite",                infinity,           -1,  0, "");
        row("negative infinite",       -infinity,          -1,  0, "");
        row("not a number",            notANumber,         -1,  0, "");
        // clang-format on
    }

    void writesADurationInWords()
    {
        QFETCH(double, seconds);
        QFETCH(int, precision);
        QFETCH(int, style);
        QFETCH(String, expected);

        QCOMPARE(DateTime::toString(seconds, precision, style), expected);
    }

    void readsADuration_data()
    {
        QTest::addColumn<String>("text");
        QTest::addColumn<double>("seconds");

        const auto row = [](const char *text, double seconds) {
            QTest::newRow(text) << String(text) << seconds;
        };
        QTest::newRow("nothing") << String() << 0.0;
        row("1:30", 90.0);
        row("1:00:00", 3600.0);
        row("1:02:03.5", 3723.5);
        row("1:2:3:4", 62.0);
        row("1:2:3:4:5", 62.0);
        row(":30", 30.0);
        row("5:", 300.0);
        row(":", 0.0);
        row("::", 0.0);
        row("x:30", 30.0);
        row("1 h:30", 30.0);
        row(" 1 : 30 ", 90.0);
        row("-1:30", -30.0);
        row("2 days 1:30", 30.0);

        row("90", 90.0);
        row("-1.5e1", -15.0);
        row(" 90", 90.0);
        row("90 ", 0.0);
        row(" ", 0.0);
        row("2 days 3 hours", 183600.0);
        row("1 day 1 hour 1 minute 1.25 seconds", 90061.25);
        row("1 d 1 h 1 m 1 s", 90061.0);
        row("1 dozen 1 half 1 ms 1 sheep", 90061.0);
        row("1 second 2 days", 172801.0);
        row("1 hour 30", 3600.0);
        row("0 hours 30", 30.0);
        row("1 minute -60 seconds 30", 0.0);
        row("1 hour -1 minutes 30", 3570.0); // the units, each with its sign, add up to 0
        row("1 hour -1 seconds 30", 3630.0);
        row("30 20", 20.0);
        row("5  minutes", 0.0);
        row("5\tminutes", 0.0);
        row("2d", 0.0);
        row("2 Days", 0.0);
        row("2 weeks 3 days", 259200.0);
        row("2 weeks", 0.0);
        row("day", 0.0);
        row("1 day day", 0.0);
        row("1 hour 2 hours", 7200.0);
        row("minutes 5", 5.0);
        row("nonsense", 0.0);
        row("1,5 hours", 0.0);
        row("1e400 s", infinity);
        row("1e300 d", 8.64e304);
    }

    void readsADuration()
    {
        QFETCH(String, text);
        QFETCH(double, seconds);

        QCOMPARE(DateTime::toDiff(text), seconds);
    }

    void readsALongDuration()
    {
        const QString pieces = QString("1 ").repeated(100000);

        QCOMPARE(DateTime::toDiff(pieces + "h"), 3600.0);
        QCOMPARE(DateTime::toDiff(QString(":").repeated(100000)), 0.0);
    }

    void countsInLargerUnits_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<double>("days");
        QTest::addColumn<double>("hours");
        QTest::addColumn<double>("minutes");

        QTest::newRow("a day and a half") << 129600.0 << 1.5 << 36.0 << 2160.0;
        QTest::newRow("nothing") << 0.0 << 0.0 << 0.0 << 0.0;
        QTest::newRow("negative") << -1.0 << 0.0 << 0.0 << 0.0;
        QTest::newRow("infinite") << infinity << infinity << infinity << infinity;
        QTest::newRow("negative infinite") << -infinity << 0.0 << 0.0 << 0.0;
    }

    void countsInLargerUnits()
    {
        QFETCH(double, seconds);
        QFETCH(double, days);
        QFETCH(double, hours);
        QFETCH(double, minutes);

        QCOMPARE(DateTime::days(seconds), days);
        QCOMPARE(DateTime::hours(seconds), hours);
        QCOMPARE(DateTime::minutes(seconds), minutes);
    }
};

/// May, in the language of the system: written, read and written, and read from the English text.
static void printMay()
{
    const DateTime may(utc("2020-05-04 03:06:07.000"));
    for (const String &text : {may.toString(""), DateTime("04 Mai 2020 05:06:07", "").toString(""),
                               DateTime("04 May 2020 05:06:07", "").toString("")})
        std::printf("%s\n", qPrintable(text));
}

/// The same time with its digits: written, read from that, read from the digits of the language of
/// the system, with the name of its month, and as that of a file.
static void printDigits()
{
    const String format = DateTime::formatISOms();
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(utc("2020-05-04 03:06:07.000") * 1000);
    const DateTime may(utc("2020-05-04 03:06:07.000"));
    QTemporaryFile file;
    file.open();
    file.setFileTime(moment, QFileDevice::FileModificationTime);
    for (const String &text :
         {may.toString(format), DateTime(may.toString(format), format).toString(format),
          DateTime(moment.toString(format), format).toString(format), may.toString("dd MMM"),
          Utils::File::timestampString(file.fileName())})
        std::printf("%s\n", text.toUtf8().constData());
}

int main(int argc, char **argv)
{
    setZone(berlin);
    const bool printsDigits = argc == 2 && qstrcmp(argv[1], "--print-digits") == 0;
    const bool isChild = printsDigits || (argc == 2 && qstrcmp(argv[1], "--print-may") == 0);
    if (!isChild)
        qputenv("LC_ALL", "C");

    QCoreApplication application(argc, argv);
    if (isChild) {
        printsDigits ? printDigits() : printMay();
        return 0;
    }
    tst_DateTime test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_DateTime.moc"
