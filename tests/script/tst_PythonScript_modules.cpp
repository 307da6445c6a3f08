#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <Python.h>

using Utils::ScriptCompletion;
using Utils::ScriptManager;

static const SettingsHome home;

static QStringList names(const QString &text)
{
    QStringList found;
    for (const ScriptCompletion &completion : ScriptManager::instance().complete(text, "py"))
        found.append(completion.name);
    return found;
}

/// Completions where modules are in archives, or the interpreter has odd objects.
class tst_PythonScript_modules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        d.emplace();
        QDir(d->folder.path()).mkpath("kelm_pack");
        d->script("raise Exception\n", "kelm_one.py");
        d->script("", "kelm_pack/__init__.pyc");
        d->script("raise Exception\n", "kelm_pack/part.py");
        const bool isStarted = d->engine.runCode("import sys\nfolder = '" + d->folder.path() +
                                                 "'\nsys.path.append(folder)\n");
        QVERIFY2(isStarted, d->engine.errorMessage().c_str());
    }
    void cleanup() { d.reset(); }

    void completesTheModulesOfAnArchive_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("completions");

        QTest::newRow("at its top")
            << "import zip_" << QStringList{"zip_loaded", "zip_one", "zip_pack", "zip_two"};
        QTest::newRow("in a package") << "import zip_pack." << QStringList{"inner", "part"};
        QTest::newRow("in a package in one") << "import zip_pack.inner." << QStringList("deepest");
        QTest::newRow("in a folder of it") << "import below_" << QStringList{"below_one"};
        QTest::newRow("no module") << "import note" << QStringList();
    }

    void completesTheModulesOfAnArchive()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, completions);
        QVERIFY2(d->engine.runCode(
                     "import zipfile\n"
                     "archive = zipfile.ZipFile(folder + '/modules.zip', 'w')\n"
                     "for name in ('zip_loaded.py zip_one.py zip_two.pyc notes.txt '\n"
                     "             'zip_pack/__init__.py zip_pack/part.py '\n"
                     "             'zip_pack/inner/__init__.pyc zip_pack/inner/deepest.py '\n"
                     "             'below/below_one.py').split():\n"
                     "    archive.writestr(name, '')\n"
                     "archive.close()\n"
                     "sys.path += [folder + '/modules.zip', folder + '/modules.zip/below']\n"
                     "import zip_loaded\n"), // Python has read the archive then
                 d->engine.errorMessage().c_str());

        QCOMPARE(names(text), completions);
    }

    void completesNothingOfAnArchiveThatAScriptHides()
    {
        for (const char *hidden : {"5", "type(sys)('zipimport')"}) {
            QVERIFY(d->engine.runCode(QString("sys.modules['zipimport'] = ") + hidden + "\n"));

            QCOMPARE(names("import kelm_"), QStringList({"kelm_one", "kelm_pack"}));
        }
    }

    void searchesTheFoldersThatAScriptHasSet_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("modules");

        const QStringList modules{"kelm_one", "kelm_pack"};
        QTest::newRow("the current folder") << "['']" << modules;
        QTest::newRow("other objects") << "[5, None, u'', folder]" << modules;
        QTest::newRow("no list") << "None" << QStringList();
        QTest::newRow("a folder that is missing") << "[folder + '/none']" << QStringList();
    }

    void searchesTheFoldersThatAScriptHasSet()
    {
        QFETCH(QString, path);
        QFETCH(QStringList, modules);
        const QString original = QDir::currentPath();
        const auto restore = qScopeGuard([&] { QDir::setCurrent(original); });
        QVERIFY(QDir::setCurrent(d->folder.path()));
        QVERIFY(d->engine.runCode("kept, sys.path = sys.path, " + path + "\n"));

        const QStringList found = names("import kelm_");
        const QStringList parts = names("import kelm_pack.");
        QVERIFY(d->engine.runCode("sys.path = kept\n"));

        QCOMPARE(found, modules);
        QCOMPARE(parts, modules.isEmpty() ? QStringList() : QStringList("part"));
    }

    void completesOnlyWhatIsLoadedWithoutASearchPath()
    {
        QVERIFY(d->engine.runCode("kept = sys.path\ndel sys.path\n"));

        const QStringList found = names("import ");
        QVERIFY(d->engine.runCode("sys.path = kept\n"));

        QVERIFY(found.contains("sys") && !found.contains("kelm_one"));
    }

    void searchesFilesForAPackageThatIsNoModule()
    {
        QVERIFY(d->engine.runCode("sys.modules['kelm_pack'] = object()\n"));

        QCOMPARE(names("import kelm_pack."), QStringList("part"));
        QCOMPARE(names("from kelm_pack import "), QStringList("part"));
    }

    void searchesTheFoldersOfALoadedPackage()
    {
        QVERIFY(d->engine.runCode("pack = sys.modules['loaded'] = type(sys)('loaded')\n"
                                  "pack.__path__ = [folder]\npack.own = 1\n"));
        QCOMPARE(names("from loaded import kelm_"), QStringList({"kelm_one", "kelm_pack"}));
        QCOMPARE(names("from loaded import ow"), QStringList("own"));

        QVERIFY(d->engine.runCode("del pack.__path__\n"));
        QCOMPARE(names("from loaded import kelm_"), QStringList());
    }

    void completesBuiltinsWithoutTheScopeOfScripts()
    {
        QVERIFY(d->engine.runCode("own_name = 1\n"));
        PyObject *const modules = PyImport_GetModuleDict();
        PyObject *const scope = PyDict_GetItemString(modules, "__main__");
        Py_INCREF(scope);
        PyDict_SetItemString(modules, "__main__", Py_None);

        const QStringList own = names("own_");
        const QStringList builtin = names("isins");
        const QStringList attributes = names("own_name.rea");
        PyDict_SetItemString(modules, "__main__", scope);
        Py_DECREF(scope);

        QCOMPARE(own, QStringList());
        QCOMPARE(attributes, QStringList());
        QCOMPARE(builtin, QStringList("isinstance"));
        QCOMPARE(names("own_"), QStringList("own_name"));
    }

    void completesOnlyNames()
    {
        QVERIFY(d->engine.runCode("class Odd(object): pass\n"
                                  "odd = Odd()\n"
                                  "odd.__dict__.update({5: 1, 'a b': 2, 'own': 3, u'unicode': 4})\n"
                                  "globals()['odd name'] = 1\n"));

        QCOMPARE(names("odd"), QStringList("odd"));
        QCOMPARE(names("odd."), QStringList("own"));
    }

    void findsTheAttributeThatPythonReads_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("completions");

        const QStringList inner("inner");
        QTest::newRow("of the object before its class") << "holder.part.inn" << inner;
        QTest::newRow("of an old base") << "holder.old" << QStringList("oldest");
        QTest::newRow("of the class") << "Holder.part.rea" << QStringList("real");
        QTest::newRow("not of a property") << "holder.prop.inn" << QStringList();
        QTest::newRow("of a method") << "holder.go.func_na" << QStringList("func_name");
        QTest::newRow("of a class in it") << "holder.Nested.inn" << inner;
        QTest::newRow("of a value that only reads") << "holder.reader.inn" << QStringList();
        QTest::newRow("of the object before one that only reads") << "holder.own.inn" << inner;
    }

    void findsTheAttributeThatPythonReads()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, completions);
        QVERIFY2(d->engine.runCode("class Meta(type):\n"
                                   "    def __get__(self, *rest): return 1 / 0\n"
                                   "class Inner(object): inner = 1\n"
                                   "class Reader(Inner):\n"
                                   "    def __get__(self, *rest): return 1 / 0\n"
                                   "class Old: oldest = 1\n"
                                   "class Holder(Old, object):\n"
                                   "    part = 5\n"
                                   "    prop = property(lambda self: 1 / 0)\n"
                                   "    reader = Reader()\n"
                                   "    own = Reader()\n"
                                   "    def go(self): pass\n"
                                   "    class Nested(Inner): __metaclass__ = Meta\n"
                                   "holder = Holder()\n"
                                   "holder.__dict__.update(part=Inner(), prop=Inner(), "
                                   "own=Inner())\n"),
                 d->engine.errorMessage().c_str());

        QCOMPARE(names(text), completions);
    }

    void describesAClassWhoseTextIsNone()
    {
        QVERIFY(d->engine.runCode("class Odd(object): __doc__ = 5\n"));

        const auto found = ScriptManager::instance().complete("Odd", "py");

        QCOMPARE(found.size(), 1);
        QCOMPARE(int(found[0].kind), int(ScriptCompletion::Class));
        QCOMPARE(found[0].documentation, Data::String());
    }

    void findsTheStatementOfTheName_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("completions");

        const QStringList own("own_name");
        QTest::newRow("a bracket that closes nothing") << "x = 1)\nown_" << own;
        QTest::newRow("a line feed at the start") << "\nown_" << own;
        QTest::newRow("a line that is continued") << "x = 1 + \\\n    own_" << own;
        QTest::newRow("a name that goes on") << "import os, \\\nkelm_o" << QStringList();
        QTest::newRow("in brackets of several lines") << "f(1,\n  {2:\n own_" << own;
        QTest::newRow("after brackets") << "f([1])\nown_" << own;
        QTest::newRow("at the end of a comment") << "# own\nown_" << own;
        QTest::newRow("a text without an end at the end of the line") << "'\\" << QStringList();
    }

    void findsTheStatementOfTheName()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, completions);
        QVERIFY(d->engine.runCode("own_name = 1\n"));

        QCOMPARE(names(text), completions);
    }

    void describesOddFunctions_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("signature");

        QTest::newRow("a method without arguments") << "odd.bare"
                                                    << "bare()";
        QTest::newRow("code without names") << "nameless"
                                            << "nameless(*)";
        QTest::newRow("defaults") << "plain"
                                  << "plain(a=True, b=u'x', c=5L, d=None, e=..., f=..., g=...)";
        QTest::newRow("a static method of nothing") << "Odd.empty"
                                                    << "";
    }

    void describesOddFunctions()
    {
        QFETCH(QString, text);
        QFETCH(QString, signature);
        QVERIFY2(
            d->engine.runCode(
                "import types\n"
                "class Odd(object):\n"
                "    def bare(): pass\n"
                "    empty = staticmethod.__new__(staticmethod)\n"
                "odd = Odd()\n"
                "class Int(int): pass\n"
                "def plain(a=True, b=u'x', c=5L, d=None, e='\\0' * 20, f=Int(1), g=[]): pass\n"
                "code = plain.func_code\n"
                "nameless = types.FunctionType(types.CodeType(2000000000, 0, 1, code.co_flags | 4, "
                "code.co_code, code.co_consts, (), (), '', 'nameless', 1, ''), {})\n"),
            d->engine.errorMessage().c_str());

        const auto found = ScriptManager::instance().complete(text, "py");

        QCOMPARE(found.size(), 1);
        QCOMPARE(found[0].signature, Data::String(signature));
    }

private:
    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_modules)
#include "tst_PythonScript_modules.moc"
