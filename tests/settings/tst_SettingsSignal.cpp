#include "utils/settings/SettingsSignal.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/signals/Slot.h"

#include <QtTest>

#include <functional>
#include <memory>

using Data::Variant;
using Data::VariantCollection;
using Utils::Settings;
using Utils::SettingsSignal;
using Utils::Signal;

/// A way to connect a receiver.
struct Connect
{
    std::function<QMetaObject::Connection(const Recorder &)> to;
};
Q_DECLARE_METATYPE(Connect)

static const SettingsHome home;

/// A signal of settings that anybody may make and send.
class OpenSignal : public SettingsSignal
{
    Q_OBJECT

public:
    OpenSignal() : SettingsSignal("open") {}
    ~OpenSignal() override = default;
    using SettingsSignal::send;
    using SettingsSignal::sendSignals;
};

/// What is traced during its lifetime.
class Tracer
{
public:
    Tracer()
    {
        Signal::setTracer([this](const Utils::SignalTrace &send) {
            sends.append(QString("%1: shape %2, %3 receivers, depth %4")
                             .arg(send.name)
                             .arg(int(send.shape))
                             .arg(send.receivers)
                             .arg(send.depth));
            microseconds = send.microseconds;
        });
    }
    ~Tracer() { Signal::setTracer(nullptr); }

    QStringList sends;
    double microseconds = 0.0; // of the last one
};

class tst_SettingsSignal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Before anything looks for the name, which would take it.
        SettingsSignal &signal = Settings::SettingChanged();
        QCOMPARE(Signal::find("SettingChanged"), &signal);
    }

    void isOneSignalInTheProcess()
    {
        QCOMPARE(&Settings::SettingChanged(), &Settings::SettingChanged());
        QCOMPARE(Settings::SettingChanged().objectName(), QString("SettingChanged"));
        QCOMPARE(Settings::SettingChanged().parent(), nullptr);
    }

    void isReceivedHoweverItIsConnected_data()
    {
        QTest::addColumn<Connect>("connect");

        const auto row = [](const char *name, const decltype(Connect::to) &connect) {
            QTest::newRow(name) << Connect{connect};
        };
        const SettingsSignal *const signal = &Settings::SettingChanged();
        const auto toBare = [=](const char *emission) {
            return [=](const Recorder &recorder) {
                return QObject::connect(signal, emission, &recorder, SLOT(bare()));
            };
        };
        row("the empty form", toBare(SIGNAL(sig())));
        row("the key and the value", toBare(SIGNAL(sig(Data::String, Data::Variant))));
        row("the payload", toBare(SIGNAL(sig(Data::VariantCollection))));
        row("by index", [=](const Recorder &recorder) {
            return QMetaObject::connect(signal, Signal::staticMetaObject.methodOffset(), &recorder,
                                        Recorder::staticMetaObject.indexOfMethod("bare()"));
        });
        row("by method", [=](const Recorder &recorder) {
            const QMetaObject &type = Signal::staticMetaObject;
            return QObject::connect(signal, type.method(type.indexOfMethod("sig()")), &recorder,
                                    Recorder::staticMetaObject.method(
                                        Recorder::staticMetaObject.indexOfMethod("bare()")));
        });
        row("by pointer", [=](const Recorder &recorder) {
            return QObject::connect(signal, qOverload<>(&Signal::sig), &recorder, &Recorder::bare);
        });
        row("once", [=](const Recorder &recorder) {
            return QObject::connect(signal, SIGNAL(sig()), &recorder, SLOT(bare()),
                                    Qt::UniqueConnection);
        });
        row("by a function", [=](const Recorder &recorder) {
            return QObject::connect(signal, qOverload<>(&Signal::sig), [&recorder] {
                QMetaObject::invokeMethod(const_cast<Recorder *>(&recorder), "bare");
            });
        });
    }

    void isReceivedHoweverItIsConnected()
    {
        QFETCH(Connect, connect);
        Settings settings;
        settings.setInt("before", 1); // nobody receives it

        for (int i = 0; i < 2; ++i) {
            Recorder recorder;
            const QMetaObject::Connection connection = connect.to(recorder);
            QVERIFY(connection);
            settings.setInt("k", 1);
            QCOMPARE(recorder.calls.size(), 1);

            if (i == 0)
                QVERIFY(QObject::disconnect(connection));
            settings.setInt("k", 2);
            QCOMPARE(recorder.calls.size(), i + 1);
            QObject::disconnect(connection); // that of the function outlives the recorder
        }
        settings.setInt("after", 1);
    }

    void isReceivedByASpyASlotAndAnotherSignal()
    {
        Settings settings;
        settings.setInt("before", 1);
        {
            const QSignalSpy spy(&Settings::SettingChanged(), SIGNAL(sig()));
            settings.setInt("k", 1);
            QCOMPARE(spy.size(), 1);
        }
        settings.setInt("between", 1);
        {
            static VariantCollection seen;
            Utils::Slot slot("", nullptr);
            slot.setCallback(+[](const VariantCollection &data) { seen = data; });
            QVERIFY(Settings::SettingChanged().connect(&slot));
            settings.setInt("k", 2);
            QCOMPARE(seen, (VariantCollection{{"key", "k"}, {"value", 2}}));
        }
        settings.setInt("between", 2);
        OpenSignal another;
        Recorder recorder;
        QVERIFY(connectAllShapes(another, recorder));
        QVERIFY(QObject::connect(&Settings::SettingChanged(),
                                 SIGNAL(sig(Data::String, Data::Variant)), &another,
                                 SIGNAL(sig(Data::String, Data::Variant))));
        settings.setInt("k", 3);
        QCOMPARE(recorder.calls, QStringList("sig(k, 3)"));
    }

    void isClearedThoughNobodyReceivesIt()
    {
        SettingsSignal &signal = Settings::SettingChanged();
        signal.addData("more", 1).abort();

        Settings().setInt("k", 1);

        QVERIFY(signal.data().isEmpty());
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        Settings().setInt("k", 2);
        QCOMPARE(recorder.calls, (QStringList{"sig(k, 2)", "sig()", "sig({key=k, value=2})"}));
    }

    void sendsKeyAndValueBeforeAllOthers()
    {
        OpenSignal signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(signal.send("g/k", 5));

        QCOMPARE(recorder.calls, (QStringList{"sig(g/k, 5)", "sig()", "sig({key=g/k, value=5})"}));
        QVERIFY(signal.data().isEmpty());
    }

    void sendsARemovalAsTheInvalidValue()
    {
        OpenSignal signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(signal.send("k", Variant()));

        QCOMPARE(recorder.calls,
                 (QStringList{"sig(k, invalid)", "sig()", "sig({key=k, value=invalid})"}));
    }

    void carriesTheKeyAsText()
    {
        OpenSignal signal;
        Utils::Slot slot("", nullptr);
        VariantCollection seen;
        static VariantCollection *payload = nullptr;
        payload = &seen;
        slot.setCallback(+[](const VariantCollection &data) { *payload = data; });
        QVERIFY(signal.connect(&slot));

        signal.send("k", "text");

        QCOMPARE(seen["key"].userType(), int(QMetaType::QString));
        QCOMPARE(seen, (VariantCollection{{"key", "k"}, {"value", "text"}}));
    }

    void stopsWhenAReceiverOfKeyAndValueAborts()
    {
        OpenSignal signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] { signal.abort(); };

        QVERIFY(!signal.send("k", 1));

        QCOMPARE(recorder.calls, QStringList("sig(k, 1)"));
        QVERIFY(signal.data().isEmpty());
        recorder.reaction = nullptr;
        QVERIFY(signal.send("k", 2)); // and starts afresh
        QCOMPARE(recorder.calls.size(), 4);
    }

    void goesOnWhenALaterReceiverAborts()
    {
        OpenSignal signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == "sig()")
                signal.abort();
        };

        QVERIFY(!signal.send("k", 1));

        QCOMPARE(recorder.calls, (QStringList{"sig(k, 1)", "sig()", "sig({key=k, value=1})"}));
    }

    void sendsOtherPayloadsAsASignalDoes_data()
    {
        QTest::addColumn<VariantCollection>("payload");
        QTest::addColumn<QStringList>("calls");

        // clang-format off
        QTest::newRow("nothing") << VariantCollection() << QStringList("sig()");
        QTest::newRow("no value") << VariantCollection{{"key", "k"}}
                                  << QStringList{"sig()", "sig(k)", "sig(key, k)", "sig({key=k})"};
        QTest::newRow("no key") << VariantCollection{{"value", 1}}
            << QStringList{"sig()", "sig(1)", "sig(value, 1)", "sig({value=1})"};
        QTest::newRow("more") << VariantCollection{{"key", "k"}, {"value", 1}, {"more", 2}}
                              << QStringList{"sig(k, 1)", "sig()", "sig({key=k, more=2, value=1})"};
        // clang-format on
    }

    void sendsOtherPayloadsAsASignalDoes()
    {
        QFETCH(VariantCollection, payload);
        QFETCH(QStringList, calls);
        OpenSignal signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(::send(signal, payload));

        QCOMPARE(recorder.calls, calls);
    }

    void connectsASlot()
    {
        OpenSignal signal;
        Utils::Slot slot("", nullptr);

        QVERIFY(signal.connect(&slot));
        QVERIFY(!signal.connect(nullptr));
        QVERIFY(!signal.connect(nullptr, "1onSig()"));
    }

    void sendsAChangeFromWithinADelivery()
    {
        OpenSignal signal;
        Recorder first;
        Recorder second;
        QVERIFY(connectAllShapes(signal, first));
        QVERIFY(connectAllShapes(signal, second));
        first.reaction = [&] {
            if (first.calls.last() == "sig(outer, 1)")
                signal.send("inner", 2);
        };

        QVERIFY(signal.send("outer", 1));

        QCOMPARE(second.calls, (QStringList{"sig(inner, 2)", "sig()",
                                            "sig({key=inner, value=2})", // and then the outer one:
                                            "sig(outer, 1)", "sig()"}));
    }

    void leavesTheAbortStateOfTheInnerSend_data()
    {
        QTest::addColumn<bool>("innerAborts");
        QTest::addColumn<int>("outerCalls");

        QTest::newRow("an inner abort stops the outer send") << true << 1;
        QTest::newRow("a clean inner send clears an abort") << false << 2;
    }

    void leavesTheAbortStateOfTheInnerSend()
    {
        QFETCH(bool, innerAborts);
        QFETCH(int, outerCalls);
        OpenSignal signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        int innerCalls = 0;
        recorder.reaction = [&] {
            const QString call = recorder.calls.last();
            if (call == "sig(outer, 1)") {
                signal.abort();
                signal.send("inner", 2);
                innerCalls = recorder.calls.size() - 1;
            } else if (call == "sig(inner, 2)" && innerAborts) {
                signal.abort();
            }
        };

        QCOMPARE(signal.send("outer", 1), !innerAborts);

        QCOMPARE(recorder.calls.size() - innerCalls, outerCalls);
    }

    void isTracedWithAllItsEmissions_data()
    {
        QTest::addColumn<VariantCollection>("payload");
        QTest::addColumn<QString>("trace");

        // One receiver of sig(), two of sig(v), four of sig(k, v), eight of sig(payload).
        // clang-format off
        QTest::newRow("a change") << VariantCollection{{"key", "k"}, {"value", 1}}
                                  << "open: shape 3, 13 receivers, depth 0";
        QTest::newRow("a change and an item") // sig(k, v) is emitted for each
            << VariantCollection{{"key", "k"}, {"value", 1}, {"item", 2}}
            << "open: shape 2, 17 receivers, depth 0";
        QTest::newRow("no change") << VariantCollection{{"value", 1}}
                                   << "open: shape 1, 15 receivers, depth 0";
        QTest::newRow("nothing") << VariantCollection() << "open: shape 0, 1 receivers, depth 0";
        // clang-format on
    }

    void isTracedWithAllItsEmissions()
    {
        QFETCH(VariantCollection, payload);
        QFETCH(QString, trace);
        OpenSignal signal;
        signal.connect([] {});
        for (int i = 0; i < 2; ++i)
            signal.connect([](const Variant &) {});
        for (int i = 0; i < 4; ++i)
            signal.connect([](const Data::String &, const Variant &) {});
        for (int i = 0; i < 8; ++i)
            signal.connect([](const VariantCollection &) {});
        const Tracer tracer;

        QVERIFY(::send(signal, payload));

        QCOMPARE(tracer.sends, QStringList(trace));
    }

    void isTracedWithWhatReceiversOfKeyAndValueSend()
    {
        OpenSignal signal;
        OpenSignal inner;
        inner.setObjectName("inner");
        signal.connect([&](const Data::String &, const Variant &) {
            inner.sendSignals();
            QTest::qSleep(2);
        });
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        const Tracer tracer;

        QVERIFY(signal.send("k", 1));

        QCOMPARE(tracer.sends, (QStringList{"inner: shape 0, 0 receivers, depth 1",
                                            "open: shape 3, 4 receivers, depth 0"}));
        QVERIFY(tracer.microseconds >= 2000.0);
        QCOMPARE(recorder.calls, (QStringList{"sig(k, 1)", "sig()", "sig({key=k, value=1})"}));
    }

    void isTracedThoughAReceiverEndsIt_data()
    {
        QTest::addColumn<bool>("isDeleted");

        QTest::newRow("aborted") << false;
        QTest::newRow("deleted") << true;
    }

    void isTracedThoughAReceiverEndsIt()
    {
        QFETCH(bool, isDeleted);
        auto signal = std::make_unique<OpenSignal>();
        signal->connect([&](const Data::String &, const Variant &) {
            if (isDeleted)
                signal.reset();
            else
                signal->abort();
        });
        const Tracer tracer;

        QVERIFY(!signal->send("k", 1));

        QCOMPARE(tracer.sends, QStringList("open: shape 3, 1 receivers, depth 0"));
    }

    void endsWhenAReceiverDeletesIt()
    {
        for (const char *moment : {"sig(k, 1)", "sig()", "sig({key=k, value=1})"}) {
            auto signal = std::make_unique<OpenSignal>();
            Recorder recorder;
            QVERIFY(connectAllShapes(*signal, recorder));
            recorder.reaction = [&] {
                if (recorder.calls.last() == moment)
                    signal.reset();
            };

            QVERIFY(!signal->send("k", 1));

            QCOMPARE(recorder.calls.last(), QString(moment));
        }
    }
};

QTEST_GUILESS_MAIN(tst_SettingsSignal)
#include "tst_SettingsSignal.moc"
