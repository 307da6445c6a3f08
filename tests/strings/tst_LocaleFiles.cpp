// The files of strings that come with the library: each has every text that the library asks for,
// and no other.

#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Files.h"     // makeFile
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

using Utils::catalogue;
using Utils::StringTable;

/// Every text that the library asks for.
static const struct
{
    const char *table;
    const char *id;
    const char *markers; // that the text must have, once each
    const char *source;  // the text of Qt, or null
} texts[] = {
    // clang-format off
    {"Kelm.Data",      ".err.noopen",         "%1",    nullptr}, // path
    {"Kelm.Data",      ".err.doctype",        "%1 %2", nullptr}, // type found, type wanted
    {"Kelm.Framework", ".msg.plusmore",       "%1",    nullptr}, // number
    {"Kelm.Utils",     ".err.fileread",       "%1",    nullptr}, // path
    {"Kelm.Utils",     ".err.filewrite",      "%1",    nullptr}, // path
    {"Kelm.Utils",     ".err.decode",         "%1 %2", nullptr}, // path, encoding
    {"Kelm.Utils",     ".err.decodeText",     "%1",    nullptr}, // encoding
    {"Kelm.Utils",     ".err.encode",         "%1 %2", nullptr}, // path, encoding
    {"Kelm.Utils",     ".err.encoding",       "%1",    nullptr}, // name
    {"Kelm.Utils",     ".err.lineEncoding",   "%1 %2", nullptr}, // path, encoding
    {"Kelm.Utils",     ".err.shorter",        "%1",    nullptr}, // path
    {"Kelm.Utils",     ".err.tooManyRows",    "%1 %2", nullptr}, // path, number
    {"Kelm.Utils",     ".msg.scriptRunning",  "%1",    nullptr}, // path
    {"Kelm.Utils",     ".msg.scriptRun",      "",      nullptr},
    {"Kelm.Utils",     ".err.scriptRun",      "%1 %2", nullptr}, // exit status, message
    {"Kelm.Utils",     ".err.pythonInit",     "%1",    nullptr}, // detail
    {"Kelm.Utils",     ".err.pythonapp",      "",      nullptr},
    {"Kelm.Utils",     ".err.exportOwnFile",  "%1",    nullptr}, // path
    {"Kelm.Utils",     ".err.importForeign",  "%1",    nullptr}, // path
    {"Kelm.Utils",     ".err.importLine",     "%1 %2", nullptr}, // path, number
    {"Kelm.Utils",     ".err.importShort",    "%1",    nullptr}, // path
    {"Kelm.Utils",     ".err.noExport",       "%1",    nullptr}, // group
    {"Kelm.Utils",     ".err.noReset",        "%1",    nullptr}, // group
    {"Kelm.Utils",     ".err.badname",        "%1",     nullptr},
    {"Kelm.Utils",     ".err.cancelled",      "",       nullptr},
    {"Kelm.Utils",     ".err.copy",           "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.copyfault",      "%1 %2 %3", nullptr},
    {"Kelm.Utils",     ".err.createdir",      "%1",     nullptr},
    {"Kelm.Utils",     ".err.diskfull",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.doctype",        "%1 %2 %3", nullptr},
    {"Kelm.Utils",     ".err.empty",          "%1",     nullptr},
    {"Kelm.Utils",     ".err.exists",         "%1",     nullptr},
    {"Kelm.Utils",     ".err.http",           "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.httpcut",        "%1",     nullptr},
    {"Kelm.Utils",     ".err.httploop",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.httppacked",     "%1",     nullptr},
    {"Kelm.Utils",     ".err.httpsize",       "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.httptime",       "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.isfolder",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.memory",         "",       nullptr},
    {"Kelm.Utils",     ".err.move",           "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.nobeside",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.noengine",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.nofile",         "%1",     nullptr},
    {"Kelm.Utils",     ".err.nofiletype",     "%1",     nullptr},
    {"Kelm.Utils",     ".err.nofolder",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.noname",         "",       nullptr},
    {"Kelm.Utils",     ".err.noread",         "%1",     nullptr},
    {"Kelm.Utils",     ".err.norows",         "",       nullptr},
    {"Kelm.Utils",     ".err.nosafe",         "%1",     nullptr},
    {"Kelm.Utils",     ".err.notafolder",     "%1",     nullptr},
    {"Kelm.Utils",     ".err.notext",         "",       nullptr},
    {"Kelm.Utils",     ".err.notflushed",     "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.nowrite",        "%1",     nullptr},
    {"Kelm.Utils",     ".err.processrun",     "%1",     nullptr}, // command
    {"Kelm.Utils",     ".err.processstart",   "%1 %2",  nullptr}, // command, reason
    {"Kelm.Utils",     ".err.processstays",   "%1 %2",  nullptr}, // command, time
    {"Kelm.Utils",     ".err.processtime",    "%1 %2",  nullptr}, // command, time
    {"Kelm.Utils",     ".err.readfault",      "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.readonly",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.rmdir",          "%1",     nullptr},
    {"Kelm.Utils",     ".err.rootelement",    "%1 %2 %3", nullptr},
    {"Kelm.Utils",     ".err.scriptinterrupt", "",      nullptr},
    {"Kelm.Utils",     ".err.scriptinterruptlate", "%1", nullptr}, // seconds
    {"Kelm.Utils",     ".err.scriptlimit",    "%1",     nullptr},
    {"Kelm.Utils",     ".err.scriptlimitlate", "%1 %2", nullptr},
    {"Kelm.Utils",     ".err.settings",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.toodeep",        "%1",     nullptr},
    {"Kelm.Utils",     ".err.toolarge",       "%1",     nullptr},
    {"Kelm.Utils",     ".err.utf8",           "%1",     nullptr},
    {"Kelm.Utils",     ".err.writefault",     "%1 %2",  nullptr},
    {"Kelm.Utils",     ".err.xml",            "%1 %2 %3 %4", nullptr},
    {"Kelm.Utils",     ".err.csvdelimiter",   "",      nullptr},
    {"Kelm.Utils",     ".err.csvquote",       "%1",    nullptr}, // line
    {"Kelm.Utils",     ".err.csvinput",       "%1",    nullptr}, // path
    {"Kelm.Utils",     ".dialect.unknown",     "",      nullptr},
    {"Kelm.Utils",     ".dialect.oneColumn",   "",      nullptr},
    {"Kelm.Utils",     ".dialect.aligned",     "",      nullptr},
    {"Kelm.Utils",     ".dialect.tab",         "",      nullptr},
    {"Kelm.Utils",     ".dialect.delimiter",   "%1",    nullptr},
    {"Kelm.Utils",     ".dialect.noQuotes",    "",      nullptr},
    {"Kelm.Utils",     ".dialect.quotes",      "",      nullptr},
    {"Kelm.Utils",     ".dialect.noComments",  "",      nullptr},
    {"Kelm.Utils",     ".dialect.comments",    "%1",    nullptr},
    {"Kelm.Utils",     ".dialect.noLabels",    "",      nullptr},
    {"Kelm.Utils",     ".dialect.labels",      "%1",    nullptr},
    {"Kelm.Utils",     ".dialect.units",       "%1",    nullptr},
    {"Kelm.Utils",     ".dialect.data",        "%1",    nullptr},
    {"Kelm.Utils",     ".dialect.point",       "",      nullptr},
    {"Kelm.Utils",     ".dialect.comma",       "",      nullptr},
    {"Kelm.Utils",     ".dialect.thousands",   "",      nullptr},
    {"Kelm.Utils",     ".dialect.returns",     "",      nullptr},
    {"Kelm.Widgets",   ".ctx.undo",           "",      "&Undo"},
    {"Kelm.Widgets",   ".ctx.redo",           "",      "&Redo"},
    {"Kelm.Widgets",   ".ctx.cut",            "",      "Cu&t"},
    {"Kelm.Widgets",   ".ctx.copy",           "",      "&Copy"},
    {"Kelm.Widgets",   ".ctx.copylink",       "",      "Copy &Link Location"},
    {"Kelm.Widgets",   ".ctx.paste",          "",      "&Paste"},
    {"Kelm.Widgets",   ".ctx.delete",         "",      "Delete"},
    {"Kelm.Widgets",   ".ctx.selectall",      "",      "Select All"},
    {"Kelm.Widgets",   ".ctx.whatsthis",      "",      "What's This?"},
    {"Kelm.Widgets",   ".ctx.selcolor",       "",      "Select Color"},
    {"Kelm.Widgets",   ".ctx.hue",            "",      "Hu&e:"},
    {"Kelm.Widgets",   ".ctx.sat",            "",      "&Sat:"},
    {"Kelm.Widgets",   ".ctx.val",            "",      "&Val:"},
    {"Kelm.Widgets",   ".ctx.red",            "",      "&Red:"},
    {"Kelm.Widgets",   ".ctx.green",          "",      "&Green:"},
    {"Kelm.Widgets",   ".ctx.blue",           "",      "Bl&ue:"},
    {"Kelm.Widgets",   ".ctx.alpha",          "",      "A&lpha channel:"},
    {"Kelm.Widgets",   ".ctx.basiccolor",     "",      "&Basic colors"},
    {"Kelm.Widgets",   ".ctx.customcolor",    "",      "&Custom colors"},
    {"Kelm.Widgets",   ".ctx.addcustomcolor", "",      "&Add to Custom Colors"},
    {"Kelm.Widgets",   ".ctx.ctrl",           "",      "Ctrl"},
    {"Kelm.Widgets",   ".ctx.alt",            "",      "Alt"},
    {"Kelm.Widgets",   ".ctx.shift",          "",      "Shift"},
    {"Kelm.Widgets",   ".ctx.plus",           "",      "+"},
    // clang-format on
};

static const char *const tables[] = {"Kelm.Data", "Kelm.Framework", "Kelm.Utils", "Kelm.Widgets"};
static const char *const languages[] = {"en", "de"};

class tst_LocaleFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Utils::File::setSearchPath(LIBRARY_RESOURCES, ""); }

    void cleanup() { resetCatalogue(); }

    void holdWhatIsAskedForAndNothingElse_data()
    {
        QTest::addColumn<Data::String>("language");
        QTest::addColumn<Data::String>("table");
        for (const char *language : languages) {
            for (const char *table : tables)
                QTest::addRow("%s %s", table, language)
                    << Data::String(language) << Data::String(table);
        }
    }

    void holdWhatIsAskedForAndNothingElse()
    {
        QFETCH(Data::String, language);
        QFETCH(Data::String, table);
        QVERIFY(QFile::exists(LIBRARY_RESOURCES "/locale/" + table + "_" + language + ".xml"));
        QSet<QString> asked;
        for (const auto &text : texts) {
            if (table == text.table)
                asked.insert(text.id);
        }

        StringTable::initialize(language, "", "");
        QVERIFY(StringTable::load(table));
        const StringTable::Table loaded = catalogue->tables.value("." + table);

        const QList<Data::String> keys = loaded.strings.keys();
        QCOMPARE(QSet<QString>(keys.begin(), keys.end()), asked);
        QVERIFY(loaded.uiStrings.isEmpty());
    }

    void haveTheMarkersThatAreFilled_data()
    {
        QTest::addColumn<Data::String>("language");
        QTest::addColumn<int>("index");
        for (const char *language : languages) {
            for (int i = 0; i < int(std::size(texts)); ++i)
                QTest::addRow("%s%s %s", texts[i].table, texts[i].id, language)
                    << Data::String(language) << i;
        }
    }

    void haveTheMarkersThatAreFilled()
    {
        QFETCH(Data::String, language);
        QFETCH(int, index);
        const auto &expected = texts[index];
        StringTable::initialize(language, "", "");
        QVERIFY(StringTable::load(expected.table));

        const Data::String text =
            StringTable::lookup("." + Data::String(expected.table) + expected.id);

        QStringList markers = QString(expected.markers).split(' ', Qt::SkipEmptyParts);
        for (const QString &marker : markers)
            QCOMPARE(text.count(marker), 1);
        QCOMPARE(text.count('%'), markers.size());
        QVERIFY(!text.isEmpty());
        QVERIFY(text != expected.id);
        QCOMPARE(text, Data::String(text.trimmed()));
        if (!expected.source)
            return;
        if (language == "en")
            QCOMPARE(text, Data::String(expected.source));
        QCOMPARE(text.count('&'), QString(expected.source).count('&'));
        QCOMPARE(text.endsWith(':'), QString(expected.source).endsWith(':'));
    }

    void giveNoLetterTwiceInAMenuOrADialog_data()
    {
        QTest::addColumn<QStringList>("ids");
        QTest::addColumn<QString>("taken"); // by what Qt shows in English

        // clang-format off
        QTest::newRow("menu") << QStringList{"undo", "redo", "cut", "copy", "copylink", "paste"} << "";
        QTest::newRow("colours") << QStringList{"hue",           "sat",        "val",
                                                "red",           "green",      "blue",
                                                "alpha",         "basiccolor", "customcolor",
                                                "addcustomcolor"}
                                 << "HP";
        // clang-format on
    }

    void giveNoLetterTwiceInAMenuOrADialog()
    {
        QFETCH(QStringList, ids);
        QFETCH(QString, taken);
        for (const char *language : languages) {
            resetCatalogue();
            StringTable::initialize(language, "", "");
            QVERIFY(StringTable::load("Kelm.Widgets"));

            QString letters = taken;
            for (const QString &id : ids) {
                const Data::String text = StringTable::lookup(".Kelm.Widgets.ctx." + id);
                const QChar letter = text.section('&', 1).at(0).toUpper();
                QVERIFY2(!letters.contains(letter), qPrintable(language + (" " + text)));
                letters += letter;
            }
        }
    }

    void areInGerman()
    {
        QStringList same;
        for (const auto &text : texts) {
            Data::String inLanguages[2];
            for (int i = 0; i < 2; ++i) {
                resetCatalogue();
                StringTable::initialize(languages[i], "", "");
                QVERIFY(StringTable::load(text.table));
                inLanguages[i] = StringTable::lookup("." + Data::String(text.table) + text.id);
            }
            if (inLanguages[0] == inLanguages[1])
                same.append(text.id);
        }

        QCOMPARE(same, QStringList({".ctx.alt", ".ctx.plus"}));
    }

    void areReadAsTheGuideTells()
    {
        QFile guide(GUIDE);
        QVERIFY(guide.open(QIODevice::ReadOnly));
        const QRegularExpression block("```xml[^\n]*\n(.*?)```",
                                       QRegularExpression::DotMatchesEverythingOption);
        const QByteArray example = block.match(guide.readAll()).captured(1).toUtf8();
        const QTemporaryDir root;
        makeFile(root.filePath("locale/Plates_en.xml"), example);
        Utils::File::setSearchPath(root.path(), "");

        StringTable::initialize("en", "Desktop", "Plus");
        QVERIFY(StringTable::load("Plates"));

        QCOMPARE(StringTable::lookup(".Plates.err.thickness"),
                 Data::String("The plate \"%1\" is %2 mm thick.\nAt least 2 mm are needed."));
        QCOMPARE(StringTable::lookup(".Plates.msg.help"),
                 Data::String("<b>Plates</b><br>Flat parts of one thickness."));
        QCOMPARE(StringTable::lookup(".Plates.msg.open"), Data::String("Click to open"));
        QCOMPARE(StringTable::lookupi(".Plates.ctx.units", 1), Data::String("cm"));
        QCOMPARE(StringTable::lookupk(".Plates.ctx.names", "max", ""), Data::String("Maximum"));
        QCOMPARE(StringTable::lookup(".title", "PlateForm"), Data::String("Plate"));
    }
};

QTEST_GUILESS_MAIN(tst_LocaleFiles)
#include "tst_LocaleFiles.moc"
