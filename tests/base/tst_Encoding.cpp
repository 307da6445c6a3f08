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
