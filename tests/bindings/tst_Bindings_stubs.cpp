#include "tests/bindings/Interpreter.h"
#include "tests/support/Files.h" // contentsOf

#include "bindings/Modules.h"

#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"

#include <QtTest>

/// The stubs for editors, compared with the modules by check_stubs.py.
class tst_Bindings_stubs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        initKelmUtils();
        QCOMPARE(m_python.run("import KelmData, KelmUtils\n" + contentsOf(CHECK_STUBS)), QString());
    }

    void sayWhatIsInTheModule_data()
    {
        QTest::addColumn<QByteArray>("module");
        QTest::addColumn<QByteArray>("scope");

        QTest::newRow("KelmData") << QByteArray("KelmData") << QByteArray("Data");
        QTest::newRow("KelmUtils") << QByteArray("KelmUtils") << QByteArray("Utils");
    }

    void sayWhatIsInTheModule()
    {
        QFETCH(QByteArray, module);
        QFETCH(QByteArray, scope);

        set("stub", contentsOf(BINDINGS "/" + module + ".pyi"));
        QCOMPARE(m_python.run("definitions = {}"), QString());
        const QDir folder(BINDINGS "/" + module);
        const QStringList files = folder.entryList({"*.sip"});
        QVERIFY(!files.isEmpty());
        for (const QString &file : files) {
            set("definition", contentsOf(folder.filePath(file)));
            QCOMPARE(m_python.run("definitions['" + file.section('.', 0, 0).toUtf8() +
                                  "'] = definition"),
                     QString());
        }

        QCOMPARE(m_python.run("check(" + module + ", '" + scope + "', stub, definitions)"),
                 QString());
    }

private:
    static void set(const char *name, const QByteArray &text)
    {
        PyObject *const value = PyString_FromString(text.constData());
        PyModule_AddObject(PyImport_AddModule("__main__"), name, value);
    }

    Interpreter m_python;
};

int main(int argc, char **argv)
{
    const SettingsHome home;
    QCoreApplication application(argc, argv);
    tst_Bindings_stubs test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Bindings_stubs.moc"
