#include "tests/bindings/Interpreter.h"

#include "bindings/Modules.h"
#include "bindings/Text_p.h"

#include "tests/support/Print.h"

#include <QtTest>

/// The value types of scripts, where they are more than what the test scripts look at.
class tst_Bindings_values : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        initKelmUtils();
        QCOMPARE(m_python.run("from KelmData import Data\n"
                              "from KelmUtils import Utils\n"
                              "text = Data.String(u'a\\U0001f600\\xe4')"),
                 QString());
    }

    void give_data()
    {
        QTest::addColumn<QByteArray>("expression");
        QTest::addColumn<QString>("result"); // as str, or the exception

        // clang-format off
        const auto row = [](const char *expression, const char *result) {
            QTest::newRow(expression) << QByteArray(expression) << QString(result);
        };
        // The characters of texts are those of Python's own, which are UTF-16 code units on Windows.
        row("len(text)", sizeof(Py_UNICODE) == 2 ? "4" : "3");
        row("unicode(text[1]) == u'\\U0001f600'[0]", "True");
        row("repr(text[-1])", "'\\xc3\\xa4'");
        row("[type(c) is Data.String for c in text] == [True] * len(text)", "True");
        row("[unicode(c) for c in text] == list(u'a\\U0001f600\\xe4')", "True");
        row("unicode(Data.String(u'\\ud800a')) == u'\\ud800a'", "True");
        row("len(Data.String(u'\\ufeffa'))", "2");
        row("Data.String('%s') % '\\xc3\\xa4' == u'\\xe4'", "True");
        row("Data.String('\\xc3\\xa4%s') % '\\xc3\\xa4' == u'\\xe4\\xe4'", "True");
        row("Data.String('%s') % 1 + Data.String('%(k)s') % {'k': 2}", "12");
        row("Data.String('%s%s') % ('\\xc3\\xa4', u'\\xe4')",
            "UnicodeDecodeError: 'ascii' codec can't decode byte 0xc3 in position 0: ordinal not in range(128)");
        row("Data.String('%s') % ()", "TypeError: not enough arguments for format string");
        row("text[len(text)]", "IndexError: string index out of range");
        row("text[-len(text) - 1]", "IndexError: string index out of range");
        row("text['a']", "TypeError: string indices must be integers");
        row("text + 1", "TypeError: unsupported operand type(s) for +: 'String' and 'int'");
        row("1 in text", "TypeError: String.__contains__(): argument 1 has unexpected type 'int'");
        row("Data.Variant(2 ** 31 - 1).userType(), Data.Variant(-2 ** 31).userType()", "(2, 2)");
        row("Data.Variant(2 ** 31).userType(), Data.Variant(-2 ** 31 - 1).userType()", "(4, 4)");
        row("Data.Variant(2 ** 63 - 1)", "9223372036854775807");
        row("Data.Variant(2 ** 63).userType()", "6");
        row("Data.Variant(10 ** 400)", "OverflowError: long int too large to convert to float");
        row("Data.Variant(True).userType(), Data.Variant(None).isValid()", "(1, False)");
        row("repr(Data.Variant(['a', u'b', text]))", "Variant(['a', 'b', 'a\\xf0\\x9f\\x98\\x80\\xc3\\xa4'])");
        row("repr(Data.Variant()), repr(Data.Variant(2 ** 40)), repr(Data.Variant(1.5))",
            "('Variant(None)', 'Variant(1099511627776L)', 'Variant(1.5)')");
        row("Data.Variant(['a', 1])",
            "TypeError: Variant(): arguments did not match any overloaded call:\n"
            "  overload 1: too many arguments\n"
            "  overload 2: argument 1 has unexpected type 'list'");
        row("Data.Variant.__new__(Data.Variant).toInt()",
            "RuntimeError: super-class __init__() of type Variant was never called");
        row("Data.Variant(Data.Variant.__new__(Data.Variant))",
            "RuntimeError: super-class __init__() of type Variant was never called");
        row("Data.Variant(Data.String.__new__(Data.String))",
            "RuntimeError: super-class __init__() of type String was never called");
        row("Data.Variant([Data.String.__new__(Data.String)])",
            "RuntimeError: super-class __init__() of type String was never called");
        // clang-format on
    }

    void give()
    {
        QFETCH(QByteArray, expression);
        QFETCH(QString, result);

        QCOMPARE(m_python.text(expression), result);
    }

    void refuseTextsThatAreTooLong_data()
    {
        QTest::addColumn<QByteArray>("expression");

        // Earlier arguments need no conversion: the SIP runtime leaks what it has converted when a
        // later one fails.
        for (const char *expression :
             {"Data.String(bytes)", "Data.String(wide)", "Data.Variant(bytes)",
              "Data.Variant(wide)", "Data.Variant(['a', bytes])", "text + bytes", "wide + text",
              "bytes in text", "Utils.File.join(text, bytes)", "Utils.Process(text, [wide])"})
            QTest::newRow(expression) << QByteArray(expression);
    }

    void refuseTextsThatAreTooLong()
    {
        QFETCH(QByteArray, expression);
        // Neither is touched, so they take no memory.
        const bool arePlaced = place("bytes", PyString_FromStringAndSize(nullptr, 716000000)) &&
                               place("wide", PyUnicode_FromUnicode(nullptr, 358000000));
        const auto release = qScopeGuard([&] { m_python.run("bytes = wide = None"); });
        if (!arePlaced) {
            PyErr_Clear();
            QSKIP("The system does not give that much memory.");
        }

        QCOMPARE(m_python.text(expression), QString("OverflowError: text is too long"));
    }

    void areNotGivenAsBytesThatAreTooLong()
    {
        const QString text(716000000, Qt::Uninitialized);

        QVERIFY(!Utils::Bindings::toBytes(text));

        QVERIFY(PyErr_ExceptionMatches(PyExc_OverflowError));
        PyErr_Clear();
    }

    void failWhereTheyAreMade()
    {
        QCOMPARE(m_python.run("try: Data.Variant(10 ** 400)\n"
                              "except OverflowError: caught = True"),
                 QString());
        QCOMPARE(m_python.text("caught"), QString("True"));
    }

private:
    /// Puts \p object, which may be null, into `__main__`.
    static bool place(const char *name, PyObject *object)
    {
        return object && PyModule_AddObject(PyImport_AddModule("__main__"), name, object) == 0;
    }

    Interpreter m_python;
};

QTEST_APPLESS_MAIN(tst_Bindings_values)
#include "tst_Bindings_values.moc"
