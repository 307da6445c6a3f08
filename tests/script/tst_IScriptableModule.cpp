#include "utils/script/IScriptableModule.h"

#include "utils/script/ModuleList_p.h"

#include "tests/support/Print.h"
#include "tests/support/Vtable.h"

#include <QtTest>

#include <functional>
#include <memory>
#include <stdexcept>

using Data::String;
using Utils::IScriptableModule;
using Utils::moduleList;

/// The names of the modules in the order of their initialisation.
static QStringList initialized;

class Module : public IScriptableModule
{
public:
    explicit Module(const char *name, bool succeeds = true)
        : IScriptableModule(name), m_succeeds(succeeds)
    {}
    Module(const Module &) = default;
    Module &operator=(const Module &) = default;

    bool initialize() override
    {
        initialized.append(name());
        const bool succeeds = m_succeeds;
        if (reaction)
            reaction(); // may delete this
        return succeeds;
    }

    std::function<void()> reaction;

private:
    bool m_succeeds;
};

class tst_IScriptableModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The modules of the library itself, if there are any, are not used here.
    void initTestCase() { moduleList->modules.clear(); }

    void init()
    {
        initialized.clear();
        QVERIFY(moduleList->modules.isEmpty());
    }

    void isListedWhileItLives()
    {
        auto first = std::make_unique<Module>("first");
        Module second("second");
        QCOMPARE(moduleList->modules, (QList<IScriptableModule *>{first.get(), &second}));
        QCOMPARE(first->name(), String("first"));
        QCOMPARE(Module(nullptr).name(), String());

        first.reset();

        QCOMPARE(moduleList->modules, QList<IScriptableModule *>{&second});
    }

    void goesToTheFrontAsKelmData()
    {
        Module first("KelmUtils");
        Module second("kelmdata");
        Module last("KelmData");

        QVERIFY(initialize().isEmpty());

        QCOMPARE(initialized, (QStringList{"KelmData", "KelmUtils", "kelmdata"}));
    }

    void isInitializedOnce()
    {
        Module module("a");

        QVERIFY(initialize().isEmpty());
        QVERIFY(initialize().isEmpty());

        QCOMPARE(initialized, QStringList("a"));
    }

    void isInitializedAgainAfterAReset()
    {
        Module first("a");
        Module second("b");
        initialize();

        IScriptableModule::resetModules();
        initialize();

        QCOMPARE(initialized, (QStringList{"a", "b", "a", "b"}));
    }

    void isInitializedAlsoWhenItIsBuiltLater()
    {
        Module first("a");
        initialize();

        Module second("b");
        initialize();

        QCOMPARE(initialized, (QStringList{"a", "b"}));
    }

    void tellsOfAFailureByTheMessagesOnly()
    {
        Module first("a", /*succeeds=*/false);
        Module second("b");
        Module third("c", /*succeeds=*/false);

        QCOMPARE(initialize(), String("ERROR: Failed to initialize scripting module for a\n"
                                      "ERROR: Failed to initialize scripting module for c"));
        QCOMPARE(initialized, (QStringList{"a", "b", "c"}));

        QVERIFY(initialize().isEmpty()); // a failed one is not tried again
        QCOMPARE(initialized.size(), 3);
    }

    void takesAnExceptionForAFailure()
    {
        Module first("a");
        Module second("b");
        first.reaction = [] { throw std::runtime_error("of the host"); };

        QCOMPARE(initialize(), String("ERROR: Failed to initialize scripting module for a"));
        QCOMPARE(initialized, (QStringList{"a", "b"}));
        QVERIFY(initialize().isEmpty());
        QCOMPARE(initialized.size(), 2);
    }

    void appendsItsMessages()
    {
        Module module("a", /*succeeds=*/false);
        String messages = "before";

        QVERIFY(IScriptableModule::initializeModules(messages));

        QCOMPARE(messages, String("before\nERROR: Failed to initialize scripting module for a"));
    }

    void mayBuildAnotherModuleInItsInitialization()
    {
        Module first("a");
        Module second("b");
        std::unique_ptr<Module> data;
        first.reaction = [&] { data = std::make_unique<Module>("KelmData"); };

        initialize();

        QCOMPARE(initialized, (QStringList{"a", "KelmData", "b"}));
    }

    void mayDieInItsInitialization()
    {
        auto first = std::make_unique<Module>("a", /*succeeds=*/false);
        Module second("b");
        first->reaction = [&] { first.reset(); };

        QCOMPARE(initialize(), String("ERROR: Failed to initialize scripting module for a"));

        QCOMPARE(initialized, (QStringList{"a", "b"}));
    }

    void mayComeBackToTheListInItsInitialization()
    {
        Module first("a");
        Module second("b");
        first.reaction = [] { initialize(); };

        initialize();

        QCOMPARE(initialized, (QStringList{"a", "b"}));
    }

    void mayResetTheListInItsInitialization()
    {
        Module first("a");
        Module second("b");
        second.reaction = [] { IScriptableModule::resetModules(); };

        initialize();
        QCOMPARE(initialized, (QStringList{"a", "b"})); // each was tried once

        initialize();
        QCOMPARE(initialized, (QStringList{"a", "b", "a"})); // "b" was initialised after the reset
    }

    void isCopiedWithItsStateButNotListed()
    {
        Module module("a");
        initialize();

        Module copy(module);
        QCOMPARE(copy.name(), String("a"));
        QCOMPARE(moduleList->modules, QList<IScriptableModule *>{&module});

        Module assigned("b");
        assigned = module;
        QCOMPARE(assigned.name(), String("a"));
        initialize();
        QCOMPARE(initialized, QStringList("a")); // the state has moved with it
    }

    void declaresItsOperationsInTheirOrder()
    {
        QCOMPARE(vtableIndex(&IScriptableModule::initialize), 2); // the destructor has two entries
    }

    void leavesADeadListAlone()
    {
        auto listed = std::make_unique<Module>("a");
        Utils::moduleList.isAlive = false;

        Module late("late");
        QVERIFY(initialize().isEmpty());
        IScriptableModule::resetModules();
        const QList<IScriptableModule *> untouched{listed.get()};
        QCOMPARE(moduleList->modules, untouched);
        listed.reset();
        QCOMPARE(moduleList->modules, untouched);

        moduleList->modules.clear();
        Utils::moduleList.isAlive = true;
        QCOMPARE(initialized, QStringList());
    }

private:
    static String initialize()
    {
        String messages;
        [&] { QVERIFY(IScriptableModule::initializeModules(messages)); }();
        return messages;
    }
};

QTEST_APPLESS_MAIN(tst_IScriptableModule)
#include "tst_IScriptableModule.moc"
