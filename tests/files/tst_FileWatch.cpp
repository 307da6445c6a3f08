#include "utils/files/FileWatch.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/Windows.h"
#include "utils/Application.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/Slot.h"

#include <QAbstractEventDispatcher>
#include <QTemporaryDir>
#include <QTimerEvent>
#include <QtTest>

#include <cerrno>
#include <climits>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

using Data::String;
using Utils::FileWatch;

/// Opens what only derived classes may do.
class OpenWatch : public FileWatch
{
public:
    using FileWatch::FileWatch;
    using FileWatch::sendSignals;
};

/// A receiver whose methods have names of their own.
class Widget : public QObject
{
    Q_OBJECT

public:
    int calls = 0;

public Q_SLOTS:
    void setString() { ++calls; }
    void setText() { ++calls; }
};

static bool setModified(const QString &path, qint64 milliseconds)
{
    // Not by Qt, which in some zones sets another time before the epoch.
    const qint64 thousand = 1000;
    const qint64 fraction = (milliseconds % thousand + thousand) % thousand;
    const timespec time = {(milliseconds - fraction) / thousand,
                           static_cast<long>(fraction * 1000 * 1000)};
    const timespec times[] = {time, time};
    return utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0;
}

static QByteArray unknownPath; // of which the system reports nothing

#ifndef _WIN32 // where no call can be replaced

// In front of the call by which the time is asked for.
extern "C" __attribute__((visibility("default"))) int stat(const char *path,
                                                           struct stat *result) noexcept
{
    if (!unknownPath.isEmpty() && unknownPath == path) {
        errno = EACCES;
        return -1;
    }
    return fstatat(AT_FDCWD, path, result, 0);
}

#endif

/// The running timer of \p watch, with the id 0 when there is none, and -1 when there are more.
static QAbstractEventDispatcher::TimerInfo timerOf(QObject &watch)
{
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&watch);
    if (timers.size() == 1)
        return timers.first();
    return {timers.isEmpty() ? 0 : -1, 0, Qt::CoarseTimer};
}

/// Makes \p watch look at its file now. False when it has no timer that would do so.
static bool poll(QObject &watch)
{
    QTimerEvent event(timerOf(watch).timerId);
    return event.timerId() > 0 && QCoreApplication::sendEvent(&watch, &event);
}

class tst_FileWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
        m_host = std::make_unique<FakeHost>();
        Utils::setApplication(m_host.get());
        m_path = makeFile(m_folder->filePath("watched.txt"));
        QVERIFY(setModified(m_path, 1000 * 1000));
    }

    void cleanup() { Utils::setApplication(nullptr); }

    // What it is

    void isNamedAfterItsPathButCannotBeFoundByIt()
    {
        // The first test: an earlier watch would have left its trace in the registry.
        const FileWatch watch(m_path, 100);

        QCOMPARE(watch.objectName(), m_path);
        QVERIFY(watch.inherits("Utils::Signal"));
        QCOMPARE(Utils::Signal::find(""), static_cast<const Utils::Signal *>(&watch));
        QVERIFY(!Utils::Signal::find(m_path));
    }

    void looksAtItsFileAtItsInterval_data()
    {
        QTest::addColumn<unsigned int>("interval");
        QTest::addColumn<int>("timer");

        QTest::newRow("none") << 0u << 100;
        QTest::newRow("too short") << 50u << 100;
        QTest::newRow("just too short") << 99u << 100;
        QTest::newRow("the shortest") << 100u << 100;
        QTest::newRow("longer") << 15000u << 15000;
    }

    void looksAtItsFileAtItsInterval()
    {
        QFETCH(unsigned int, interval);
        QFETCH(int, timer);
        FileWatch watch(m_path, interval);

        QCOMPARE(timerOf(watch).interval, timer);
        QCOMPARE(timerOf(watch).timerType, Qt::CoarseTimer);
        QVERIFY(watch.isEnabled());
    }

    void takesAnIntervalLongerThanATimerCan()
    {
        FileWatch watch(m_path, UINT_MAX);

        QVERIFY(watch.isEnabled());
        QVERIFY(timerOf(watch).timerId > 0);
    }

    void takesTheNameOfItsPathAwayWhenItDies()
    {
        const Utils::PublicSignal named(String(m_path).c_str(), nullptr);
        QCOMPARE(Utils::Signal::find(m_path), static_cast<const Utils::Signal *>(&named));

        std::make_unique<FileWatch>(m_path, 100).reset();

        QVERIFY(!Utils::Signal::find(m_path));
    }

    void knowsTheTimeOfItsFile()
    {
        QCOMPARE(FileWatch(m_path, 100).timestamp(), 1000u);
        QVERIFY(setModified(m_path, 1600000000999));
        QCOMPARE(FileWatch(m_path, 100).timestamp(), 1600000000u);
        QCOMPARE(FileWatch(m_folder->filePath("missing"), 100).timestamp(), 0u);
        QCOMPARE(FileWatch("", 100).timestamp(), 0u);
    }

    void takesAFileFromBeforeTheEpochForOneFromTheEpoch()
    {
        QVERIFY(setModified(m_path, -1));
        QCOMPARE(FileWatch(m_path, 100).timestamp(), 0u);
        QVERIFY(setModified(m_path, -86400 * 1000));
        QCOMPARE(FileWatch(m_path, 100).timestamp(), 0u);
        QVERIFY(setModified(m_path, 0));
        QCOMPARE(FileWatch(m_path, 100).timestamp(), 0u);
        QVERIFY(setModified(m_path, 1000));
        QCOMPARE(FileWatch(m_path, 100).timestamp(), 1u);
    }

    void keepsTheTimeWhereTheSystemCannotTell()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        watch.connect(&recorder, SLOT(bare()));
        unknownPath = QFile::encodeName(m_path);
        const bool isPolled = poll(watch);
        watch.reset();
        const unsigned int time = watch.timestamp();
        unknownPath.clear();
        QVERIFY(isPolled);
        QCOMPARE(time, 1000u);
        QVERIFY(poll(watch));

        QVERIFY(recorder.calls.isEmpty()); // as nothing has changed
    }

    void tellsTheModificationTimeAsText()
    {
        const FileWatch watch(m_path, 100);
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(1600000000123);
        QVERIFY(setModified(m_path, time.toMSecsSinceEpoch())); // asked for anew each time

        QCOMPARE(watch.modifiedTime("yyyy/MM/dd hh-mm-ss.zzz"),
                 String(QLocale::c().toString(time, "yyyy/MM/dd hh-mm-ss.zzz")));
        QCOMPARE(watch.modifiedTime(""),
                 String(QLocale::c().toString(time, "yyyy-MM-ddThh:mm:ss")));
        const QDateTime epoch =
            QDateTime::fromSecsSinceEpoch(0); // no time to Qt, but one of a file
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(epoch, QFileDevice::FileModificationTime));
        QCOMPARE(watch.modifiedTime("yyyy"), String(QLocale::c().toString(epoch, "yyyy")));
        file.close();
        QVERIFY(QFile::remove(m_path));
        QCOMPARE(watch.modifiedTime(""), String());
        QCOMPARE(watch.modifiedTime("yyyy"), String());
    }

    void isDisabledWhereThereCanBeNoTimer()
    {
        bool isEnabled = true;
        unsigned int timestamp = 0;
        QTest::ignoreMessage(QtWarningMsg, "QObject::startTimer: Timers can only be used with "
                                           "threads started with QThread");
        std::thread([&] {
            const FileWatch watch(m_path, 100);
            isEnabled = watch.isEnabled();
            timestamp = watch.timestamp();
        }).join();

        QVERIFY(!isEnabled);
        QCOMPARE(timestamp, 1000u);
    }

    // Firing

    void firesByItselfWhenTheEventLoopRuns()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));

        QVERIFY(setModified(m_path, 2000 * 1000));
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls, QStringList("text(" + m_path + ")"), 60000);
        QVERIFY(setModified(m_path, 3000 * 1000)); // it has gone on
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 2, 60000);
    }

    void reportsAtTheNextCheckAfterLackOfMemory()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        m_host->calls.clear();
        m_host->reaction = [](const QString &) { throw std::bad_alloc(); };
        QVERIFY(setModified(m_path, 2000 * 1000));

        QVERIFY(poll(watch));
        QCOMPARE(m_host->calls.size(), 1);
        QCOMPARE(watch.timestamp(), 1000u);
        QCOMPARE(recorder.calls.size(), 0);
        m_host->reaction = nullptr;
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.size(), 1);
        QCOMPARE(watch.timestamp(), 2000u);
    }

    void losesNoChangeWhereMemoryIsLacking_data()
    {
        QTest::addColumn<int>("mode");

        QTest::newRow("for a moment") << int(FailingMemory::Once);
        QTest::newRow("from then on") << int(FailingMemory::FromThenOn);
    }

    void losesNoChangeWhereMemoryIsLacking()
    {
        QFETCH(int, mode);
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        int failures = 0;
        bool hasFailed = true;
        for (int n = 0; hasFailed; ++n) {
            QVERIFY(setModified(m_path, 1000 * 1000));
            FileWatch watch(m_path, 100);
            int calls = 0;
            QObject::connect(&watch, qOverload<>(&FileWatch::sig), [&] { ++calls; });
            QVERIFY(setModified(m_path, 2000 * 1000));
            QTimerEvent event(timerOf(watch).timerId);
            {
                const FailingMemory memory(n, FailingMemory::Mode(mode));
                QCoreApplication::sendEvent(&watch, &event);
                hasFailed = memory.hasFailed();
            }

            QCOMPARE(watch.timestamp(), calls == 0 ? 1000u : 2000u);
            QVERIFY(calls > 0 || timerOf(watch).timerId > 0);
            failures += calls == 0;
            if (timerOf(watch).timerId == 0)
                watch.reset();
            QVERIFY(poll(watch));
            QCOMPARE(calls, 1);
            QCOMPARE(watch.timestamp(), 2000u);
        }
        QVERIFY(failures > 0);
    }

    void passesOnTheExceptionOfAReceiver_data()
    {
        QTest::addColumn<bool>("isOfMemory");
        QTest::addColumn<bool>("isAborted");

        QTest::newRow("too little memory") << true << false;
        QTest::newRow("another one") << false << false;
        QTest::newRow("after abort()") << false << true;
    }

    void passesOnTheExceptionOfAReceiver()
    {
        QFETCH(bool, isOfMemory);
        QFETCH(bool, isAborted);
        FileWatch watch(m_path, 100);
        Recorder first;
        Recorder second;
        QVERIFY(watch.connect(&first, SLOT(text(const Data::String &))));
        QVERIFY(watch.connect(&second, SLOT(bare())));
        second.reaction = [&] {
            if (isAborted)
                watch.abort();
            if (isOfMemory)
                throw std::bad_alloc();
            throw std::runtime_error("of the receiver");
        };
        QVERIFY(setModified(m_path, 2000 * 1000));

        if (isOfMemory)
            QVERIFY_EXCEPTION_THROWN(poll(watch), std::bad_alloc);
        else
            QVERIFY_EXCEPTION_THROWN(poll(watch), std::runtime_error);
        QCOMPARE(watch.timestamp(), isAborted ? 1000u : 2000u);
        QCOMPARE(timerOf(watch).timerId > 0, !isAborted);
        second.reaction = nullptr;
        if (isAborted)
            watch.reset();
        QVERIFY(poll(watch)); // reports nothing again

        QCOMPARE(first.calls.size(), 1);
        QCOMPARE(second.calls.size(), 1);
        QVERIFY(setModified(m_path, 3000 * 1000));
        QVERIFY(poll(watch));
        QCOMPARE(first.calls.size(), 2);
        QCOMPARE(second.calls.size(), 2);
    }

    void mayBeDeletedByAReceiverThatThrows()
    {
        auto watch = std::make_unique<FileWatch>(m_path, 100);
        Recorder recorder;
        QVERIFY(watch->connect(&recorder, SLOT(bare())));
        recorder.reaction = [&] {
            watch.reset();
            throw std::runtime_error("of the receiver");
        };
        QVERIFY(setModified(m_path, 2000 * 1000));

        QVERIFY_EXCEPTION_THROWN(poll(*watch), std::runtime_error);
        QVERIFY(!watch);
    }

    void emitsThePathAndThenTheShapesOfASignal()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(payload(const Data::VariantCollection &))));
        QVERIFY(QObject::connect(&watch, SIGNAL(sig(const Data::String &, const Data::Variant &)),
                                 &recorder,
                                 SLOT(pair(const Data::String &, const Data::Variant &))));
        QVERIFY(watch.connect(&recorder, SLOT(single(const Data::Variant &))));
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls,
                 (QStringList{"text(" + m_path + ")", "sig()", "sig(" + m_path + ")",
                              "sig(path, " + m_path + ")", "sig({path=" + m_path + "})"}));
        QVERIFY(watch.data().isEmpty());
    }

    void firesForAnyOtherTime_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("after");
        QTest::addColumn<bool>("fires");

        QTest::newRow("the same") << qint64(1000000) << qint64(1000000) << false;
        QTest::newRow("later") << qint64(1000000) << qint64(1001000) << true;
        QTest::newRow("earlier") << qint64(1000000) << qint64(999000) << true;
        QTest::newRow("within the second") << qint64(1000000) << qint64(1000999) << false;
        QTest::newRow("just the second before") << qint64(1000000) << qint64(999999) << true;
        QTest::newRow("to the epoch") << qint64(1000000) << qint64(0) << true;
        QTest::newRow("from the epoch") << qint64(0) << qint64(1000000) << true;
    }

    void firesForAnyOtherTime()
    {
        QFETCH(qint64, before);
        QFETCH(qint64, after);
        QFETCH(bool, fires);
        QVERIFY(setModified(m_path, before));
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));

        QVERIFY(setModified(m_path, after));
        QVERIFY(poll(watch));
        QVERIFY(poll(watch)); // nothing new

        QCOMPARE(recorder.calls.size(), fires ? 1 : 0);
        QCOMPARE(watch.timestamp(), unsigned((fires ? after : before) / 1000));
    }

    void waitsForAFileThatHasGone()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));

        QVERIFY(QFile::remove(m_path));
        QVERIFY(poll(watch));
        QCOMPARE(recorder.calls, QStringList());
        QCOMPARE(watch.timestamp(), 1000u);
        makeFile(m_path);
        QVERIFY(setModified(m_path, 1000 * 1000)); // back as it was
        QVERIFY(poll(watch));
        QCOMPARE(recorder.calls, QStringList());
        QVERIFY(QFile::remove(m_path));
        QVERIFY(poll(watch));
        makeFile(m_path);
        QVERIFY(setModified(m_path, 1001 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.size(), 1);
        QCOMPARE(watch.timestamp(), 1001u);
    }

    void firesWhenAMissingFileAppears()
    {
        const QString path = m_folder->filePath("later");
        FileWatch watch(path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));

        QVERIFY(poll(watch));
        QCOMPARE(recorder.calls, QStringList());
        makeFile(path);
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls, QStringList("text(" + path + ")"));
    }

    void watchesAFolderToo()
    {
        const QString path = m_folder->filePath("folder");
        FileWatch watch(path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));

        QVERIFY(QDir().mkdir(path));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.size(), 1);
    }

    void looksOnlyForItsOwnTimer()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        QVERIFY(setModified(m_path, 2000 * 1000));

        for (int id : {0, -1, timerOf(watch).timerId + 1}) {
            QTimerEvent event(id);
            QCoreApplication::sendEvent(&watch, &event);
        }

        QCOMPARE(recorder.calls, QStringList());
    }

    void emitsNothingWhileItIsBlocked()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));
        watch.blockSignals(true);

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));
        watch.blockSignals(false);
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls, QStringList());
        QCOMPARE(watch.timestamp(), 2000u);
    }

    void sendsAnyPayloadOfADerivedClass()
    {
        OpenWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(payload(const Data::VariantCollection &))));
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));

        watch.addData("a", 1);
        QVERIFY(watch.sendSignals());
        QCOMPARE(recorder.calls, QStringList("sig({a=1})"));
        watch.addData("a", 1).addData("path", 7);
        QVERIFY(watch.sendSignals());

        QCOMPARE(recorder.calls.mid(1), (QStringList{"text(7)", "sig({a=1, path=7})"}));
    }

    // Receivers

    void doesNotLookWhileItsReceiversRun()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        int timers = 0;
        recorder.reaction = [&] { timers += timerOf(watch).timerId != 0; };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.size(), 2);
        QCOMPARE(timers, 0);
        QCOMPARE(timerOf(watch).interval, 100);
        QCOMPARE(timerOf(watch).timerType, Qt::CoarseTimer);
    }

    void doesNotFireForWhatItsReceiversSave()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        recorder.reaction = [&] { QVERIFY(setModified(m_path, 3000 * 1000)); };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));
        QCOMPARE(watch.timestamp(), 3000u);
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.size(), 1);
    }

    void emitsNothingMoreWhenAReceiverOfThePathAborts()
    {
        FileWatch watch(m_path, 100);
        Recorder first;
        Recorder second;
        QVERIFY(watch.connect(&first, SLOT(text(const Data::String &))));
        QVERIFY(watch.connect(&second, SLOT(text(const Data::String &))));
        QVERIFY(watch.connect(&second, SLOT(bare())));
        first.reaction = [&] { watch.abort(); };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(second.calls, QStringList("text(" + m_path + ")")); // of the same emission
        QVERIFY(watch.data().isEmpty());
        QCOMPARE(timerOf(watch).timerId, 0);
        QVERIFY(watch.isEnabled());
        QCOMPARE(watch.timestamp(), 1000u);
    }

    void staysStoppedWhenAnotherReceiverAborts()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        QVERIFY(watch.connect(&recorder, SLOT(payload(const Data::VariantCollection &))));
        recorder.reaction = [&] { watch.abort(); };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.size(), 2);
        QCOMPARE(timerOf(watch).timerId, 0);
        QVERIFY(watch.isEnabled());
    }

    void isRevivedAfterAnAbort_data()
    {
        QTest::addColumn<QString>("means");
        QTest::addColumn<bool>("isRevived");

        QTest::newRow("reset") << "reset" << true;
        QTest::newRow("switching off and on") << "toggle" << true;
        QTest::newRow("another interval") << "interval" << true;
        QTest::newRow("the same interval") << "same interval" << false;
        QTest::newRow("switching on") << "on" << false;
    }

    void isRevivedAfterAnAbort()
    {
        QFETCH(QString, means);
        QFETCH(bool, isRevived);
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        recorder.reaction = [&] { watch.abort(); };
        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));
        recorder.reaction = nullptr;

        if (means == "reset")
            watch.reset();
        if (means == "toggle")
            watch.setEnabled(false);
        if (means == "toggle" || means == "on")
            watch.setEnabled(true);
        if (means == "interval")
            watch.setInterval(200);
        if (means == "same interval")
            watch.setInterval(100);

        QCOMPARE(timerOf(watch).timerId > 0, isRevived);
        QCOMPARE(watch.timestamp(), isRevived ? 2000u : 1000u);
        if (isRevived) {
            QVERIFY(setModified(m_path, 3000 * 1000));
            QVERIFY(poll(watch));
            QCOMPARE(recorder.calls.size(), 2);
        }
    }

    void keepsTheTimerThatAReceiverHasStarted()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        QVERIFY(watch.connect(&recorder, SLOT(payload(const Data::VariantCollection &))));
        int started = 0;
        recorder.reaction = [&] {
            if (recorder.calls.size() == 1) {
                watch.reset();
                started = timerOf(watch).timerId;
                QVERIFY(setModified(m_path, 3000 * 1000));
            }
        };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QVERIFY(started > 0);
        QCOMPARE(timerOf(watch).timerId, started);
        QCOMPARE(watch.timestamp(), 2000u); // of the reset, so the change after it fires
        QVERIFY(poll(watch));
        QCOMPARE(recorder.calls.size(), 4);
    }

    void goesOnWhenAReceiverOnlySwitchesItOff()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        recorder.reaction = [&] { watch.setEnabled(false); };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QVERIFY(!watch.isEnabled());
        QVERIFY(timerOf(watch).timerId > 0);
        watch.reset();
        QCOMPARE(timerOf(watch).timerId, 0);
    }

    void staysOffWhenAReceiverSwitchesItOffAndAborts()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        recorder.reaction = [&] {
            watch.setEnabled(false);
            watch.abort();
        };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QVERIFY(!watch.isEnabled());
        QCOMPARE(timerOf(watch).timerId, 0);
    }

    void mayBeDeletedByAReceiver_data()
    {
        QTest::addColumn<QByteArray>("method");

        // clang-format off
        QTest::newRow("of the path") << QByteArray(SLOT(text(const Data::String &)));
        QTest::newRow("of nothing") << QByteArray(SLOT(bare()));
        QTest::newRow("of the value") << QByteArray(SLOT(single(const Data::Variant &)));
        QTest::newRow("of the payload") << QByteArray(SLOT(payload(const Data::VariantCollection &)));
        // clang-format on
    }

    void mayBeDeletedByAReceiver()
    {
        QFETCH(QByteArray, method);
        auto watch = std::make_unique<FileWatch>(m_path, 100);
        Recorder recorder;
        QVERIFY(watch->connect(&recorder, method.constData()));
        recorder.reaction = [&] { watch.reset(); };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(*watch));

        QVERIFY(!watch);
        QCOMPARE(recorder.calls.size(), 1);
    }

    void mayBeDeletedByTheHost_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("isThere");

        // clang-format off
        QTest::newRow("on a check") << "Modification check for watched.txt" << true;
        QTest::newRow("on a check for a missing file") << "Modification check for watched.txt" << false;
        QTest::newRow("on a change") << "Modification detected for watched.txt" << true;
        QTest::newRow("on a missing file") << "Path does not exists: " << false;
        // clang-format on
    }

    void mayBeDeletedByTheHost()
    {
        QFETCH(QString, line);
        QFETCH(bool, isThere);
        struct DeletingHost : FakeHost
        {
            void logMessage(const String &text, int level) override
            {
                FakeHost::logMessage(text, level);
                if (text.startsWith(line))
                    watch.reset();
            }
            QString line;
            std::unique_ptr<FileWatch> watch;
        } host;
        host.variables["verbose"] = "3";
        Utils::setApplication(&host);
        host.line = line;
        host.watch = std::make_unique<FileWatch>(m_path, 100);
        Recorder recorder;
        QVERIFY(host.watch->connect(&recorder, SLOT(bare())));

        QVERIFY(isThere ? setModified(m_path, 2000 * 1000) : QFile::remove(m_path));
        QVERIFY(poll(*host.watch));

        QVERIFY(!host.watch);
        QVERIFY(host.calls.last().startsWith("logMessage(" + line));
        QCOMPARE(recorder.calls, QStringList());
    }

    void bearsAReceiverThatSendsAgain()
    {
        OpenWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));
        QVERIFY(watch.connect(&recorder, SLOT(payload(const Data::VariantCollection &))));
        recorder.reaction = [&] {
            recorder.reaction = nullptr;
            watch.addData("b", 2);
            watch.sendSignals();
        };

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        const QString text = "text(" + m_path + ")";
        QCOMPARE(recorder.calls, (QStringList{text, text, "sig({b=2, path=" + m_path + "})"}));
        QVERIFY(timerOf(watch).timerId > 0);
    }

    // The switch and the interval

    void doesNotFireForWhatHappensWhileItIsOff()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));

        watch.setEnabled(false);
        QVERIFY(!watch.isEnabled());
        QCOMPARE(timerOf(watch).timerId, 0);
        QVERIFY(setModified(m_path, 2000 * 1000));
        QCOMPARE(watch.timestamp(), 1000u);
        watch.setEnabled(true);
        QVERIFY(watch.isEnabled());
        QCOMPARE(watch.timestamp(), 2000u);
        QCOMPARE(timerOf(watch).interval, 100);
        QCOMPARE(timerOf(watch).timerType, Qt::CoarseTimer);
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls, QStringList());
    }

    void doesNothingWhenItIsSwitchedAsItIs()
    {
        FileWatch watch(m_path, 100);
        const int timer = timerOf(watch).timerId;
        QVERIFY(setModified(m_path, 2000 * 1000));

        watch.setEnabled(true);
        QCOMPARE(timerOf(watch).timerId, timer);
        QCOMPARE(watch.timestamp(), 1000u);
        watch.setEnabled(false);
        watch.setEnabled(false);

        QCOMPARE(timerOf(watch).timerId, 0);
    }

    void isSwitchedThroughAPropertyFromOutside()
    {
        FileWatch watch(m_path, 100);
        QCOMPARE(watch.property("enabled"), QVariant(true));
        QVERIFY(watch.dynamicPropertyNames().contains("enabled"));
        QCOMPARE(watch.metaObject()->indexOfProperty("enabled"), -1);

        watch.setProperty("enabled", false);
        QVERIFY(!watch.isEnabled());
        QVERIFY(timerOf(watch).timerId > 0); // no poll has run yet
        watch.setEnabled(false);             // as it is already
        QVERIFY(timerOf(watch).timerId > 0);
        watch.setEnabled(true); // not one timer more
        QVERIFY(timerOf(watch).timerId > 0);
        watch.setProperty("enabled", false);
        watch.reset();

        QCOMPARE(timerOf(watch).timerId, 0);
        watch.setEnabled(true);
        QCOMPARE(watch.property("enabled"), QVariant(true));
    }

    void takesTheFileAsItIsOnAReset()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));

        QVERIFY(setModified(m_path, 2000 * 1000));
        watch.reset();
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls, QStringList());
        QCOMPARE(watch.timestamp(), 2000u);
        QCOMPARE(timerOf(watch).interval, 100);
        QVERIFY(QFile::remove(m_path));
        watch.reset();
        QCOMPARE(watch.timestamp(), 0u);
    }

    void readsTheTimeButStartsNothingOnAResetWhileItIsOff()
    {
        FileWatch watch(m_path, 100);
        watch.setEnabled(false);
        QVERIFY(setModified(m_path, 2000 * 1000));

        watch.reset();

        QCOMPARE(watch.timestamp(), 2000u);
        QCOMPARE(timerOf(watch).timerId, 0);
    }

    void changesItsInterval()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));
        QVERIFY(setModified(m_path, 2000 * 1000));

        watch.setInterval(300);
        QCOMPARE(timerOf(watch).interval, 300);
        QVERIFY(poll(watch));
        QCOMPARE(recorder.calls, QStringList()); // what was not seen yet is lost
        watch.setInterval(100);

        QCOMPARE(timerOf(watch).interval, 100);
    }

    void keepsItsIntervalWhenTheOtherIsTheSameOrTooShort()
    {
        FileWatch watch(m_path, 300);
        const int timer = timerOf(watch).timerId;

        QVERIFY(setModified(m_path, 2000 * 1000));
        for (unsigned int interval : {50u, 99u, 0u, 300u}) {
            watch.setInterval(interval);
            QCOMPARE(timerOf(watch).interval, 300);
        }

        QCOMPARE(timerOf(watch).timerId, timer);
        QCOMPARE(watch.timestamp(), 1000u);
    }

    void keepsAnIntervalForWhenItIsSwitchedOn()
    {
        FileWatch watch(m_path, 100);
        watch.setEnabled(false);

        watch.setInterval(300);
        QCOMPARE(timerOf(watch).timerId, 0);
        watch.setEnabled(true);

        QCOMPARE(timerOf(watch).interval, 300);
    }

    // Connecting

    void connectsByTheTextOfAMethod_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("call"); // "" when it cannot be connected

        QTest::addColumn<int>("warnings"); // of Qt

        const auto row = [](const char *method, const char *call, int warnings = 0) {
            QTest::newRow(method + 1) << QByteArray(method) << QString(call) << warnings;
        };
        row(SLOT(text(const Data::String &)), "text(PATH)");
        row(SLOT(bare()), "sig()");
        row(SLOT(single(const Data::Variant &)), "sig(PATH)");
        row(SLOT(payload(const Data::VariantCollection &)), "sig({path=PATH})");
        row(SLOT(pair(const Data::String &, const Data::Variant &)), "", 1);
        row(SLOT(qtVariant(const QVariant &)), "", 1);
        row(SLOT(missing(const Data::String &)), "", 2);
        row(SLOT(missing()), "", 2);
    }

    void connectsByTheTextOfAMethod()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, call);
        QFETCH(int, warnings);
        FileWatch watch(m_path, 100);
        Recorder recorder;
        for (int i = 0; i < warnings; ++i)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QObject::connect"));

        QCOMPARE(watch.connect(&recorder, method.constData()), !call.isEmpty());
        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls.join(""), call.replace("PATH", m_path));
    }

    void looksForStringInTheNameOfAMethodToo()
    {
        FileWatch watch(m_path, 100);
        Widget byName;
        Widget bare;
        QVERIFY(watch.connect(&byName, SLOT(setString())));
        QVERIFY(watch.connect(&bare, SLOT(setText())));
        QVERIFY(QObject::disconnect(&watch, SIGNAL(sig(const Data::String &)), nullptr, nullptr));

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(byName.calls, 0); // it had the emission of the path
        QCOMPARE(bare.calls, 1);
    }

    void connectsNothingToNothing()
    {
        FileWatch watch(m_path, 100);
        Recorder recorder;

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QObject::connect"));
        QVERIFY(!watch.connect(&recorder, nullptr));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QObject::connect"));
        QVERIFY(!watch.connect(nullptr, SLOT(text(const Data::String &))));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QObject::connect"));
        QVERIFY(!watch.connect(nullptr));
    }

    void connectsThroughItsBaseToo()
    {
        FileWatch watch(m_path, 100);
        Utils::Signal &base = watch;
        Recorder recorder;
        static Data::VariantCollection received;
        Utils::Slot slot(nullptr, nullptr);
        slot.setCallback(+[](const Data::VariantCollection &payload) { received = payload; });
        QVERIFY(base.reconnect(&recorder, SLOT(text(const Data::String &))));
        QVERIFY(watch.connect(&slot));

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(recorder.calls, QStringList("text(" + m_path + ")"));
        QCOMPARE(received, (Data::VariantCollection{{"path", m_path}}));
    }

    // Telling the host

    void tellsTheHostOfEachLookWhenItIsVerbose_data()
    {
        QTest::addColumn<QString>("verbose");
        QTest::addColumn<bool>("isVerbose");

        QTest::newRow("not set") << "" << false;
        QTest::newRow("none") << "0" << false;
        QTest::newRow("some") << "2" << false;
        QTest::newRow("enough") << "3" << true;
        QTest::newRow("much") << "10" << true;
        QTest::newRow("negative") << "-3" << false;
        QTest::newRow("no number") << "3x" << false;
    }

    void tellsTheHostOfEachLookWhenItIsVerbose()
    {
        QFETCH(QString, verbose);
        QFETCH(bool, isVerbose);
        if (!verbose.isEmpty())
            m_host->variables["verbose"] = verbose;

        FileWatch watch(m_path, 100);
        QCOMPARE(m_host->calls, QStringList("getVariable(verbose, 0)"));
        m_host->calls.clear();
        m_host->variables["verbose"] = isVerbose ? "0" : "3"; // too late
        QVERIFY(poll(watch));
        QVERIFY(QFile::remove(m_path));
        QVERIFY(poll(watch));

        const QString check = "logMessage(Modification check for watched.txt, 3)";
        const QString missing = "logMessage(Path does not exists: " + m_path + ", 3)";
        QCOMPARE(m_host->calls, isVerbose ? QStringList({check, check, missing}) : QStringList());
    }

    void tellsTheHostOfEachChange_data()
    {
        QTest::addColumn<QString>("verbose");
        QTest::addColumn<QStringList>("calls");

        const QString detected = "logMessage(Modification detected for watched.txt, 3)";
        // clang-format off
        QTest::newRow("quiet") << "0" << QStringList(detected);
        QTest::newRow("verbose") << "3" << QStringList{"logMessage(Modification check for watched.txt, 3)", detected};
        // clang-format on
    }

    void tellsTheHostOfEachChange()
    {
        QFETCH(QString, verbose);
        QFETCH(QStringList, calls);
        m_host->variables["verbose"] = verbose;
        FileWatch watch(m_path, 100);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(text(const Data::String &))));
        recorder.reaction = [&] { m_host->calls.append("fired"); };
        m_host->calls.clear();

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));

        QCOMPARE(m_host->calls, calls + QStringList("fired"));
    }

    void tellsNobodyWithoutAHost()
    {
        m_host->variables["verbose"] = "3";
        FileWatch watch(m_path, 100);
        m_host->calls.clear();
        Utils::setApplication(nullptr);
        Recorder recorder;
        QVERIFY(watch.connect(&recorder, SLOT(bare())));

        QVERIFY(setModified(m_path, 2000 * 1000));
        QVERIFY(poll(watch));
        FileWatch another(m_path, 100); // made without a host, and so never verbose
        Utils::setApplication(m_host.get());
        QVERIFY(poll(another));

        QCOMPARE(recorder.calls.size(), 1);
        QCOMPARE(m_host->calls, QStringList());
        QVERIFY(setModified(m_path, 3000 * 1000));
        QVERIFY(poll(another));
        QCOMPARE(m_host->calls,
                 QStringList("logMessage(Modification detected for watched.txt, 3)"));
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<FakeHost> m_host;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_FileWatch)
#include "tst_FileWatch.moc"
