#include "utils/signals/SignalTrace.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/SignalTracer_p.h"

#include <QtTest>

#include <memory>
#include <stdexcept>
#include <vector>

using Data::VariantCollection;
using Utils::PublicSignal;
using Utils::Signal;
using Utils::SignalTrace;
using Utils::SignalTracer;

Q_DECLARE_METATYPE(SignalTrace::Shape)

class tst_SignalTrace : public QObject
{
    Q_OBJECT

private:
    QStringList seen;

    void trace()
    {
        Signal::setTracer([this](const SignalTrace &trace) {
            seen.append(QString("%1 %2 %3 depth %4")
                            .arg(trace.name)
                            .arg(int(trace.shape))
                            .arg(trace.receivers)
                            .arg(trace.depth));
        });
    }

private Q_SLOTS:
    void init() { seen.clear(); }
    void cleanup()
    {
        Signal::setTracer(nullptr);
        QCOMPARE(Utils::signalTracer->depth, 0);
        QVERIFY(!SignalTracer::active);
    }

    void tellsTheShapeAndTheReceivers_data()
    {
        QTest::addColumn<VariantCollection>("payload");
        QTest::addColumn<SignalTrace::Shape>("shape");
        QTest::addColumn<int>("receivers");

        // One receiver of sig(), two of sig(v), four of sig(k, v), eight of sig(payload).
        using Shape = SignalTrace::Shape;
        QTest::newRow("empty") << VariantCollection() << Shape::Empty << 1;
        QTest::newRow("one entry") << VariantCollection{{"a", 1}} << Shape::OneEntry << 15;
        QTest::newRow("one item") << VariantCollection{{"item", 1}} << Shape::OneEntry << 15;
        QTest::newRow("an item among two")
            << VariantCollection{{"a", 1}, {"item", 2}} << Shape::Item << 13;
        QTest::newRow("two") << VariantCollection{{"a", 1}, {"b", 2}} << Shape::Collection << 9;
    }

    void tellsTheShapeAndTheReceivers()
    {
        QFETCH(VariantCollection, payload);
        QFETCH(SignalTrace::Shape, shape);
        QFETCH(int, receivers);
        PublicSignal signal("Opened", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder)); // methods, beside the functions
        signal.connect([](const Data::Variant &) {});
        for (int i = 0; i < 3; ++i)
            signal.connect([](const Data::String &, const Data::Variant &) {});
        for (int i = 0; i < 7; ++i)
            signal.connect([](const VariantCollection &) {});
        std::vector<SignalTrace> traces;
        Signal::setTracer([&](const SignalTrace &trace) { traces.push_back(trace); });

        QVERIFY(send(signal, payload));

        QCOMPARE(traces.size(), std::size_t(1));
        QCOMPARE(traces[0].name, Data::String("Opened"));
        QCOMPARE(traces[0].shape, shape);
        QCOMPARE(traces[0].receivers, receivers);
        QCOMPARE(traces[0].depth, 0);
        QVERIFY(traces[0].microseconds > 0.0);
    }

    void changesNoDelivery()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        trace();

        QVERIFY(send(signal, {{"a", 1}}));
        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"}));
        QVERIFY(signal.data().isEmpty());
        recorder.reaction = [&] { signal.abort(); };
        QVERIFY(!signal.sendSignals());
    }

    void tellsNestedSendsFirst()
    {
        PublicSignal outer("outer", nullptr);
        PublicSignal middle("middle", nullptr);
        PublicSignal inner("inner", nullptr);
        outer.connect([&] {
            middle.sendSignals();
            middle.sendSignals();
        });
        middle.connect([&] { inner.sendSignals(); });
        trace();

        outer.sendSignals();

        QCOMPARE(seen, (QStringList{"inner 0 0 depth 2", "middle 0 1 depth 1", "inner 0 0 depth 2",
                                    "middle 0 1 depth 1", "outer 0 1 depth 0"}));
    }

    void includesTheTimeOfNestedSends()
    {
        PublicSignal outer("outer", nullptr);
        PublicSignal inner("inner", nullptr);
        outer.connect([&] { inner.sendSignals(); });
        inner.connect([] { QTest::qSleep(2); });
        std::vector<double> times;
        Signal::setTracer([&](const SignalTrace &trace) { times.push_back(trace.microseconds); });

        outer.sendSignals();

        QCOMPARE(times.size(), std::size_t(2));
        QVERIFY(times[0] >= 2000.0);
        QVERIFY(times[1] >= times[0]);
    }

    void tellsASendWhoseSignalIsDeleted()
    {
        auto *const signal = new PublicSignal("mortal", nullptr);
        signal->connect([&] { delete signal; });
        trace();

        QVERIFY(!signal->sendSignals());

        QCOMPARE(seen, QStringList("mortal 0 1 depth 0"));
    }

    void tellsASendThatAnExceptionLeaves()
    {
        PublicSignal signal("x", nullptr);
        signal.connect([] { throw std::runtime_error("thrown by a receiver"); });
        trace();

        QVERIFY_EXCEPTION_THROWN(signal.sendSignals(), std::runtime_error);

        QCOMPARE(seen, QStringList("x 0 1 depth 0"));
    }

    void tellsASingleShotCall()
    {
        QObject context;
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0, "later");
        trace();

        QCoreApplication::processEvents();

        QCOMPARE(seen, QStringList("later 0 1 depth 0"));
    }

    // What the tracer may do

    void isNotToldOfWhatTheTracerSends()
    {
        PublicSignal signal("x", nullptr);
        PublicSignal other("other", nullptr);
        int calls = 0;
        Signal::setTracer([&](const SignalTrace &) {
            ++calls;
            signal.sendSignals();
            other.sendSignals();
        });

        signal.sendSignals();

        QCOMPARE(calls, 1);
    }

    void maySwitchItselfOff()
    {
        PublicSignal signal("x", nullptr);
        const QString captured(100, 'y');
        QString after;
        Signal::setTracer([&, captured](const SignalTrace &) {
            Signal::setTracer(nullptr);
            after = captured; // which still exists
        });

        signal.sendSignals();
        QCOMPARE(after, QString(100, 'y'));
        after.clear();
        signal.sendSignals();
        QCOMPARE(after, QString());
    }

    void mayBeReplacedByItself()
    {
        PublicSignal signal("x", nullptr);
        Signal::setTracer([&](const SignalTrace &) {
            trace();
            signal.sendSignals(); // not told of, as the old tracer still runs
        });

        signal.sendSignals();
        QCOMPARE(seen, QStringList());
        signal.sendSignals();
        QCOMPARE(seen, QStringList("x 0 0 depth 0"));
    }

    void mayThrow()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        Signal::setTracer([&](const SignalTrace &) {
            ++calls;
            throw std::runtime_error("thrown by a tracer");
        });

        QVERIFY(signal.sendSignals());
        QVERIFY(signal.sendSignals());

        QCOMPARE(calls, 2);
    }

    void mayBeSetAndUnsetDuringASend()
    {
        PublicSignal outer("outer", nullptr);
        PublicSignal inner("inner", nullptr);
        outer.connect([&] {
            trace();
            inner.sendSignals();
            Signal::setTracer(nullptr);
        });
        outer.sendSignals(); // not traced when it began
        QCOMPARE(seen, QStringList("inner 0 0 depth 0"));
        seen.clear();
        trace();

        outer.sendSignals(); // no tracer when it ends

        QCOMPARE(seen, QStringList("inner 0 0 depth 1"));
    }

    void isOffAfterTheDestructionOfItsState()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        {
            SignalTracer late;
            late.setFunction([&](const SignalTrace &) { ++calls; });
            QVERIFY(SignalTracer::active);
        }

        QVERIFY(!SignalTracer::active);
        signal.sendSignals();
        QCOMPARE(calls, 0);
        Data::ProcessWide<SignalTracer>::isAlive = false;
        trace();
        Data::ProcessWide<SignalTracer>::isAlive = true;
        QVERIFY(!SignalTracer::active);
    }
};

QTEST_GUILESS_MAIN(tst_SignalTrace)
#include "tst_SignalTrace.moc"
