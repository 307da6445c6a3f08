#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"

#include <QtTest>

using Data::String;
using Data::Variant;
using Utils::ScriptError;
using Utils::ScriptManager;

static const SettingsHome home;

/// An exception whose text has the number of the call.
static const char counted[] = "import sys, host\n"
                              "n = 0\n"
                              "class E(Exception):\n"
                              "    def __str__(self):\n"
                              "        global n\n"
                              "        n += 1\n"
                              "        return 'text %d' % n\n";

/// The text of an exception that a hook of the script reads while it is printed.
class tst_ScriptError_text : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup() { d.reset(); }

    void isTheFirstThatAHookReads()
    {
        QVERIFY(!run("seen = []\n"
                     "def hook(type, value, traceback):\n"
                     "    seen.extend([str(E()), str(value), str(value)])\n"
                     "sys.excepthook = hook\n"
                     "raise E\n"));

        QCOMPARE(manager().error().text(), String("text 2"));
        QCOMPARE(d->value("' '.join(seen)"), Variant("text 1 text 2 text 3"));
        QCOMPARE(d->value("str(E())"), Variant("text 4"));
    }

    void isThatOfAClassThatAHookChanges()
    {
        QVERIFY(!run("def hook(type, value, traceback):\n"
                     "    E.__str__ = lambda self: 'changed'\n"
                     "sys.excepthook = hook\n"
                     "raise E\n"));

        QCOMPARE(manager().error().text(), String("changed"));
        QCOMPARE(d->value("str(E())"), Variant("changed"));
        QCOMPARE(d->value("n"), Variant(0));
    }

    void isThatOfItsOwnRun_data()
    {
        QTest::addColumn<QByteArray>("inner");

        QTest::newRow("the same class") << QByteArray("raise E('inner')\n");
        QTest::newRow("a class that is derived meanwhile")
            << QByteArray("class F(E): pass\nraise F('inner')\n");
        QTest::newRow("a class of its own")
            << QByteArray("class F(Exception): __str__ = E.__dict__['__str__']\n"
                          "raise F('inner')\n");
    }

    void isThatOfItsOwnRun()
    {
        QFETCH(QByteArray, inner);
        const QString innerFile = d->script(inner, "inner.py");
        ScriptError seen;
        d->standIns.reaction = [&](const QString &) {
            manager().execute(innerFile);
            seen = manager().error();
        };

        QVERIFY(!run("class Later(object): pass\n"
                     "def hook(type, value, traceback):\n"
                     "    global outer, Later\n"
                     "    if value.args == ('outer',):\n"
                     "        outer = value\n"
                     "        host.call('')\n"
                     "        class Later(E): pass\n"
                     "    else:\n"
                     "        str(outer)\n"
                     "    str(value)\n"
                     "sys.excepthook = hook\n"
                     "raise E('outer')\n"));

        QCOMPARE(seen.text(), String("text 2"));
        QCOMPARE(manager().error().text(), String("text 1"));
        QCOMPARE(d->value("n"), Variant(3));
        QCOMPARE(d->value("str(E()) + str(Later())"), Variant("text 4text 5"));
        if (inner.contains("F"))
            QCOMPARE(d->value("str(F())"), Variant("text 6"));
    }

private:
    static ScriptManager &manager() { return ScriptManager::instance(); }

    /// Runs a file, whose error is printed.
    bool run(const QByteArray &code) { return manager().execute(d->script(counted + code)); }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_ScriptError_text)
#include "tst_ScriptError_text.moc"
