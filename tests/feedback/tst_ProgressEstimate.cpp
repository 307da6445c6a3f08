// Remaining time and rate, with a clock that the tests move: also over profiles, which are recorded
// times of real work.

#include "utils/feedback/Progress.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "tests/support/ProgressClock.h"
#include "utils/Application.h"
#include "utils/feedback/ProgressRange.h"

#include <QtTest>

#include <functional>
#include <limits>
#include <memory>
#include <vector>

using Utils::Progress;
using Utils::ProgressRange;

static const int intMax = std::numeric_limits<int>::max();

static qint64 &now = ProgressClock::now;
static int &clockReads = ProgressClock::reads;

/// A line of profiles.txt; it describes the form of the file.
struct Event
{
    enum class Kind
    {
        Begin,
        Step,
        Cancel,
        End
    };

    Kind kind;
    int time; // ms since the beginning of the profile
    int steps = 0;
    int from = -1; // of the part of the outer reporter, -1 without one
    int to = -1;
};

struct Profile
{
    QString name;
    std::vector<Event> events;

    int duration() const { return events.back().time; }
};

static void addEvents(Profile &profile, const QStringList &words)
{
    if (words[0] == "begin" && words.size() == 4) {
        profile.events.push_back({Event::Kind::Begin, words[3].toInt(), words[1].toInt()});
    } else if (words[0] == "begin") {
        profile.events.push_back({Event::Kind::Begin, words[6].toInt(), words[1].toInt(),
                                  words[3].toInt(), words[4].toInt()});
    } else if (words[0] == "end") {
        profile.events.push_back({Event::Kind::End, words[2].toInt()});
    } else if (words[0] == "cancel") {
        profile.events.push_back({Event::Kind::Cancel, words[2].toInt()});
    } else {
        for (const QString &time : words)
            profile.events.push_back({Event::Kind::Step, time.toInt()});
    }
}

static std::vector<Profile> readProfiles()
{
    std::vector<Profile> profiles;
    QFile file(PROFILES);
    if (!file.open(QFile::ReadOnly))
        return profiles;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        const QStringList words = line.split(' ');
        if (words[0] == "profile")
            profiles.push_back({words[1].chopped(1), {}});
        else
            addEvents(profiles.back(), words);
    }
    return profiles;
}

/// A profile that runs again. The observer is called at each report, and the second one now and
/// then in between.
class Replay
{
public:
    using Observer = std::function<void(Progress &whole)>;

    Replay(const Profile &profile, Observer atReport, Observer between)
        : m_profile(profile), m_atReport(std::move(atReport)), m_between(std::move(between))
    {}

    /// Runs up to a cancellation, or to the end.
    void run()
    {
        const qint64 start = now;
        for (const Event &event : m_profile.events) {
            wait(start + event.time);
            const int before = clockReads;
            switch (event.kind) {
            case Event::Kind::Begin:
                begin(event);
                break;
            case Event::Kind::Step:
                m_reporters.back().reporter->tick();
                break;
            case Event::Kind::Cancel:
                m_reporters.back().reporter->cancel();
                return;
            case Event::Kind::End:
                m_reporters.pop_back();
            }
            const bool isReport = clockReads != before && event.kind != Event::Kind::Begin;
            if (isReport && !m_reporters.empty())
                m_atReport(*m_reporters.front().reporter);
        }
    }

    Progress &whole() { return *m_reporters.front().reporter; }
    Progress &innermost() { return *m_reporters.back().reporter; }

    ~Replay()
    {
        while (!m_reporters.empty())
            m_reporters.pop_back();
    }

private:
    struct Running
    {
        std::unique_ptr<ProgressRange> range; // ends after the reporter in it
        std::unique_ptr<Progress> reporter;
    };

    void begin(const Event &event)
    {
        Running running;
        if (event.from >= 0) {
            running.range =
                std::make_unique<ProgressRange>(*m_reporters.back().reporter, event.from, event.to);
        }
        running.reporter = std::make_unique<Progress>(event.steps, "", /*cancelable=*/true);
        m_reporters.push_back(std::move(running));
    }

    void wait(qint64 until)
    {
        while (now + 40 < until && !m_reporters.empty()) {
            now += 40;
            m_between(*m_reporters.front().reporter);
        }
        now = until;
    }

    const Profile &m_profile;
    const Observer m_atReport;
    const Observer m_between;
    std::vector<Running> m_reporters;
};

class tst_ProgressEstimate : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeHost> host;
    std::vector<Profile> profiles = readProfiles();

    void addProfiles(const QString &kind = QString())
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(profiles.size()); ++i) {
            if (profiles[i].name.startsWith(kind))
                QTest::addRow("%s", qPrintable(profiles[i].name)) << i;
        }
    }

private Q_SLOTS:
    void init()
    {
        ProgressClock::start();
        host.reset(new FakeHost);
        Utils::setApplication(host.get());
    }

    void cleanup()
    {
        Utils::setApplication(nullptr);
        QVERIFY(!Progress::any());
    }

    // Profiles

    void hasTwelveProfiles()
    {
        QCOMPARE(profiles.size(), std::size_t(12));
        for (const Profile &profile : profiles)
            QVERIFY(profile.duration() > 500);
    }

    void isWithinAQuarterOfTheTruthFromHalfWayOn_data() { addProfiles(); }

    void isWithinAQuarterOfTheTruthFromHalfWayOn()
    {
        QFETCH(int, index);
        const Profile &profile = profiles[index];
        const qint64 end = now + profile.duration();
        // Where a burst ends shortly before the task, nothing tells that no other one follows.
        const bool hasBursts = profile.name.startsWith("bursts");
        const double least = hasBursts ? profile.duration() * 0.025 : 2.0;
        int compared = 0;
        const auto compare = [&](Progress &whole) {
            if (whole.count() * 2 < whole.maxSteps() || whole.remaining() < 0)
                return;
            ++compared;
            const double truth = static_cast<double>(end - now);
            const double error = std::abs(whole.remaining() - truth);
            QVERIFY2(error <= std::max(truth * 0.25, least),
                     qPrintable(QString("at %1 of %2: %3 ms, in truth %4 ms")
                                    .arg(whole.count())
                                    .arg(whole.maxSteps())
                                    .arg(whole.remaining())
                                    .arg(truth)));
        };
        Replay replay(profile, compare, [](Progress &) {});

        replay.run();

        QVERIFY(compared > 3);
    }

    void isNeverNegativeNorEndless_data() { addProfiles(); }

    void isNeverNegativeNorEndless()
    {
        QFETCH(int, index);
        int asked = 0;
        const auto check = [&](Progress &whole) {
            ++asked;
            QVERIFY(whole.remaining() >= (whole.count() > 0 ? 0 : -1));
            QVERIFY(whole.remaining() < 100 * profiles[index].duration());
            QVERIFY(whole.rate() >= 0.0);
            QVERIFY(qIsFinite(whole.rate()));
        };
        Replay replay(profiles[index], check, check);

        replay.run();

        QVERIFY(asked > 12);
    }

    void doesNotJumpOnEvenWork_data() { addProfiles("even"); }

    void doesNotJumpOnEvenWork()
    {
        QFETCH(int, index);
        const Profile &profile = profiles[index];
        const double least = profile.duration() * 0.02;
        double before = -1.0;
        qint64 time = 0;
        int compared = 0;
        const auto compare = [&](Progress &whole) {
            const double estimate = whole.remaining();
            if (before >= 0.0) {
                ++compared;
                const double expected = before - static_cast<double>(now - time);
                QVERIFY(estimate <= 2.0 * std::max(before, least));
                QVERIFY(estimate <= 2.0 * std::max(expected, least));
                QVERIFY(expected <= 2.0 * std::max(estimate, least));
            }
            before = estimate;
            time = now;
        };
        Replay replay(profile, compare, [](Progress &) {});

        replay.run();

        QVERIFY(compared > 15);
    }

    void isUnknownAfterACancellation_data() { addProfiles("cancelled"); }

    void isUnknownAfterACancellation()
    {
        QFETCH(int, index);
        const auto isKnown = [](Progress &whole) { QVERIFY(whole.remaining() >= 0); };
        Replay replay(profiles[index], isKnown, [](Progress &) {});

        replay.run();

        QVERIFY(replay.innermost().cancelled());
        QCOMPARE(replay.innermost().remaining(), -1);
        QVERIFY(replay.innermost().rate() > 0.0);
    }

    // What is known

    void isUnknownBeforeTheFirstStep()
    {
        const Progress progress(100);
        now += 1000;

        QCOMPARE(progress.remaining(), -1);
        QCOMPARE(progress.rate(), 0.0);
    }

    void isKnownFromTheFirstStepOn()
    {
        Progress progress(1000);
        now += 10;
        progress.tick(); // no report

        QCOMPARE(progress.remaining(), 9990);
        QCOMPARE(progress.rate(), 100.0);
    }

    void isUnknownWithoutAKnownEnd()
    {
        Progress progress(0);
        Progress inert(-1);
        Progress background;
        now += 1000;
        progress.tick(50);
        inert.tick(50);
        background.tick(50);

        QCOMPARE(progress.remaining(), -1);
        QCOMPARE(progress.rate(), 50.0);
        QCOMPARE(inert.remaining(), -1);
        QCOMPARE(inert.rate(), 0.0);
        QCOMPARE(background.remaining(), -1);
        QCOMPARE(background.rate(), 50.0);
    }

    void isNothingAtTheEnd()
    {
        Progress progress(10);
        now += 1000;
        progress.setCount(10);
        QCOMPARE(progress.remaining(), 0);
        progress.tick(5);
        QCOMPARE(progress.remaining(), 0);
        now += 1000;
        QCOMPARE(progress.remaining(), 0);
    }

    void isBoundedByAnInt()
    {
        Progress progress(intMax);
        now += 1000;
        progress.tick();

        QCOMPARE(progress.remaining(), intMax);
        QCOMPARE(progress.rate(), 1.0);
    }

    void isUnknownWhileNoTimePasses()
    {
        Progress progress(10);
        progress.tick(5);

        QCOMPARE(progress.remaining(), 0);
        QCOMPARE(progress.rate(), 0.0);
        now += 1000;
        progress.tick(4);
        QVERIFY(progress.remaining() > 0);
        QVERIFY(progress.rate() > 0.0);
    }

    // Smoothness

    void isExactOnEvenWork()
    {
        Progress progress(200);
        for (int i = 1; i <= 200; ++i) {
            now += 30;
            progress.tick();
            QVERIFY(qAbs(progress.remaining() - (200 - i) * 30) <= 1);
            QVERIFY(qAbs(progress.rate() - 1000.0 / 30) < 1e-6);
        }
    }

    void countsDownBetweenSteps()
    {
        Progress progress(4);
        now += 1000;
        progress.tick();
        QCOMPARE(progress.remaining(), 3000);

        now += 400;
        QCOMPARE(progress.remaining(), 2600);
        now += 600;
        QCOMPARE(progress.remaining(), 2000);
        progress.tick();
        QCOMPARE(progress.remaining(), 2000);
    }

    void growsWhileAStepTakesLonger()
    {
        Progress progress(4);
        now += 1000;
        progress.tick();
        now += 1000;
        int before = progress.remaining();
        QCOMPARE(before, 2000);

        for (int i = 0; i < 10; ++i) {
            now += 1000;
            QVERIFY(progress.remaining() > before);
            QVERIFY(progress.remaining() <= before + 2000);
            before = progress.remaining();
        }
    }

    void forgetsASlowStart()
    {
        Progress progress(100);
        for (int i = 0; i < 10; ++i) {
            now += 1000;
            progress.tick();
        }
        for (int i = 0; i < 40; ++i) {
            now += 100;
            progress.tick();
        }

        QVERIFY(progress.remaining() >= 5000);
        QVERIFY(progress.remaining() <= 5400); // the mean of all would be 14,000
        QVERIFY(progress.rate() > 9.0);
    }

    void staysTheSameWhenItIsAsked()
    {
        Progress progress(10);
        now += 1000;
        progress.tick(2);
        now += 300;

        const int first = progress.remaining();

        for (int i = 0; i < 100; ++i) {
            QCOMPARE(progress.remaining(), first);
            progress.rate();
        }
        now -= 300;
        QCOMPARE(progress.remaining(), 4000);
    }

    // Where it begins

    void beginsWithItsOwnReporter()
    {
        const Progress outer(10);
        now += 60000;
        Progress inner(10);
        now += 1000;
        inner.tick();

        QCOMPARE(inner.remaining(), 9000);
        QCOMPARE(inner.elapsed(), 61000); // of the whole task
    }

    void beginsAnewWithNewSteps()
    {
        Progress progress(10);
        now += 1000;
        progress.tick(5);

        progress.setMaxSteps(20);
        QCOMPARE(progress.remaining(), -1);
        QCOMPARE(progress.rate(), 0.0);
        now += 100;
        progress.tick(10);
        QCOMPARE(progress.remaining(), 100);
    }

    void leavesOutTheTimeBetweenSaveAndRestore()
    {
        Progress progress(10);
        now += 1000;
        progress.tick(5);
        progress.save();
        progress.setMaxSteps(3);
        now += 60000;
        progress.tick();

        progress.restore();

        QCOMPARE(progress.remaining(), 1000);
        QCOMPARE(progress.rate(), 5.0);
        now += 200;
        progress.tick();
        QCOMPARE(progress.remaining(), 800);
    }

    // What it costs

    void callsNoHost()
    {
        Progress progress(100);
        progress.show();
        now += 1000;
        progress.tick(10);
        host->calls.clear();

        progress.remaining();
        progress.rate();
        progress.setUnit("rows");
        progress.whole();

        QCOMPARE(host->calls, QStringList());
    }

    void readsTheClockOnceForEachReport()
    {
        Progress progress(1000);
        progress.show();
        now += 1000;
        clockReads = 0;

        for (int i = 0; i < 49; ++i)
            progress.tick();
        QCOMPARE(clockReads, 0);
        progress.tick();
        QCOMPARE(clockReads, 1);
        progress.setCount(90);
        QCOMPARE(clockReads, 1);
    }

    void keepsTheUnitOfItsSteps()
    {
        Progress progress(100);
        QCOMPARE(progress.unit(), Data::String());

        progress.setUnit("rows");

        QCOMPARE(progress.unit(), Data::String("rows"));
        QCOMPARE(progress.label(), Data::String());
        QCOMPARE(progress.id(), Data::String());
    }
};

QTEST_GUILESS_MAIN(tst_ProgressEstimate)
#include "tst_ProgressEstimate.moc"
