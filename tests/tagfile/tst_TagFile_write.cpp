#include "tests/strings/Catalogue.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"
#include "tests/tagfile/Tags.h"
#include "utils/tagfile/TagFile.h"

#include <QTextCodec>
#include <QTextStream>
#include <QtTest>

#include <memory>

using Utils::TagFile;
using Tag = TagFile::Tag;

/// One tag "a", with \p properties: key, value, key, value...
static void addProperties(TagFile &file, const QStringList &properties)
{
    Tag &tag = file.addTag("a", "");
    for (int i = 0; i + 1 < properties.size(); i += 2)
        tag.add(properties[i], Data::String(properties[i + 1]));
}

static void setOptions(TagFile &file, int options)
{
    file.setOption(-1, false);
    file.setOption(options, true);
}

class tst_TagFile_write : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;

    QString path(const char *name) const { return m_folder->filePath(name); }

    /// What \p file writes, by save() and by toString(), which must be the same.
    QString written(TagFile &file)
    {
        Data::String error;
        if (!file.save(path("written"), error))
            return error;
        const QString text = QString::fromUtf8(contentsOf(path("written")));
        return file.toString() == text ? text : "save() and toString() differ: " + text;
    }

    /// \p file written and read back with the same options.
    QStringList roundTrip(TagFile &file)
    {
        written(file);
        TagFile back;
        setOptions(back, file.options());
        Data::String error;
        if (!back.read(path("written"), error))
            return {error};
        return describe(back);
    }

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
        resetCatalogue();
    }

    void cleanup() { resetCatalogue(); }

    void writesTheWholeFormat()
    {
        TagFile file;
        file.addFileType("curve", "2", "made by hand");
        file.addTag("point", "")
            .add("x", 1.5, 'g', 6)
            .add("flag", true)
            .add("a:b", "c:d")
            .addComment("note")
            .add("text", "one\ntwo");

        QCOMPARE(written(file), QString("$ made by hand\n"
                                        "*TYPE\n"
                                        "name: curve\n"
                                        "version: 2\n"
                                        "\n"
                                        "*point\n"
                                        "x: 1.5\n"
                                        "flag: yes\n"
                                        "a\\:b: c:d\n"
                                        "$ note\n"
                                        "text:2\n"
                                        "one\n"
                                        "two\n"));
        QCOMPARE(roundTrip(file), QStringList({"2 TYPE: name=curve|version=2",
                                               "6 point: x=1.5|flag=yes|a:b=c:d|text=one/two"}));
    }

    void streamsTheWholeFormat()
    {
        TagFile file;
        Data::String error = "untouched";

        QVERIFY(file.open(path("a"), error));
        file.writeFileType("curve", "2", "made by hand");
        file.writeTag("point", "", true)
            .writeProperty("x", "1.5")
            .writeProperty("flag", "true")
            .writeProperty("a:b", "c:d")
            .writeProperty("$", "note")
            .writeProperty("text", "one\ntwo");
        file.writeTag("end", "last", false);
        file.close();

        QCOMPARE(QString::fromUtf8(contentsOf(path("a"))), QString("$ made by hand\n"
                                                                   "*TYPE\n"
                                                                   "name: curve\n"
                                                                   "version: 2\n"
                                                                   "\n"
                                                                   "*point\n"
                                                                   "x: 1.5\n"
                                                                   "flag: yes\n"
                                                                   "a\\:b: c:d\n"
                                                                   "$ note\n"
                                                                   "text:2\n"
                                                                   "one\n"
                                                                   "two\n"
                                                                   "$ last\n"
                                                                   "*end\n"));
        QCOMPARE(file.numTags(), 0);
        QCOMPARE(error, Data::String("untouched"));
    }

    // Properties

    void writesProperties_data()
    {
        QTest::addColumn<QStringList>("properties");
        QTest::addColumn<int>("options");
        QTest::addColumn<QString>("text");

        const auto row = [](const char *name, const QStringList &properties, int options,
                            const char *text) {
            QTest::newRow(name) << properties << options << QString(text);
        };
        // clang-format off
        row("plain",                      {"k", "v"},         7,      "k: v\n");
        row("nothing is trimmed",         {" k ", " v "},     7,      " k :  v \n");
        row("a colon in the key",         {":a::b", "v"},     7,      "\\:a\\:\\:b: v\n");
        row("an escaped colon in the key", {"a\\:b", "v"},    7,      "a\\\\:b: v\n");
        row("colons in the value",        {"k", "a:b\\:c"},   7,      "k: a:b\\:c\n");
        row("markers",                    {"%1%2", "%2%1"},   7,      "%1%2: %2%1\n");
        row("an empty key",               {"", "v"},          7,      ": v\n");
        row("an empty value",             {"k", ""},          7,      "k: \n");
        row("empty ones left out",        {"k", "", "l", "v"}, 8,     "l: v\n");
        row("NONE",                       {"k", ""},          16,     "k: NONE\n");
        row("NONE goes first",            {"k", ""},          8 | 16, "k: NONE\n");
        row("NONE itself",                {"k", "NONE"},      63,     "k: NONE\n");
        row("truth as it is",             {"a", "true", "b", "false"}, 5, "a: true\nb: false\n");
        row("truth as words",             {"a", "true", "b", "false"}, 2, "a: yes\nb: no\n");
        row("only these words",           {"a", "TRUE", "b", "1"},  2, "a: TRUE\nb: 1\n");
        row("block",                      {"k", "a\nb\nc"},   7,      "k:3\na\nb\nc\n");
        row("a block with a colon",       {"a:b", "a:b\nc"},  7,      "a\\:b:2\na:b\nc\n");
        row("a block of empty lines",     {"k", "\n"},        63,     "k:2\n\n\n");
        row("a block is no yes",          {"k", "true\n"},    2,      "k:2\ntrue\n\n");
        row("a comment",                  {"$", "note"},      4,      "$ note\n");
        row("no comment",                 {"$", "note"},      ~4,     "");
        row("a comment of two lines",     {"$", "a\nb"},      4,      "$ a\n$ b\n");
        row("an empty comment",           {"$", ""},          4 | 8 | 16, "$ \n");
        row("a comment is no yes",        {"$", "true"},      4 | 2,  "$ true\n");
        row("only the key $ is one",      {"$$", "v"},        0,      "$$: v\n");
        row("a key with a line feed",     {"a\nb", "v"},      7,      "a\nb: v\n");
        row("CR",                         {"k", "a\rb\r\nc"}, 7,      "k:2\na\rb\r\nc\n");
        row("beyond ASCII",               {"größe", "𝄞 €"},   7,      "größe: 𝄞 €\n");
        // clang-format on
    }

    void writesProperties()
    {
        QFETCH(QStringList, properties);
        QFETCH(int, options);
        QFETCH(QString, text);
        TagFile file;
        setOptions(file, options);
        addProperties(file, properties);
        Data::String error;

        QCOMPARE(written(file), "*a\n" + text);

        QVERIFY(file.open(path("b"), error));
        for (int i = 0; i + 1 < properties.size(); i += 2)
            file.writeProperty(properties[i], properties[i + 1]);
        file.close();
        QCOMPARE(QString::fromUtf8(contentsOf(path("b"))), text);
    }

    void writesOnlyPairs()
    {
        TagFile file;
        file.addTag("a", "").add("k", "v").keys.append("l");
        file.addTag("b", "").add("k", "v").values.append("w");

        QCOMPARE(written(file), QString("*a\nk: v\n\n*b\nk: v\n"));
    }

    // Tag lines

    void writesTagLines_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("comment");
        QTest::addColumn<bool>("blankLine");
        QTest::addColumn<int>("options");
        QTest::addColumn<QString>("text");

        const auto row = [](const char *title, const char *name, const char *comment,
                            bool blankLine, int options, const char *text) {
            QTest::newRow(title) << QString(name) << QString(comment) << blankLine << options
                                 << QString(text);
        };
        // clang-format off
        row("a name",                     "a",     "",     false, 7,  "*a\n");
        row("a blank line",               "a",     "",     true,  7,  "\n*a\n");
        row("a blank line without option", "a",    "",     true,  0,  "\n*a\n");
        row("a comment",                  "a",     "c",    false, 4,  "$ c\n*a\n");
        row("both",                       "a",     "c",    true,  7,  "\n$ c\n*a\n");
        row("a comment of two lines",     "a",     "c\nd", false, 7,  "$ c\n$ d\n*a\n");
        row("no comments",                "a",     "c",    true,  ~4, "\n*a\n");
        row("a comment alone",            "$",     "c",    false, 7,  "$ c\n");
        row("a comment with a blank line", "$",    "c",    true,  7,  "\n$ c\n");
        row("a comment that is not",      "$",     "c",    true,  ~4, "\n");
        row("an empty comment",           "$",     "",     false, 7,  "");
        row("an empty name",              "",      "",     false, 7,  "*\n");
        row("nothing is escaped",         " a:b\\ ", "",   false, 7,  "* a:b\\ \n");
        row("a line feed",                "a\nb",  "",     false, 7,  "*a\nb\n");
        row("beyond ASCII",               "größe", "Höhe", false, 7,  "$ Höhe\n*größe\n");
        // clang-format on
    }

    void writesTagLines()
    {
        QFETCH(QString, name);
        QFETCH(QString, comment);
        QFETCH(bool, blankLine);
        QFETCH(int, options);
        QFETCH(QString, text);
        TagFile file;
        setOptions(file, options);
        Data::String error;

        QVERIFY(file.open(path("a"), error));
        QCOMPARE(&file.writeTag(name, comment, blankLine), &file);
        file.close();

        QCOMPARE(QString::fromUtf8(contentsOf(path("a"))), text);
    }

    void leavesOutAnEmptyVersionWhenItStreams()
    {
        TagFile file;
        TagFile streamed;
        Data::String error;
        file.addFileType("curve", "", "c");

        QVERIFY(streamed.open(path("a"), error));
        QCOMPARE(&streamed.writeFileType("curve", "", "c"), &streamed);
        streamed.close();

        QCOMPARE(contentsOf(path("a")), QByteArray("$ c\n*TYPE\nname: curve\n"));
        QCOMPARE(written(file), QString("$ c\n*TYPE\nname: curve\nversion: \n"));
    }

    // Blank lines between tags. In each row a capital is a tag with a property, a small letter one
    // without, "$" a comment tag and "-" a tag without a name.

    void separatesTags_data()
    {
        QTest::addColumn<QString>("tags");
        QTest::addColumn<QString>("text"); // with a blank line as ".", properties left out

        // clang-format off
        QTest::newRow("one")                          << "A"      << "*A";
        QTest::newRow("two")                          << "AB"     << "*A .*B";
        QTest::newRow("one without")                  << "a"      << "*a";
        QTest::newRow("with after without")           << "aB"     << "*a .*B";
        QTest::newRow("a run without at the start")   << "abC"    << "*a *b .*C";
        QTest::newRow("a run without after one with") << "AbcdE" << "*A .*b *c *d .*E";
        QTest::newRow("without after two with")       << "ABcD"   << "*A .*B .*c .*D";
        QTest::newRow("comments")                     << "A$$B"   << "*A .$ c $ c .*B";
        QTest::newRow("a comment at the start")       << "$A"     << "$ c .*A";
        QTest::newRow("no name, none")                << "A-b"    << "*A *b";
        // clang-format on
    }

    void separatesTags()
    {
        QFETCH(QString, tags);
        QFETCH(QString, text);
        TagFile file;
        for (const QChar tag : tags) {
            if (tag == '$')
                file.addComment("c");
            else
                file.addTag(tag == '-' ? QString() : QString(tag), "");
            if (tag.isUpper())
                file.mtag(file.numTags() - 1).add("k", "v");
        }

        QString lines = written(file);
        lines.remove("k: v\n").replace("\n\n", "\n.").chop(1);
        lines.replace('\n', ' ');

        QCOMPARE(lines, text);
    }

    void separatesNothingWithoutTheOption()
    {
        TagFile file;
        file.setOption(1, false);
        file.addTag("a", "c").add("k", "v");
        file.addTag("b", "");
        file.addComment("c");
        file.addTag("d", "").add("k", "v");

        QCOMPARE(written(file), QString("$ c\n*a\nk: v\n*b\n$ c\n*d\nk: v\n"));
    }

    void writesABlankLineForACommentThatIsLeftOut()
    {
        TagFile file;
        file.setOption(4, false);
        file.addTag("a", "").add("k", "v");
        file.addComment("c");
        file.addTag("b", "").add("k", "v");

        QCOMPARE(written(file), QString("*a\nk: v\n\n\n*b\nk: v\n"));
    }

    void writesNothingOfATagWithoutANameButItsProperties()
    {
        TagFile file;
        file.addTag("", "lost").add("k", "v");
        file.addTag("a", "").add("l", "w");
        file.addTag("", "lost").add("m", "x");

        QCOMPARE(written(file), QString("k: v\n\n*a\nl: w\nm: x\n"));
    }

    // What comes back

    void comesBackButForWhatIsMeant_data()
    {
        QTest::addColumn<QStringList>("properties");
        QTest::addColumn<int>("options");
        QTest::addColumn<QStringList>("tags");

        const auto row = [](const char *name, const QStringList &properties, int options,
                            const QStringList &tags) {
            QTest::newRow(name) << properties << options << tags;
        };
        // clang-format off
        row("plain",                      {"k", " v ", " l ", "a:b"},     7,  {"1 a: k= v | l =a:b"});
        row("a colon in the key",         {":a:", "b"},                   7,  {"1 a: :a:=b"});
        row("a block",                    {"k", "a\n\n*b\n$\n"},          7,  {"1 a: k=a//*b/$/"});
        row("a comment",                  {"$", "c", "k", "v"},           7,  {"1 a: k=v"});
        row("a key that starts with $",   {"$k", "v", "l", "w"},          7,  {"1 a: l=w"});
        row("a key that starts with *",   {"*k", "v", "l", "w"},          7,  {"1 a: ", "2 k: v: l=w"});
        row("a key that ends with \\",    {"k\\", "v", "l", "w"},         7,  {"1 a: l=w"});
        row("an empty key",               {"", "v"},                      7,  {"1 a: =v"});
        row("truth",                      {"k", "true", "l", "false"},    7,  {"1 a: k=yes|l=no"});
        row("truth kept",                 {"k", "true", "l", "false"},    5,  {"1 a: k=true|l=false"});
        row("empty as NONE",              {"k", "", "l", "v"},            16, {"1 a: k=NONE|l=v"});
        row("empty as NONE, dropped",     {"k", "", "l", "v"},       16 | 32, {"1 a: l=v"});
        row("NONE itself, dropped",       {"k", "NONE", "l", "v"},        32, {"1 a: l=v"});
        row("an escape in the value",     {"k", "a\\:b"},                 7,  {"1 a: k=a:b"});
        row("not in a block",             {"k", "a\\:b\n*COLON*"},        7,  {"1 a: k=a\\:b/*COLON*"});
        row("the marker",                 {"k", "a*COLON*b"},             7,  {"1 a: k=a:b"});
        row("leading empty lines",        {"k", "\n\na\nb"},              7,  {"1 a: k=a/b"});
        row("a line feed alone",          {"k", "\n", "l", "v"},          7,  {"1 a: k=|l=v"});
        row("CR LF",                      {"k", "a\r\nb"},                7,  {"1 a: k=a/b"});
        row("CR at the end",              {"k", "a\r"},                   7,  {"1 a: k=a"});
        row("CR within",                  {"k", "a\rb"},                  7,  {"1 a: k=a\rb"});
        row("an empty value",             {"k", ""},                      7,  {"1 a: k="});
        row("left out",                   {"k", "", "l", "v"},            8,  {"1 a: l=v"});
        row("a key with a line feed",     {"k\nl", "v"},                  7,  {"1 a: l=v"});
        // clang-format on
    }

    void comesBackButForWhatIsMeant()
    {
        QFETCH(QStringList, properties);
        QFETCH(int, options);
        QFETCH(QStringList, tags);
        TagFile file;
        setOptions(file, options);
        addProperties(file, properties);

        QCOMPARE(roundTrip(file), tags);
    }

    void tagsComeBackButForWhatIsMeant()
    {
        TagFile file;
        file.addComment("lost");
        file.addTag("  a ", "lost").add("k", "v");
        file.addTag("", "lost").add("l", "joins");
        file.addTag("empty", "");
        file.addTag("b", "").add("m", "w");
        file.addTag("lost", "");

        QCOMPARE(roundTrip(file), QStringList({"4   a : k=v|l=joins", "8 empty: ", "10 b: m=w"}));
    }

    void doublesItsTagsWhenItReadsWhatItSaved()
    {
        TagFile file;
        addProperties(file, {"k", "v"});
        Data::String error;

        QVERIFY(file.save(path("a"), error));
        QVERIFY(file.read(path("a"), error));

        QCOMPARE(describe(file), QStringList({"-1 a: k=v", "1 a: k=v"}));
    }

    void leavesItsTagsAsTheyAre()
    {
        TagFile file;
        file.addTag("a", "c").add("k:", "true").addComment("d");

        written(file);

        QCOMPARE(describe(file), QStringList("-1 a: k:=true|$=d"));
        QCOMPARE(file.tag(0).comment, Data::String("c"));
    }

    void writesUtf8WithoutAMark()
    {
        TagFile file;
        addProperties(file, {"k", QString("ä") + QChar(0xd800) + "x" + QChar(0xdc00) + QChar(0)});
        Data::String error;

        QVERIFY(file.save(path("a"), error));

        QCOMPARE(contentsOf(path("a")), QByteArray("*a\nk: \xc3\xa4?x?\0\n", 13));
        QCOMPARE(file.toString(), Data::String("*a\nk: ") + file.tag(0).values[0] + "\n");
    }

    void writesUtf8WhateverTheLocale()
    {
        QTextCodec *const before = QTextCodec::codecForLocale();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
        TagFile file;
        addProperties(file, {"k", "ä€"});
        Data::String error;

        const bool isSaved = file.save(path("saved"), error);
        const bool isOpen = file.open(path("streamed"), error);
        file.writeTag("a", "", false).writeProperty("k", "ä€");
        file.close();
        const TagFile back(path("streamed"));
        QTextCodec::setCodecForLocale(before);

        QVERIFY(isSaved && isOpen);
        QCOMPARE(contentsOf(path("saved")), QByteArray("*a\nk: \xc3\xa4\xe2\x82\xac\n"));
        QCOMPARE(contentsOf(path("streamed")), contentsOf(path("saved")));
        QCOMPARE(describe(back), QStringList("1 a: k=ä€"));
    }

    void replacesAFileInPlace()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        const QString file = makeFile(path("a"), QByteArray(1000, 'x'));
        const QString link = path("link");
        QVERIFY(QFile::link(file, link));
        TagFile tags;
        tags.addTag("a", "");
        Data::String error = "untouched";
        QStringList errors{"untouched"};

        QVERIFY(tags.save(link, error));
        QCOMPARE(contentsOf(file), QByteArray("*a\n"));
        QVERIFY(TagFile().save(link, errors));

        QCOMPARE(contentsOf(file), QByteArray());
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(error, Data::String("untouched"));
        QCOMPARE(errors, QStringList("untouched"));
    }

    // Streaming out

    void writesNothingWhileNoFileIsOpen()
    {
        TagFile file;
        Data::String error;

        QCOMPARE(&file.writeTag("a", "c", true), &file);
        QCOMPARE(&file.writeProperty("k", "v"), &file);
        QCOMPARE(&file.writeFileType("t", "1", "c"), &file);
        file.close();
        QVERIFY(file.open(path("a"), error));
        file.close();
        file.writeTag("a", "", false);
        file.close();

        QCOMPARE(contentsOf(path("a")), QByteArray());
        QCOMPARE(file.toString(), Data::String());
    }

    void closesTheFileBeforeItOpensAnother()
    {
        TagFile file;
        Data::String error;

        QVERIFY(file.open(path("a"), error));
        file.writeTag("a", "", false);
        QVERIFY(file.open(path("b"), error));
        QCOMPARE(contentsOf(path("a")), QByteArray("*a\n"));
        file.writeTag("b", "", false);
        file.close();

        QCOMPARE(contentsOf(path("a")), QByteArray("*a\n"));
        QCOMPARE(contentsOf(path("b")), QByteArray("*b\n"));
    }

    void emptiesAFileAtOnceAndFillsItByClose()
    {
        const QString file = makeFile(path("a"), "before");
        TagFile tags;
        Data::String error;

        QVERIFY(tags.open(file, error));
        QCOMPARE(contentsOf(file), QByteArray());
        tags.writeTag("a", "", false);
        tags.close();

        QCOMPARE(contentsOf(file), QByteArray("*a\n"));
    }

    void staysOpenForAnEmptyPath()
    {
        TagFile file;
        Data::String error = "untouched";

        QVERIFY(file.open(path("a"), error));
        QVERIFY(!file.open("", error));
        file.writeTag("a", "", false);
        file.close();

        QCOMPARE(contentsOf(path("a")), QByteArray("*a\n"));
        QCOMPARE(error, Data::String("untouched"));
    }

    void isClosedBehindAFailure()
    {
        TagFile file;
        Data::String error;

        QVERIFY(file.open(path("a"), error));
        file.writeTag("a", "", false);
        QVERIFY(!file.open(path("missing/file"), error));
        file.writeTag("b", "", false);
        file.close();

        QCOMPARE(contentsOf(path("a")), QByteArray("*a\n"));
    }

    void endsWhatIsStreamedOutToWriteAllTags()
    {
        TagFile file;
        file.addTag("held", "");
        Data::String error;

        QVERIFY(file.open(path("a"), error));
        file.writeTag("a", "", false);
        QCOMPARE(file.toString(), Data::String("*held\n"));
        file.writeTag("b", "", false);
        QVERIFY(file.open(path("c"), error));
        file.writeTag("c", "", false);
        QVERIFY(file.save(path("saved"), error));
        file.writeTag("d", "", false);

        QCOMPARE(contentsOf(path("a")), QByteArray("*a\n"));
        QCOMPARE(contentsOf(path("c")), QByteArray("*c\n"));
        QCOMPARE(contentsOf(path("saved")), QByteArray("*held\n"));
    }

    // The stream that stays open here is exempt from the leak check by the name of the function.
    void losesWhatIsNotClosed()
    {
        auto file = std::make_unique<TagFile>();
        Data::String error;

        QVERIFY(file->open(path("a"), error));
        file->writeTag("a", "", false);
        file.reset();

        QCOMPARE(contentsOf(path("a")), QByteArray());
    }

    // Failure

    void failsSilentlyWithoutAPath()
    {
        TagFile file;
        Data::String error = "untouched";
        QStringList errors{"untouched"};

        QVERIFY(!file.save("", error));
        QVERIFY(!file.save(Data::String(), errors));
        QVERIFY(!file.open("", error));

        QCOMPARE(error, Data::String("untouched"));
        QCOMPARE(errors, QStringList("untouched"));
    }

    void tellsWhatCannotBeWritten_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("in a missing folder") << "missing/file";
        QTest::newRow("a folder") << ".";
        QTest::newRow("write-protected") << "protected";
        QTest::newRow("with a marker in its name") << "missing/%1%2";
        QTest::newRow("with a zero in its name") << QString("file") + QChar(0) + "x";
    }

    void tellsWhatCannotBeWritten()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(QString, name);
        Utils::Catalogue &state = *Utils::catalogue.ifAlive();
        state.language = "en";
        state.tables[".Kelm.Utils"].strings[".err.filewrite"] = "No writing of <%1>, %2.";
        QFile::setPermissions(makeFile(path("protected"), "before"), QFile::Permissions(0x4444));
        const OrdinaryUser user(m_folder->path());
        const QString file = m_folder->filePath(name);
        const QString message = "No writing of <" + file + ">, %2.";
        TagFile tags;
        tags.addTag("a", "");
        Data::String error = "before";
        Data::String openError = "before";
        QStringList errors{"before"};

        QVERIFY(!tags.save(file, error));
        QVERIFY(!tags.save(file, errors));
        QVERIFY(!tags.open(file, openError));

        QCOMPARE(error, Data::String(message));
        QCOMPARE(openError, Data::String(message));
        QCOMPARE(errors, QStringList({"before", message}));
        QCOMPARE(contentsOf(path("protected")), QByteArray("before"));
        QVERIFY(!QFile::exists(path("file")));
        QCOMPARE(describe(tags), QStringList("-1 a: "));
    }

    void tellsTheKeyWithoutACatalogue()
    {
        TagFile file;
        Data::String error;

        QVERIFY(!file.save(path("missing/file"), error));

        QCOMPARE(error, Data::String(".Kelm.Utils.err.filewrite"));
    }

    void writesTextsOfTenMegabytes()
    {
        const QString huge(10 << 20, 'x');
        TagFile file;
        file.addTag(huge, huge).add(huge, huge + ":").add("k", huge + "\n" + huge);
        file.addTag("b", "").add("k", QString(10 << 20, QChar(0x20ac)));

        const QStringList back = roundTrip(file);

        QCOMPARE(back.size(), 2);
        QVERIFY(back.value(0) ==
                "2 " + huge + ": " + huge + "=" + huge + ":|k=" + huge + "/" + huge);
        QVERIFY(back.value(1) == "8 b: k=" + file.tag(1).values[0]);
    }

    void writesLinesAsLongAsItsBlocks()
    {
        const int block = 65536;
        for (int size = block - 8; size <= block + 8; ++size) {
            const QString text(size, 'x');
            const QString beyond = QString(size - 2, 'x') + "ä"; // as many bytes
            TagFile file;
            file.addTag(text, "").add("k", Data::String(text)).add("l", Data::String(beyond));

            QVERIFY(written(file) == "*" + text + "\nk: " + text + "\nl: " + beyond + "\n");
        }
    }

    void writesMegabytesOfColonsAndLineFeeds()
    {
        const int count = 2 << 20;
        const QString lineFeeds(count, '\n');
        const QString comment = "$ " + QString("\n$ ").repeated(count) + "\n";
        TagFile file;
        file.addTag("a", lineFeeds).addComment(lineFeeds).add(QString(count, ':'), "v");

        const QString text = written(file);

        QVERIFY(text == comment + "*a\n" + comment + QString("\\:").repeated(count) + ": v\n");
    }

    void leavesNoGapWhereADiskWasFullForAWhile()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        static FullDisk *fullDisk = nullptr;
        TagFile file;
        for (int i = 0; i < 10000; ++i)
            addProperties(file, {"k", "some value"});
        Data::String error;
        {
            FullDisk disk(1000, [](int) { fullDisk->makeRoom(); });
            fullDisk = &disk;
            QVERIFY(file.save(path("a"), error));
        }

        QCOMPARE(contentsOf(path("a")), file.toString().left(1000).toUtf8());
    }

    void goesOnBehindADeviceThatTakesNothing()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        if (!QFile::exists("/dev/full"))
            QSKIP("No such device here.");
        TagFile file;
        addProperties(file, {"k", QString(200000, 'x'), "l", "v"});
        Data::String error;

        QVERIFY(file.save("/dev/full", error));
        QVERIFY(file.open("/dev/full", error));
        file.writeProperty("k", QString(200000, 'x')).writeTag("a", "", false);
        file.close();

        QVERIFY(file.save(path("a"), error));
        QCOMPARE(contentsOf(path("a")).size(), 200000 + 12);
    }

    void tellsNothingOfAFullDisk()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        TagFile file;
        addProperties(file, {"k", QString(100000, 'x'), "l", "v"});
        Data::String error = "untouched";
        bool isSaved = false;
        bool isOpen = false;
        {
            const FullDisk disk(1000);
            isSaved = file.save(path("saved"), error);
            isOpen = file.open(path("streamed"), error);
            for (int i = 0; i < 3; ++i)
                file.writeProperty("k", QString(100000, 'x'));
            file.close();
        }

        QVERIFY(isSaved);
        QVERIFY(isOpen);
        QCOMPARE(error, Data::String("untouched"));
        QCOMPARE(contentsOf(path("saved")), "*a\nk: " + QByteArray(994, 'x'));
        QCOMPARE(contentsOf(path("streamed")), "k: " + QByteArray(997, 'x'));
    }
};

QTEST_GUILESS_MAIN(tst_TagFile_write)
#include "tst_TagFile_write.moc"
