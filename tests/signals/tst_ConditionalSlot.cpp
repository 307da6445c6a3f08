#include "utils/signals/ConditionalSlot.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "utils/signals/PublicSignal.h"

#include <QtTest>

using Data::Variant;
using Data::VariantCollection;
using Utils::ConditionalSlot;

static QStringList seen;

/// A signal that notes how its virtual connect is called.
class NotingSignal : public Utils::PublicSignal
{
    Q_OBJECT

public:
    NotingSignal() : PublicSignal("noting", nullptr) {}

    bool connect(const QObject *receiver, const char *method) override
    {
        methods.append(method);
        return !refuses && PublicSignal::connect(receiver, method);
    }
    QStringList methods;
    bool refuses = false;
};

class tst_ConditionalSlot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { seen.clear(); }

    void passesAPayloadThatHasAWantedValue_data()
    {
        QTest::addColumn<Variant>("wanted"); // for the key "mode"
        QTest::addColumn<VariantCollection>("payload");
        QTest::addColumn<bool>("passes");

        const auto row = [](const char *name, const Variant &wanted,
                            const VariantCollection &payload,
                            bool passes) { QTest::newRow(name) << wanted << payload << passes; };
        // clang-format off
        row("wildcard, fits",              "a*",      {{"mode", "abc"}},             true);
        row("wildcard for nothing",        "a*",      {{"mode", "a"}},               true);
        row("wildcard, other case",        "a*",      {{"mode", "Abc"}},             false);
        row("wildcard, a number",          "a*",      {{"mode", 5}},                 false);
        row("wildcard, another key",       "a*",      {{"other", 1}},                false);
        row("wildcard, the whole text",    "b*",      {{"mode", "abc"}},             false);
        row("wildcard for anything",       "*",       {{"mode", ""}},                true);
        row("wildcard, invalid value",     "*",       {{"mode", Variant()}},         false);
        row("wildcard, list of one",       "a*",      {{"mode", QStringList("abc")}}, false);
        row("the wildcard text itself",    "a*",      {{"mode", "a*"}},              true);
        row("one character",               "a?*",     {{"mode", "abc"}},             true);
        row("one character, missing",      "a?*",     {{"mode", "a"}},               false);
        row("a set",                       "[ab]c*",  {{"mode", "bcd"}},             true);
        row("a set, not in it",            "[ab]c*",  {{"mode", "ccd"}},             false);
        row("? alone is a character",      "a?c",     {{"mode", "abc"}},             false);
        row("? alone, the same",           "a?c",     {{"mode", "a?c"}},             true);
        row("[ alone is a character",      "[ab]",    {{"mode", "a"}},               false);
        row("[ alone, the same",           "[ab]",    {{"mode", "[ab]"}},            true);
        row("a backslash makes * plain",   "a\\*",    {{"mode", "a\\b"}},           false);
        row("and is a character itself",   "a\\*",    {{"mode", "a\\*"}},           true);
        row("which must be there",         "a\\*",    {{"mode", "a*"}},             false);
        row("* in the payload only",       "abc",     {{"mode", "a*"}},              false);
        row("* in a key",                  "abc",     {{"mod*", "abc"}},             false);
        row("text, the same",              "abc",     {{"mode", "abc"}},             true);
        row("text, other case",            "abc",     {{"mode", "ABC"}},             false);
        row("empty text",                  "",        {{"mode", ""}},                true);
        row("empty text, invalid value",   "",        {{"mode", Variant()}},         false);
        row("number, the same",            1,         {{"mode", 1}},                 true);
        row("number, other",               1,         {{"mode", 2}},                 false);
        row("number, of another type",     1,         {{"mode", 1.0}},               true);
        row("number against text",         "5",       {{"mode", 5.0}},               true);
        row("text against a number",       5,         {{"mode", "x"}},               false);
        row("truth on the left",           true,      {{"mode", "x"}},               true);
        row("truth on the right",          "x",       {{"mode", true}},              false);
        row("anything, a text",            Variant(), {{"mode", "x"}},               true);
        row("anything, invalid",           Variant(), {{"mode", Variant()}},         true);
        row("anything, another key",       Variant(), {{"other", 1}},                false);
        row("nothing at all",              Variant(), {},                            false);
        row("among other keys",            "abc",     {{"a", 1}, {"mode", "abc"}},   true);
        // clang-format on
    }

    void passesAPayloadThatHasAWantedValue()
    {
        QFETCH(Variant, wanted);
        QFETCH(VariantCollection, payload);
        QFETCH(bool, passes);
        ConditionalSlot slot("mode", wanted, "", nullptr);
        install(slot);

        slot.onSig(payload);

        QCOMPARE(seen, passes ? QStringList(describe(payload)) : QStringList());
        QVERIFY(slot.data().isEmpty());
    }

    void isNamedAndOwnedAsASlot()
    {
        const ConditionalSlot slot("k", 1, "name", this);

        QCOMPARE(slot.objectName(), QString("name"));
        QCOMPARE(slot.parent(), this);
    }

    void passesEitherOfTwoValues()
    {
        ConditionalSlot slot("k", 1, "", nullptr);
        slot.addData("k", 2);
        install(slot);

        for (int value : {1, 2, 3})
            slot.onSig(VariantCollection{{"k", value}});

        QCOMPARE(seen, (QStringList{"{k=1}", "{k=2}"}));
    }

    void passesAnyValueOnceAnInvalidOneIsWanted()
    {
        ConditionalSlot slot("k", 1, "", nullptr);
        slot.addData("k", 2);
        slot.addData("k", Variant());
        slot.addData("k", 3); // changes nothing
        install(slot);

        slot.onSig(VariantCollection{{"k", 1}});
        slot.onSig(VariantCollection{{"k", "other"}});

        QCOMPARE(seen, (QStringList{"{k=1}", "{k=other}"}));
    }

    void isSatisfiedByOneOfItsKeys()
    {
        ConditionalSlot slot("a", 1, "", nullptr);
        slot.addData("b", 2);
        install(slot);

        slot.onSig(VariantCollection{{"b", 2}});
        slot.onSig(VariantCollection{{"a", 5}, {"b", 2}}); // a key that fails refuses nothing
        slot.onSig(VariantCollection{{"a", 1}, {"b", 5}});
        slot.onSig(VariantCollection{{"a", 2}, {"b", 1}});

        QCOMPARE(seen, (QStringList{"{b=2}", "{a=5, b=2}", "{a=1, b=5}"}));
    }

    void passesEverythingWithoutConditions()
    {
        ConditionalSlot slot("", 1, "", nullptr); // an empty key is no condition
        slot.addData("", Variant());
        install(slot);

        slot.onSig(VariantCollection{{"a", 1}});
        slot.onSig(VariantCollection());
        slot.onSig();
        slot.onSig(Data::String("b"), Variant(2));
        slot.onSig(Variant(3));

        QCOMPARE(seen, (QStringList{"{a=1}", "{}", "{}", "{b=2}", "{}"}));
    }

    void passesNoBareDeliveryWithConditions()
    {
        ConditionalSlot slot("k", Variant(), "", nullptr);
        install(slot);

        slot.onSig();
        slot.onSig(Data::String("k"), Variant(1));
        slot.onSig(Variant(1));

        QCOMPARE(seen, QStringList());
        QVERIFY(slot.data().isEmpty());
    }

    void doesNotPassWhileItIsDisabled()
    {
        ConditionalSlot slot("k", 1, "", nullptr);
        install(slot);
        slot.setEnabled(false);

        slot.onSig(VariantCollection{{"k", 1}});

        QCOMPARE(seen, QStringList());
    }

    void connectsItsPayloadShapeThroughTheSignal()
    {
        NotingSignal signal;
        ConditionalSlot slot("k", 1, "", nullptr);
        install(slot);

        QVERIFY(slot.connect(&signal));

        QCOMPARE(signal.methods, QStringList("1onSig(const Data::VariantCollection &)"));
        send(signal, {{"k", 1}, {"a", 0}});
        send(signal, {{"k", 2}});
        QCOMPARE(seen, QStringList("{a=0, k=1}"));
    }

    void isNotConnectedToASignalThatRefuses()
    {
        NotingSignal signal;
        signal.refuses = true;
        ConditionalSlot slot("k", 1, "", nullptr);

        QVERIFY(!slot.connect(&signal));

        QCOMPARE(signal.methods.size(), 1);
    }

    void connectsNoNullSignal()
    {
        ConditionalSlot slot("k", 1, "", nullptr);

        QVERIFY(!slot.connect(nullptr));
    }

    void keepsTheConnectOfASlot()
    {
        Utils::PublicSignal signal("x", nullptr);
        ConditionalSlot slot("", 1, "", nullptr);
        install(slot);

        QVERIFY(slot.connect(&signal, SIGNAL(sig())));
        signal.sendSignals();

        QCOMPARE(seen, QStringList("{}"));
    }

    void staysQuickWithManyWildcards()
    {
        ConditionalSlot slot("k", QString("*a").repeated(40) + "b", "", nullptr);
        install(slot);

        slot.onSig(VariantCollection{{"k", QString(2000, 'a')}});

        QCOMPARE(seen, QStringList());
    }

private:
    static void install(ConditionalSlot &slot)
    {
        slot.setCallback([](const VariantCollection &data) { seen.append(describe(data)); });
    }
};

QTEST_GUILESS_MAIN(tst_ConditionalSlot)
#include "tst_ConditionalSlot.moc"
