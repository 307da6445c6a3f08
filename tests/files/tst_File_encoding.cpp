// The encodings of texts that other programs wrote.

#include "utils/files/File.h"
#include "utils/files/FileReader.h"

#include "tests/strings/Catalogue.h" // loadLibraryTexts, resetCatalogue
#include "tests/support/Bytes.h"
#include "tests/support/Encoded.h"
#include "tests/support/Files.h" // makeFile
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"

#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <thread>

using Data::String;
using Utils::File;
using Utils::FileReader;

static const QString german = QStringLiteral("Temperatur {\u00B0C};Kr\u00E4fte;\u20AC\n20;1,5;3\n");
static const QString japanese = QStringLiteral("\u6E29\u5EA6,\u8377\u91CD\uFF71\uFF72\n20,1.5\n");

static String sample(const QString &name) { return String(SAMPLES "/" + name); }

class tst_File_encoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_folder.isValid());
        QVERIFY(loadLibraryTexts(LIBRARY_RESOURCES));
    }

    void cleanup()
    {
        File::setFallbackEncoding("windows-1252");
        resetCatalogue();
    }

    void findsTheEncodingOfAFile_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("encoding");
        QTest::addColumn<bool>("isGuess");

        const auto row = [](const char *name, const QByteArray &contents, const char *encoding,
                            bool isGuess) {
            QTest::newRow(name) << contents << String(encoding) << isGuess;
        };
        const bool certain = false;
        const bool guess = true;
        const QByteArray utf16Little = encoded(german, "UTF-16LE");
        const QByteArray utf16Big = encoded(german, "UTF-16BE");
        // clang-format off
        row("nothing", "", "UTF-8", certain);
        row("ASCII", "a,b\n1,2\n", "UTF-8", certain);
        row("ASCII with an escape", "a\x1b[0m\n", "UTF-8", guess);
        row("ASCII with a zero byte", bytes("plain text\0 and more of it\n"), "UTF-8", guess);
        row("UTF-8 with a mark", "\xef\xbb\xbf" + german.toUtf8(), "UTF-8", certain);
        row("a mark of UTF-8 alone", "\xef\xbb\xbf", "UTF-8", certain);
        row("UTF-8", "\xc3\xa4\xc3\xb6\xc3\xbc\xe2\x82\xac", "UTF-8", certain);
        row("UTF-8 with three characters", "\xc3\xa4\xc3\xb6\xe2\x82\xac", "UTF-8", guess);
        row("windows-1252", encoded(german, "windows-1252"), "windows-1252", guess);
        row("ISO-8859-15 taken for windows-1252", encoded(german, "ISO-8859-15"), "windows-1252", guess);
        row("Shift-JIS taken for windows-1252", encoded(japanese, "Shift_JIS"), "windows-1252", guess);
        row("windows-1252 taken for UTF-8", "\xc3\xa9", "UTF-8", guess);
        row("a sequence of UTF-8 cut off", "abc \xe2\x82", "windows-1252", guess);
        row("an invalid sequence of UTF-8", "abc \xed\xa0\x80", "windows-1252", guess);
        row("UTF-16 with a mark, little", "\xff\xfe" + utf16Little, "UTF-16LE", certain);
        row("UTF-16 with a mark, big", "\xfe\xff" + utf16Big, "UTF-16BE", certain);
        row("UTF-16, little", utf16Little, "UTF-16LE", guess);
        row("UTF-16, big", utf16Big, "UTF-16BE", guess);
        row("UTF-16 of Japanese, little", encoded(japanese, "UTF-16LE"), "UTF-16LE", guess);
        row("UTF-16 of Japanese, big", encoded(japanese, "UTF-16BE"), "UTF-16BE", guess);
        row("UTF-16 of Russian, big", encoded(QStringLiteral("\u0410\u0411\u0412, 1\n"), "UTF-16BE"), "UTF-16BE", guess);
        row("UTF-16 of Russian, little", encoded(QStringLiteral("\u0410\u0411\u0412, 1\n"), "UTF-16LE"), "UTF-16LE", guess);
        row("UTF-16 of a smile", encoded(QStringLiteral("a \U0001F600\n"), "UTF-16BE"), "UTF-16BE", guess);
        row("UTF-16 cut off", utf16Little.chopped(1), "windows-1252", guess);
        row("UTF-16 cut off in ASCII", encoded("abc\n", "UTF-16LE").chopped(1), "UTF-8", guess);
        row("UTF-32 with a mark", bytes("\xff\xfe\0\0") + encoded(german, "UTF-32LE"), "UTF-32LE", certain);
        row("UTF-32, little", encoded(german, "UTF-32LE"), "UTF-32LE", guess);
        row("UTF-32, big", encoded(german, "UTF-32BE"), "UTF-32BE", guess);
        row("a program", bytes("\x7f""ELF\2\1\1\0\0\0\0\0\xff\xfe\x90\x91"), "windows-1252", guess);
        row("zero bytes", QByteArray(100, '\0'), "UTF-8", guess);
        // clang-format on
    }

    void findsTheEncodingOfAFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, encoding);
        QFETCH(bool, isGuess);
        const String path = makeFile(m_folder.filePath("file"), contents);

        bool isGuessOfFile = !isGuess;
        QCOMPARE(File::encoding(path, &isGuessOfFile), encoding);
        bool isGuessOfBytes = !isGuess;
        QCOMPARE(File::encodingOf(contents, &isGuessOfBytes), encoding);

        QCOMPARE(isGuessOfFile, isGuess);
        QCOMPARE(isGuessOfBytes, isGuess);
        QCOMPARE(File::encoding(path), encoding);
        QCOMPARE(File::lastError(), String());
    }

    /// Its last pieces begin where an int ends. The bytes are zeros, which no page is stored for.
    void findsTheEncodingOfTheLargestArray()
    {
        const int size = std::numeric_limits<int>::max();
        const std::unique_ptr<void, decltype(&std::free)> zeros(std::calloc(1, size), &std::free);
        if (!zeros)
            QSKIP("needs 2 GiB of addresses");

        bool isGuess = false;
        const String encoding = File::encodingOf(
            QByteArray::fromRawData(static_cast<const char *>(zeros.get()), size), &isGuess);

        QCOMPARE(encoding, String("UTF-8"));
        QVERIFY(isGuess);
    }

    void findsUtf8AcrossThePiecesOfAFile_data()
    {
        QTest::addColumn<QByteArray>("end");
        QTest::addColumn<String>("encoding");
        QTest::newRow("valid") << QByteArray("\xf0\x9f\x98\x80") << String("UTF-8");
        QTest::newRow("invalid") << QByteArray("\xf0\x9f\x98\x20") << String("windows-1252");
        QTest::newRow("cut off") << QByteArray("\xf0\x9f\x98") << String("windows-1252");
        QTest::newRow("too long") << QByteArray("\xf0\x9f\x98\x80\x80") << String("windows-1252");
    }

    void findsUtf8AcrossThePiecesOfAFile()
    {
        QFETCH(QByteArray, end);
        QFETCH(String, encoding);
        for (int cut = 0; cut <= 5; ++cut) {
            const String path =
                makeFile(m_folder.filePath("file"), QByteArray((1 << 18) - cut, 'x') + end);

            QCOMPARE(File::encoding(path), encoding);
        }
    }

    void findsNoEncodingOfAFileThatCannotBeRead()
    {
        const String path = m_folder.filePath("none");
        bool isGuess = false;

        QCOMPARE(File::encoding(path, &isGuess), String());

        QVERIFY(isGuess);
        QCOMPARE(File::lastError(), String("The file \"" + path + "\" does not exist."));
        QCOMPARE(File::encoding(""), String());
        QCOMPARE(File::encoding(m_folder.path()), String());
    }

    void fallsBackOnTheEncodingThatIsSet()
    {
        QCOMPARE(File::fallbackEncoding(), String("windows-1252"));
        QVERIFY(File::setFallbackEncoding("latin9"));

        QCOMPARE(File::fallbackEncoding(), String("ISO-8859-15"));
        QCOMPARE(File::encodingOf("\xa4"), String("ISO-8859-15"));
        const String path = makeFile(m_folder.filePath("file"), "\xa4");
        QCOMPARE(File::read(path, "auto"), String(QStringLiteral("\u20AC")));

        QVERIFY(!File::setFallbackEncoding("no such"));
        QCOMPARE(File::lastError(), String("There is no encoding \"no such\"."));
        QCOMPARE(File::fallbackEncoding(), String("ISO-8859-15"));
    }

    void hasAFallbackThatSeveralThreadsSet()
    {
        const auto setOften = [](const char *name) {
            for (int i = 0; i < 3000; ++i)
                File::setFallbackEncoding(name);
        };
        std::thread first(setOften, "ISO-8859-15");
        std::thread second(setOften, "windows-1252");
        int others = 0;
        for (int i = 0; i < 30000; ++i) {
            const String name = File::encodingOf("\xa4");
            others += name != "ISO-8859-15" && name != "windows-1252";
        }
        first.join();
        second.join();
        QCOMPARE(others, 0);
    }

    void decodesALargeFileWhileItIsRead_data()
    {
        QTest::addColumn<QByteArray>("contents");

        QByteArray all;
        for (int byte = 1; byte < 256; ++byte)
            all += static_cast<char>(byte);
        QByteArray sparse(300000, 'x');
        for (int i = 0; i < sparse.size(); i += 1 + i % 131)
            sparse[i] = '\x80';
        QTest::newRow("every byte") << all.repeated(1500);
        QTest::newRow("bytes that are three of UTF-8") << QByteArray(700000, '\x80');
        QTest::newRow("ASCII and others") << sparse;
        QTest::newRow("ASCII until the end") << QByteArray(131072 * 2 - 1, 'x') + "\xe9";
        QTest::newRow("the first byte of a piece")
            << QByteArray(131072, 'x') + "\xe9" + QByteArray(63, 'y');
    }

    void decodesALargeFileWhileItIsRead()
    {
        QFETCH(QByteArray, contents);
        const QString path = makeFile(m_folder.filePath("large"), contents);
        QString expected;
        for (int i = 0; i < contents.size(); i += 60000) { // decoded as small files
            const QString part = makeFile(m_folder.filePath("part"), contents.mid(i, 60000));
            expected += File::read(part, "windows-1252");
        }

        QVERIFY(File::read(path, "windows-1252") == expected);
        QVERIFY(File::read(path, "auto") == expected);
        QCOMPARE(File::lastError(), String());
    }

    void findsTheEncodingWhileAFileIsRead_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("encoding"); // "" when it is not valid in that of its mark
        const QByteArray ascii(600000, 'x');
        const QByteArray mark = "\xef\xbb\xbf";
        QTest::newRow("ASCII") << ascii << String("UTF-8");
        QTest::newRow("ASCII with a mark") << mark + ascii << String("UTF-8");
        QTest::newRow("one byte at the end") << ascii + "\xe9" << String("windows-1252");
        QTest::newRow("a sequence cut off at the end")
            << ascii + "\xe2\x82" << String("windows-1252");
        QTest::newRow("a mark, and a bad byte") << mark + ascii + "\xe9" << String();
        QTest::newRow("a mark, and a sequence cut off") << mark + ascii + "\xe2\x82" << String();
        QTest::newRow("a sequence with a piece of ASCII in it")
            << QByteArray(262144 - 2, 'x') + "\xf0\x9f" + QByteArray(262144, 'x') + "\x98\x80"
            << String("windows-1252");
        for (int cut = 1; cut <= 4; ++cut) // of a sequence, between two pieces of the file
            QTest::addRow("a sequence of which %d bytes are in a piece", cut)
                << QByteArray(262144 - cut, 'x') + "\xf0\x9f\x98\x80" + ascii << String("UTF-8");
    }

    void findsTheEncodingWhileAFileIsRead()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, encoding);
        const String path = makeFile(m_folder.filePath("large"), contents);

        const String text = File::read(path, "auto");

        if (encoding.isEmpty()) {
            QCOMPARE(text, String());
            QCOMPARE(File::lastError(), String("The file \"" + path + "\" is not valid UTF-8."));
            return;
        }
        const bool isUtf8 = encoding == "UTF-8";
        QVERIFY(text ==
                String(isUtf8 ? QString::fromUtf8(contents)
                              : QTextCodec::codecForName("windows-1252")->toUnicode(contents)));
        QCOMPARE(File::encoding(path), encoding);
    }

    void tellsABadByteOfALargeFile()
    {
        // The last byte is none of ISO-8859-7, Greek.
        const QByteArray contents = QByteArray(400000, '\xe1') + "\xff";
        const QString path = makeFile(m_folder.filePath("large"), contents);

        QCOMPARE(File::read(path, "ISO-8859-7"), String());
        const String reason = File::lastError();
        QVERIFY(reason.contains("ISO-8859-7"));
        QVERIFY(reason.contains(path));
        File::setFallbackEncoding("ISO-8859-7");
        QCOMPARE(File::read(path, "auto"), String());
        QCOMPARE(File::lastError(), reason);
    }

    void readsAFileInAnEncoding_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("encoding");
        QTest::addColumn<String>("text");

        const auto row = [](const char *name, const QByteArray &contents, const char *encoding,
                            const QString &text) {
            QTest::newRow(name) << contents << String(encoding) << String(text);
        };
        const QByteArray mark = "\xef\xbb\xbf";
        const QString controls = QStringLiteral("\u0081\u008D\u008F\u0090\u009D");
        const QByteArray little = encoded(german, "UTF-16LE");
        const QByteArray big = encoded(german, "UTF-16BE");
        // clang-format off
        row("nothing", "", "windows-1252", "");
        row("ASCII", "abc\r\n", "windows-1252", "abc\r\n");
        row("a short text", "\xb0""C", "windows-1252", QStringLiteral("\u00B0C"));
        row("windows-1252", encoded(german, "windows-1252"), "windows-1252", german);
        row("in another case", encoded(german, "windows-1252"), "WINDOWS-1252", german);
        row("by another name", encoded(german, "windows-1252"), " cp1252", german);
        row("undefined bytes", "\x81\x8d\x8f\x90\x9d", "windows-1252", controls);
        row("ISO-8859-1", "\x80\xff", "latin1", QStringLiteral("\u0080\u00FF"));
        row("ISO-8859-15", encoded(german, "ISO-8859-15"), "ISO-8859-15", german);
        row("a code page of consoles", "\xc4 \x84", "cp437", QStringLiteral("\u2500 \u00E4"));
        row("another one", "\x9f", "852", QStringLiteral("\u010D"));
        row("Shift-JIS", encoded(japanese, "Shift_JIS"), "Shift_JIS", japanese);
        row("EUC-JP", encoded(japanese, "EUC-JP"), "EUC-JP", japanese);
        row("UTF-8", german.toUtf8(), "UTF-8", german);
        row("UTF-8 with a mark", mark + german.toUtf8(), "UTF-8", german);
        row("UTF-8 with two marks", mark + mark + "a", "UTF-8", QStringLiteral("\uFEFFa"));
        row("zero bytes", bytes("a\0b"), "windows-1252", QString("a\0b").replace("a", QString("a") + QChar(0) + "b"));
        row("UTF-16LE", little, "UTF-16LE", german);
        row("UTF-16LE with a mark", "\xff\xfe" + little, "UTF-16LE", german);
        row("UTF-16BE", big, "UTF-16BE", german);
        row("UTF-16BE with a mark", "\xfe\xff" + big, "UTF-16BE", german);
        row("UTF-16 without a mark", little, "UTF-16", german);
        row("UTF-16 with a little mark", "\xff\xfe" + little, "UTF-16", german);
        row("UTF-16 with a big mark", "\xfe\xff" + big, "UTF-16", german);
        row("UTF-32", bytes("\0\0\xfe\xff") + encoded(german, "UTF-32BE"), "UTF-32", german);
        row("auto: windows-1252", "\xb0""C", "auto", QStringLiteral("\u00B0C"));
        row("auto: UTF-8", mark + german.toUtf8(), "auto", german);
        row("auto: UTF-16", big, "auto", german);
        // clang-format on
    }

    void readsAFileInAnEncoding()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, encoding);
        QFETCH(String, text);
        const String path = makeFile(m_folder.filePath("file"), contents);

        QCOMPARE(File::read(path, encoding), text);

        QCOMPARE(File::lastError(), String());
    }

    void readsALongFileInAnEncoding_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        for (const char *encoding :
             {"windows-1252", "KOI8-R", "Shift_JIS", "GB18030", "UTF-16LE", "UTF-16BE", "UTF-32LE"})
            QTest::newRow(encoding) << QByteArray(encoding);
    }

    // In pieces, which cut characters apart.
    void readsALongFileInAnEncoding()
    {
        QFETCH(QByteArray, encoding);
        const bool isUnicode = encoding.startsWith("UTF") || encoding == "GB18030";
        const QString piece = encoding == "KOI8-R"      ? QStringLiteral("abc \u0416\u0443\u043A")
                              : isUnicode               ? QStringLiteral("a\U0001F600\u20ACxy")
                              : encoding == "Shift_JIS" ? japanese
                                                        : german;
        const QString text = "a" + piece.repeated((3 << 20) / piece.size());
        const QByteArray contents = encoded(text, encoding);
        if (QTextCodec::codecForName(encoding)->toUnicode(contents) != text)
            QSKIP("this Qt itself, without ICU, does not read it");
        QVERIFY(contents.size() > (2 << 20));

        const String path = makeFile(m_folder.filePath("file"), contents);

        QVERIFY(File::read(path, QString(encoding)) == String(text));
    }

    void decodesSingleBytesAsQtDoes_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        for (const char *encoding : {"windows-1252", "ISO-8859-15", "KOI8-R", "IBM850"})
            QTest::newRow(encoding) << QByteArray(encoding);
    }

    // The longer text takes the place of the bytes, several of which are moved at once.
    void decodesSingleBytesAsQtDoes()
    {
        QFETCH(QByteArray, encoding);
        QTextCodec *const codec = QTextCodec::codecForName(encoding);
        QVERIFY(codec);
        if (encoding == "windows-1252" && codec->toUnicode("\x81") != QString(QChar(0x81)))
            QSKIP("without ICU, five bytes have no character to Qt");
        std::mt19937 random(1);
        for (int i = 0; i < 200; ++i) {
            const unsigned distance = 1 + random() % 50; // of bytes that are not ASCII
            QByteArray contents(int(random() % 400), 'x');
            for (char &byte : contents)
                byte = char(random() % distance == 0 ? 0x80 + random() % 0x80 : random() % 0x80);
            const String path =
                makeFile(m_folder.filePath(encoding + QByteArray::number(i)), contents);

            QCOMPARE(File::read(path, QString(encoding)), String(codec->toUnicode(contents)));
        }
    }

    void doesNotReadWhatIsNotValid_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("encoding");

        const auto row = [](const char *name, const QByteArray &contents, const char *encoding) {
            QTest::newRow(name) << contents << String(encoding);
        };
        row("UTF-8", "a\xb0", "UTF-8");
        row("UTF-8 cut off", "a\xe2\x82", "UTF-8");
        row("an undefined byte", "a\xd2", "ISO-8859-8");
        row("Shift-JIS", "\x81\x20x", "Shift_JIS");
        row("Shift-JIS cut off", "abc\x81", "Shift_JIS");
        row("UTF-16 with half a character", "abc", "UTF-16LE");
        row("UTF-16 with the first half of a pair", bytes("a\0\x3d\xd8"), "UTF-16LE");
        row("UTF-16 with the second half of a pair", bytes("a\0\x00\xde"), "UTF-16LE");
        row("UTF-32 beyond Unicode", bytes("\0\0\x11\0"), "UTF-32LE");
    }

    void doesNotReadWhatIsNotValid()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, encoding);
        const String path = makeFile(m_folder.filePath("file"), contents);

        QCOMPARE(File::read(path, encoding), String());

        QCOMPARE(File::lastError(),
                 String("The file \"" + path + "\" is not valid " + encoding + "."));
    }

    void tellsWhyNothingIsRead()
    {
        const String path = makeFile(m_folder.filePath("file"), "x");

        QCOMPARE(File::read(path, "no such"), String());
        QCOMPARE(File::lastError(), String("There is no encoding \"no such\"."));
        QCOMPARE(File::read(path, ""), String());
        QCOMPARE(File::lastError(), String("There is no encoding \"\"."));
        QCOMPARE(File::read(m_folder.filePath("none"), "auto"), String());
        QCOMPARE(File::lastError(),
                 String("The file \"" + m_folder.filePath("none") + "\" does not exist."));
        QCOMPARE(File::read(path, "auto"), String("x"));
        QCOMPARE(File::lastError(), String());
        // A name that is a pattern for other functions
        QCOMPARE(File::read(m_folder.filePath("a*b"), "auto"), String());
        QVERIFY(!File::lastError().isEmpty());
    }

    void readsAFileWhoseNameIsAPattern()
    {
        SKIP_ON_WINDOWS("no name has a \"*\" there");
        makeFile(m_folder.filePath("a*c"), "");
        QCOMPARE(File::read(m_folder.filePath("a*c"), "auto"), String());
        QCOMPARE(File::lastError(), String());
    }

    void tellsThatAnEmptyFileMayNotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const String path = makeFile(m_folder.filePath("locked"), "");
        QVERIFY(QFile::setPermissions(path, {}));
        const OrdinaryUser user(m_folder.path());

        for (const char *const encoding : {"auto", "windows-1252"}) {
            QCOMPARE(File::read(path, encoding), String());
            QCOMPARE(File::lastError(), String("You have no permission to read \"" + path + "\"."));
        }
    }

    void writesAFileInAnEncoding_data()
    {
        QTest::addColumn<String>("encoding");
        QTest::addColumn<String>("text");
        QTest::addColumn<QByteArray>("contents");

        const auto row = [](const char *encoding, const QString &text, const QByteArray &contents) {
            QTest::newRow(encoding) << String(encoding) << String(text) << contents;
        };
        row("windows-1252", german, encoded(german, "windows-1252"));
        row("ISO-8859-15", german, encoded(german, "ISO-8859-15"));
        row("cp852", QStringLiteral("\u010D\u0142"), "\x9f\x88");
        row("Shift_JIS", japanese, encoded(japanese, "Shift_JIS"));
        row("UTF-8", german, german.toUtf8());
        const QString smile = QStringLiteral("a\U0001F600b");
        row("UTF-16BE", german, encoded(german, "UTF-16BE"));
        row("UTF-32BE", smile, encoded(smile, "UTF-32BE"));
        row("UTF-32", smile, bytes("\xff\xfe\0\0") + encoded(smile, "UTF-32LE"));
        row("UTF-16", german, "\xff\xfe" + encoded(german, "UTF-16LE"));
    }

    void writesAFileInAnEncoding()
    {
        QFETCH(String, encoding);
        QFETCH(String, text);
        QFETCH(QByteArray, contents);
        const String path = m_folder.filePath("written");

        QVERIFY(File::write(path, text, encoding));

        QCOMPARE(File::readRaw(path), contents);
        QCOMPARE(File::read(path, encoding), text);
    }

    void keepsTheFileWhenATextCannotBeEncoded_data()
    {
        QTest::addColumn<String>("encoding");
        QTest::addColumn<String>("text");
        QTest::addColumn<QString>("reason");
        const QString lacks = "The file \"%1\" cannot be written in %2, which lacks a character of "
                              "the text.";
        QTest::newRow("a single byte") << String("windows-1252") << String(japanese) << lacks;
        QTest::newRow("several bytes")
            << String("Shift_JIS") << String(QStringLiteral("\U0001F600")) << lacks;
        QTest::newRow("half a pair") << String("UTF-8") << String(QChar(0xd800)) << lacks;
        QTest::newRow("no such") << String("no such") << String("x")
                                 << "There is no encoding \"%2\".";
        QTest::newRow("auto") << String("auto") << String("x") << "There is no encoding \"%2\".";
    }

    void keepsTheFileWhenATextCannotBeEncoded()
    {
        QFETCH(String, encoding);
        QFETCH(String, text);
        QFETCH(QString, reason);
        const String path = makeFile(m_folder.filePath("written"), "before");

        QVERIFY(!File::write(path, text, encoding));

        QCOMPARE(File::lastError(), String(reason.replace("%1", path).replace("%2", encoding)));
        QCOMPARE(File::readRaw(path), QByteArray("before"));
        QVERIFY(!File::write(m_folder.path(), "x", "UTF-8"));
        QCOMPARE(File::lastError(), String("\"" + m_folder.path() + "\" is a folder, not a file."));
    }

    // Files that other programs wrote

    void readsRealFiles_data()
    {
        QTest::addColumn<String>("encoding"); // the true one
        QTest::addColumn<String>("found");
        QTest::addColumn<bool>("isGuess");
        QTest::addColumn<int>("number"); // of a line, from 0
        QTest::addColumn<String>("line");

        const auto row = [](const char *name, const char *encoding, const char *found, bool isGuess,
                            int number, const QString &line) {
            QTest::newRow(name) << String(encoding) << String(found) << isGuess << number
                                << String(line);
        };
        const bool certain = false;
        const bool guess = true;
        const QString report = QStringLiteral("<!-- \u9031\u5831\u30B5\u30F3\u30D7\u30EB -->");
        const QString kana = QStringLiteral("\u3042\t\u30A2");
        const QString swedish = QStringLiteral("|avg\u00E5|avs\u00E4ga sig tronen");
        const QString russian = QStringLiteral("\u0430\u043C\u0435\u0440\u0438\u043A\u0430|1");
        const QString estonian = QStringLiteral("adaad\u017Eo/Z");
        // clang-format off
        row("weekly-shift_jis.xml", "Shift_JIS", "windows-1252", guess, 2, report);
        row("weekly-utf-16be-mark.xml", "UTF-16BE", "UTF-16BE", certain, 2, report);
        row("weekly-utf-16le-mark.xml", "UTF-16LE", "UTF-16LE", certain, 2, report);
        row("weekly-utf-8.xml", "UTF-8", "UTF-8", certain, 2, report);
        row("kana-shift_jis.tsv", "Shift_JIS", "windows-1252", guess, 9, kana);
        row("kana-utf-8.tsv", "UTF-8", "UTF-8", certain, 9, kana);
        row("synonyms-windows-1252.txt", "windows-1252", "windows-1252", guess, 34, swedish);
        row("synonyms-utf-8-mark.txt", "UTF-8", "UTF-8", certain, 1, russian);
        row("words-iso-8859-15.txt", "ISO-8859-15", "windows-1252", guess, 16, estonian);
        // clang-format on
    }

    void readsRealFiles()
    {
        QFETCH(String, encoding);
        QFETCH(String, found);
        QFETCH(bool, isGuess);
        QFETCH(int, number);
        QFETCH(String, line);
        const String path = sample(QTest::currentDataTag());

        bool isGuessOfFile = !isGuess;
        QCOMPARE(File::encoding(path, &isGuessOfFile), found);
        QCOMPARE(isGuessOfFile, isGuess);
        const QStringList lines = QString(File::read(path, encoding)).remove('\r').split('\n');
        QCOMPARE(String(lines.value(number)), line);
        QStringList linesOfReader;
        String next;
        for (FileReader reader(path, encoding); reader.readLine(next, /*trim=*/false);)
            linesOfReader.append(next);
        QCOMPARE(linesOfReader + QStringList(QString()), lines);
        QCOMPARE(File::read(path, "auto") == File::read(path, encoding), found == encoding);
    }

    void readsTheSameTextInAllItsEncodings_data()
    {
        QTest::addColumn<String>("encoding");
        QTest::addColumn<String>("same"); // the file with the same text in UTF-8
        QTest::newRow("weekly-shift_jis.xml") << String("Shift_JIS") << String("weekly-utf-8.xml");
        QTest::newRow("weekly-utf-16be-mark.xml") << String("auto") << String("weekly-utf-8.xml");
        QTest::newRow("weekly-utf-16le-mark.xml") << String("auto") << String("weekly-utf-8.xml");
        QTest::newRow("kana-shift_jis.tsv") << String("Shift_JIS") << String("kana-utf-8.tsv");
    }

    void readsTheSameTextInAllItsEncodings()
    {
        QFETCH(String, encoding);
        QFETCH(String, same);
        // The first two lines of the report name the encoding.
        const auto text = [](const QString &all) { return all.section('\n', 2); };

        const QString read = File::read(sample(QTest::currentDataTag()), encoding);

        QVERIFY(text(read).size() > 300);
        QCOMPARE(text(read), text(QString::fromUtf8(File::readRaw(sample(same)))));
    }

    // FileReader

    void readerReadsLinesInAnEncoding_data() { readsAFileInAnEncoding_data(); }

    void readerReadsLinesInAnEncoding()
    {
        QFETCH(QByteArray, contents);
        QFETCH(String, encoding);
        QFETCH(String, text);
        const String path = makeFile(m_folder.filePath("file"), contents);
        QStringList expected = QString(text).remove('\r').split('\n');
        if (expected.last().isEmpty())
            expected.removeLast();

        FileReader reader(path, encoding);
        QVERIFY(reader.isOpen());
        QStringList lines;
        String line;
        while (reader.readLine(line, /*trim=*/false))
            lines.append(line);

        QCOMPARE(lines, expected);
    }

    void readerReplacesWhatIsNotValid()
    {
        const String hebrew = makeFile(m_folder.filePath("hebrew"), "a\xd2"
                                                                    "b\nc\n");
        const String shiftJis = makeFile(m_folder.filePath("shift"), "a\x81\nc\n");

        FileReader ofOneByte(hebrew, "ISO-8859-8");
        QCOMPARE(ofOneByte.nextLine(), String(QStringLiteral("a\uFFFDb")));
        QCOMPARE(ofOneByte.nextLine(), String("c"));
        if (!keepsLineEnds("Shift_JIS"))
            QSKIP("without ICU, Qt takes the line end along");
        FileReader ofTwoBytes(shiftJis, "Shift_JIS");
        QCOMPARE(ofTwoBytes.nextLine(), String(QStringLiteral("a\uFFFD")));
        QCOMPARE(ofTwoBytes.nextLine(), String("c"));
    }

    void readerIsNotOpenWithoutAnEncoding()
    {
        const String path = makeFile(m_folder.filePath("file"), "x\n");

        QVERIFY(!FileReader(path, "no such").isOpen());
        QCOMPARE(File::lastError(), String("There is no encoding \"no such\"."));
        QVERIFY(!FileReader(m_folder.filePath("none"), "auto").isOpen());
        QCOMPARE(File::lastError(),
                 String("The file \"" + m_folder.filePath("none") + "\" does not exist."));
        QVERIFY(FileReader(path, "auto").isOpen());
        QCOMPARE(File::lastError(), String());
    }

private:
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_File_encoding)
#include "tst_File_encoding.moc"
