#include "tests/bindings/Interpreter.h"

#include "bindings/Modules.h"
#include "utils/feedback/Progress.h"
#include "utils/script/IScriptableModule.h"

#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"

#include <QtTest>

#include <optional>

class tst_Bindings_module : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_python.emplace(); }
    void cleanup() { m_python.reset(); }

    void isImportedByItsName()
    {
        QCOMPARE(run("import KelmUtils"), QString("ImportError: No module named KelmUtils"));

        initKelmUtils();

        QCOMPARE(run("import KelmUtils, KelmData"), QString());
        QCOMPARE(text("KelmUtils.Utils.File.join('a', 'b')"), QString("a/b"));
    }

    void isMadeByTheModulesOfTheLibrary()
    {
        Data::String messages;
        Utils::IScriptableModule::resetModules();

        QVERIFY(Utils::IScriptableModule::initializeModules(messages));

        QCOMPARE(messages, Data::String());
        QCOMPARE(run("import KelmUtils, KelmData"), QString());
        QCOMPARE(text("KelmUtils.Utils.File.join('a', 'b')"), QString("a/b"));
    }

    void holdsOneName_data()
    {
        QTest::addColumn<QByteArray>("module");
        QTest::addColumn<QString>("names");

        // Neither enums, variables nor functions.
        QTest::newRow("KelmUtils") << QByteArray("KelmUtils") << "Utils";
        QTest::newRow("KelmData") << QByteArray("KelmData") << "Data";
    }

    void holdsOneName()
    {
        QFETCH(QByteArray, module);
        QFETCH(QString, names);
        initKelmUtils();

        QCOMPARE(run("import " + module), QString());

        QCOMPARE(namesIn(module), names);
    }

    void hasClassesInAScope_data()
    {
        QTest::addColumn<QByteArray>("scope");
        QTest::addColumn<QString>("classes");

        QTest::newRow("KelmUtils") << QByteArray("KelmUtils.Utils")
                                   << "File MemoryChecker Process Progress ProgressRange Settings "
                                      "StringTable WaitCursor WorkspaceSettings";
        QTest::newRow("KelmData") << QByteArray("KelmData.Data") << "String Variant";
    }

    void hasClassesInAScope()
    {
        QFETCH(QByteArray, scope);
        QFETCH(QString, classes);
        initKelmUtils();
        QCOMPARE(run("import KelmUtils, KelmData"), QString());

        QCOMPARE(namesIn(scope), classes);

        QCOMPARE(text("set(type(vars(" + scope + ")[name]) for name in '" + classes.toUtf8() +
                      "'.split())"),
                 QString("set([<type 'sip.wrappertype'>])"));
    }

    void hasTheMethodsOfAClass_data()
    {
        QTest::addColumn<QString>("names"); // those of an instance are marked

        QTest::newRow("File")
            << "abbreviateName base checkFilter cleanPath copy copyDir createDir "
               "encoding encodingOf exists extension fallbackEncoding find "
               "findResource imageFilter isAbsolute isDir isFile isRelative isSafeWriting "
               "isSamePath join lastError layoutFilter move moveDir parentFolder "
               "read remove search searchInFiles setFallbackEncoding "
               "setSafeWriting setSearchPath size sizeString tempPath timestamp "
               "timestampString validate write writeSafely";
        QTest::newRow("MemoryChecker")
            << "check* checkHeap dumpDifference* dumpLeaks dumpLeaksAtExit dumpNewObjects* "
               "setBreakAlloc setBreakAllocOffset* setCheckAlways setKeepFreed setReportFile "
               "startId*";
        QTest::newRow("Process")
            << "errorMessage* errorOutput* exitCode* fullCommand* isRunning* kill* normalExit* "
               "output* quotedCommand* recentOutput* run* sendData* setArguments* setCommand* "
               "setMessage* setSeparateErrorOutput* setStopPolicy* setWorkingDirectory* start* "
               "stop* wait*";
        QTest::newRow("Progress")
            << "cancel* cancelled* count* current elapsed* hide* id* isCancelable isPopup* label* "
               "maxSteps* rate* remaining* restore* save* setCount* setId* setLabel* setMaxSteps* "
               "setUnit* show* tick* unit*";
        QTest::newRow("ProgressRange") << "";
        QTest::newRow("Settings")
            << "addMRU* beginGroup* changedFromDefaults* copyKey* endGroup* exportTo* "
               "firstMRUPath* getBool* getInt* getMRU* getString* getValue* groups* importFrom* "
               "keys* removeKey* removeMRU* renameKey* resetGroup* setBool* setDefault* setInt* "
               "setString* setValue* status* sync*";
        QTest::newRow("StringTable")
            << "initialize load lookup lookupi lookupk lookupn lookupx missingKeys pluralForm "
               "pluralForms";
        QTest::newRow("WaitCursor") << "activated reset*";
        QTest::newRow("WorkspaceSettings") << "";
    }

    void hasTheMethodsOfAClass()
    {
        QFETCH(QString, names);
        initKelmUtils();
        QCOMPARE(run("from KelmUtils import Utils"), QString());

        // A method of an instance cannot be called without one.
        const QByteArray name = QByteArray("Utils.") + QTest::currentDataTag();
        QCOMPARE(run("def mark(method):\n"
                     "    try: method(*[object()] * 9)\n"
                     "    except TypeError as error:\n"
                     "        return '*' if 'first argument of unbound' in str(error) else ''\n"
                     "names = [name + mark(getattr(" +
                     name + ", name)) for name in sorted(vars(" + name +
                     ")) if not name.startswith('_')]"),
                 QString());

        QCOMPARE(text("' '.join(names)"), names);
    }

    void derivesWorkspaceSettingsFromSettings()
    {
        initKelmUtils();
        QCOMPARE(run("from KelmUtils import Utils"), QString());

        QCOMPARE(text("issubclass(Utils.WorkspaceSettings, Utils.Settings)"), QString("True"));
    }

    void stopsAtOnceWithoutAnInterpreter()
    {
        m_python.reset();

        initKelmData();
        initKelmUtils();

        QVERIFY(!Py_IsInitialized());
    }

    void isMadeOnceInAnInterpreter()
    {
        initKelmUtils();
        QCOMPARE(run("import KelmUtils, KelmData\n"
                     "before = KelmUtils.Utils.File, KelmData.Data.String"),
                 QString());

        initKelmData();
        initKelmUtils();

        QCOMPARE(text("before == (KelmUtils.Utils.File, KelmData.Data.String)"), QString("True"));
        QCOMPARE(text("type(KelmUtils.Utils.File.join('a', 'b')) is KelmData.Data.String"),
                 QString("True"));
    }

    void isMadeAnewInEveryInterpreter()
    {
        for (int i = 0; i < 12; ++i) {
            m_python.reset();
            m_python.emplace();
            if (i % 5 == 3)
                continue; // one that never has it, and ends the circle of the one before

            initKelmUtils();

            QCOMPARE(run("from KelmUtils import Utils\n"
                         "from KelmData import Data\n"
                         "class Own(Utils.Settings): pass\n"
                         "kept = [Utils.Settings('a'), Own('b'), Utils.Progress(5),\n"
                         "        Utils.File.join('a', 'b'), Data.Variant(['x']),\n"
                         "        Utils.WorkspaceSettings('w'), Utils.Process('sh')]\n"
                         "kept.append(kept)\n" // a circle, which outlives the interpreter
                         "kept[0].setValue('key', kept[4])\n"
                         "assert kept[1].beginGroup('c') is kept[1]\n"
                         "assert kept[3] + 'c' == 'a/bc' and 'x' + kept[3] == 'xa/b'\n"),
                     QString());
            QCOMPARE(text("kept[0].getValue('key').toStringList()"), QString("['x']"));
            QCOMPARE(run("Utils.File.join('a')"),
                     QString("TypeError: File.join(): not enough arguments"));
        }
    }

    void endsWhatScriptsMadeWithTheInterpreter()
    {
        initKelmUtils();
        QCOMPARE(run("from KelmUtils import Utils\n"
                     "class Own(Utils.Progress): pass\n"
                     "kept = [Own(5)]\n"
                     "kept.append(kept)"),
                 QString());
        QVERIFY(Utils::Progress::current(/*popup=*/false));

        m_python.reset();

        QVERIFY(!Utils::Progress::current(/*popup=*/false));
    }

    void survivesWhatCannotEndWithTheInterpreter()
    {
        const Utils::Progress progress(5);
        initKelmUtils();
        QCOMPARE(run("from KelmUtils import Utils\n"
                     "class Holder(object):\n"
                     "    def __del__(self): pass\n"
                     "holder = Holder()\n"
                     "holder.itself = holder\n"
                     "holder.wrapper = Utils.Progress.current()"),
                 QString());
        m_python.reset();
        m_python.emplace();

        QCOMPARE(run("import gc\ngc.collect()"), QString());
        QCOMPARE(text("len(gc.garbage)"), QString("1"));
        QCOMPARE(run("gc.garbage[0].itself = None\ndel gc.garbage[:]"), QString());
        initKelmUtils();

        QCOMPARE(run("gc.collect()\nfrom KelmUtils import Utils"), QString());
    }

    void prefersACompanionThatIsThere()
    {
        QCOMPARE(run("import sys, imp\n"
                     "sibling = sys.modules['KelmData'] = imp.new_module('KelmData')"),
                 QString());

        initKelmData();

        QCOMPARE(text("sys.modules['KelmData'] is sibling and not hasattr(sibling, 'Data')"),
                 QString("True"));
    }

    void staysEmptyWithACompanionThatIsNone()
    {
        QCOMPARE(run("import sys, imp\n"
                     "sys.modules['KelmData'] = imp.new_module('KelmData')"),
                 QString());

        initKelmUtils();
        PyErr_Clear();

        QCOMPARE(run("import KelmUtils"), QString());
        QCOMPARE(namesIn("KelmUtils"), QString());
    }

    void staysEmptyWithoutTheModuleSip()
    {
        QCOMPARE(run("import sys\nsys.modules['sip'] = None"), QString());
        Data::String messages;
        Utils::IScriptableModule::resetModules();

        QVERIFY(Utils::IScriptableModule::initializeModules(messages));

        QCOMPARE(messages, Data::String());
        QVERIFY(!PyErr_Occurred());
        QCOMPARE(run("import KelmUtils"), QString());
        QCOMPARE(namesIn("KelmUtils"), QString());
    }

    void staysEmptyWithASipWithoutItsCapsule()
    {
        QCOMPARE(run("import sys, imp\n"
                     "sip = sys.modules['sip'] = imp.new_module('sip')\n"
                     "sip._C_API = 5"),
                 QString());

        initKelmUtils();
        PyErr_Clear();

        QCOMPARE(run("import KelmUtils"), QString());
        QCOMPARE(namesIn("KelmUtils"), QString());
    }

private:
    QString run(const QByteArray &code) { return m_python->run(code); }
    QString text(const QByteArray &expression) { return m_python->text(expression); }

    /// What is in a module or class, without the entries that every one has.
    QString namesIn(const QByteArray &scope)
    {
        return text("' '.join(sorted(name for name in vars(" + scope +
                    ") if not name.startswith('__')))");
    }

    std::optional<Interpreter> m_python;
};

int main(int argc, char **argv)
{
    const SettingsHome home;
    QCoreApplication application(argc, argv);
    tst_Bindings_module test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Bindings_module.moc"
