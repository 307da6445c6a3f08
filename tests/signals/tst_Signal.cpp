#include "utils/signals/Signal.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/Vtable.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/SignalRegistry_p.h"
#include "utils/signals/Slot.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>
#include <type_traits>

using Data::VariantCollection;
using Utils::PublicSignal;
using Utils::Signal;
using Utils::signalRegistry;

/// A signal that records calls of its virtual functions, and makes the protected ones public.
class DerivedSignal : public Signal
{
    Q_OBJECT

public:
    explicit DerivedSignal(const char *name) : Signal(name, nullptr) {}

    bool sendSignals() override
    {
        calls.append("sendSignals");
        clearAborted();
        if (emitOwn) {
            emitOwn();
            if (isAborted())
                return false;
        }
        return Signal::sendSignals();
    }
    void abort() override
    {
        calls.append("abort");
        Signal::abort();
    }
    void clearData() override
    {
        calls.append("clearData");
        Signal::clearData();
    }
    bool connect(const QObject *receiver, const char *method) override
    {
        calls.append(QString("connect(%1)").arg(method));
        return Signal::connect(receiver, method);
    }
    using Signal::connect;
    using Signal::isAborted;

    static int sendSignalsIndex() { return vtableIndex(&DerivedSignal::sendSignals); }

    QStringList calls;
    std::function<void()> emitOwn; // run before the base send
};

class tst_Signal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { signalRegistry->byName.clear(); }

    // Names

    void isNamedAfterItsName()
    {
        QCOMPARE(PublicSignal("\xc3\xa4", nullptr).objectName(), QString("\u00e4"));
        QCOMPARE(PublicSignal(nullptr, nullptr).objectName(), QString());
    }

    void isFoundByItsName()
    {
        PublicSignal signal("x", nullptr);

        QCOMPARE(Signal::find("x"), static_cast<Signal *>(&signal));
    }

    void isNotFoundAfterItsDeath()
    {
        auto signal = std::make_unique<PublicSignal>("x", nullptr);

        signal.reset();

        QVERIFY(!signalRegistry->byName.contains("x"));
        QVERIFY(!Signal::find("x"));
    }

    void belongsToNobodyWhenItsNameIsTakenTwice()
    {
        auto first = std::make_unique<PublicSignal>("x", nullptr);
        PublicSignal second("x", nullptr);
        QVERIFY(!Signal::find("x"));
        QVERIFY(signalRegistry->byName.contains("x"));

        first.reset();
        QVERIFY(!signalRegistry->byName.contains("x"));
        QVERIFY(!Signal::find("x"));

        Recorder recorder;
        QVERIFY(second.connect(&recorder, SLOT(bare())));
        QVERIFY(second.sendSignals());
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    void staysLostWhenAThirdTakesTheName()
    {
        PublicSignal first("x", nullptr);
        PublicSignal second("x", nullptr);
        PublicSignal third("x", nullptr);

        QVERIFY(!Signal::find("x"));
    }

    void losesItsNameWithTheDeathOfAnotherOfThatName()
    {
        auto first = std::make_unique<PublicSignal>("x", nullptr);
        auto second = std::make_unique<PublicSignal>("x", nullptr);
        first.reset(); // frees the name
        PublicSignal third("x", nullptr);
        QCOMPARE(Signal::find("x"), static_cast<Signal *>(&third));

        second.reset();

        QVERIFY(!Signal::find("x"));
    }

    void isNeverFoundWhenItWasLookedForTooEarly()
    {
        QVERIFY(!Signal::find("y"));
        QVERIFY(signalRegistry->byName.contains("y"));

        PublicSignal signal("y", nullptr);

        QVERIFY(!Signal::find("y"));
    }

    void takesTheEmptyNameToo()
    {
        PublicSignal unnamed(nullptr, nullptr);
        QCOMPARE(Signal::find(""), static_cast<Signal *>(&unnamed));

        PublicSignal another("", nullptr);
        QVERIFY(!Signal::find(""));
    }

    void isFoundByTheExactNameOnly()
    {
        PublicSignal signal("Opened", nullptr);

        QVERIFY(!Signal::find("opened"));
        QVERIFY(!Signal::find("Opened "));
        QCOMPARE(Signal::find("Opened"), static_cast<Signal *>(&signal));
    }

    void leavesItsOldEntryWhenItIsRenamed()
    {
        Signal *gone = nullptr;
        {
            PublicSignal signal("old", nullptr);
            gone = &signal;
            PublicSignal other("new", nullptr);
            signal.setObjectName("new");
        } // both have died, and the entry "old" dangles

        QVERIFY(!signalRegistry->byName.contains("new"));
        QCOMPARE(signalRegistry->byName.value("old"), gone);
    }

    void leavesADeadRegistryAlone()
    {
        auto known = std::make_unique<PublicSignal>("known", nullptr);
        Utils::signalRegistry.isAlive = false;

        QVERIFY(!Signal::find("known"));
        QVERIFY(!Signal::find("unknown"));
        PublicSignal late("late", nullptr);
        QCOMPARE(late.objectName(), QString("late"));
        known.reset();
        QVERIFY(late.sendSignals());

        Utils::signalRegistry.isAlive = true;
        QCOMPARE(signalRegistry->byName.keys(), QList<Data::String>{"known"});
    }

    // Payload

    void buildsItsPayloadKeyByKey()
    {
        PublicSignal signal("x", nullptr);
        QVERIFY(signal.data().isEmpty());

        Signal &same = signal.addData("b", 1).addData("a", "text").addData("b", 2);

        QCOMPARE(&same, static_cast<Signal *>(&signal));
        QCOMPARE(signal.data(), (VariantCollection{{"a", "text"}, {"b", 2}}));
        signal.clearData();
        QVERIFY(signal.data().isEmpty());
    }

    void givesACopyOfItsPayload()
    {
        PublicSignal signal("x", nullptr);
        signal.addData("a", 1);

        VariantCollection copy = signal.data();
        copy["a"] = 2;

        QCOMPARE(signal.data().value("a"), Data::Variant(1));
    }

    void carriesAFlagForItsOwner()
    {
        PublicSignal signal("x", nullptr);
        QCOMPARE(signal.flag(), 0);

        signal.setFlag(-7);

        QCOMPARE(signal.flag(), -7);
    }

    // Sending

    void emitsTheShapesThatFitItsPayload_data()
    {
        QTest::addColumn<VariantCollection>("payload");
        QTest::addColumn<QStringList>("emissions");

        // clang-format off
        QTest::newRow("empty")
            << VariantCollection()
            << QStringList{"sig()"};
        QTest::newRow("one entry")
            << VariantCollection{{"a", 1}}
            << QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"};
        QTest::newRow("one invalid entry")
            << VariantCollection{{"a", Data::Variant()}}
            << QStringList{"sig()", "sig(invalid)", "sig(a, invalid)", "sig({a=invalid})"};
        QTest::newRow("one entry without a key")
            << VariantCollection{{"", 1}}
            << QStringList{"sig()", "sig(1)", "sig(, 1)", "sig({=1})"};
        QTest::newRow("the item alone")
            << VariantCollection{{"item", "p"}}
            << QStringList{"sig()", "sig(p)", "sig(item, p)", "sig({item=p})"};
        QTest::newRow("an item among two")
            << VariantCollection{{"a", 1}, {"item", "p"}}
            << QStringList{"sig()", "sig(item, p)", "sig({a=1, item=p})"};
        QTest::newRow("an item among three")
            << VariantCollection{{"a", 1}, {"item", "p"}, {"z", 2}}
            << QStringList{"sig()", "sig(item, p)", "sig({a=1, item=p, z=2})"};
        QTest::newRow("two without an item")
            << VariantCollection{{"a", 1}, {"b", 2}}
            << QStringList{"sig()", "sig({a=1, b=2})"};
        QTest::newRow("Item is no item")
            << VariantCollection{{"Item", 1}, {"b", 2}}
            << QStringList{"sig()", "sig({Item=1, b=2})"};
        // clang-format on
    }

    void emitsTheShapesThatFitItsPayload()
    {
        QFETCH(VariantCollection, payload);
        QFETCH(QStringList, emissions);
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(send(signal, payload));

        QCOMPARE(recorder.calls, emissions);
        QVERIFY(signal.data().isEmpty());
    }

    void takesTheOneEntryRowWhenAKeyIsSetTwice()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        signal.addData("a", 1);
        send(signal, {{"a", 2}});

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(2)", "sig(a, 2)", "sig({a=2})"}));
    }

    void servesReceiversOfOneShapeInConnectionOrder()
    {
        PublicSignal signal("x", nullptr);
        QStringList order;
        Recorder first;
        Recorder second;
        first.reaction = [&] { order.append("first " + first.calls.last()); };
        second.reaction = [&] { order.append("second " + second.calls.last()); };
        signal.connect(&second, SLOT(payload(const Data::VariantCollection &)));
        signal.connect(&second, SLOT(bare()));
        signal.connect(&first, SLOT(bare()));

        send(signal, {{"a", 1}});

        QCOMPARE(order, (QStringList{"second sig()", "first sig()", "second sig({a=1})"}));
    }

    void succeedsWithoutReceivers()
    {
        PublicSignal signal("x", nullptr);

        QVERIFY(send(signal, {{"a", 1}}));

        QVERIFY(signal.data().isEmpty());
    }

    void keepsItsPayloadInPlaceDuringASend()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        QList<VariantCollection> seen;
        recorder.reaction = [&] { seen.append(signal.data()); };

        send(signal, {{"a", 1}});

        const VariantCollection whole{{"a", 1}};
        QCOMPARE(seen, (QList<VariantCollection>{whole, whole, whole, whole}));
    }

    void isSentByItsMethodText()
    {
        DerivedSignal signal("x");
        Recorder recorder;
        signal.connect(&recorder, SLOT(bare()));
        QObject trigger;
        QVERIFY(QObject::connect(&trigger, SIGNAL(destroyed()), &signal, "1sendSignals()"));

        bool result = false;
        QVERIFY(QMetaObject::invokeMethod(&signal, "sendSignals", Q_RETURN_ARG(bool, result)));

        QVERIFY(result);
        QCOMPARE(recorder.calls, QStringList("sig()"));
        QVERIFY(signal.calls.contains("sendSignals")); // the most derived one
    }

    void sendsNothingWhileItsSignalsAreBlocked()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        signal.blockSignals(true);

        QVERIFY(send(signal, {{"a", 1}}));

        QCOMPARE(recorder.calls, QStringList());
        QVERIFY(signal.data().isEmpty());
    }

    // Abort

    void failsWhenAReceiverAbortsButServesThemAll_data()
    {
        QTest::addColumn<QString>("objector");

        for (const char *emission : {"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"})
            QTest::newRow(emission) << QString(emission);
    }

    void failsWhenAReceiverAbortsButServesThemAll()
    {
        QFETCH(QString, objector);
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == objector)
                signal.abort();
        };

        QVERIFY(!send(signal, {{"a", 1}}));

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"}));
        QVERIFY(signal.data().isEmpty());
    }

    void forgetsAnAbortAtTheNextSend()
    {
        PublicSignal signal("x", nullptr);

        signal.abort();

        QVERIFY(signal.sendSignals());
    }

    void letsAnOverrideSeeAnAbortAndStopEarly()
    {
        DerivedSignal signal("x");
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        signal.abort(); // an old one does not count
        QVERIFY(signal.sendSignals());
        QCOMPARE(recorder.calls, QStringList("sig()"));

        signal.emitOwn = [&] { signal.abort(); };

        QVERIFY(!signal.sendSignals());
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    // Sends within sends

    void goesOnWithAnEmptyPayloadAfterANestedSend()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        bool isNested = false;
        recorder.reaction = [&] {
            if (isNested)
                return;
            isNested = true;
            send(signal, {{"b", 2}});
        };

        QVERIFY(send(signal, {{"a", 1}}));

        // The nested send finds both entries, and nothing but its own emissions follows.
        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig()", "sig({a=1, b=2})"}));
    }

    void stillSendsTheSavedPairAfterANestedSendAtTheValue()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() != "sig(1)" || recorder.calls.count("sig(1)") > 1)
                return;
            signal.clearData();
            signal.sendSignals();
        };

        QVERIFY(send(signal, {{"a", 1}}));

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig()", "sig(a, 1)"}));
    }

    void takesOverTheAbortStateOfANestedSend_data()
    {
        QTest::addColumn<bool>("outerAborts"); // before the nested send
        QTest::addColumn<bool>("innerAborts");
        QTest::addColumn<bool>("result"); // of the outer send

        QTest::newRow("nobody aborts") << false << false << true;
        QTest::newRow("an abort of the outer is erased") << true << false << true;
        QTest::newRow("an abort of the inner stays") << false << true << false;
        QTest::newRow("both abort") << true << true << false;
    }

    void takesOverTheAbortStateOfANestedSend()
    {
        QFETCH(bool, outerAborts);
        QFETCH(bool, innerAborts);
        QFETCH(bool, result);
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        signal.connect(&recorder, SLOT(bare()));
        bool innerResult = false;
        recorder.reaction = [&] {
            if (recorder.calls.size() > 1) {
                if (innerAborts)
                    signal.abort();
                return;
            }
            if (outerAborts)
                signal.abort();
            innerResult = signal.sendSignals();
        };

        QCOMPARE(signal.sendSignals(), result);
        QCOMPARE(innerResult, !innerAborts);
    }

    void followsAPayloadThatAReceiverChanges()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == "sig()")
                signal.addData("b", 2); // two entries now: no single-entry emissions
        };

        send(signal, {{"a", 1}});

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig({a=1, b=2})"}));
    }

    void keepsToThePairWhenAReceiverOfTheValueAddsAnItem()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == "sig(1)")
                signal.addData("item", 2);
        };

        send(signal, {{"a", 1}});

        QCOMPARE(recorder.calls,
                 (QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1, item=2})"}));
    }

    void emitsThePayloadThatAReceiverHasReplaced()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == "sig(a, 1)")
                signal.addData("a", 2);
        };

        send(signal, {{"a", 1}});

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=2})"}));
    }

    void servesAReceiverThatConnectsDuringASendFromTheNextEmissionOn()
    {
        PublicSignal signal("x", nullptr);
        Recorder first;
        Recorder late;
        first.reaction = [&] {
            if (first.calls.size() == 1)
                connectAllShapes(signal, late);
        };
        signal.connect(&first, SLOT(bare()));

        send(signal, {{"a", 1}});

        QCOMPARE(late.calls, (QStringList{"sig(1)", "sig(a, 1)", "sig({a=1})"}));
    }

    // Connecting

    void choosesTheEmissionByTheMethodText_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QStringList>("calls"); // empty: the connection is refused

        // clang-format off
        QTest::newRow("payload") << QByteArray(SLOT(payload(const Data::VariantCollection &)))
                                 << QStringList{"sig({a=1})"};
        QTest::newRow("pair") << QByteArray(SLOT(pair(const Data::String &, const Data::Variant &)))
                              << QStringList{"sig(a, 1)"};
        QTest::newRow("single") << QByteArray(SLOT(single(const Data::Variant &)))
                                << QStringList{"sig(1)"};
        QTest::newRow("bare") << QByteArray(SLOT(bare()))
                              << QStringList{"sig()"};
        QTest::newRow("payload, not normalised") << QByteArray("1payload( const  Data::VariantCollection& )")
                                                 << QStringList{"sig({a=1})"};
        QTest::newRow("text alone") << QByteArray(SLOT(text(const Data::String &)))
                                    << QStringList();
        QTest::newRow("a QVariant") << QByteArray(SLOT(qtVariant(const QVariant &)))
                                    << QStringList();
        QTest::newRow("unqualified type") << QByteArray("1payload(const VariantCollection &)")
                                          << QStringList();
        QTest::newRow("unknown method") << QByteArray("1nothing()")
                                        << QStringList();
        QTest::newRow("no code digit") << QByteArray("bare()")
                                       << QStringList();
        QTest::newRow("empty") << QByteArray("")
                               << QStringList();
        // clang-format on
    }

    void choosesTheEmissionByTheMethodText()
    {
        QFETCH(QByteArray, method);
        QFETCH(QStringList, calls);
        PublicSignal signal("x", nullptr);
        Recorder recorder;

        QCOMPARE(signal.connect(&recorder, method.constData()), !calls.isEmpty());

        send(signal, {{"a", 1}});
        QCOMPARE(recorder.calls, calls);
    }

    void testsTheMethodTextInAFixedOrder_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("emission"); // that Qt finds not to fit

        // clang-format off
        QTest::newRow("a payload decides before all else")
            << QByteArray(SLOT(mixed(const Data::VariantCollection &, const Data::String &, const Data::Variant &)))
            << QByteArray("sig(Data::VariantCollection)");
        QTest::newRow("text and value in any order")
            << QByteArray(SLOT(swapped(const Data::Variant &, const Data::String &)))
            << QByteArray("sig(Data::String,Data::Variant)");
        QTest::newRow("text alone decides nothing")
            << QByteArray(SLOT(text(const Data::String &))) << QByteArray("sig()");
        // clang-format on
    }

    void testsTheMethodTextInAFixedOrder()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, emission);
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        const QString chosen = QRegularExpression::escape("Utils::PublicSignal::" + emission);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(chosen + " --> Recorder::"));

        QVERIFY(!signal.connect(&recorder, method.constData()));
    }

    void isConnectedAutomatically()
    {
        QThread thread;
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(signal.connect(&recorder, SLOT(bare())));
        recorder.moveToThread(&thread); // which never runs

        signal.sendSignals();

        QCOMPARE(recorder.calls, QStringList());
    }

    void refusesNullReceiversAndMethods()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;

        QVERIFY(!signal.connect(static_cast<const QObject *>(nullptr), SLOT(bare())));
        QVERIFY(!signal.connect(&recorder, nullptr));
        QVERIFY(!signal.connect(static_cast<const Utils::Slot *>(nullptr)));
    }

    void connectsThePayloadShapeOfASlot()
    {
        DerivedSignal signal("x");
        Utils::Slot slot("slot", nullptr);

        QVERIFY(signal.connect(&slot));

        QCOMPARE(signal.calls, // through the virtual connect
                 QStringList("connect(1onSig(const Data::VariantCollection&))"));
        static QStringList seen;
        seen.clear();
        slot.setCallback([](const VariantCollection &data) { seen.append(describe(data)); });
        send(signal, {{"a", 1}});
        signal.sendSignals(); // an empty payload does not reach the payload shape
        QCOMPARE(seen, QStringList("{a=1}"));
    }

    void deliversTwiceWhenConnectedTwice()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        signal.connect(&recorder, SLOT(bare()));
        signal.connect(&recorder, SLOT(bare()));

        signal.sendSignals();

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig()"}));
    }

    void reconnectsInPlaceOfAllConnectionsToTheReceiver()
    {
        DerivedSignal signal("x");
        Recorder recorder;
        Recorder other;
        QVERIFY(connectAllShapes(signal, recorder));
        QVERIFY(connectAllShapes(signal, other));
        signal.calls.clear();

        QVERIFY(signal.reconnect(&recorder, SLOT(single(const Data::Variant &))));

        QCOMPARE(signal.calls, QStringList("connect(1single(const Data::Variant &))"));
        send(signal, {{"a", 1}});
        QCOMPARE(recorder.calls, QStringList("sig(1)"));
        QCOMPARE(other.calls.size(), 4);
    }

    void leavesNoConnectionWhenAReconnectFails()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(!signal.reconnect(&recorder, "1nothing()"));

        send(signal, {{"a", 1}});
        QCOMPARE(recorder.calls, QStringList());
    }

    void keepsEveryConnectionWhenReconnectedToNull()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        signal.connect(&recorder, SLOT(bare()));

        QVERIFY(!signal.reconnect(nullptr, SLOT(bare())));

        signal.sendSignals();
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    void mayBeChainedToAnotherSignal()
    {
        PublicSignal source("source", nullptr);
        PublicSignal relay("relay", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(relay, recorder));

        QVERIFY(source.connect(&relay, SIGNAL(sig(const Data::Variant &))));
        send(source, {{"a", 1}});

        QCOMPARE(recorder.calls, QStringList("sig(1)"));
    }

    // Shape of the class

    void hasItsMetaMethodsInAFixedOrder()
    {
        const QMetaObject &meta = Signal::staticMetaObject;
        const int first = meta.methodOffset();
        QCOMPARE(QByteArray(meta.className()), QByteArray("Utils::Signal"));
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);

        QCOMPARE(meta.methodCount() - first, 5);
        QCOMPARE(meta.indexOfSignal("sig()"), first);
        QCOMPARE(meta.indexOfSignal("sig(Data::VariantCollection)"), first + 1);
        QCOMPARE(meta.indexOfSignal("sig(Data::Variant)"), first + 2);
        QCOMPARE(meta.indexOfSignal("sig(Data::String,Data::Variant)"), first + 3);
        QCOMPARE(meta.indexOfSlot("sendSignals()"), first + 4);
        QCOMPARE(QByteArray(meta.method(first + 4).typeName()), QByteArray("bool"));
    }

    void hasItsVirtualOperationsInAFixedOrder()
    {
        const int first = DerivedSignal::sendSignalsIndex();
        bool (Signal::*const connectMethod)(const QObject *, const char *) = &Signal::connect;

        QVERIFY(first > vtableIndex(&QObject::eventFilter));
        QCOMPARE(vtableIndex(&Signal::abort), first + 1);
        QCOMPARE(vtableIndex(&Signal::clearData), first + 2);
        QCOMPARE(vtableIndex(connectMethod), first + 3);
    }

    void isReachedThroughItsVirtualOperations()
    {
        DerivedSignal signal("x");

        static_cast<Signal &>(signal).abort();
        QVERIFY(signal.isAborted());
        signal.sendSignals();

        QCOMPARE(signal.calls, (QStringList{"abort", "sendSignals", "clearData"}));
    }

    void isNotCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<Signal>);
        QVERIFY(!std::is_copy_assignable_v<Signal>);
        QVERIFY(!std::is_copy_constructible_v<PublicSignal>);
        QVERIFY(!std::is_copy_assignable_v<PublicSignal>);
    }

    void isBuiltAndSentByDerivedClassesOnly()
    {
        QVERIFY((!std::is_constructible_v<Signal, const char *, QObject *>));
        QVERIFY(!std::is_destructible_v<Signal>);
    }

    void translatesInItsOwnContext()
    {
        QCOMPARE(Signal::tr("text"), QString("text"));
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        QCOMPARE(Signal::trUtf8("text"), QString("text"));
        QT_WARNING_POP
    }

    void isSeenBySignalSpies()
    {
        PublicSignal signal("x", nullptr);
        QSignalSpy spy(&signal, SIGNAL(sig(Data::VariantCollection)));

        send(signal, {{"a", 1}});

        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy[0][0].value<VariantCollection>(), (VariantCollection{{"a", 1}}));
    }

    void reachesAQueuedConnection()
    {
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(QObject::connect(&signal, SIGNAL(sig(Data::String, Data::Variant)), &recorder,
                                 SLOT(pair(Data::String, Data::Variant)), Qt::QueuedConnection));

        send(signal, {{"a", 1}});
        QCOMPARE(recorder.calls, QStringList());
        QCoreApplication::processEvents();

        QCOMPARE(recorder.calls, QStringList("sig(a, 1)"));
    }
};

QTEST_GUILESS_MAIN(tst_Signal)
#include "tst_Signal.moc"
