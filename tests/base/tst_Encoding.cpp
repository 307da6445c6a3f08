// Texts in single-byte encodings, many bytes at once, and encodings of other kinds.

#include "utils/base/Encoding_p.h"

#include "tests/support/Windows.h"

#include <QtTest>

#include <random>
#include <vector>

using Utils::Encoding;

static const int readable = 64; // bytes after a part, whatever they are

/// The bytes of a part, followed by others that are readable but no part of it.
static QByteArray padded(const QByteArray &part, char after)
{
    return part + QByteArray(readable, after);
}

/// What decodePart() writes. Null when a byte is not valid.
static QByteArray decoded(const Encoding &encoding, const QByteArray &part, char after = '\xff')
{
    const QByteArray bytes = padded(part, after);
    QByteArray room(static_cast<int>(Encoding::partRoom(part.size())), '#');
    char *to = room.data();
    const bool isValid =
        encoding.decodePart(bytes.constData(), bytes.constData() + part.size(), to);
    room.truncate(static_cast<int>(to - room.constData()));
    return isValid ? room : QByteArray();
}

/// The same, one byte at a time.
static QByteArray decodedPlainly(const Encoding &encoding, const QByteArray &part)
{
    QString text("");
    for (const char &byte : part)
        text += encoding.toText(&byte, &byte + 1);
    return text.contains(QChar::ReplacementCharacter) ? QByteArray() : text.toUtf8();
}

/// The characters of IBM437 from 0x80 on.
static const QString upper437 = QStringLiteral("\u00C7\u00FC\u00E9\u00E2\u00E4\u00E0\u00E5\u00E7"
                                               "\u00EA\u00EB\u00E8\u00EF\u00EE\u00EC\u00C4\u00C5"
                                               "\u00C9\u00E6\u00C6\u00F4\u00F6\u00F2\u00FB\u00F9"
                                               "\u00FF\u00D6\u00DC\u00A2\u00A3\u00A5\u20A7\u0192"
                                               "\u00E1\u00ED\u00F3\u00FA\u00F1\u00D1\u00AA\u00BA"
                                               "\u00BF\u2310\u00AC\u00BD\u00BC\u00A1\u00AB\u00BB"
                                               "\u2591\u2592\u2593\u2502\u2524\u2561\u2562\u2556"
                                               "\u2555\u2563\u2551\u2557\u255D\u255C\u255B\u2510"
                                               "\u2514\u2534\u252C\u251C\u2500\u253C\u255E\u255F"
                                               "\u255A\u2554\u2569\u2566\u2560\u2550\u256C\u2567"
                                               "\u2568\u2564\u2565\u2559\u2558\u2552\u2553\u256B"
                                               "\u256A\u2518\u250C\u2588\u2584\u258C\u2590\u2580"
                                               "\u03B1\u00DF\u0393\u03C0\u03A3\u03C3\u00B5\u03C4"
                                               "\u03A6\u0398\u03A9\u03B4\u221E\u03C6\u03B5\u2229"
                                               "\u2261\u00B1\u2265\u2264\u2320\u2321\u00F7\u2248"
                                               "\u00B0\u2219\u00B7\u221A\u207F\u00B2\u25A0\u00A0");

class tst_Encoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesPartsAsTheirBytesOneByOne_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name :
             {"windows-1252", "ISO-8859-15", "ISO-8859-1", "KOI8-R", "windows-1251"})
            QTest::newRow(name) << QString(name);
    }

    void decodesPartsAsTheirBytesOneByOne()
    {
        QFETCH(QString, name);
        const Encoding encoding(name);
        QVERIFY(encoding.isSingleByte());
        std::mt19937 random(16);
        for (int i = 0; i < 3000; ++i) {
            const unsigned distance = 1 + random() % (i % 3 == 0 ? 4 : 90);
            QByteArray part(static_cast<int>(random() % 500), 'x');
            for (char &byte : part)
                byte = char(random() % distance == 0 ? 0x80 + random() % 0x80 : random() % 0x80);

            const QByteArray expected = decodedPlainly(encoding, part);

            QCOMPARE(decoded(encoding, part, char(random())), expected);
        }
    }

    void decodesPartsThatChange_data() { decodesPartsAsTheirBytesOneByOne_data(); }

    // Parts of several kilobytes, whose quarters have more and fewer bytes that are not ASCII.
    void decodesPartsThatChange()
    {
        QFETCH(QString, name);
        const Encoding encoding(name);
        std::mt19937 random(17);
        for (int i = 0; i < 120; ++i) {
            QByteArray part;
            const int size = 3000 + static_cast<int>(random() % 20000);
            while (part.size() < size) {
                const unsigned distance = 1 + random() % (random() % 4 == 0 ? 400 : 30);
                for (unsigned length = random() % 3000; length > 0; --length)
                    part +=
                        char(random() % distance == 0 ? 0x80 + random() % 0x80 : random() % 0x80);
            }

            const QByteArray expected = decodedPlainly(encoding, part);

            QVERIFY(decoded(encoding, part, char(random())) == expected);
        }
    }

    void decodesPartsOfOneKindOfBytes()
    {
        const Encoding encoding("windows-1252");
        for (const char byte : {'x', '\0', '\x80', '\xe4'}) {
            for (const int size : {0, 1, 63, 64, 65, 127, 4095, 4096, 4097, 4098, 4099, 65536}) {
                const QByteArray part(size, byte);

                const QByteArray expected = decodedPlainly(encoding, part);

                QVERIFY(decoded(encoding, part) == expected);
            }
        }
    }

    void writesOnlyTheRoomOfAPart()
    {
        const Encoding encoding("windows-1252");
        for (int size = 0; size < 9000; size += size < 300 ? 1 : 211) {
            const QByteArray bytes = padded(QByteArray(size, '\x80'), '\x80');
            const int room = static_cast<int>(Encoding::partRoom(size));
            QByteArray memory(room + 256, '#');
            char *to = memory.data();

            QVERIFY(encoding.decodePart(bytes.constData(), bytes.constData() + size, to));

            QCOMPARE(static_cast<int>(to - memory.constData()), 3 * size);
            QCOMPARE(memory.mid(room), QByteArray(256, '#'));
        }
    }

    void isNotValidWithoutAName_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("no name") << QString();
        QTest::newRow("no such") << "no such";
    }

    void isNotValidWithoutAName()
    {
        QFETCH(QString, name);
        const Encoding encoding(name);
        QByteArray bytes = "bytes";
        const char *const text = "text";

        QVERIFY(!encoding.isValid());
        QVERIFY(!encoding.isUtf8());
        QVERIFY(!encoding.isSingleByte());
        QVERIFY(!encoding.keepsLinesAndFields(','));
        QCOMPARE(encoding.name(), QString());
        QCOMPARE(encoding.toText(text, text + 4), QString());
        QVERIFY(encoding.toUtf8(bytes) == Encoding::Outcome::Invalid);
        QVERIFY(!encoding.fromText("text", bytes));
        QCOMPARE(bytes, QByteArray("bytes"));
    }

    void decodesUtf8AsText()
    {
        const Encoding encoding("UTF-8");
        const QByteArray bytes = "\xc3\xa4\xff";

        QCOMPARE(encoding.toText(bytes.constData(), bytes.constData() + 3),
                 QStringLiteral("\u00E4\uFFFD"));
        QCOMPARE(encoding.partToUtf8("\xc3\xa4"), QByteArray("\xc3\xa4"));
        QCOMPARE(encoding.toText(bytes.constData(), bytes.constData()), QString());
        QVERIFY(!encoding.unlessUtf8().isValid());
    }

    void keepsLinesAndFieldsOrNot_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isKept");

        QTest::newRow("UTF-8") << "UTF-8" << true;
        QTest::newRow("single bytes") << "windows-1252" << true;
        QTest::newRow("two bytes, not below 0x40") << "EUC-JP" << true;
        QTest::newRow("UTF-16") << "UTF-16LE" << false;
        QTest::newRow("escape sequences") << "ISO-2022-JP" << false;
        QTest::newRow("no ASCII") << "ibm-37_P100-1995" << false;
        QTest::newRow("shifts within ASCII") << "UTF-7" << false;
    }

    void keepsLinesAndFieldsOrNot()
    {
        QFETCH(QString, name);
        QFETCH(bool, isKept);
        const Encoding encoding(name);
        if (!encoding.isValid())
            QSKIP("this Qt does not have the encoding");
        if (name == "EUC-JP")
            SKIP_ON_WINDOWS("Qt without ICU takes a line end into a character");

        QCOMPARE(encoding.keepsLinesAndFields(';'), isKept);
    }

    void findsCodePagesOfConsoles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("usual");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");

        const auto row = [](const char *name, const char *usual, const char *bytes,
                            const QString &text) {
            QTest::newRow(name) << QString(name) << QString(usual) << QByteArray(bytes) << text;
        };
        // clang-format off
        row("IBM437", "IBM437", "a\x84\xe1", QStringLiteral("a\u00E4\u00DF"));
        row("ibm437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row(" cp437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row("CP-437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row("437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row("ibm_437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row("IBM00437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row("windows-437", "IBM437", "\x84", QStringLiteral("\u00E4"));
        row("cp775", "IBM775", "\xd0", QStringLiteral("\u0105"));
        row("cp850", "IBM850", "\xd5", QStringLiteral("\u0131"));
        row("850", "IBM850", "\x9e", QStringLiteral("\u00D7"));
        row("IBM852", "IBM852", "\x9f\xa5", QStringLiteral("\u010D\u0105"));
        row("852", "IBM852", "\x88", QStringLiteral("\u0142"));
        row("cp855", "IBM855", "\xa0", QStringLiteral("\u0430"));
        row("cp857", "IBM857", "\x8d", QStringLiteral("\u0131"));
        row("cp858", "IBM00858", "\xd5", QStringLiteral("\u20AC"));
        row("IBM00858", "IBM00858", "\xd5", QStringLiteral("\u20AC"));
        row("cp860", "IBM860", "\x84", QStringLiteral("\u00E3"));
        row("cp861", "IBM861", "\x8d", QStringLiteral("\u00DE"));
        row("cp862", "IBM862", "\x80", QStringLiteral("\u05D0"));
        row("cp863", "IBM863", "\x84", QStringLiteral("\u00C2"));
        row("cp865", "IBM865", "\x9d", QStringLiteral("\u00D8"));
        row("cp866", "IBM866", "\xa0", QStringLiteral("\u0430"));
        row("cp869", "IBM869", "\xd6", QStringLiteral("\u03B1"));
        // clang-format on
    }

    void findsCodePagesOfConsoles()
    {
        QFETCH(QString, name);
        QFETCH(QString, usual);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        const Encoding encoding(name);
        if (usual == "IBM00858" && !encoding.isValid())
            SKIP_ON_WINDOWS("Wine does not have this one");

        QCOMPARE(encoding.name(), usual);

        QCOMPARE(Encoding(usual).name(), usual);
        QByteArray utf8 = bytes;
        QVERIFY(encoding.toUtf8(utf8) == Encoding::Outcome::Decoded);
        QCOMPARE(utf8, text.toUtf8());
        QCOMPARE(encoding.toText(bytes.constData(), bytes.constData() + bytes.size()), text);
        QByteArray written;
        QVERIFY(encoding.fromText(text, written));
        QCOMPARE(written, bytes);
        QVERIFY(encoding.keepsLinesAndFields(';'));
    }

    void findsGreekAndArabicCodePagesOfWindows()
    {
#ifdef _WIN32
        QByteArray greek = "\x80";
        QByteArray arabic = "\xa0";

        QVERIFY(Encoding("cp737").toUtf8(greek) == Encoding::Outcome::Decoded);
        QVERIFY(Encoding("cp720").toUtf8(arabic) == Encoding::Outcome::Decoded);

        QCOMPARE(greek, QByteArray("\xce\x91"));
        QCOMPARE(arabic, QByteArray("\xd8\xa8"));
#else
        for (const char *const name : {"cp737", "IBM737", "cp720", "720"})
            QVERIFY2(!Encoding(name).isValid(),
                     name); // neither Qt with ICU nor the system has them
#endif
    }

    void decodesEachByteOfACodePage()
    {
        const Encoding encoding("IBM437");
        QByteArray upper;
        for (int byte = 0x80; byte < 0x100; ++byte)
            upper += char(byte);
        QCOMPARE(upper437.size(), upper.size());

        QByteArray utf8 = upper;
        QVERIFY(encoding.toUtf8(utf8) == Encoding::Outcome::Decoded);
        const QString text = QString::fromUtf8(utf8);
        // The micro sign, which is the Greek letter to ICU
        QCOMPARE(QString(text).replace(QChar(0x03bc), QChar(0x00b5)), upper437);
        QByteArray bytes;
        QVERIFY(encoding.fromText(text, bytes));
        QCOMPARE(bytes, upper);
    }

    void refusesWhatACodePageDoesNotHave()
    {
        QByteArray bytes = "as before";
        QVERIFY(!Encoding("IBM437").fromText(QStringLiteral("\u20AC"), bytes)); // the euro sign
        QVERIFY(!Encoding("IBM852").fromText(QStringLiteral("\u00D0\u0416"), bytes));
        QCOMPARE(bytes, QByteArray("as before"));

        bytes = "a\xe7"; // one of the bytes that IBM857 does not define
        QVERIFY(Encoding("IBM857").toUtf8(bytes) == Encoding::Outcome::Invalid);
        QCOMPARE(bytes, QByteArray("a\xe7"));
        QCOMPARE(Encoding("IBM857").toText(bytes.constData(), bytes.constData() + 2),
                 QStringLiteral("a\uFFFD"));
    }

    void findsNoCodePageByOtherNumbers()
    {
        for (const char *const name : {"438", "IBM43", "IBM4370", "cp", "ibm", "x437"})
            QVERIFY2(!Encoding(name).isValid(), name);
    }

    void refusesTextsWithSeveralBadBytes()
    {
        const Encoding encoding("ISO-8859-8"); // in which 0xd2 has no character
        for (const char *const text : {"\xd2", "\xd2 and \xd2", "long enough: \xd2\xd2, twice"}) {
            QByteArray bytes = text;
            QVERIFY(encoding.toUtf8(bytes) == Encoding::Outcome::Invalid);
            QCOMPARE(bytes, QByteArray(text));
        }
    }

    void doesNotEncodeTheReplacementOfACharacter_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name : {"ISO-8859-8", "windows-1252", "Shift_JIS", "EUC-JP"})
            QTest::newRow(name) << QString(name);
    }

    void doesNotEncodeTheReplacementOfACharacter()
    {
        QFETCH(QString, name);
        QByteArray bytes = "as before";

        QVERIFY(!Encoding(name).fromText(QString(QChar(QChar::ReplacementCharacter)), bytes));

        QCOMPARE(bytes, QByteArray("as before"));
    }

    void findsABadByteAnywhere()
    {
        const Encoding encoding("ISO-8859-8"); // in which 0xd2 has no character
        for (const int size : {1, 40, 64, 200, 5000}) {
            for (int place = 0; place < size; place += size < 1000 ? 1 : 7) {
                for (const char other : {'x', '\xe0'}) {
                    QByteArray part(size, other);
                    QVERIFY(!decoded(encoding, part, '\xd2').isNull());

                    part[place] = '\xd2';

                    QVERIFY(decoded(encoding, part, 'x').isNull());
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_Encoding)
#include "tst_Encoding.moc"
