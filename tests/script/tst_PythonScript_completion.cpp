#include "utils/script/PythonStubs_p.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <Python.h>

#include <algorithm>
#include <limits>

using Utils::ScriptCompletion;
using Utils::ScriptManager;

static const SettingsHome home;

static QVector<ScriptCompletion> complete(const QString &text)
{
    return ScriptManager::instance().complete(text, "py");
}

static QStringList names(const QString &text)
{
    QStringList found;
    for (const ScriptCompletion &completion : complete(text))
        found.append(completion.name);
    return found;
}

/// The completion \p name of \p text; without a name when there is none.
static ScriptCompletion completion(const QString &text, const QString &name)
{
    for (const ScriptCompletion &found : complete(text)) {
        if (found.name == name)
            return found;
    }
    return {};
}

extern "C" void initDocumented(); // which SIP makes of Documented.sip

/// The module of a host whose classes have texts.
class DocumentedModule : public Utils::IScriptableModule
{
public:
    DocumentedModule() : IScriptableModule("Documented") {}
    bool initialize() override
    {
        if (!Py_IsInitialized())
            return false;
        initDocumented();
        return !PyErr_Occurred();
    }
};

class tst_PythonScript_completion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        if (d)
            return;
        d.emplace();
        const bool isStarted = d->engine.runCode("import sys, os, math, gc\n"
                                                 "from KelmUtils import Utils\n"
                                                 "velocity = 2.5\n"
                                                 "_hidden = 1\n");
        QVERIFY2(isStarted, d->engine.errorMessage().c_str());
    }
    void cleanupTestCase() { d.reset(); }

    void completesOnlyKeywordsWithoutAnInterpreter()
    {
        d.reset();
        d.emplace();

        QCOMPARE(names("i"), QStringList({"if", "import", "in", "is"}));
        QCOMPARE(names("from os i"), QStringList("import"));
        QCOMPARE(names("import o"), QStringList());
        QCOMPARE(names("os."), QStringList());
        QCOMPARE(complete("i").constFirst().kind, ScriptCompletion::Keyword);
        QVERIFY(!Utils::PythonInterpreter::isCallable());
        d.reset();
    }

    void completesNothingForAnUnknownLanguage()
    {
        QVERIFY(ScriptManager::instance().complete("i", "lua").isEmpty());
    }

    void completesTheNamesOfTheScope_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("completions");

        const QStringList velocity("velocity");
        const QStringList none;
        // clang-format off
        QTest::newRow("a variable") << "vel" << velocity;
        QTest::newRow("a builtin") << "isins" << QStringList("isinstance");
        QTest::newRow("a keyword") << "lamb" << QStringList("lambda");
        QTest::newRow("all three") << "de" << QStringList{"def", "del", "delattr"};
        QTest::newRow("in an expression") << "x = 3*(vel" << velocity;
        QTest::newRow("after a statement") << "x = 'a'; vel" << velocity;
        QTest::newRow("in a block") << "if x:\n    vel" << velocity;
        QTest::newRow("after a text") << "x = 'it''s' + vel" << velocity;
        QTest::newRow("after a long text") << "x = '''a\n\"b'''\nvel" << velocity;
        QTest::newRow("after a comment") << "x = 1 # it's\nvel" << velocity;
        QTest::newRow("after an open text of the line before") << "x = 'a\nvel" << velocity;
        QTest::newRow("hidden") << "_hid" << QStringList("_hidden");
        QTest::newRow("another case") << "VEL" << none;
        QTest::newRow("in a text") << "x = 'vel" << none;
        QTest::newRow("in a long text") << "x = \"\"\"\nvel" << none;
        QTest::newRow("after a quote that is escaped") << "x = 'a\\'vel" << none;
        QTest::newRow("in a comment") << "x # vel" << none;
        QTest::newRow("a number") << "5vel" << none;
        QTest::newRow("the fraction of a number") << "1.vel" << none;
        QTest::newRow("no such name") << "velx" << none;
        // clang-format on
    }

    void completesTheNamesOfTheScope()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, completions);

        QCOMPARE(names(text), completions);
    }

    void leavesOutHiddenNamesUntilTheyAreAskedFor()
    {
        const QStringList all = names("");
        QVERIFY(all.contains("velocity") && all.contains("while") && all.contains("len"));
        QVERIFY(!all.contains("_hidden") && !all.contains("__name__"));
        QVERIFY(std::is_sorted(all.begin(), all.end()));
        QVERIFY(names("__").contains("__name__"));
    }

    void completesAttributes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("completions");

        const QStringList none;
        // clang-format off
        QTest::newRow("of a module") << "math.sq" << QStringList("sqrt");
        QTest::newRow("of a module in one") << "os.path.isd" << QStringList("isdir");
        QTest::newRow("of a class") << "str.isa" << QStringList{"isalnum", "isalpha"};
        QTest::newRow("of a number") << "velocity.is_" << QStringList("is_integer");
        QTest::newRow("of an object") << "plate.th" << QStringList("thickness");
        QTest::newRow("of its class") << "plate.are" << QStringList("area");
        QTest::newRow("of a base class") << "plate.na" << QStringList("name");
        QTest::newRow("of an object in one") << "plate.sheet.thick" << QStringList("thickness");
        QTest::newRow("of a class in a class") << "Plate.Kind.st" << QStringList("steel");
        QTest::newRow("of an object of an old class") << "old.o" << QStringList{"own", "oldest"};
        QTest::newRow("in brackets") << "f(plate.thic" << QStringList("thickness");
        QTest::newRow("with slots") << "slotted.le" << QStringList("length");
        QTest::newRow("of a metaclass") << "Plate.mr" << QStringList("mro");
        QTest::newRow("of a call") << "f().thic" << none;
        QTest::newRow("of an item") << "plates[0].thic" << none;
        QTest::newRow("of a text") << "'abc'.is" << none;
        QTest::newRow("of no name") << "nothing.th" << none;
        QTest::newRow("of no attribute") << "plate.nothing.th" << none;
        QTest::newRow("of a property") << "plate.area.re" << none;
        // clang-format on
    }

    void completesAttributes()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, completions);
        QVERIFY(d->engine.runCode("class Part(object):\n"
                                  "    name = 'part'\n"
                                  "class Plate(Part):\n"
                                  "    class Kind: steel = 1\n"
                                  "    def __init__(self): self.thickness = 3\n"
                                  "    area = property(lambda self: 1 / 0)\n"
                                  "plate = Plate()\n"
                                  "plate.sheet = Plate()\n"
                                  "plates = [plate]\n"
                                  "class Oldest: oldest = 1\n"
                                  "class Old(Oldest): pass\n"
                                  "old = Old()\n"
                                  "old.own = 1\n"
                                  "class Slotted(object): __slots__ = ['length']\n"
                                  "slotted = Slotted()\n"));

        completions.sort();
        QCOMPARE(names(text), completions);
    }

    void completesModules()
    {
        const QTemporaryDir folder;
        makeFile(folder.filePath("kelm_one.py"), "raise Exception\n");
        makeFile(folder.filePath("kelm_two.so"), "");
        makeFile(folder.filePath("kelm_threemodule.so"), "");
        makeFile(folder.filePath("kelm_none.txt"), "");
        QDir(folder.path()).mkpath("kelm_pack/inner");
        QDir(folder.path()).mkpath("kelm_nopack");
        makeFile(folder.filePath("kelm_pack/__init__.py"), "raise Exception\n");
        makeFile(folder.filePath("kelm_pack/part.py"), "raise Exception\n");
        makeFile(folder.filePath("kelm_pack/inner/__init__.py"), "");
        d->engine.pushData("folder", folder.path());
        QVERIFY(d->engine.runCode("sys.path.append(folder)\n"));

        QCOMPARE(names("import kelm_"),
                 QStringList({"kelm_one", "kelm_pack", "kelm_three", "kelm_two"}));
        QCOMPARE(names("from kelm_p"), QStringList("kelm_pack"));
        QCOMPARE(names("import kelm_pack."), QStringList({"inner", "part"}));
        QCOMPARE(names("from kelm_pack import "), QStringList({"inner", "part"}));
        QVERIFY(d->engine.runCode("sys.path.remove(folder)\n"));
    }

    void completesImports_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("completions");

        // clang-format off
        QTest::newRow("a module of the library") << "import urllib" << QStringList{"urllib", "urllib2"};
        QTest::newRow("a second module") << "import os as o, urllib" << QStringList{"urllib", "urllib2"};
        QTest::newRow("one of the interpreter") << "import xxsub" << QStringList("xxsubtype");
#ifdef _WIN32 // on each system one that the interpreter does not have itself
        QTest::newRow("an extension") << "import pyexp" << QStringList{"pyexpat"};
#else
        QTest::newRow("an extension") << "import _ctypes" << QStringList{"_ctypes", "_ctypes_test"};
#endif
        QTest::newRow("in a package") << "import xml.d" << QStringList("dom");
        QTest::newRow("in a package in one") << "import xml.dom.minid" << QStringList("minidom");
        QTest::newRow("a name of a module") << "from math import sq" << QStringList("sqrt");
        QTest::newRow("a second name") << "from math import (cos as c,\n   sq" << QStringList("sqrt");
        QTest::newRow("the word import") << "from math imp" << QStringList("import");
        QTest::newRow("of the library") << "from KelmU" << QStringList("KelmUtils");
        QTest::newRow("a class of the library") << "from KelmUtils import U" << QStringList("Utils");
        QTest::newRow("after a statement") << "x = 1; import urllib" << QStringList{"urllib", "urllib2"};
        QTest::newRow("a module that is not loaded") << "from wave import op" << QStringList();
        // clang-format on
    }

    void completesImports()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, completions);

        QCOMPARE(names(text), completions);
    }

    void importsNothing()
    {
        const Data::Variant before = d->value("len(sys.modules)");

        complete("import xml.");
        complete("from wave import ");
        complete("wave.");
        complete("");

        QCOMPARE(d->value("len(sys.modules)"), before);
    }

    // What is known about a name

    void usesTheStubsOfTheLibrary_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("signature");

        const int function = ScriptCompletion::Function;
        // clang-format off
        QTest::newRow("a static method") << "Utils.File.si" << "size" << function << "size(path: Text) -> int";
        QTest::newRow("defaults") << "Utils.File.ba" << "base" << function << "base(path: Text, withExtension: bool = False) -> Data.String";
        QTest::newRow("several lines") << "Utils.File.jo" << "join" << function
            << "join(a: Text, b: Text, c: Text = \"\", d: Text = \"\", e: Text = \"\", f: Text = \"\") -> Data.String";
        QTest::newRow("overloads") << "Utils.File.wr" << "write" << function
            << "write(path: Text, text: Text) -> bool\nwrite(path: Text, lines: Texts) -> bool\n"
               "write(path: Text, text: Text, encoding: Text) -> bool";
        QTest::newRow("a method") << "Utils.Process.sendD" << "sendData" << function << "sendData(text: Text, timeout: int = 0) -> bool";
        QTest::newRow("a method that returns itself") << "settings.beginG" << "beginGroup" << function << "beginGroup(group: Text) -> Self";
        QTest::newRow("of a base class") << "Utils.WorkspaceSettings.beginG" << "beginGroup" << function << "beginGroup(group: Text) -> Self";
        QTest::newRow("of a class of a script") << "mine.beginG" << "beginGroup" << function << "beginGroup(group: Text) -> Self";
        QTest::newRow("no arguments") << "Utils.Process.out" << "output" << function << "output() -> Data.String";
        QTest::newRow("a class") << "Utils.Proc" << "Process" << int(ScriptCompletion::Class) << "Process(command: Text = \"\", arguments: Texts = ())";
        // clang-format on
    }

    void usesTheStubsOfTheLibrary()
    {
        QFETCH(QString, text);
        QFETCH(QString, name);
        QFETCH(int, kind);
        QFETCH(QString, signature);
        QVERIFY2(d->engine.runCode("settings = Utils.Settings('View')\n"
                                   "class Mine(Utils.Settings): pass\n"
                                   "mine = Mine('View')\n"),
                 d->engine.errorMessage().c_str());

        const ScriptCompletion found = completion(text, name);

        QCOMPARE(found.name, Data::String(name));
        QCOMPARE(int(found.kind), kind);
        QCOMPARE(found.signature, Data::String(signature));
    }

    void readsTheDocumentationOfStubs()
    {
        Utils::PythonStubs stubs;
        stubs.add("parts", "class Scope:\n"
                           "    class Bolt:\n"
                           "        \"\"\"A bolt.\"\"\"\n"
                           "        size: int\n"
                           "        @overload\n"
                           "        def turn(self, angle: float, /) -> None:\n"
                           "            \"\"\"Turns it.\n"
                           "\n"
                           "            The angle is in degrees.\n"
                           "            \"\"\"\n"
                           "        @overload\n"
                           "        def turn(self, part: str,\n"
                           "                 angle: float = 1.5, /) -> None: ...\n"
                           "    class Nut(Bolt): ...\n");

        const auto *const bolt = stubs.find("parts", "Bolt", "");
        const auto *const turn = stubs.find("parts", "Bolt", "turn");
        QVERIFY(bolt && turn);
        QCOMPARE(bolt->documentation, QString("A bolt."));
        QCOMPARE(bolt->signature, QString());
        QCOMPARE(turn->documentation, QString("Turns it.\n\nThe angle is in degrees."));
        QCOMPARE(turn->signature, QString("turn(angle: float) -> None\n"
                                          "turn(part: str, angle: float = 1.5) -> None"));
        QVERIFY(stubs.find("parts", "Nut", ""));
        QCOMPARE(stubs.find("parts", "Nut", "")->documentation, QString());
        QVERIFY(!stubs.find("parts", "Bolt", "size"));
        QVERIFY(!stubs.find("other", "Bolt", "turn"));
        const auto *const text = Utils::PythonStubs::instance().find("KelmData", "Variant", "");
        QVERIFY(text && text->documentation.startsWith("A value of any type."));
    }

    void readsStubsThatAreCut()
    {
        Utils::PythonStubs stubs;
        stubs.add("parts", "class Bolt:\n"
                           "    def turn(self,\n"
                           "             angle: float");
        stubs.add("others", "class Nut:\n"
                            "    \"\"\"A nut.\n"
                            "    Another line.");

        const auto *const turn = stubs.find("parts", "Bolt", "turn");
        const auto *const nut = stubs.find("others", "Nut", "");
        QVERIFY(turn && nut);
        QCOMPARE(turn->signature, QString("turn(angle: float"));
        QCOMPARE(nut->documentation, QString("A nut.\nAnother line."));
    }

    void describesNames_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("signature");
        QTest::addColumn<QString>("documentation");

        using Kind = ScriptCompletion::Kind;
        // clang-format off
        QTest::newRow("a variable") << "vel" << "velocity" << int(Kind::Variable) << "" << "";
        QTest::newRow("a keyword") << "lamb" << "lambda" << int(Kind::Keyword) << "" << "";
        QTest::newRow("a module") << "beam" << "beams" << int(Kind::Module) << "" << "About beams.";
        QTest::newRow("a function") << "load" << "load" << int(Kind::Function) << "load(a, b=2.5, c='x', d=None, e=..., *f, **g)" << "Loads it.";
        QTest::newRow("a function with a tuple") << "unpa" << "unpack" << int(Kind::Function) << "unpack((...), c)" << "";
        QTest::newRow("a method") << "beam_one.ben" << "bend" << int(Kind::Function) << "bend(force)" << "Bends.";
        QTest::newRow("a static method") << "Beam.mak" << "make" << int(Kind::Function) << "make(kind=1)" << "";
        QTest::newRow("a class method") << "Beam.fro" << "fromText" << int(Kind::Function) << "fromText(text)" << "";
        QTest::newRow("a bound method") << "bound" << "bound" << int(Kind::Function) << "bound(force)" << "Bends.";
        QTest::newRow("a class") << "Bea" << "Beam" << int(Kind::Class) << "Beam(length, width=1)" << "A beam.";
        QTest::newRow("a property") << "beam_one.are" << "area" << int(Kind::Property) << "" << "The area.";
        QTest::newRow("a slot") << "Slotted.len" << "length" << int(Kind::Property) << "" << "";
        QTest::newRow("a function in C") << "isins" << "isinstance" << int(Kind::Function) << "isinstance(object, class-or-type-or-tuple) -> bool"
            << "Return whether an object is an instance of a class or of a subclass thereof.\n"
               "With a type as second argument, return whether that is the object's type.\n"
               "The form using a tuple, isinstance(x, (A, B, ...)), is a shortcut for\n"
               "isinstance(x, A) or isinstance(x, B) or ... (etc.).";
        QTest::newRow("a function in C with overloads") << "rang" << "range" << int(Kind::Function) << "range(stop) -> list of integers\nrange(start, stop[, step]) -> list of integers"
            << "Return a list containing an arithmetic progression of integers.\n"
               "range(i, j) returns [i, i+1, i+2, ..., j-1]; start (!) defaults to 0.\n"
               "When step is given, it specifies the increment (or decrement).\n"
               "For example, range(4) returns [0, 1, 2, 3].  The end point is omitted!\n"
               "These are exactly the valid indices for a list of 4 elements.";
        QTest::newRow("a method in C with a remark") << "list.ind" << "index" << int(Kind::Function) << "index(value, [start, [stop]]) -> integer"
            << "return first index of value.\nRaises ValueError if the value is not present.";
        QTest::newRow("a class in C with overloads of several lines") << "dic" << "dict" << int(Kind::Class) << "dict() -> new empty dictionary"
            << "dict(mapping) -> new dictionary initialized from a mapping object's\n"
               "    (key, value) pairs\n"
               "dict(iterable) -> new dictionary initialized as if via:\n"
               "    d = {}\n"
               "    for k, v in iterable:\n"
               "        d[k] = v\n"
               "dict(**kwargs) -> new dictionary initialized with the name=value pairs\n"
               "    in the keyword argument list.  For example:  dict(one=1, two=2)";
        QTest::newRow("a method in C") << "str.isal" << "isalnum" << int(Kind::Function) << "isalnum() -> bool"
            << "Return True if all characters in S are alphanumeric\nand there is at least one character in S, False otherwise.";
        QTest::newRow("a class in C") << "enumer" << "enumerate" << int(Kind::Class) << "enumerate(iterable[, start]) -> iterator for index, value of iterable"
            << "Return an enumerate object.  iterable must be another object that supports\n"
               "iteration.  The enumerate object yields pairs containing a count (from\n"
               "start, which defaults to zero) and a value yielded by the iterable argument.\n"
               "enumerate is useful for obtaining an indexed list:\n"
               "    (0, seq[0]), (1, seq[1]), (2, seq[2]), ...";
        // clang-format on
    }

    void describesNames()
    {
        QFETCH(QString, text);
        QFETCH(QString, name);
        QFETCH(int, kind);
        QFETCH(QString, signature);
        QFETCH(QString, documentation);
        QVERIFY2(d->engine.runCode("import types\n"
                                   "beams = types.ModuleType('beams', 'About beams.')\n"
                                   "def load(a, b=2.5, c='x', d=None, e=[], *f, **g):\n"
                                   "    'Loads it.'\n"
                                   "def unpack((a, b), c): pass\n"
                                   "class Beam(object):\n"
                                   "    'A beam.'\n"
                                   "    def __init__(self, length, width=1): pass\n"
                                   "    def bend(self, force): 'Bends.'\n"
                                   "    @staticmethod\n"
                                   "    def make(kind=1): pass\n"
                                   "    @classmethod\n"
                                   "    def fromText(cls, text): pass\n"
                                   "    area = property(lambda self: 1 / 0, doc='The area.')\n"
                                   "beam_one = Beam(1)\n"
                                   "bound = beam_one.bend\n"
                                   "class Slotted(object): __slots__ = ['length']\n"),
                 d->engine.errorMessage().c_str());

        const ScriptCompletion found = completion(text, name);

        QCOMPARE(found.name, Data::String(name));
        QCOMPARE(int(found.kind), kind);
        QCOMPARE(found.signature, Data::String(signature));
        QCOMPARE(found.documentation, Data::String(documentation));
    }

    void describesTheClassesOfAHost_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("signature");
        QTest::addColumn<QString>("documentation");

        const int function = ScriptCompletion::Function;
        const int type = ScriptCompletion::Class;
        // clang-format off
        QTest::newRow("a class") << "Documented.Bea" << "Beam" << type << "Beam(length: float)\nBeam(name: str)" << "A beam.";
        QTest::newRow("a class without a text") << "Documented.Loa" << "Loads" << type << "" << "";
        QTest::newRow("a method") << "beam.ben" << "bend" << function << "bend(force: float)" << "Bends the beam.\n\nThe force is in kN.";
        QTest::newRow("of the class") << "Documented.Beam.ben" << "bend" << function << "bend(force: float)" << "Bends the beam.\n\nThe force is in kN.";
        QTest::newRow("overloads") << "beam.loa" << "load" << function << "load(int) -> int\nload(str, float = 2.5) -> int" << "";
        QTest::newRow("no arguments") << "beam.len" << "length" << function << "length() -> float" << "";
        QTest::newRow("an argument that begins with self") << "beam.che" << "check" << function << "check(selfTest: bool)" << "";
        QTest::newRow("a static method") << "beam.mak" << "make" << function << "make(kind: int = 1) -> Beam" << "Makes one.";
        QTest::newRow("a text without a signature") << "beam.pai" << "paint" << function << "" << "Paints the beam.";
        QTest::newRow("a text with a call") << "beam.fol" << "fold" << function << "" << "To unfold it, call beam.fold() again.";
        QTest::newRow("a text with a call in brackets") << "beam.tur" << "turn" << function << "" << "(turn() takes long.)";
        QTest::newRow("an enum") << "Documented.Beam.Mat" << "Material" << type << "" << "";
        QTest::newRow("a value of an enum") << "Documented.Beam.Ste" << "Steel" << int(ScriptCompletion::Variable) << "" << "";
        QTest::newRow("no text") << "beam.cu" << "cut" << function << "" << "";
        QTest::newRow("of a derived class") << "mine.ben" << "bend" << function << "bend(force: float)" << "Bends the beam.\n\nThe force is in kN.";
        QTest::newRow("of a mixed-in class") << "mine.tota" << "total" << function << "total() -> float" << "The sum.";
        QTest::newRow("a function of the module") << "Documented.are" << "area" << function << "area(width: float) -> float" << "The area.";
        // clang-format on
    }

    void describesTheClassesOfAHost()
    {
        QFETCH(QString, text);
        QFETCH(QString, name);
        QFETCH(int, kind);
        QFETCH(QString, signature);
        QFETCH(QString, documentation);
        const DocumentedModule module;
        QVERIFY2(d->engine.runCode("import Documented, sip\n"
                                   "called = []\n"
                                   "class Mine(Documented.Beam, Documented.Loads):\n"
                                   "    def __getattribute__(self, name):\n"
                                   "        called.append(name)\n"
                                   "        return super(Mine, self).__getattribute__(name)\n"
                                   "beam = Documented.Beam(2.5)\n"
                                   "mine = Mine(2.5)\n"
                                   "del called[:]\n"),
                 d->engine.errorMessage().c_str());

        const ScriptCompletion found = completion(text, name);

        QCOMPARE(found.name, Data::String(name));
        QCOMPARE(int(found.kind), kind);
        QCOMPARE(found.signature, Data::String(signature));
        QCOMPARE(found.documentation, Data::String(documentation));
        QCOMPARE(d->value("repr(called) + str(Documented.Beam.calls())"), Data::Variant("[]0"));
        d.reset(); // the interpreter ends with the module
    }

    // What must not happen

    void isNotMisledByTheNamesOfClasses_data()
    {
        QTest::addColumn<QString>("name");

        for (const char *name : {"method_descriptor", "classmethod_descriptor",
                                 "sip.methoddescriptor", "sip.variabledescriptor"})
            QTest::newRow(name) << name;
    }

    void isNotMisledByTheNamesOfClasses()
    {
        QFETCH(QString, name);
        QVERIFY2(d->engine.runCode("called = []\n"
                                   "def note(*rest): called.append(1)\n"
                                   "Named = type('" +
                                   name +
                                   "', (object,), {'__get__': note, '__slots__': ()})\n"
                                   "named = Named()\n"
                                   "class Holder(object): pass\n"
                                   "Holder.held = named\n"
                                   "del called[:]\n"),
                 d->engine.errorMessage().c_str());

        const ScriptCompletion found = completion("named", "named");
        const ScriptCompletion held = completion("Holder.he", "held");

        QCOMPARE(int(found.kind), int(ScriptCompletion::Variable));
        QCOMPARE(int(held.kind), int(ScriptCompletion::Variable));
        QCOMPARE(found.signature + found.documentation + held.signature, Data::String());
        QCOMPARE(d->value("len(called)"), Data::Variant(0));
        QVERIFY(d->engine.runCode("del named, Holder\n"));
    }

    void callsNothingOfAScript()
    {
        QVERIFY2(
            d->engine.runCode(
                "called = []\n"
                "def note(name):\n"
                "    def hook(self, *rest):\n"
                "        called.append(name)\n"
                "        raise Exception(name)\n"
                "    return hook\n"
                "class Meta(type):\n"
                "    __getattribute__ = note('meta.getattribute')\n"
                "    __instancecheck__ = __subclasscheck__ = note('meta.check')\n"
                "    __call__ = type.__call__\n"
                "class Descriptor(object):\n"
                "    __get__ = __set__ = __delete__ = note('descriptor')\n"
                "class Reader(object):\n"
                "    __get__ = note('reader')\n"
                "class Key(str):\n"
                "    __hash__ = str.__hash__\n"
                "    armed = False\n"
                "    def __eq__(self, other):\n"
                "        if Key.armed: called.append('eq')\n"
                "        return str.__eq__(self, other)\n"
                "class Trap(object):\n"
                "    __metaclass__ = Meta\n"
                "    descriptor = Descriptor()\n"
                "    reader = Reader()\n"
                "    prop = property(note('property'))\n"
                "    def method(self, x=Reader()): pass\n"
                "    for name in ('getattr getattribute dir repr str unicode hash eq cmp nonzero "
                "len '\n"
                "                 'iter getitem contains call instancecheck del').split():\n"
                "        locals()['__%s__' % name] = note(name)\n"
                "    del name\n"
                "trap = object.__new__(type.__getattribute__(Trap, '__mro__')[0])\n"
                "object.__getattribute__(trap, '__dict__').update({Key('keyed'): 1, 'own': trap})\n"
                "class Old:\n"
                "    __getattr__ = note('old.getattr')\n"
                "    __repr__ = note('old.repr')\n"
                "old = Old()\n"
                "old.__dict__['x'] = Reader()\n"
                "def f(a=trap, b=old): pass\n"
                "class ModuleType(type(sys)):\n"
                "    __getattribute__ = note('module')\n"
                "module = ModuleType('m')\n"
                "sys.modules['trapped'] = trap\n"
                "class Finder(object):\n"
                "    find_module = note('finder')\n"
                "del called[:]\n"
                "Key.armed = True\n"
                "sys.meta_path.append(Finder())\n"),
            d->engine.errorMessage().c_str());

        for (const char *text : {"",
                                 "_",
                                 "tr",
                                 "trap.",
                                 "trap._",
                                 "trap.own.",
                                 "trap.own.keyed.",
                                 "trap.descriptor.",
                                 "trap.reader.",
                                 "trap.reader.x",
                                 "trap.prop.",
                                 "trap.method.",
                                 "trap.keyed.",
                                 "Trap.",
                                 "Trap._",
                                 "Trap.descriptor.",
                                 "Trap.reader.",
                                 "Trap.prop.",
                                 "old.",
                                 "old._",
                                 "old.x.",
                                 "f",
                                 "module.",
                                 "module._",
                                 "import tra",
                                 "from trapped import ",
                                 "import trapped.",
                                 "trap.own.own.own.de",
                                 "Meta.",
                                 "Key.",
                                 "Finder."})
            complete(text);

        QVERIFY(names("trap.").contains("own"));
        QVERIFY(names("trap.key").contains("keyed"));
        const bool isClean = d->engine.runCode("sys.meta_path.pop()\nKey.armed = False\n"
                                               "count, first = len(called), repr(called[:3])\n"
                                               "del trap, Trap, sys.modules['trapped']\n");
        QVERIFY2(isClean, d->engine.errorMessage().c_str());
        QCOMPARE(d->engine.getData("first"), Data::Variant("[]"));
        QCOMPARE(d->engine.getData("count"), Data::Variant(0));
    }

    void collectsNoGarbage()
    {
        QVERIFY(d->engine.runCode("collected = []\n"
                                  "class Ring(object): pass\n"
                                  "import weakref\n"
                                  "ring = Ring()\n"
                                  "ring.itself = ring\n"
                                  "watch = weakref.ref(ring, lambda gone: collected.append(1))\n"
                                  "gc.set_threshold(1)\n"
                                  "gc.disable()\n"
                                  "del ring\n"
                                  "gc.enable()\n"));

        // Without a script, which would collect it itself.
        PyObject *const scope = PyModule_GetDict(PyImport_AddModule("__main__"));
        PyObject *const collected = PyDict_GetItemString(scope, "collected");
        QCOMPARE(PyList_Size(collected), Py_ssize_t(0));
        QVERIFY(names("Utils.MemoryChecker.").contains("startId"));
        QVERIFY(names("Utils.WaitCursor.").contains("activated"));
        complete("");
        QCOMPARE(PyList_Size(collected), Py_ssize_t(0));

        QVERIFY(d->engine.runCode("gc.set_threshold(700, 10, 10)\n"));
    }

    void keepsTheErrorThatIsSet()
    {
        QVERIFY(!d->engine.getData("missing").isValid()); // leaves one

        QCOMPARE(names("vel"), QStringList("velocity"));

        QVERIFY(d->engine.runCode("y = 1\n"));
    }

    void completesWithinAScript()
    {
        QStringList found;
        d->standIns.reaction = [&](const QString &) { found = names("inn"); };

        QVERIFY(d->engine.runCode("import host\ninner = 1\nhost.call('')\n"));

        d->standIns.reaction = nullptr;
        QCOMPARE(found, QStringList("inner"));
    }

    void takesNoTimeForTheModuleOfTheLibrary()
    {
        complete("Utils.File."); // reads the stubs once
        int count = 0;
        const double milliseconds = bestTime([&] {
            count = 0;
            for (const QString &name : names("Utils."))
                count += names("Utils." + name + '.').size();
        });

        qInfo("%d names in %.2f ms", count, milliseconds);
        QVERIFY(count >= 108);
        QVERIFY2(milliseconds < 5, qPrintable(QString::number(milliseconds)));
    }

    void writesNoLargeValues()
    {
        QVERIFY2(d->engine.runCode("def large(a=7 ** 100000, b='x' * 10000000, c=u'x' * 10000000, "
                                   "d=-7 ** 44, e='x' * 36, f=u'x' * 36, g='x' * 41): pass\n"),
                 d->engine.errorMessage().c_str());

        ScriptCompletion found;
        const double milliseconds = bestTime([&] { found = completion("larg", "large"); });

        const QString text(36, 'x');
        QCOMPARE(found.signature,
                 Data::String("large(a=..., b=..., c=..., d=-15286700631942576193765185769276826401"
                              "L, e='" +
                              text + "', f=u'" + text + "', g=...)"));
        qInfo("%.2f ms", milliseconds);
        QVERIFY2(milliseconds < 20, qPrintable(QString::number(milliseconds)));
    }

    void visitsEachOldClassOnce()
    {
        QVERIFY2(d->engine.runCode("class Old0: oldest = 1\n"
                                   "for i in range(20):\n"
                                   "    exec 'class Left(Old%d): pass' % i\n"
                                   "    exec 'class Right(Old%d): pass' % i\n"
                                   "    exec 'class Old%d(Left, Right): pass' % (i + 1)\n"
                                   "old = Old20()\n"),
                 d->engine.errorMessage().c_str());

        QStringList found;
        const double milliseconds = bestTime([&] { found = names("old.o"); });

        QCOMPARE(found, QStringList("oldest"));
        qInfo("%.2f ms", milliseconds);
        QVERIFY2(milliseconds < 20, qPrintable(QString::number(milliseconds)));
    }

private:
    /// The milliseconds that \p function takes in the best of several rounds.
    template <typename Function>
    static double bestTime(const Function &function)
    {
        qint64 best = std::numeric_limits<qint64>::max();
        for (int round = 0; round < 20; ++round) {
            QElapsedTimer timer;
            timer.start();
            function();
            best = std::min(best, timer.nsecsElapsed());
        }
        return double(best) / 1e6;
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_completion)
#include "tst_PythonScript_completion.moc"
