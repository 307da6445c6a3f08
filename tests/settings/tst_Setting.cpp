#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/Setting.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

#include <limits>

using Utils::Setting;
using Utils::Settings;

static const SettingsHome home;

enum class Side
{
    Left = 1,
    Right = 2
};

enum Plain
{
    First,
    Second
};

// Before the application has its names.
static const Setting<int> early("g/width", 640, 1, 10000);

class tst_Setting : public QObject
{
    Q_OBJECT

private:
    Recorder m_recorder;

    /// Each type has a default, keeps what is set, and can be reset.
    template <typename T>
    static void checkRoundTrip(const T &defaultValue, const T &other)
    {
        const Setting<T> setting("g/k", defaultValue);
        QCOMPARE(setting.key(), Data::String("g/k"));
        QVERIFY(setting.defaultValue() == defaultValue);
        QVERIFY(setting.value() == defaultValue);
        QVERIFY(setting.isDefault());

        QVERIFY(setting.set(other));
        QVERIFY(setting.value() == other);
        QVERIFY(!setting.isDefault());
        QVERIFY(Settings("g").sync());
        const QString text = QSettings().value("g/k").toString();
        home.fill(text.contains(' ') ? QString() : "g/k=" + text); // as a later process reads it
        if (!text.contains(' ') && !std::is_same<T, QStringList>::value)
            QVERIFY(setting.value() == other);

        QVERIFY(setting.set(defaultValue));
        QVERIFY(setting.isDefault());
        setting.reset();
        QVERIFY(setting.isDefault());
        QCOMPARE(home.stored(), QString());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(Settings::SettingChanged().connect(
            &m_recorder, SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void init()
    {
        home.fill("");
        m_recorder.calls.clear();
    }

    void keepsAValueOfEachType()
    {
        checkRoundTrip(true, false);
        checkRoundTrip(false, true);
        checkRoundTrip(640, -5);
        checkRoundTrip(0.1, -1e300);
        checkRoundTrip(Data::String("light"), Data::String(""));
        checkRoundTrip(QStringList{"a"}, QStringList{});
        checkRoundTrip(QStringList{}, QStringList{"a", "b, c"});
        checkRoundTrip(Side::Left, Side::Right);
        checkRoundTrip(First, Second);
    }

    void readsAListOfALaterProcess()
    {
        const Setting<QStringList> list("k", {"a"});
        for (const QStringList &value : {QStringList{}, QStringList{"b"}, QStringList{"b", "c"}}) {
            QVERIFY(list.set(value));
            QVERIFY(Settings().sync());
            QProcess child;
            child.start(SETTINGS_CHILD, {"printList", "k", "a"});
            QVERIFY(child.waitForFinished());
            QCOMPARE(QString(child.readAll()), value.join(';') + "|");
        }
    }

    void refusesWhatIsOutsideOfItsRange()
    {
        QVERIFY(early.set(1) && early.set(10000));
        QVERIFY(!early.set(0));
        QVERIFY(!early.set(10001));
        QCOMPARE(early.value(), 10000);
        QCOMPARE(m_recorder.calls, QStringList({"sig(g/width, 1)", "sig(g/width, 10000)"}));

        const Setting<double> ratio("r", 0.5, 0.0, 1.0);
        QVERIFY(!ratio.set(std::numeric_limits<double>::quiet_NaN()));
        QVERIFY(!ratio.set(-1e-300));
        QVERIFY(ratio.set(1.0));
        const Setting<Side> side("s", Side::Left, Side::Left, Side::Right);
        QVERIFY(!side.set(static_cast<Side>(3)));
        QVERIFY(side.set(Side::Right));
    }

    void tellsItsRange()
    {
        QCOMPARE(early.least(), 1);
        QCOMPARE(early.most(), 10000);
        const Setting<double> ratio("r", 0.5, -2.0, 1.0);
        QCOMPARE(ratio.least(), -2.0);
        QCOMPARE(ratio.most(), 1.0);
        const Setting<int> any("a", 5);
        QCOMPARE(any.least(), std::numeric_limits<int>::min());
        QCOMPARE(any.most(), std::numeric_limits<int>::max());
        const Setting<double> anyRatio("b", 5);
        QVERIFY(anyRatio.set(anyRatio.least()) && anyRatio.set(anyRatio.most()));
        QCOMPARE(anyRatio.least(), -anyRatio.most());
    }

    void hasItsDefaultForWhatIsStoredWrongly_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("value");

        QTest::newRow("good") << "5" << 5;
        QTest::newRow("too small") << "0" << 640;
        QTest::newRow("too large") << "10001" << 640;
        QTest::newRow("beyond int") << "99999999999" << 640;
        QTest::newRow("a fraction as text") << "1.5" << 640;
        QTest::newRow("text") << "wide" << 640;
        QTest::newRow("empty") << "" << 640;
    }

    void hasItsDefaultForWhatIsStoredWrongly()
    {
        QFETCH(QString, stored);
        QFETCH(int, value);
        home.fill("g/width=" + stored);

        QCOMPARE(early.value(), value);
        QCOMPARE(early.isDefault(), value == 640);
    }

    void isTrueOrFalseOnlyForTextsThatSaySo_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<int>("value"); // -1 for the default

        QTest::newRow("bool") << QVariant(true) << 1;
        QTest::newRow("bool, false") << QVariant(false) << 0;
        QTest::newRow("number") << QVariant(1) << 1;
        QTest::newRow("number, 0") << QVariant(0) << 0;
        QTest::newRow("text") << QVariant("true") << 1;
        QTest::newRow("text, false") << QVariant("false") << 0;
        QTest::newRow("other case") << QVariant("True") << 1;
        QTest::newRow("other case, false") << QVariant("FALSE") << 0;
        QTest::newRow("digit") << QVariant("1") << 1;
        QTest::newRow("digit, 0") << QVariant("0") << 0;
        QTest::newRow("no") << QVariant("no") << -1;
        QTest::newRow("yes") << QVariant("yes") << -1;
        QTest::newRow("a space") << QVariant("true ") << -1;
        QTest::newRow("empty") << QVariant("") << -1;
        QTest::newRow("another number") << QVariant(5) << -1;
        QTest::newRow("a fraction") << QVariant(0.5) << -1;
        QTest::newRow("a list") << QVariant(QStringList{"true", "true"}) << -1;
        QTest::newRow("invalid") << QVariant() << -1;
    }

    void isTrueOrFalseOnlyForTextsThatSaySo()
    {
        QFETCH(QVariant, stored);
        QFETCH(int, value);
        QSettings().setValue("k", stored);
        for (const bool isDefault : {true, false}) {
            const Setting<bool> setting("k", isDefault);
            QCOMPARE(setting.value(), value < 0 ? isDefault : value == 1);
        }
    }

    void hasItsDefaultForAnInvalidValue()
    {
        QSettings().setValue("k", QVariant());
        QCOMPARE(Setting<int>("k", 5).value(), 5);
        QCOMPARE(Setting<bool>("k", true).value(), true);
        QCOMPARE(Setting<Data::String>("k", "d").value(), Data::String("d"));
        QCOMPARE(Setting<QStringList>("k", {"d"}).value(), QStringList()); // which is stored so
    }

    void mayHaveADefaultOutsideOfItsRange()
    {
        const Setting<int> none("n", -1, 0, 9);
        QCOMPARE(none.value(), -1);
        QVERIFY(none.isDefault());
        QVERIFY(!none.set(-1));
    }

    void storesNothingWithoutAName()
    {
        QVERIFY(!Setting<int>("", 1).set(2));
        QVERIFY(!Setting<int>("//", 1).set(2));
        QCOMPARE(Setting<int>("", 1).value(), 1);
        QCOMPARE(home.stored(), QString());
    }
};

QTEST_GUILESS_MAIN(tst_Setting)
#include "tst_Setting.moc"
