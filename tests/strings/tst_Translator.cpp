#include "utils/strings/Translator.h"

#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "utils/strings/StringTable.h"

#include <QtTest>

using Utils::catalogue;
using Utils::StringTable;
using Utils::Translator;

/// Every text of Qt that the catalogue knows, with its id.
static const struct
{
    const char *context;
    const char *source;
    const char *id;
} qtTexts[] = {
    // clang-format off
    {"QLineEdit",    "&Undo",                 ".ctx.undo"},
    {"QTextControl", "&Undo",                 ".ctx.undo"},
    {"QLineEdit",    "&Redo",                 ".ctx.redo"},
    {"QTextControl", "&Redo",                 ".ctx.redo"},
    {"QLineEdit",    "Cu&t",                  ".ctx.cut"},
    {"QTextControl", "Cu&t",                  ".ctx.cut"},
    {"QLineEdit",    "&Copy",                 ".ctx.copy"},
    {"QTextControl", "&Copy",                 ".ctx.copy"},
    {"QLineEdit",    "Copy &Link Location",   ".ctx.copylink"},
    {"QTextControl", "Copy &Link Location",   ".ctx.copylink"},
    {"QLineEdit",    "&Paste",                ".ctx.paste"},
    {"QTextControl", "&Paste",                ".ctx.paste"},
    {"QLineEdit",    "Delete",                ".ctx.delete"},
    {"QTextControl", "Delete",                ".ctx.delete"},
    {"QLineEdit",    "Select All",            ".ctx.selectall"},
    {"QTextControl", "Select All",            ".ctx.selectall"},
    {"QDialog",      "What's This?",          ".ctx.whatsthis"},
    {"QColorDialog", "Select Color",          ".ctx.selcolor"},
    {"QColorDialog", "Hu&e:",                 ".ctx.hue"},
    {"QColorDialog", "&Sat:",                 ".ctx.sat"},
    {"QColorDialog", "&Val:",                 ".ctx.val"},
    {"QColorDialog", "&Red:",                 ".ctx.red"},
    {"QColorDialog", "&Green:",               ".ctx.green"},
    {"QColorDialog", "Bl&ue:",                ".ctx.blue"},
    {"QColorDialog", "A&lpha channel:",       ".ctx.alpha"},
    {"QColorDialog", "&Basic colors",         ".ctx.basiccolor"},
    {"QColorDialog", "&Custom colors",        ".ctx.customcolor"},
    {"QColorDialog", "&Add to Custom Colors", ".ctx.addcustomcolor"},
    {"QShortcut",    "Ctrl",                  ".ctx.ctrl"},
    {"QShortcut",    "Alt",                   ".ctx.alt"},
    {"QShortcut",    "Shift",                 ".ctx.shift"},
    {"QShortcut",    "+",                     ".ctx.plus"},
    // clang-format on
};

/// The tables "Kelm.Widgets", "Kelm.Data" and "TORVE", and the form "Form" of the latter.
static void fillCatalogue()
{
    auto &tables = catalogue->tables;
    for (const auto &text : qtTexts)
        tables[".Kelm.Widgets"].strings[text.id] = Data::String("text of ") + text.id;
    tables[".Kelm.Widgets"].strings[".x"] = "widget x";
    tables[".Kelm.Widgets"].strings["plain"] = "widget plain";
    tables[".Kelm.Widgets"].strings[".TORVEx.x"] = "widget TORVEx";
    tables[".Kelm.Data"].strings[".x"] = "data x";
    tables[".TORVE"].strings[".x"] = "product x";
    tables[".TORVE"].strings[".title"] = "product title";
    tables[".TORVE"].uiStrings["Form"][".title"] = "form title";
    tables[".TORVE"].uiStrings["Form"]["plain"] = "form plain";
    tables[".TORVE"].uiStrings["Form"][".empty"] = "";
    tables[".TORVE"].uiStrings["QForm"][".title"] = "q title";
    for (const char *form : {"Form", "Bare", "QForm"})
        catalogue->uiIndex[form] = ".TORVE";
    catalogue->uiIndex["Lost"] = ".Gone";
}

class tst_Translator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { resetCatalogue(); }

    void knowsTheTextsOfQt_data()
    {
        QTest::addColumn<QByteArray>("context");
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<Data::String>("id");
        for (const auto &text : qtTexts)
            QTest::addRow("%s %s", text.context, text.source)
                << QByteArray(text.context) << QByteArray(text.source) << Data::String(text.id);
    }

    void knowsTheTextsOfQt()
    {
        QFETCH(QByteArray, context);
        QFETCH(QByteArray, source);
        QFETCH(Data::String, id);
        StringTable::initialize("en", "", "");
        const Translator &translator = *catalogue->translator;

        QCOMPARE(translator.translate(context, source), QString(".Kelm.Widgets" + id));
        fillCatalogue();
        QCOMPARE(translator.translate(context, source), QString("text of " + id));
        QCOMPARE(translator.translate(context, source, "comment", 7), QString("text of " + id));
        QCOMPARE(translator.translate(context, source, "_Qok"), QString("text of " + id));
        QCOMPARE(QCoreApplication::translate(context, source), QString("text of " + id));
        catalogue->tables[".Kelm.Widgets"].strings.clear();
        catalogue->found.clear();
        QCOMPARE(translator.translate(context, source), QString(id));
    }

    void knowsNoOtherTextsOfQt()
    {
        StringTable::initialize("en", "", "");
        fillCatalogue();
        const Translator &translator = *catalogue->translator;
        const char *const contexts[] = {
            "QLineEdit", "QTextControl", "QWidgetTextControl", "QDialog", "QColorDialog",
            "QShortcut", "qlineedit",    "QLineEdi",           "Form",    "QLineEdit "};
        const char *const others[] = {"Insert", "Meta",  "&undo", "Undo", "&Undo ", "",
                                      "ctrl",   "Ctrl+", "Hue:",  "++",   "plain"};

        int answered = 0;
        for (const char *context : contexts) {
            for (const char *source : others)
                QVERIFY2(translator.translate(context, source).isNull(), source);
            for (const auto &text : qtTexts)
                answered += translator.translate(context, text.source).isNull() ? 0 : 1;
        }
        QCOMPARE(answered,
                 2 * 16 + 1 + 11 + 4); // the menus, whose texts come up twice, and the rest
    }

    void answersForAKey_data()
    {
        QTest::addColumn<QByteArray>("context");
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QByteArray>("disambiguation");
        QTest::addColumn<QString>("answer");

        const QString none;
        const auto row = [](const char *name, const char *context, const char *source,
                            const char *disambiguation, const QString &answer) {
            QTest::newRow(name) << QByteArray(context) << QByteArray(source)
                                << QByteArray(disambiguation) << answer;
        };
        // clang-format off
        row("a class of Qt",                     "QFileDialog",     ".x",               nullptr,  none);
        row("the same, marked",                  "QFileDialog",     ".x",               "_Qok",   "widget x");
        row("the same, marked otherwise",        "QFileDialog",     ".x",               "_qok",   none);
        row("the same, with more than the mark", "QFileDialog",     ".x",               "_Qok ",  none);
        row("the same, with less than the mark", "QFileDialog",     ".x",               "_Qo",    none);
        row("a marked unknown id",               "QFileDialog",     ".no",              "_Qok",   ".no");
        row("a marked key of the widgets",       "QFileDialog",     ".Kelm.Widgets.x",  "_Qok",   "widget x");
        row("a marked key of a product",         "Q",               ".TORVE.x",         "_Qok",   "product x");
        row("a marked text",                     "QFileDialog",     "plain",            "_Qok",   none);
        row("a form whose name starts with Q",   "QForm",           ".title",           nullptr,  none);
        row("a panel",                           "Widgets::Panel",  ".x",               nullptr,  "widget x");
        row("a panel without a name",            "Widgets::",       ".x",               nullptr,  "widget x");
        row("a panel, marked",                   "Widgets::Panel",  ".x",               "_Qok",   "widget x");
        row("a panel, unknown id",               "Widgets::Panel",  ".no",              nullptr,  ".no");
        row("a panel, whole key",                "Widgets::Panel",  ".Kelm.Widgets.x",  nullptr,  "widget x");
        row("a panel, joined to the table",      "Widgets::Panel",  ".Kelm.WidgetsX.y", nullptr,  ".Kelm.WidgetsX.y");
        row("a panel, key of another table",     "Widgets::Panel",  ".Kelm.Data.x",     nullptr,  ".Kelm.Data.x");
        row("a panel, key of a product",         "Widgets::Panel",  ".TORVE.x",         nullptr,  "product x");
        row("a panel, product's unknown id",     "Widgets::Panel",  ".TORVE.foo",       nullptr,  ".foo");
        row("a panel, nearly a product",         "Widgets::Panel",  ".TORVEx.x",        nullptr,  "widget TORVEx");
        row("a panel, text that is an id",       "Widgets::Panel",  "plain",            nullptr,  "widget plain");
        row("a panel, any other text",           "Widgets::Panel",  "hello",            nullptr,  "hello");
        row("a panel, text with a dot",          "Widgets::Panel",  "a.b",              nullptr,  "a.b");
        row("a panel, text of Qt",               "Widgets::Panel",  "&Undo",            nullptr,  "&Undo");
        row("nearly a panel",                    "Widgets:Panel",   ".x",               nullptr,  none);
        row("nearly a panel, text",              "Widgets:Panel",   "plain",            nullptr,  none);
        row("a panel in lower case",             "widgets::Panel",  ".x",               nullptr,  none);
        row("after a panel",                     "A Widgets::Pane", ".x",               nullptr,  none);
        row("a form",                            "Form",            ".title",           nullptr,  "form title");
        row("a form, marked",                    "Form",            ".title",           "_Qok",   "form title");
        row("a form, unknown id",                "Form",            ".no",              nullptr,  ".no");
        row("a form, id of its table",           "Form",            ".x",               nullptr,  ".x");
        row("a form, whole key",                 "Form",            ".TORVE.x",         nullptr,  ".TORVE.x");
        row("a form, text",                      "Form",            "plain",            nullptr,  none);
        row("a form, no text",                   "Form",            "",                 nullptr,  none);
        row("a form without strings",            "Bare",            ".title",           nullptr,  ".title");
        row("a form whose table has gone",       "Lost",            ".title",           nullptr,  none);
        row("a form that is not loaded",         "MyForm",          ".title",           nullptr,  none);
        row("a form in lower case",              "form",            ".title",           nullptr,  none);
        row("no context",                        "",                ".title",           nullptr,  none);
        // clang-format on
    }

    void answersForAKey()
    {
        QFETCH(QByteArray, context);
        QFETCH(QByteArray, source);
        QFETCH(QByteArray, disambiguation);
        QFETCH(QString, answer);
        StringTable::initialize("en", "", "");
        fillCatalogue();

        const QString result = catalogue->translator->translate(
            context, source, disambiguation.isNull() ? nullptr : disambiguation.constData());

        QCOMPARE(result, answer);
        QCOMPARE(result.isNull(), answer.isNull());
    }

    void answersForAPanelWithoutItsTable()
    {
        StringTable::initialize("en", "", "");
        const Translator &translator = *catalogue->translator;

        QCOMPARE(translator.translate("Widgets::Panel", "hello"), QString(".Kelm.Widgetshello"));
        QCOMPARE(translator.translate("Widgets::Panel", ".x"), QString(".Kelm.Widgets.x"));
        QCOMPARE(translator.translate("QFileDialog", ".x", "_Qok"), QString(".Kelm.Widgets.x"));
        QCOMPARE(translator.translate("Widgets::Panel", ".TORVE.foo"), QString(".TORVE.foo"));
    }

    void takesAnEmptyTextForNone()
    {
        StringTable::initialize("en", "", "");
        fillCatalogue();
        catalogue->tables[".Kelm.Widgets"].strings[".empty"] = "";
        catalogue->tables[".Kelm.Widgets"].strings[".ctx.undo"] = "";
        const Translator &translator = *catalogue->translator;

        QVERIFY(translator.translate("Form", ".empty").isNull());
        QVERIFY(translator.translate("Widgets::Panel", ".empty").isNull());
        QVERIFY(translator.translate("QFileDialog", ".empty", "_Qok").isNull());
        QVERIFY(translator.translate("QLineEdit", "&Undo").isNull());
        QCOMPARE(QCoreApplication::translate("Form", ".empty"), QString(".empty"));
        QCOMPARE(QCoreApplication::translate("QLineEdit", "&Undo"), QString("&Undo"));
    }

    void takesNullForAnEmptyText()
    {
        StringTable::initialize("en", "", "");
        fillCatalogue();
        const Translator &translator = *catalogue->translator;

        QVERIFY(translator.translate(nullptr, nullptr).isNull());
        QVERIFY(translator.translate(nullptr, ".x").isNull());
        QVERIFY(translator.translate("QLineEdit", nullptr).isNull());
        QVERIFY(translator.translate("Form", nullptr, nullptr, INT_MIN).isNull());
        QVERIFY(translator.translate("Widgets::Panel", nullptr).isNull());
    }

    void bearsTextsThatAreNoText()
    {
        StringTable::initialize("en", "", "");
        fillCatalogue();
        const Translator &translator = *catalogue->translator;
        const QByteArray large = "." + QByteArray(10'000'000, 'x');

        QCOMPARE(translator.translate("Form", large), QString(large));
        QCOMPARE(translator.translate("Form", ".\xff"), QString::fromUtf8(".\xff"));
        QVERIFY(translator.translate("\xff\xfe", ".x").isNull());
        QVERIFY(translator.translate(large, ".x").isNull());
    }

    void isNeverEmpty()
    {
        StringTable::initialize("en", "", "");

        QVERIFY(!catalogue->translator->isEmpty());
        QVERIFY(!static_cast<QTranslator *>(catalogue->translator)->isEmpty());
    }

    void belongsToItsParent()
    {
        QPointer<Translator> translator;
        {
            QObject parent;
            translator = new Translator(&parent);
            QCOMPARE(translator->parent(), &parent);
        }

        QVERIFY(!translator);
    }

    void letsQtKeepItsText()
    {
        StringTable::initialize("en", "", "");
        fillCatalogue();

        QCOMPARE(QCoreApplication::translate("QLineEdit", "Insert"), QString("Insert"));
        QCOMPARE(QCoreApplication::translate("MyForm", ".title"), QString(".title"));
        QCOMPARE(QCoreApplication::translate("Form", ".title"), QString("form title"));
    }

    void isNotInstalledWithoutAnApplication()
    {
        // Only one application may be in a process, so another process reports.
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {"--without-application"});
        QVERIFY(process.waitForFinished(-1));

        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardOutput(), QByteArray("before: &Undo\nafter: &Undo\n"
                                                             "asked: text of .ctx.undo\n"));
    }
};

/// Sets the catalogue up before there is an application; reports what the application shows.
static int runWithoutApplication(int &argc, char **argv)
{
    StringTable::initialize("en", "", "");
    fillCatalogue();
    std::printf("before: %s\n", qPrintable(QCoreApplication::translate("QLineEdit", "&Undo")));
    const QCoreApplication application(argc, argv);
    std::printf("after: %s\n", qPrintable(QCoreApplication::translate("QLineEdit", "&Undo")));
    std::printf("asked: %s\n", qPrintable(catalogue->translator->translate("QLineEdit", "&Undo")));
    return 0;
}

int main(int argc, char *argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "--without-application") == 0)
        return runWithoutApplication(argc, argv);

    const QCoreApplication application(argc, argv);
    tst_Translator test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Translator.moc"
