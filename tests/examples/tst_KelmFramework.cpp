#include "tests/bindings/Interpreter.h"

#include "utils/script/IScriptableModule.h"
#include "utils/script/ModuleList_p.h"
#include "utils/script/ScriptManager.h"
#include "utils/script/ScriptManager_p.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <algorithm>
#include <optional>

using Utils::IScriptableModule;
using Utils::ScriptManager;

class tst_KelmFramework : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_python.emplace();
        IScriptableModule::resetModules();
        Data::String messages;
        QVERIFY(IScriptableModule::initializeModules(messages));
        QCOMPARE(messages, Data::String());
        ScriptManager::instance().setScriptResult(Data::Variant());
    }
    void cleanup() { m_python.reset(); }

    void setsTheResultOfAScript_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QVariant>("result");

        QTest::newRow("bool") << QByteArray("True") << QVariant(true);
        QTest::newRow("int") << QByteArray("1 + 1") << QVariant(2);
        QTest::newRow("double") << QByteArray("1.5") << QVariant(1.5);
        QTest::newRow("text") << QByteArray("'a'") << QVariant("a");
        QTest::newRow("none") << QByteArray("None") << QVariant();
    }

    void setsTheResultOfAScript()
    {
        QFETCH(QByteArray, value);
        QFETCH(QVariant, result);

        QCOMPARE(m_python->run("from KelmData import *\n"
                               "from KelmFramework import *\n"
                               "rval = " +
                               value + "\nFramework.app().setScriptResult(Data.Variant(rval))"),
                 QString());

        const Data::Variant set = Utils::ScriptManagerPrivate::ifAlive()->scriptResult;
        QCOMPARE(set, Data::Variant(result));
        QCOMPARE(set.userType(), result.userType());
    }

    void isOneObject()
    {
        QCOMPARE(m_python->run("from KelmFramework import *"), QString());

        QCOMPARE(m_python->text("Framework.app() is Framework.app()"), QString("True"));
        QVERIFY(m_python->run("Framework()").startsWith("TypeError"));
    }

    void isMadeAnewInEveryInterpreter()
    {
        for (int i = 0; i < 5; ++i) {
            QCOMPARE(m_python->run("from KelmFramework import *\n"
                                   "Framework.app().setScriptResult(" +
                                   QByteArray::number(i) + ")"),
                     QString());
            QCOMPARE(Utils::ScriptManagerPrivate::ifAlive()->scriptResult.toInt(), i);
            cleanup();
            init();
        }
    }

    void tellsThatNoInterpreterRuns()
    {
        m_python.reset();
        IScriptableModule::resetModules();
        Data::String messages;

        IScriptableModule::initializeModules(messages);

        QCOMPARE(messages, Data::String("ERROR: Failed to initialize scripting module for "
                                        "KelmFramework"));
    }

private:
    std::optional<Interpreter> m_python;
};

QTEST_GUILESS_MAIN(tst_KelmFramework)
#include "tst_KelmFramework.moc"
