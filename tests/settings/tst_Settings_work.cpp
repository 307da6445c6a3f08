// How much work changes of settings take, counted and not timed: allocations, and replacements of
// the file.

#include "tests/csv/FailingMemory.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/IniText_p.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/settings/SettingsSlot.h"

#include <QtTest>

#include <memory>

#include <sys/inotify.h>
#include <unistd.h>

using Utils::Settings;
namespace IniText = Utils::IniText;

template <typename Work>
static int allocationsOf(const Work &work)
{
    const AllocatedMemory used;
    work();
    return static_cast<int>(used.count());
}

static const SettingsHome home;

static QString keyOf(int i) { return QStringLiteral("key%1").arg(i, 5, 10, QLatin1Char('0')); }

/// Counts how often the settings file is replaced.
class Writes
{
public:
    Writes() : m_queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        const QByteArray folder = QFile::encodeName(QFileInfo(home.file()).path());
        m_isWatching = inotify_add_watch(m_queue, folder, IN_MOVED_TO) >= 0;
    }
    ~Writes() { close(m_queue); }

    Writes(const Writes &) = delete;
    Writes &operator=(const Writes &) = delete;

    bool isWatching() const { return m_isWatching; }

    /// Since the last call.
    int count()
    {
        int count = 0;
        alignas(inotify_event) char bytes[4096];
        for (ssize_t size; (size = read(m_queue, bytes, sizeof bytes)) > 0;) {
            for (const char *at = bytes; at < bytes + size;) {
                const auto *event = reinterpret_cast<const inotify_event *>(at);
                count += QByteArray(event->name) == "Tests.conf" ? 1 : 0;
                at += sizeof(inotify_event) + event->len;
            }
        }
        return count;
    }

private:
    int m_queue;
    bool m_isWatching;
};

class tst_Settings_work : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        home.fill("");
        QVERIFY(Settings().setInt("g/k", 0).sync());
    }

    void buildsAPayloadOnlyForReceivers()
    {
        Settings settings("g");
        QSettings plain;
        plain.beginGroup("g");
        const Data::String key = "k";
        const auto set = [&] { settings.setInt(key, 1); };
        const auto setPlain = [&] { plain.setValue(key, 1); };
        set();
        setPlain(); // both exist now
        const int ofPlain = allocationsOf(setPlain);
        QVERIFY(ofPlain > 0);

        QCOMPARE(allocationsOf(set), ofPlain);
        {
            const Utils::SettingsSlot slot("g/", nullptr);
            QVERIFY(allocationsOf(set) > ofPlain + 3);
        }
        set(); // finds that nobody is left
        QCOMPARE(allocationsOf(set), ofPlain);
        {
            Recorder recorder;
            QVERIFY(Settings::SettingChanged().connect(&recorder, SLOT(bare())));
            set();
            QCOMPARE(recorder.calls, QStringList("sig()"));
        }
        set();
        QCOMPARE(allocationsOf(set), ofPlain);
    }

    void formatsValuesWithoutAnAllocationForEach_data()
    {
        QTest::addColumn<QVariant>("value");

        QTest::newRow("number") << QVariant(-123456789);
        QTest::newRow("text") << QVariant(QString(50, 'x'));
        QTest::newRow("text in quotes") << QVariant(QString(50, ';'));
    }

    void formatsValuesWithoutAnAllocationForEach()
    {
        QFETCH(QVariant, value);
        QSettings::SettingsMap values;
        for (int i = 0; i < 10000; ++i)
            values["group/" + keyOf(i)] = value;
        QByteArray text;

        const int count = allocationsOf([&] { text = IniText::write(values); });

        QCOMPARE(text.count('\n'), 10001);
        QVERIFY2(count < 100, QByteArray::number(count));
    }

    void writesOnceForAllChangesOfAnObject()
    {
        Writes writes;
        QVERIFY(writes.isWatching());
        {
            Settings settings("g");
            for (int i = 0; i < 100; ++i)
                settings.setInt(keyOf(i), i);
            Settings copy = settings;
            copy.removeKey(keyOf(0)).setDefault("d", 1);
            QCOMPARE(writes.count(), 0);
        }
        QCOMPARE(writes.count(), 1);

        QCoreApplication::sendPostedEvents();
        QVERIFY(Settings().sync());
        QCOMPARE(writes.count(), 0);
    }

    void writesAtTheEndOfEachObjectThatHasChanged()
    {
        Writes writes;
        for (int i = 1; i <= 5; ++i) {
            Settings("g").setInt("k", i);
            QCOMPARE(writes.count(), 1);
            QCOMPARE(Settings("g").getInt("k"), i);
            QCOMPARE(Settings().keys("g"), QStringList("k"));
            QCOMPARE(writes.count(), 0);
        }
        QCoreApplication::sendPostedEvents();
        QCOMPARE(writes.count(), 0);
    }

    void writesWhatIsPendingWhenAnotherObjectIsMade()
    {
        Writes writes;
        {
            Settings outer("g");
            outer.setInt("k", 1);
            QCOMPARE(writes.count(), 0);
            QCOMPARE(Settings("g").getInt("k"), 1);
            QCOMPARE(writes.count(), 1);
        }
        QCOMPARE(writes.count(), 0); // it was written
    }

    void writesOnceInAPassOfTheEventLoop()
    {
        Writes writes;
        Settings settings("g");
        settings.setInt("k", 1).setInt("l", 2);
        Settings copy = settings;
        copy.setInt("m", 3);

        QCoreApplication::sendPostedEvents();

        QCOMPARE(writes.count(), 1);
        QCOMPARE(settings.status(), Settings::Stored);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(writes.count(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_work)
#include "tst_Settings_work.moc"
