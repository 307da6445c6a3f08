#include "utils/platform/Platform.h"

#include "tests/support/CallFault.h"

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include <pthread.h>
#include <unistd.h>

namespace Platform = Utils::Platform;
using namespace std::chrono_literals;

static std::atomic<int> alarms = 0;
static std::atomic<pthread_t> alarmThread;

static void onAlarm()
{
    ++alarms;
    alarmThread = pthread_self();
}

/// Reads a pipe to which nothing is written. Returns the error number.
static int readForEver()
{
    int ends[2] = {};
    char byte = 0;
    if (pipe(ends) != 0)
        return 0;
    const ssize_t count = read(ends[0], &byte, 1);
    const int error = count < 0 ? errno : 0;
    close(ends[0]);
    close(ends[1]);
    return error;
}

static struct sigaction actionOf(int number)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action;
}

/// Lets system calls go on after an alarm, as siginterrupt() does.
static void restartCalls()
{
    struct sigaction action = actionOf(Platform::alarmSignal());
    action.sa_flags |= SA_RESTART;
    sigaction(Platform::alarmSignal(), &action, nullptr);
}

class tst_Platform_alarm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        alarms = 0;
        QVERIFY(Platform::openAlarm(onAlarm));
    }

    void cleanup() { Platform::closeAlarm(); }

    void endsASystemCallThatWaits()
    {
        Platform::startAlarm(10ms);

        QCOMPARE(readForEver(), EINTR);

        QVERIFY(alarms > 0);
        QVERIFY(pthread_equal(alarmThread, pthread_self()));
    }

    void isStartedByAnotherThread()
    {
        std::thread other([] {
            std::this_thread::sleep_for(20ms);
            Platform::startAlarm(0ms);
        });

        const int error = readForEver();
        other.join();

        QCOMPARE(error, EINTR);
        QVERIFY(pthread_equal(alarmThread, pthread_self()));
    }

    void isRepeatedUntilItIsStopped()
    {
        Platform::startAlarm(0ms);
        QCOMPARE(readForEver(), EINTR);
        QCOMPARE(readForEver(), EINTR);
        QCOMPARE(readForEver(), EINTR);

        Platform::stopAlarm();
        const int before = alarms;
        std::this_thread::sleep_for(100ms);
        QCOMPARE(alarms.load(), before);
    }

    void waitsForItsDelay()
    {
        QElapsedTimer timer;
        timer.start();
        Platform::startAlarm(120ms);

        QCOMPARE(readForEver(), EINTR);

        QVERIFY2(timer.elapsed() >= 120, qPrintable(QString::number(timer.elapsed())));
    }

    void doesNothingWhileItIsNotOpen()
    {
        const int number = Platform::alarmSignal();
        QVERIFY(number > 0);
        Platform::closeAlarm();

        QCOMPARE(Platform::alarmSignal(), 0);
        Platform::startAlarm(0ms);
        std::this_thread::sleep_for(50ms);
        Platform::stopAlarm();
        Platform::closeAlarm();

        QCOMPARE(alarms.load(), 0);
        QVERIFY(!Platform::replaceAlarmHandler());
        QVERIFY(actionOf(number).sa_handler == SIG_DFL);
    }

    void takesASignalThatNothingHandles()
    {
        const int number = Platform::alarmSignal();
        Platform::closeAlarm();
        auto *const handler = +[](int) {};
        std::signal(number, handler);

        QVERIFY(Platform::openAlarm(onAlarm));

        QVERIFY(Platform::alarmSignal() != number);
        QVERIFY(actionOf(number).sa_handler == handler);
        std::signal(number, SIG_DFL);
    }

    void takesTheHandlerBack()
    {
        const int number = Platform::alarmSignal();
        auto *const handler = +[](int) {};
        std::signal(number, handler);

        QVERIFY(Platform::replaceAlarmHandler() == handler);
        QVERIFY(!Platform::replaceAlarmHandler()); // its own

        Platform::startAlarm(0ms);
        QCOMPARE(readForEver(), EINTR);
        QVERIFY(alarms > 0);
    }

    void takesTheHandlerBackAtItsStart_data()
    {
        QTest::addColumn<bool>("isRestarting");
        QTest::addColumn<quintptr>("handler");

        QTest::newRow("the default action") << false << reinterpret_cast<quintptr>(SIG_DFL);
        QTest::newRow("ignored") << false << reinterpret_cast<quintptr>(SIG_IGN);
        QTest::newRow("a handler") << false << reinterpret_cast<quintptr>(+[](int) {});
        QTest::newRow("its own, which restarts calls") << true << quintptr(0);
    }

    void takesTheHandlerBackAtItsStart()
    {
        QFETCH(bool, isRestarting);
        QFETCH(quintptr, handler);
        const int number = Platform::alarmSignal();
        if (isRestarting)
            restartCalls();
        else
            std::signal(number, reinterpret_cast<void (*)(int)>(handler));

        Platform::startAlarm(0ms);

        QCOMPARE(readForEver(), EINTR);
        QVERIFY(alarms > 0);
    }

    void takesBackNoHandlerWhereThereIsNone_data()
    {
        QTest::addColumn<quintptr>("handler");

        QTest::newRow("the default action") << reinterpret_cast<quintptr>(SIG_DFL);
        QTest::newRow("ignored") << reinterpret_cast<quintptr>(SIG_IGN);
    }

    void takesBackNoHandlerWhereThereIsNone()
    {
        QFETCH(quintptr, handler);
        std::signal(Platform::alarmSignal(), reinterpret_cast<void (*)(int)>(handler));

        QVERIFY(!Platform::replaceAlarmHandler());

        Platform::startAlarm(0ms);
        QCOMPARE(readForEver(), EINTR);
        QVERIFY(alarms > 0);
    }

    void isOpenedByAnotherThread()
    {
        const int number = Platform::alarmSignal();
        bool isOpen = false;
        int error = 0;
        bool isOfThread = false;

        std::thread([&] {
            isOpen = Platform::openAlarm(onAlarm);
            Platform::startAlarm(0ms);
            error = readForEver();
            isOfThread = pthread_equal(alarmThread, pthread_self()) != 0;
            Platform::closeAlarm();
        }).join();

        QVERIFY(isOpen);
        QCOMPARE(error, EINTR);
        QVERIFY(isOfThread);
        // A late signal of the first alarm must not end the process.
        QVERIFY(actionOf(number).sa_handler == SIG_IGN);
        std::signal(number, SIG_DFL);
    }

    void isNotOpenedWithoutAFreeSignal()
    {
        Platform::closeAlarm();
        auto *const handler = +[](int) {};
        std::vector<int> numbers;
        for (int number = SIGRTMIN + 4; number <= SIGRTMAX - 3; ++number) {
            if (actionOf(number).sa_handler != SIG_DFL)
                continue;
            numbers.push_back(number);
            std::signal(number, handler);
        }

        const bool isOpen = Platform::openAlarm(onAlarm);
        const int number = Platform::alarmSignal();
        for (const int used : numbers)
            std::signal(used, SIG_DFL);

        QVERIFY(numbers.size() > 1);
        QVERIFY(!isOpen);
        QCOMPARE(number, 0);
        Platform::startAlarm(0ms); // does nothing
        QVERIFY(Platform::openAlarm(onAlarm));
    }

    void isNotOpenedWhereTheSystemFails_data()
    {
        QTest::addColumn<QByteArray>("function");

        QTest::newRow("no timer") << QByteArray("timer_create");
        QTest::newRow("no signal can be examined") << QByteArray("sigaction");
    }

    void isNotOpenedWhereTheSystemFails()
    {
        QFETCH(QByteArray, function);
        Platform::closeAlarm();
        bool isOpen = true;
        {
            const CallFault fault(function, EAGAIN);
            isOpen = Platform::openAlarm(onAlarm);
            QVERIFY(fault.count() > 0);
        }

        QVERIFY(!isOpen);
        QCOMPARE(Platform::alarmSignal(), 0);
        QVERIFY(!Platform::replaceAlarmHandler());
        QVERIFY(Platform::openAlarm(onAlarm));
    }

    void isStartedWhereItsHandlerCannotBeExamined()
    {
        {
            const CallFault fault("sigaction", EINVAL);
            Platform::startAlarm(0ms);
            QVERIFY(fault.count() > 0);
        }

        QCOMPARE(readForEver(), EINTR);
        QVERIFY(alarms > 0);
    }

    void endsASystemCallWhenCallsAreRestartedMeanwhile()
    {
        Platform::startAlarm(20ms);
        restartCalls();

        QCOMPARE(readForEver(), EINTR);
    }
};

QTEST_GUILESS_MAIN(tst_Platform_alarm)
#include "tst_Platform_alarm.moc"
