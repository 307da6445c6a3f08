#include "utils/settings/SettingsSlot.h"

#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Vtable.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/signals/PublicSignal.h"

#include <QtTest>

#include <functional>
#include <memory>

using Data::Variant;
using Data::VariantCollection;
using Utils::Settings;
using Utils::SettingsSlot;

static const SettingsHome home;

static QStringList seen;
static std::function<void()> reaction;

static void note(const VariantCollection &change)
{
    seen.append(describe(change));
    if (reaction)
        reaction();
}

/// A slot whose protected operations anybody may call.
class OpenSlot : public SettingsSlot
{
    Q_OBJECT

public:
    explicit OpenSlot(const Data::String &keys) : SettingsSlot(keys, nullptr) { setCallback(note); }
    using SettingsSlot::onSig;
    using SettingsSlot::testKey;

    static int testKeyIndex() { return vtableIndex(&OpenSlot::testKey); }
};

class ChoosySlot : public OpenSlot
{
    Q_OBJECT

public:
    using OpenSlot::OpenSlot;
    bool testKey(const Data::String &key) override { return key.size() == 1; }
};

class tst_SettingsSlot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        seen.clear();
        reaction = nullptr;
        home.fill("");
    }

    void isNamedAndOwned()
    {
        const SettingsSlot slot("a", this);

        QCOMPARE(slot.objectName(), QString("SettingsSlot"));
        QCOMPARE(slot.parent(), this);
    }

    void hearsOfKeysThatBeginWithAPrefix_data()
    {
        QTest::addColumn<QString>("prefixes");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("hears");

        const auto row = [](const char *prefixes, const char *key, bool hears) {
            QTest::addRow("%s, %s", prefixes, key) << QString(prefixes) << QString(key) << hears;
        };
        // clang-format off
        row("View/",  "View/x",    true);
        row("View/",  "View/a/b",  true);
        row("View/",  "View",      false);
        row("view",   "View/x",    false);
        row("Colors", "ColorsOld", true);
        row("Colors", "Colors",    true);
        row("Colors", "my/Colors", false);
        row("a;b;",   "a",         true);
        row("a;b;",   "box",       true);
        row("a;b;",   "c",         false);
        row(";;a",    "b",         false);
        row("a; b",   "b",         false);
        row("a; b",   " b",        true);
        row("",       "a",         false);
        row(";",      "a",         false);
        row("*",      "a",         false);
        row("Größe",  "Größe/x",   true);
        // clang-format on
    }

    void hearsOfKeysThatBeginWithAPrefix()
    {
        QFETCH(QString, prefixes);
        QFETCH(QString, key);
        QFETCH(bool, hears);
        OpenSlot slot(prefixes);

        Settings().setInt(key, 1);

        QCOMPARE(slot.testKey(key), hears);
        QCOMPARE(seen, hears ? QStringList("{key=" + key + ", value=1}") : QStringList());
    }

    void takesMorePrefixes()
    {
        OpenSlot slot("a;b");
        slot.addKey("c;;d");
        slot.addKey("");

        QString heard;
        for (const char *key : {"a", "b", "c", "d", "e", "cd"}) {
            if (slot.testKey(key))
                heard += QString(key) + " ";
        }
        QCOMPARE(heard, QString("a b c d cd "));
        Settings().setInt("d", 1);
        QCOMPARE(seen.size(), 1);
    }

    void staysUnconnectedForAHyphen()
    {
        OpenSlot slot("-");
        slot.addKey("a");
        Settings().setInt("a", 1);
        Settings().setInt("-x", 1);
        QCOMPARE(seen, QStringList());

        QVERIFY(Settings::SettingChanged().connect(
            &slot, SLOT(onSig(const Data::String &, const Data::Variant &))));
        Settings().setInt("a", 2).setInt("-x", 3);
        QCOMPARE(seen, (QStringList{"{key=a, value=2}", "{key=-x, value=3}"}));
    }

    void isConnectedForAHyphenAmongOthers()
    {
        OpenSlot slot("-;a");

        Settings().setInt("a", 1).setInt("-", 2);

        QCOMPARE(seen, (QStringList{"{key=a, value=1}", "{key=-, value=2}"}));
    }

    void hearsOfARemovalAsTheInvalidValue()
    {
        OpenSlot slot("a");

        Settings().removeKey("a").setValue("a", Variant());

        QCOMPARE(seen, (QStringList{"{key=a, value=invalid}", "{key=a, value=invalid}"}));
    }

    void hearsOfEveryKindOfChange()
    {
        OpenSlot slot("g/;MRU");

        Settings settings("g");
        settings.setInt("a/x", 1).copyKey("a", "b").renameKey("b", "c").addMRU("l", "C:\\p");
        settings.removeMRU("l", "C:/p").setDefault("d", 1, true);
        settings.setFlags("a", true, true);

        QCOMPARE(seen, (QStringList{"{key=g/a/x, value=1}", "{key=g/b, value=invalid}",
                                    "{key=g/c, value=invalid}", "{key=g/b, value=invalid}",
                                    "{key=MRU/l, value=C:\\p}"}));
    }

    void deliversAPayloadWhenCalled()
    {
        OpenSlot slot("-");
        slot.addKey("a");

        slot.onSig(Data::String("a"), Variant(1));
        slot.onSig(Data::String("b"), Variant(2));

        QCOMPARE(seen, QStringList("{key=a, value=1}"));
        QVERIFY(slot.data().isEmpty());
    }

    void deliversNothingWhileItIsDisabled()
    {
        OpenSlot slot("a");
        slot.setEnabled(false);

        Settings().setInt("a", 1);

        QCOMPARE(seen, QStringList());
        QVERIFY(slot.data().isEmpty());
    }

    void isAPlainSlotInOtherShapes()
    {
        Utils::PublicSignal signal("x", nullptr);
        OpenSlot slot("-");
        QVERIFY(signal.connect(&slot));

        signal.addData("b", 1);
        signal.sendSignals();

        QCOMPARE(seen, QStringList("{b=1}"));
    }

    void letsADerivedSlotTestKeys()
    {
        ChoosySlot slot("none");

        Settings().setInt("a", 1).setInt("ab", 2);

        QCOMPARE(seen, QStringList("{key=a, value=1}"));
    }

    void testsKeysBehindTheOperationsOfASlot()
    {
        QCOMPARE(OpenSlot::testKeyIndex(),
                 vtableIndex(static_cast<void (Utils::Slot::*)()>(&Utils::Slot::onSig)) + 1);
        QCOMPARE(SettingsSlot::staticMetaObject.methodCount(),
                 Utils::Slot::staticMetaObject.methodCount());
    }

    void mayBeDeletedInItsDelivery()
    {
        auto slot = std::make_unique<OpenSlot>("a");
        const OpenSlot other("a");
        reaction = [&] { slot.reset(); };

        Settings().setInt("a", 1);

        QCOMPARE(seen.size(), 2);
        Settings().setInt("a", 2);
        QCOMPARE(seen.size(), 3);
    }

    void mayWriteASettingInItsDelivery()
    {
        const OpenSlot first("a");
        const OpenSlot second("a");
        reaction = [] {
            reaction = nullptr;
            Settings().setInt("ab", 2);
        };

        Settings().setInt("a", 1);

        // The second slot hears of the inner change first, and then finds the outer one empty.
        QCOMPARE(seen,
                 (QStringList{"{key=a, value=1}", "{key=ab, value=2}", "{key=ab, value=2}", "{}"}));
        QCOMPARE(home.stored(), QString("a=1 ab=2"));
    }

    void mayAbortTheSend()
    {
        const OpenSlot slot("a");
        Utils::Slot later("later", nullptr);
        later.setCallback(note);
        QVERIFY(Settings::SettingChanged().connect(&later));
        reaction = [] { Settings::SettingChanged().abort(); };

        Settings().setInt("a", 1);

        QCOMPARE(seen, QStringList("{key=a, value=1}"));
        Settings().setInt("b", 2);
        QCOMPARE(seen, (QStringList{"{key=a, value=1}", "{key=b, value=2}"}));
    }
};

QTEST_GUILESS_MAIN(tst_SettingsSlot)
#include "tst_SettingsSlot.moc"
