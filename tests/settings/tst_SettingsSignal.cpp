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
