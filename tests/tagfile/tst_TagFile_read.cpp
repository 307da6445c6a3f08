#include "tests/strings/Catalogue.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Limits.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"
#include "tests/support/Windows.h"
#include "tests/tagfile/Tags.h"
#include "utils/tagfile/TagFile.h"
#include "utils/tagfile/TagReader_p.h"

#include <QBuffer>
#include <QTextStream>
#include <QtTest>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>

using Utils::TagFile;

/// A device that never says it is at its end, as a file whose size is not what can be read.
class EndlessBuffer : public QBuffer
{
public:
    bool atEnd() const override { return false; }
};

class tst_TagFile_read : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;

    QString path(const char *name) const { return m_folder->filePath(name); }

    /// Reads \p content as a file and as a stream, which must yield the same.
    QStringList read(const QByteArray &content, int options = 7)
    {
        TagFile fromFile;
        TagFile fromStream;
        for (TagFile *file : {&fromFile, &fromStream}) {
            file->setOption(-1, false);
            file->setOption(options, true);
        }
        QTextStream stream(content);
        stream.setCodec("UTF-8");
        Data::String error = "untouched";

        const bool isRead =
            fromFile.read(makeFile(path("read"), content), error) && fromStream.read(stream, error);

        if (!isRead || error != Data::String("untouched"))
            return {"failed"};
        if (describe(fromFile) != describe(fromStream))
            return QStringList("file and stream differ") + describe(fromFile);
        return describe(fromFile);
    }

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
        resetCatalogue();
    }

    void cleanup() { resetCatalogue(); }

    void takesLinesByTheirFirstCharacter_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("tags");

        const auto row = [](const char *name, const QByteArray &content, const QStringList &tags) {
            QTest::newRow(name) << content << tags;
        };
        // clang-format off
        row("nothing",                         "",                                {});
        row("empty lines",                     "\n\n\r\n",                        {});
        row("comments only",                   "$ a\n$\n$b\n",                    {});
        row("properties at the start",         "x: 1\nk:2\n*a\n*b\nz: 1\n",       {"3 a: ", "4 b: z=1"});
        row("one tag",                         "*a\nx: 1\n",                      {"1 a: x=1"});
        row("no line feed at the end",         "*a\nx: 1",                        {"1 a: x=1"});
        row("CR LF",                           "*a\r\nx: 1\r\ny: 2\r\n",          {"1 a: x=1|y=2"});
        row("CR LF, none at the end",          "*a\r\ny: 2\r",                    {"1 a: y=2"});
        row("a lone CR stays",                 "*a\rb\nx: 1\r2\n",                {"1 a\rb: x=1\r2"});
        row("CR CR LF keeps one",              "*a\nx: 1\r\r\n",                  {"1 a: x=1\r"});
        row("other ends of lines stay",        "*a\nx: 1\v\f\xe2\x80\xa8" "2\n",  {"1 a: x=1\v\f\u2028" "2"});
        row("two tags",                        "*a\nx: 1\n\n*b\ny: 2\n",          {"1 a: x=1", "4 b: y=2"});
        row("a tag without properties",        "*a\n*b\nx: 1\n",                  {"1 a: ", "2 b: x=1"});
        row("several of them", "*a\n*b\n\n*c\n$\n*d\nx: 1", {"1 a: ", "2 b: ", "4 c: ", "6 d: x=1"});
        row("empty lines and comments within", "*a\n\n$ c\nx: 1\n\ny: 2\n",       {"1 a: x=1|y=2"});
        row("comments with colons",            "*a\n$ c: d\n$:2\nx: 1\n",         {"1 a: x=1"});
        row("names are not trimmed",           "*  a b \nx: 1\n",                 {"1   a b : x=1"});
        row("a tag without a name",            "*\nx: 1\n",                       {"1 : x=1"});
        row("names keep colons and escapes",   "*a\\:b:c *COLON*\nx: 1\n",        {"1 a\\:b:c *COLON*: x=1"});
        row("a second star",                   "**a\nx: 1\n",                     {"1 *a: x=1"});
        row("a blank at the start is no tag",  "*a\n *b: 1\n $c: 2\n",            {"1 a:  *b=1| $c=2"});
        row("only the first line's kind",      "x\n$\n*a\nx: 1\n",                {"3 a: x=1"});
        // clang-format on
    }

    void takesLinesByTheirFirstCharacter()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, tags);

        QCOMPARE(read(content), tags);
    }

    void takesPropertiesApart_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("properties");

        const auto row = [](const char *name, const QByteArray &line, const char *properties) {
            QTest::newRow(name) << line << QString(properties);
        };
        // clang-format off
        row("one line",                    "k: v",             "k=v");
        row("nothing is trimmed",          " k :  v ",         " k = v ");
        row("one blank only",              "k:  v",            "k= v");
        row("nothing after the blank",     "k: ",              "k=");
        row("colons in the value",         "a: b: c",          "a=b: c");
        row("no colon",                    "key",              "");
        row("a colon alone",               "k:",               "k=");
        row("an empty key",                ": v",              "=v");
        row("an empty key and value",      ":",                "=");
        row("no number",                   "k:abc",            "k=");
        row("a number and more",           "k:1x\na",          "k=");
        row("a tab is no blank",           "k:\tv",            "k=");
        row("a number after a tab",        "k:\t1\na",         "k=a");
        row("a number before a blank",     "k:1 \na",          "k=a");
        row("a number with a plus",        "k:+1\na",          "k=a");
        row("a blank makes it a value",    "k: 1\nl: a",       "k=1|l=a");
        row("escaped colon",               "a\\:b: c",         "a:b=c");
        row("escaped colons",              "\\:a\\:\\:b\\:: c", ":a::b:=c");
        row("escaped in the value",        "a: b\\:c",         "a=b:c");
        row("a backslash alone",           "a\\b: c\\d",       "a\\b=c\\d");
        row("two backslashes",             "a\\\\: b: c",      "a\\: b=c");
        row("only an escaped colon",       "a\\: v",           "");
        row("the marker in the key",       "a*COLON*b: c",     "a:b=c");
        row("the marker in the value",     "a: *COLON*",       "a=:");
        row("a marker in the making",      "a: *COLON\\:*",    "a=:COLON**");
        row("escape in a count",           "a:1\\:\nb: c",     "a=|b=c");
        row("escape at the start",         "\\:x: 1",          ":x=1");
        row("escape after a star",         "*\\:x: 1",         "");
        row("yes and no stay",             "a: yes\nb: no",    "a=yes|b=no");
        row("NONE stays",                  "a: NONE",          "a=NONE");
        row("the same key again",          "a: 1\na: 2",       "a=1|a=2");
        row("beyond ASCII",                "gr\xc3\xb6\xc3\x9f" "e: \xf0\x9d\x84\x9e", "größe=𝄞");
        row("%1",                          "%1: %2",           "%1=%2");
        // clang-format on
    }

    void takesPropertiesApart()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, properties);

        QCOMPARE(read("*a\n" + line + "\n$").value(0), "1 a: " + properties);
    }

    void takesBlocksVerbatim_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("properties");

        const auto row = [](const char *name, const QByteArray &lines, const char *properties) {
            QTest::newRow(name) << lines << QString(properties);
        };
        // clang-format off
        row("two lines",             "k:2\na\nb\nl: v",         "k=a/b|l=v");
        row("one line",              "k:1\na\nl: v",            "k=a|l=v");
        row("no line",               "k:0\nl: v",               "k=|l=v");
        row("tags and comments",     "k:4\n*b\n$ c\nx: y\n\\:", "k=*b/$ c/x: y/\\:");
        row("the marker",            "k:1\n*COLON*",            "k=*COLON*");
        row("empty lines at first",  "k:4\n\n\na\nb",           "k=a/b");
        row("empty lines after",     "k:4\na\n\nb\n\n",           "k=a//b/");
        row("empty lines alone",     "k:2\n\n\nl: v",           "k=|l=v");
        row("CR LF",                 "k:2\r\na\r\nb\r\nl: v",   "k=a/b|l=v");
        row("CR alone is a line",    "k:2\n\r\r\nb",            "k=\r/b");
        row("cut short",             "k:3\na\nb",               "k=a/b");
        row("nothing there",         "k:3",                     "k=");
        row("a huge count",          "k:2147483647\na\nb",      "k=a/b");
        row("beyond 32 bits",        "k:2147483648\na: b",      "k=|a=b");
        row("negative",              "k:-3\na: b",              "k=|a=b");
        row("the least number",      "k:-2147483648\na: b",     "k=|a=b");
        row("escaped key",           "k\\:l:1\na",              "k:l=a");
        // clang-format on
    }

    void takesBlocksVerbatim()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, properties);

        QCOMPARE(read("*a\n" + lines), QStringList("1 a: " + properties));
    }

    void countsLines_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QList<int>>("lines");

        const auto row = [](const char *name, const QByteArray &content, const QList<int> &lines) {
            QTest::newRow(name) << content << lines;
        };
        const int min = std::numeric_limits<int>::min();
        // clang-format off
        row("before the first",         "\n$\nx: 1\n*a\n$",                       {4});
        row("after a block",            "*a\nk:2\n1\n2\n*b\nx: 1",                {1, 5});
        row("after empty tags",         "*a\n*b\n*c\n\n*d\nx: 1",                 {1, 2, 3, 5});
        row("after blocks and others",  "*a\nk:2\n1\n*\n\n$ c\nl:1\nx\n*b\n*c\nx: 1", {1, 9, 10});
        row("a dropped property",       "*a\nx\ny: 1\n*b\nx: 1",                  {1, 4});
        row("a negative count",         "*a\nk:-3\n*b\nx: 1",                     {1, 0});
        row("the least count",          "*a\nk:-2147483648\n*b\nx: 1",            {1, min + 3});
        row("two of them",              "*a\nk:-2147483648\nk:-2147483648\n*b\nx: 1", {1, 4});
        row("a count that is too large", "*a\nk:9\n1\n",                          {1});
        row("and a tag in the block",   "*a\nk:2147483647\n*b\n",                 {1});
        // clang-format on
    }

    void countsLines()
    {
        QFETCH(QByteArray, content);
        QFETCH(QList<int>, lines);

        TagFile file(makeFile(path("a"), content));

        QList<int> found;
        for (int i = 0; i < file.numTags(); ++i)
            found.append(file.tag(i).line);
        QCOMPARE(found, lines);
        QCOMPARE(read(content), describe(file));
    }

    void losesALastTagWithoutProperties_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("tags");

        const auto row = [](const char *name, const QByteArray &content, const QStringList &tags) {
            QTest::newRow(name) << content << tags;
        };
        // clang-format off
        row("with a line feed",            "*a\nx: 1\n*b\n",        {"1 a: x=1"});
        row("without",                     "*a\nx: 1\n*b",          {"1 a: x=1"});
        row("with CR LF",                  "*a\r\nx: 1\r\n*b\r\n",  {"1 a: x=1"});
        row("with CR",                     "*a\nx: 1\n*b\r",        {"1 a: x=1"});
        row("after an empty tag",          "*a\n*b\n",              {"1 a: "});
        row("after two",                   "*a\n*b\n*c",            {"1 a: ", "2 b: "});
        row("not with an empty line",      "*a\nx: 1\n*b\n\n",      {"1 a: x=1", "3 b: "});
        row("not with an empty CR LF",     "*a\nx: 1\n*b\n\r\n",    {"1 a: x=1", "3 b: "});
        row("nor with a CR",               "*a\nx: 1\n*b\n\r",      {"1 a: x=1", "3 b: "});
        row("not with a comment",          "*a\nx: 1\n*b\n$",       {"1 a: x=1", "3 b: "});
        row("not with a line of anything", "*a\nx: 1\n*b\nx",       {"1 a: x=1", "3 b: "});
        row("not when it is alone",        "*a",                    {"1 a: "});
        row("nor with a line feed",        "*a\n",                  {"1 a: "});
        row("nor after comments",          "$ c\n\nx: 1\n*a\n",     {"4 a: "});
        // clang-format on
    }

    void losesALastTagWithoutProperties()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, tags);

        QCOMPARE(read(content), tags);
    }

    void dropsNoneByOption()
    {
        const QByteArray content = "*a\nk: NONE\nl:  NONE\nm: none\nn:1\nNONE\no: v\np: NONE \n";

        QCOMPARE(read(content, 32), QStringList("1 a: l= NONE|m=none|n=NONE|o=v|p=NONE "));
        QCOMPARE(read(content, 31), QStringList("1 a: k=NONE|l= NONE|m=none|n=NONE|o=v|p=NONE "));
    }

    void readsBehindTheTagsThatAreThere()
    {
        const QString a = makeFile(path("a"), "*a\nx: 1\n");
        const QString b = makeFile(path("b"), "*b\nx: 2\n");
        TagFile file(a);
        Data::String error;

        QVERIFY(file.read(b, error));
        QVERIFY(file.read(a, error));

        QCOMPARE(describe(file), QStringList({"1 a: x=1", "1 b: x=2", "1 a: x=1"}));
    }

    void setsNoComment()
    {
        const TagFile file(makeFile(path("a"), "$ comment\n*a\n$ inner\nx: 1\n"));

        QCOMPARE(file.tag(0).comment, Data::String());
        QCOMPARE(file.tag(0).keys, QStringList("x"));
    }

    void readsAnyFileWhateverItsType()
    {
        TagFile file(makeFile(path("a"), "*a\nname: no\n*TYPE\nname: curve\nversion: 2\n"));
        TagFile typed(makeFile(path("b"), "$ c\n\n*TYPE\nname: curve\nversion: 2\n*a\n$"));

        QCOMPARE(file.fileType(), Data::String());
        QCOMPARE(file.numTags(), 2);
        QCOMPARE(typed.fileType(), Data::String("curve"));
        QCOMPARE(typed.fileVersion(), Data::String("2"));
    }

    // Streams

    void readsTheRestOfAStreamInItsCodec()
    {
        QByteArray content = "first\n*gr\xfcn\nx: 1\n";
        QBuffer device(&content);
        device.open(QIODevice::ReadOnly);
        QTextStream in(&device);
        in.setCodec("ISO-8859-1");
        in.readLine();
        TagFile file;
        Data::String error = "untouched";

        QVERIFY(file.read(in, error));

        QCOMPARE(describe(file), QStringList("1 grün: x=1"));
        QCOMPARE(error, Data::String("untouched"));
        QVERIFY(in.atEnd());
    }

    void readsAStreamOnText()
    {
        QString text = "*a\nx: 1\n";
        QTextStream in(&text);
        TagFile file;
        Data::String error;

        QVERIFY(file.read(in, error));
        QVERIFY(file.read(in, error));

        QCOMPARE(describe(file), QStringList("1 a: x=1"));
    }

    void readsNothingFromAStreamOnNothing()
    {
        QTest::ignoreMessage(QtWarningMsg, "QTextStream: No device");
        QTextStream in;
        TagFile file;
        Data::String error = "untouched";

        QVERIFY(file.read(in, error));

        QCOMPARE(file.numTags(), 0);
        QCOMPARE(error, Data::String("untouched"));
    }

    // Bad input

    void readsBytesThatAreNoText()
    {
        QByteArray content = "*a\nk: v\n";
        std::mt19937 random(1);
        for (int i = 0; i < 1 << 20; ++i)
            content += static_cast<char>(random() % 256);

        QVERIFY(read(content).value(0).startsWith("1 a: k=v"));
    }

    void keepsZeroBytes()
    {
        const QString zero(QChar(0));

        QCOMPARE(read(bytes("*a\0b\nk\0: \0v\n\0: \0\nl:1\n\0\n")),
                 QStringList("1 a" + zero + "b: k" + zero + "=" + zero + "v|" + zero + "=" + zero +
                             "|l=" + zero));
        QCOMPARE(read(bytes("*a\nk:\0"
                            "2\nl: v\n")),
                 QStringList("1 a: k=|l=v"));
        QCOMPARE(read(QByteArray(100000, '\0')), QStringList());
    }

    void replacesWhatIsNoUtf8()
    {
        const QString unknown(QChar(0xfffd));

        QCOMPARE(read("*a\nk: \xff"
                      "b\xc3\nl: \xe4\xb8\nm: \xed\xa0\x80\n"),
                 QStringList("1 a: k=" + unknown + "b" + unknown + "|l=" + unknown.repeated(2) +
                             "|m=" + unknown.repeated(3)));
    }

    void losesACutCharacterAtTheEnd()
    {
        QCOMPARE(read("*a\nk: v\xe2\x82"), QStringList("1 a: k=v"));
        QCOMPARE(read("*a\nk: v\r\xc3"), QStringList("1 a: k=v"));
    }

    void skipsTheMarkOfUtf8()
    {
        QCOMPARE(read("\xef\xbb\xbf*a\nk: v\n"), QStringList("1 a: k=v"));
        QCOMPARE(read("\n\xef\xbb\xbf*a\nk: v\n*b\n$"), QStringList("4 b: "));
    }

    void followsTheMarksOfUtf16AndUtf32()
    {
        QCOMPARE(read(bytes("\xff\xfe*\0\xe4\0\n\0k\0:\0 \0\x31\x20\n\0")),
                 QStringList(QString("1 ä: k=") + QChar(0x2031)));
        QCOMPARE(read(bytes("\xfe\xff\0*\0a\0\n\0$")), QStringList("1 a: "));
        QCOMPARE(read(bytes("\xff\xfe\0\0*\0\0\0a\0\0\0")), QStringList("1 a: "));
        QCOMPARE(read(bytes("\0\0\xfe\xff\0\0\0*\0\0\0b")), QStringList("1 b: "));
    }

    void readsLinesOfTenMegabytes()
    {
        const QByteArray huge(10 << 20, 'x');
        TagFile file(makeFile(path("a"), "*" + huge + "\n$" + huge + "\n" + huge + ": " + huge +
                                             ":\n" + huge + "\nk:2\n" + huge + "\n" + huge +
                                             "\n*b\nk:" + huge + "\n"));

        QCOMPARE(file.numTags(), 2);
        const TagFile::Tag &tag = file.tag(0);
        QCOMPARE(tag.name.size(), huge.size());
        QCOMPARE(tag.keys.value(0).size(), huge.size());
        QCOMPARE(tag.values.value(0).size(), huge.size() + 1);
        QCOMPARE(tag.get("k", 0).size(), 2 * huge.size() + 1);
        QCOMPARE(file.tag(1).line, 8);
        QCOMPARE(describe(file.tag(1)), QString("8 b: k="));
    }

    void readsMegabytesOfColons()
    {
        const int count = 2 << 20;
        const QByteArray escaped = QByteArray("\\:").repeated(count);
        const TagFile file(makeFile(path("a"), "*a\n" + escaped + ": " + escaped + "\n"));

        QVERIFY(file.tag(0).keys == QStringList(QString(count, ':')));
        QVERIFY(file.tag(0).values == QStringList(QString(count, ':')));
    }

    void readsManyProperties()
    {
        QByteArray content = "*a\n";
        for (int i = 0; i < 200000; ++i)
            content += QByteArray::number(i) + ": v\n";
        content += QByteArray("*b\n").repeated(1000) + "\n";

        TagFile file(makeFile(path("a"), content));

        QCOMPARE(file.numTags(), 1001);
        QCOMPARE(file.tag(0).numProps(), 200000);
        QCOMPARE(file.tag(0).keys.last(), QString("199999"));
        QCOMPARE(file.tag(1000).line, 201001);
    }

    void readsAFileWithoutASize()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        if (!QFile::exists("/proc/self/status"))
            QSKIP("No such file here.");
        TagFile file;
        Data::String error;

        QVERIFY(file.read("/proc/self/status", error));

        QCOMPARE(file.numTags(), 0);
    }

    void endsWhereADeviceHasLessThanItSays_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("tags");

        QTest::newRow("nothing") << QByteArray() << QStringList();
        QTest::newRow("before all tags") << QByteArray("x") << QStringList();
        QTest::newRow("in a tag") << QByteArray("*a\nk: v\n") << QStringList("1 a: k=v");
        QTest::newRow("in a line") << QByteArray("*a\nk: v") << QStringList("1 a: k=v");
        QTest::newRow("in a block, with the line that is not there")
            << QByteArray("*a\nk:2147483647\nb") << QStringList("1 a: k=b/");
    }

    void endsWhereADeviceHasLessThanItSays()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, tags);
        EndlessBuffer device;
        device.setData(content);
        QVERIFY(device.open(QIODevice::ReadOnly));
        QTextStream in(&device);
        TagFile file;
        Data::String error;

        QVERIFY(file.read(in, error));
        QCOMPARE(describe(file), tags);

        QVERIFY(device.seek(0));
        Utils::TagList fromDevice;
        Utils::readTags(device, file.options(), fromDevice);
        QCOMPARE(int(fromDevice.size()), tags.size());
        for (int i = 0; i < tags.size(); ++i)
            QCOMPARE(describe(*fromDevice[i]), tags[i]);
    }

    void readsAFileThatIsShorterThanItSays()
    {
        // A file of the kernel reports the size of a page, however short it is.
        const QString file = "/sys/kernel/mm/transparent_hugepage/enabled";
        if (!QFile::exists(file))
            QSKIP("No such file here.");
        TagFile tags;
        Data::String error;

        QVERIFY(tags.read(file, error));

        QCOMPARE(tags.numTags(), 0);
    }

    void endsWithTheMemory()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#if defined(__SANITIZE_ADDRESS__)
        QSKIP("The sanitizer needs an address space without limits.");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const QString file = makeFile(path("sparse"), "*a\nk: v\n*b\nl: ");
        QVERIFY(QFile::resize(file, 800 << 20));
        TagFile tags;
        Data::String error = "untouched";
        bool isRead = false;
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + (200 << 20));
            isRead = tags.read(file, error);
        }

        QVERIFY(!isRead);
        QCOMPARE(describe(tags), QStringList());
        QCOMPARE(error, Data::String(".Kelm.Utils.err.fileread"));
    }

    // The sample file

    void readsTheSampleLibrary()
    {
        TagFile file(QStringLiteral(SAMPLES "/materials.tag"));

        QCOMPARE(file.fileType(), Data::String("materials"));
        QCOMPARE(file.fileVersion(), Data::String("2"));
        QCOMPARE(file.findTag("units").get("stress", 0), Data::String("N/mm²"));
        QCOMPARE(file.numTags(), 10);
        const TagFile::Tag &steel = file.findTag("material", "name", "S355");
        QCOMPARE(steel.line, 39);
        QCOMPARE(steel.get("standard:year", 0), Data::String("EN 10025-2:2019"));
        QCOMPARE(steel.getDouble("density", 0), 7.85e-6);
        QCOMPARE(steel.getList("uses", "; ", 0), QStringList({"bridges", "cranes"}));
        QCOMPARE(steel.getList("modulusTable", "\n", 0),
                 QStringList({"20 210000", "100 204960", "200 198660", "300 192360"}));
        QVERIFY(steel.getBool("metal", 0));
        QVERIFY(!file.findTag("material", "name", "PA 66").getBool("metal", 0));
    }

    void readsTheSampleLibraryAsItWritesIt()
    {
        TagFile file(QStringLiteral(SAMPLES "/materials.tag"));
        file.setOption(TagFile::WriteComments, false);
        Data::String error;
        QFile original(QStringLiteral(SAMPLES "/materials.tag"));
        QVERIFY(original.open(QIODevice::ReadOnly));
        QStringList lines = QString::fromUtf8(original.readAll()).split("\n");
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [](const QString &line) { return line.startsWith("$"); }),
                    lines.end());

        QCOMPARE(file.toString(), Data::String(lines.join("\n")));
    }

    // Failure

    void failsSilentlyWithoutAPath()
    {
        TagFile file;
        Data::String error = "untouched";
        QStringList errors{"untouched"};

        QVERIFY(!file.read("", error));
        QVERIFY(!file.read(Data::String(), errors));

        QCOMPARE(error, Data::String("untouched"));
        QCOMPARE(errors, QStringList("untouched"));
    }

    void tellsWhatCannotBeRead_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("missing") << "missing";
        QTest::newRow("in a missing folder") << "missing/file";
        QTest::newRow("a folder") << ".";
        QTest::newRow("unreadable") << "secret";
        QTest::newRow("with a marker in its name") << "%1%2";
        QTest::newRow("with a zero in its name") << QString("there") + QChar(0);
    }

    void tellsWhatCannotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(QString, name);
        Utils::Catalogue &state = *Utils::catalogue.ifAlive();
        state.language = "en";
        state.tables[".Kelm.Utils"].strings[".err.fileread"] = "No reading of <%1>, %2.";
        QFile::setPermissions(makeFile(path("secret")), {});
        makeFile(path("there"), "text");
        const OrdinaryUser user(m_folder->path());
        const QString file = m_folder->filePath(name);
        const QString message = "No reading of <" + file + ">, %2.";
        TagFile tags;
        tags.addTag("a", "");
        Data::String error = "before";
        QStringList errors{"before"};

        QVERIFY(!tags.read(file, error));
        QVERIFY(!tags.read(file, errors));

        QCOMPARE(error, Data::String(message));
        QCOMPARE(errors, QStringList({"before", message}));
        QCOMPARE(describe(tags), QStringList("-1 a: "));
    }

    void tellsTheKeyWithoutACatalogue()
    {
        TagFile file;
        Data::String error;

        QVERIFY(!file.read(path("missing"), error));

        QCOMPARE(error, Data::String(".Kelm.Utils.err.fileread"));
    }

    void tellsNothingWhenAllWentWell()
    {
        const QString file = makeFile(path("a"), "*a\n");
        TagFile tags;
        QStringList errors{"before"};
        Data::String error = "before";

        QVERIFY(tags.read(file, errors));
        QVERIFY(tags.read(file, error));

        QCOMPARE(errors, QStringList("before"));
        QCOMPARE(error, Data::String("before"));
    }
};

QTEST_GUILESS_MAIN(tst_TagFile_read)
#include "tst_TagFile_read.moc"
