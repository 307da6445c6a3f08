#include "utils/script/IScriptEngine.h"

#include "tests/support/Print.h"
#include "tests/support/Vtable.h"

#include <QtTest>

using Utils::IScriptEngine;

/// An engine that overrides only the pure virtual functions.
class SilentEngine : public IScriptEngine
{
public:
    bool runFile(const Data::String &) override { return false; }
    bool runCode(const Data::String &) override { return false; }
    void pushData(const Data::String &, const Data::Variant &) override {}
    Data::Variant getData(const Data::String &) override { return {}; }
    void popData(const Data::String &) override {}
    bool supports(const Data::String &, bool) override { return false; }
    bool validate(const Data::String &) override { return false; }
    void moduleRemoved(const Data::String &) override {}
    void reset() override {}
};

class tst_IScriptEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsNothingByItself()
    {
        SilentEngine silent;
        IScriptEngine &engine = silent;

        QCOMPARE(engine.exitStatus(), 0);
        QCOMPARE(engine.errorMessage(), Data::String());
        QCOMPARE(engine.importCode(), Data::String());
    }

    void declaresItsOperationsInTheirOrder()
    {
        // The destructor, which comes first, has two entries.
        QCOMPARE(vtableIndex(&IScriptEngine::runFile), 2);
        QCOMPARE(vtableIndex(&IScriptEngine::runCode), 3);
        QCOMPARE(vtableIndex(&IScriptEngine::pushData), 4);
        QCOMPARE(vtableIndex(&IScriptEngine::getData), 5);
        QCOMPARE(vtableIndex(&IScriptEngine::popData), 6);
        QCOMPARE(vtableIndex(&IScriptEngine::supports), 7);
        QCOMPARE(vtableIndex(&IScriptEngine::validate), 8);
        QCOMPARE(vtableIndex(&IScriptEngine::exitStatus), 9);
        QCOMPARE(vtableIndex(&IScriptEngine::errorMessage), 10);
        QCOMPARE(vtableIndex(&IScriptEngine::moduleRemoved), 11);
        QCOMPARE(vtableIndex(&IScriptEngine::importCode), 12);
        QCOMPARE(vtableIndex(&IScriptEngine::reset), 13);
    }
};

QTEST_APPLESS_MAIN(tst_IScriptEngine)
#include "tst_IScriptEngine.moc"
