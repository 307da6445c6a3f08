#include "utils/script/PythonScript_p.h"

#include "data/Color.h"
#include "utils/script/PythonValues_p.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <Python.h>

#include <limits>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;

static const SettingsHome home;

/// A type that Qt can turn into a list of numbers.
struct Column
{
    double first;
    double second;
};
Q_DECLARE_METATYPE(Column)

class tst_PythonScript_data : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A start takes long, so the rows of a test share an interpreter.
    void init()
    {
        if (m_function == QTest::currentTestFunction())
            return;
        m_function = QTest::currentTestFunction();
        d.reset();
        d.emplace();
    }
    void cleanupTestCase() { d.reset(); }

    void registersTheListsOfNumbersAtTheirFirstUse()
    {
        // Qt registers its own name of a type when a variant holds it, so these names are not
        // tested.
        QCOMPARE(QMetaType::type("QInt32List"), int(QMetaType::UnknownType));
        QCOMPARE(QMetaType::type("QDoubleList"), int(QMetaType::UnknownType));
        start();

        d->engine.pushData("x", QVariant(QVariantMap()));

        using Iterable = QtMetaTypePrivate::QSequentialIterableImpl;
        QCOMPARE(QMetaType::type("QInt32List"), qMetaTypeId<QList<int>>());
        QCOMPARE(QMetaType::type("QDoubleList"), qMetaTypeId<QList<double>>());
        QCOMPARE(QMetaType::type("QVector<double>"), qMetaTypeId<QVector<double>>());
        QVERIFY((QMetaType::hasRegisteredConverterFunction<QList<int>, Iterable>()));
        QVERIFY((QMetaType::hasRegisteredConverterFunction<QList<double>, Iterable>()));
        QVERIFY((QMetaType::hasRegisteredConverterFunction<QVector<double>, Iterable>()));
    }

    void pushesEveryTypeOfValue_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("shown"); // type and repr() in Python; "" is not pushed
        QTest::addColumn<QVariant>("back");

        const auto row = [](const char *name, const QVariant &value, const char *shown,
                            const QVariant &back = QVariant()) {
            QTest::newRow(name) << value << QString(shown) << back;
        };
        row("true", true, "int 1", 1);
        row("false", false, "int 0", 0);
        row("an int", -5, "int -5", -5);
        row("the lowest int", std::numeric_limits<int>::min(), "int -2147483648",
            std::numeric_limits<int>::min());
        row("a uint", 5u, "int 5", 5);
        row("a uint of 32 bits", 4000000000u, "int -294967296", -294967296);
        row("a long long", 7ll, "int 7", 7);
        row("a long long of more than 32 bits", 5000000000ll, "int 705032704", 705032704);
        row("an unsigned long long", 8ull, "int 8", 8);
        row("the largest unsigned long long", std::numeric_limits<qulonglong>::max(), "int -1", -1);
        row("a double", 1.5, "float 1.5", 1.5);
        row("a large double", 1e300, "float 1e+300", 1e300);
        row("infinity", std::numeric_limits<double>::infinity(), "float inf",
            std::numeric_limits<double>::infinity());
        row("a text", "a 'b'", "str \"a 'b'\"", "a 'b'");
        row("a text that is no ASCII", QString("\u00e4\U0001f600"),
            "str '\\xc3\\xa4\\xf0\\x9f\\x98\\x80'", QString("\u00e4\U0001f600"));
        row("an empty text", "", "str ''", "");
        row("a null text", QString(), "str ''", "");
        row("a text with a zero", QString::fromLatin1("a\0b", 3), "str 'a'", "a");
        row("texts", QStringList{"a", "\u00e4"}, "list ['a', '\\xc3\\xa4']");
        row("no texts", QStringList(), "list []");
        row("numbers as a vector", QVariant::fromValue(QVector<double>{1.5, -2}),
            "list [1.5, -2.0]");
        row("numbers as a list", QVariant::fromValue(QList<double>{1, 2.5}), "list [1.0, 2.5]");
        row("whole numbers", QVariant::fromValue(QList<int>{1, -2}), "list [1, -2]");
        row("what converts to numbers", QVariant::fromValue(Column{1, 2}), "list [1.0, 2.0]");
        row("no numbers as a vector", QVariant::fromValue(QVector<double>()), "");
        row("no numbers as a list", QVariant::fromValue(QList<double>()), "");
        row("no whole numbers", QVariant::fromValue(QList<int>()), "");
        row("invalid", QVariant(), "");
        row("a character", QVariant(QChar('a')), "");
        row("a map", QVariantMap{{"a", 1}}, "");
        row("a list of variants", QVariantList{1.5, 2.5}, "");
        row("a vector of ints", QVariant::fromValue(QVector<int>{1}), "");
        row("bytes", QByteArray("a"), "");
        row("a float", QVariant(1.5f), "");
        row("a short", QVariant::fromValue(short(1)), "");
        row("a long", QVariant::fromValue(1l), "");
        row("a character code", QVariant::fromValue('a'), "");
        row("a date", QDate(2020, 1, 2), "");
        row("a time", QTime(1, 2), "");
        row("a moment", QDateTime(QDate(2020, 1, 2), QTime(1, 2)), "");
        row("a colour", QColor(Qt::red), "");
        row("a size", QSize(1, 2), "");
        row("a point", QPointF(1, 2), "");
        row("a hash", QVariantHash{{"a", 1}}, "");
        row("a pointer", QVariant::fromValue<QObject *>(nullptr), "");
        row("an address", QUrl("a"), "");
        row("an identifier", QUuid(), "");
        row("a regular expression", QRegExp("a"), "");
        row("a locale", QLocale::c(), "");
        row("a bit array", QBitArray(3), "");
    }

    void pushesEveryTypeOfValue()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, shown);
        QFETCH(QVariant, back);
        if (!QMetaType::hasRegisteredConverterFunction<Column, QVector<double>>())
            QMetaType::registerConverter<Column, QVector<double>>([](const Column &column) {
                return QVector<double>{column.first, column.second};
            });
        start();
        d->engine.popData("x"); // of another row

        d->engine.pushData("x", Variant(value));

        QVERIFY(!PyErr_Occurred());
        QCOMPARE(d->engine.getData("x"), Variant(back));
        if (shown.isEmpty()) {
            QVERIFY(!d->engine.runCode("y = x"));
            QCOMPARE(d->engine.errorMessage(), String("name 'x' is not defined"));
        } else {
            QCOMPARE(d->value("type(x).__name__ + ' ' + repr(x)"), Variant(shown));
        }
    }

    void getsEveryTypeOfObject_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QVariant>("value");

        const auto row = [](const char *name, const char *code, const QVariant &value) {
            QTest::newRow(name) << QString(code) << value;
        };
        row("True", "x = True", true);
        row("False", "x = False", false);
        row("an int", "x = -5", -5);
        // An int of Python is a long of C; a greater number is a long of Python.
        const bool isInt = sizeof(long) > sizeof(int);
        row("a number of more than 32 bits", "x = 5000000000",
            isInt ? QVariant(705032704) : QVariant());
        row("the largest int", "import sys\nx = sys.maxint",
            static_cast<int>(std::numeric_limits<long>::max()));
        row("a subclass of int", "class I(int): pass\nx = I(3)", 3);
        row("a float", "x = 1.5", 1.5);
        row("a subclass of float", "class F(float): pass\nx = F(2.5)", 2.5);
        row("a str", "x = 'ab'", "ab");
        row("a str of UTF-8", "x = '\\xc3\\xa4'", "\u00e4");
        row("a str of other bytes", "x = 'a\\xff'", "a\ufffd");
        row("a str with a zero", "x = 'a\\0b'", "a");
        row("an empty str", "x = ''", "");
        row("a subclass of str", "class S(str): pass\nx = S('ab')", "ab");
        row("a long", "x = 5L", QVariant());
        row("unicode", "x = u'ab'", QVariant());
        row("None", "x = None", QVariant());
        row("a list", "x = [1]", QVariant());
        row("a tuple", "x = (1,)", QVariant());
        row("a dict", "x = {}", QVariant());
        row("a complex number", "x = 1j", QVariant());
        row("a class", "class x(object): pass\n", QVariant());
        row("an object", "class C: pass\nx = C()", QVariant());
        row("an object that looks like an int",
            "class C(object):\n  def __int__(self): return 1\nx = C()", QVariant());
        row("a function", "def x(): return 1\n", QVariant());
        row("a module", "import sys as x\nx = x", QVariant());
        row("a deleted name", "x = 1\ndel x", QVariant());
    }

    void getsEveryTypeOfObject()
    {
        QFETCH(QString, code);
        QFETCH(QVariant, value);
        QVERIFY2(d->engine.runCode(code + "\n"), qPrintable(d->engine.errorMessage()));

        const Variant result = d->engine.getData("x");

        QCOMPARE(result.userType(), value.userType());
        QCOMPARE(result, Variant(value));
    }

    void givesNothingForNoObject() { QVERIFY(!Utils::fromPython(nullptr).isValid()); }

    void dropsDataBeforeTheInterpreterRuns()
    {
        d->engine.pushData("x", 1.5);
        d->engine.pushData("cfg.x", 1.5);
        QVERIFY(!d->engine.getData("x").isValid());
        d->engine.popData("x");
        QVERIFY(!Py_IsInitialized());

        start();

        QVERIFY(!d->engine.getData("x").isValid());
        QVERIFY(!d->engine.runCode("y = cfg.x"));
        QCOMPARE(d->engine.errorMessage(), String("name 'cfg' is not defined"));
    }

    void keepsPlainNamesInTheScopeOfScripts()
    {
        start();

        d->engine.pushData("width", 2.5);

        QVERIFY(d->engine.runCode("area = width * 2"));
        QCOMPARE(d->engine.getData("area"), Variant(5.0));
        QCOMPARE(d->value("__import__('__main__').width"), Variant(2.5));
        QVERIFY(d->engine.runCode("width"));
        QCOMPARE(d->result(), Variant(2.5));
    }

    void keepsDottedNamesInModules()
    {
        start();

        d->engine.pushData("cfg.x", 3);

        QCOMPARE(d->engine.getData("cfg.x"), Variant(3));
        QVERIFY(!d->engine.getData("x").isValid());
        QCOMPARE(d->value("__import__('cfg').x"), Variant(3));
        d->engine.popData("cfg.x");
        QVERIFY(!d->engine.getData("cfg.x").isValid());
        QCOMPARE(d->value("hasattr(__import__('cfg'), 'x')"), Variant(false));
    }

    void splitsANameAtItsFirstDot()
    {
        start();

        d->engine.pushData("cfg.a.b", 3);

        QCOMPARE(d->value("getattr(__import__('cfg'), 'a.b')"), Variant(3));
        QCOMPARE(d->engine.getData("cfg.a.b"), Variant(3));
    }

    void readsVariablesOfModules()
    {
        QVERIFY(d->engine.runCode("import math, sys\nsys.modules['m'] = type(sys)('m')\n"
                                  "sys.modules['m'].x = 'in m'\n"));

        QCOMPARE(d->engine.getData("m.x"), Variant("in m"));
        QCOMPARE(d->engine.getData("math.pi"), Variant(std::acos(-1.0)));
        QVERIFY(!d->engine.getData("m.y").isValid());
        QVERIFY(!d->engine.getData("unknown.y").isValid());
    }

    void makesAModuleThatIsNotLoadedEvenIfItCouldBeImported()
    {
        start();

        d->engine.pushData("colorsys.x", 3);

        QVERIFY(d->engine.runCode("import colorsys\ny = len(dir(colorsys))"));
        QCOMPARE(d->value("hasattr(colorsys, 'rgb_to_hsv')"), Variant(false));
    }

    void takesNamesThatAreNoneOfPythons_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("nothing") << "";
        QTest::newRow("a dot") << ".";
        QTest::newRow("no module") << ".x";
        QTest::newRow("no attribute") << "cfg.";
        QTest::newRow("a blank") << "a b";
        QTest::newRow("not ASCII") << "\u00e4.\u00f6";
        QTest::newRow("a keyword") << "class.def";
        QTest::newRow("long") << QString(5000, 'x') + "." + QString(5000, 'y');
    }

    void takesNamesThatAreNoneOfPythons()
    {
        QFETCH(QString, name);
        start();

        d->engine.pushData(name, 3);
        QCOMPARE(d->engine.getData(name), Variant(3));
        d->engine.popData(name);

        QVERIFY(!d->engine.getData(name).isValid());
        QVERIFY(d->engine.runCode("x = 1"));
    }

    void leavesAnErrorOfAMissingVariable()
    {
        start();

        QVERIFY(!d->engine.getData("missing").isValid());

        QVERIFY(PyErr_ExceptionMatches(PyExc_AttributeError));
        d->engine.pushData("x", 1); // works in spite of the exception
        QCOMPARE(d->engine.getData("x"), Variant(1));
    }

    void givesThePushedValueEvenIfAScriptHasChangedIt()
    {
        start();
        d->engine.pushData("x", 3);
        d->engine.pushData("y", 4);

        QVERIFY(d->engine.runCode("x = 5\ndel y\n"));

        QCOMPARE(d->engine.getData("x"), Variant(3));
        QCOMPARE(d->engine.getData("y"), Variant(4));
        QCOMPARE(d->value("x"), Variant(5));
    }

    void replacesWhatWasPushed()
    {
        start();
        d->engine.pushData("x", QVariant::fromValue(QList<int>{1, 2}));

        d->engine.pushData("x", "new");

        QCOMPARE(d->engine.getData("x"), Variant("new"));
        QCOMPARE(d->value("x"), Variant("new"));
    }

    void keepsWhatWasPushedWhenTheNewValueCannotBe()
    {
        start();
        d->engine.pushData("x", 3);

        d->engine.pushData("x", QVariant(QVariantMap()));

        QCOMPARE(d->engine.getData("x"), Variant(3));
        QCOMPARE(d->value("x"), Variant(3));
    }

    void popsOnlyWhatWasPushed()
    {
        QVERIFY(d->engine.runCode("x = 1\nimport os\nname = os.name\n"));
        d->engine.pushData("y", 3);

        d->engine.popData("x");
        d->engine.popData("os.name");
        d->engine.popData("missing");
        d->engine.popData("y");
        d->engine.popData("y");

        QCOMPARE(d->value("x"), Variant(1));
        QCOMPARE(d->value("os.name == name"), Variant(true));
        QCOMPARE(d->value("'y' in globals()"), Variant(false));
        QVERIFY(!PyErr_Occurred());
    }

    void popsWhatAScriptHasDeletedOrChanged()
    {
        start();
        d->engine.pushData("x", 3);
        d->engine.pushData("y", 4);
        QVERIFY(d->engine.runCode("del x\ny = 5\n"));

        d->engine.popData("x");
        d->engine.popData("y");

        QVERIFY(!PyErr_Occurred());
        QVERIFY(!d->engine.getData("x").isValid());
        QCOMPARE(d->value("'y' in globals()"), Variant(false)); // though the script changed it
    }

    void importsAModuleOnceUntilAnyDataOfItIsPopped()
    {
        start();
        d->engine.pushData("cfg.x", 1);
        d->engine.pushData("cfg.y", 2);
        d->engine.pushData("other.z", 3);
        QVERIFY(d->engine.runCode("r = cfg.x + cfg.y + other.z\ndel cfg, other\n"));
        QCOMPARE(d->engine.getData("r"), Variant(6));

        d->engine.popData("cfg.x");

        // Its remaining data must be imported, too.
        QVERIFY(!d->engine.runCode("r = cfg.y"));
        QCOMPARE(d->engine.errorMessage(), String("name 'cfg' is not defined"));
        QVERIFY(d->engine.runCode("r = other.z"));
        QCOMPARE(d->engine.getData("cfg.y"), Variant(2));
    }

    void importsAModuleOnlyOnceInAnExpression()
    {
        start();
        const auto lineOfAnError = [&] {
            d->engine.runCode("1+");
            return d->engine.errorMessage().section('\n', 1, 1);
        };
        QCOMPARE(lineOfAnError(), QString("line: 5"));

        d->engine.pushData("cfg.x", 1);
        d->engine.pushData("cfg.y", 2);
        d->engine.pushData("cfg.x", 3);
        QCOMPARE(lineOfAnError(), QString("line: 6"));

        d->engine.pushData("other.x", 1);
        QCOMPARE(lineOfAnError(), QString("line: 7"));
        d->engine.popData("cfg.y");
        QCOMPARE(lineOfAnError(), QString("line: 6"));
    }

    void importsTheModuleOfWhatCouldNotBePushed()
    {
        start();

        d->engine.pushData("cfg.x", QVariant(QVariantMap()));

        QVERIFY2(d->engine.runCode("r = cfg.__name__"), qPrintable(d->engine.errorMessage()));
        QCOMPARE(d->engine.getData("r"), Variant("cfg"));
    }

    void releasesWhatItPushed_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("plain") << "x";
        QTest::newRow("in a module") << "cfg.x";
    }

    void releasesWhatItPushed()
    {
        QFETCH(QString, name);
        start();
        const Variant list(QVariant::fromValue(QList<int>{1}));
        QVERIFY(d->engine.runCode("import sys\n"));

        // A name in the module, our own reference, and the argument of getrefcount().
        d->engine.pushData(name, list);
        QCOMPARE(d->value("sys.getrefcount(" + name + ")"), Variant(3));
        QVERIFY(d->engine.runCode("kept = " + name));
        QCOMPARE(d->value("sys.getrefcount(kept)"), Variant(4));

        d->engine.pushData(name, 1);
        QCOMPARE(d->value("sys.getrefcount(kept)"), Variant(2));

        d->engine.pushData(name, list);
        QVERIFY(d->engine.runCode("kept = " + name));
        d->engine.popData(name);
        QCOMPARE(d->value("sys.getrefcount(kept)"), Variant(2));
    }

    void keepsPushedDataAcrossAReset()
    {
        start();
        d->engine.pushData("x", "a text that is long enough to be an object of its own");
        d->engine.pushData("cfg.x", 3);
        d->engine.pushData("list", QStringList{"a", "b"});

        d->engine.reset();
        QVERIFY(!d->engine.getData("x").isValid());
        d->engine.popData("x"); // does nothing without an interpreter
        start();

        QCOMPARE(d->engine.getData("x"),
                 Variant("a text that is long enough to be an object of its own"));
        QCOMPARE(d->engine.getData("cfg.x"), Variant(3));
        QCOMPARE(d->value("'x' in globals()"), Variant(false)); // but it is not in the new one
        QCOMPARE(d->value("cfg.__name__"), Variant("cfg"));     // the name of the module is kept
        d->engine.pushData("list", 4);
        d->engine.popData("x");
        d->engine.popData("cfg.x");
        QVERIFY(!d->engine.getData("x").isValid());
        QVERIFY(!d->engine.runCode("r = cfg.x"));
        QCOMPARE(d->value("list"), Variant(4));
    }

    void worksThroughTheManager()
    {
        ScriptManager &manager = ScriptManager::instance();
        Variant result("x");
        String error;
        start();

        QVERIFY(manager.setDataContext("beam", "py"));
        manager.pushData("x", 1.5, "py");
        manager.pushData("cfg.x", 3, "script.py");
        QVERIFY(manager.execute("y = x * cfg.x\n", "py", result, error));
        QCOMPARE(result, Variant(1.5));
        QVERIFY(manager.setDataContext("plate", "py"));

        result = "x";
        QVERIFY(manager.execute("y = 1", "py", result, error));
        QVERIFY(!result.isValid());
        QVERIFY(!manager.execute("cfg.x\n", "py", result, error));
    }

private:
    void start() { QVERIFY2(d->engine.runCode("pass\n"), qPrintable(d->engine.errorMessage())); }

    std::optional<PythonFixture> d;
    QByteArray m_function; // for which d was created
};

QTEST_GUILESS_MAIN(tst_PythonScript_data)
#include "tst_PythonScript_data.moc"
