#include "utils/process/ProcessOutput_p.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QtTest>

#include <new>
#include <random>

using Utils::ProcessOutput;

/// A plain variant that stores each chunk whole, and searches all of the recent text each time.
struct PlainOutput
{
    QString text;
    QString recent;

    void append(const QString &piece, bool keep)
    {
        recent += piece;
        if (keep) {
            text += piece;
            return;
        }
        if (!recent.contains('\n'))
            return;
        recent.remove('\r');
        const QStringList parts = recent.split('\n');
        if (parts.size() >= 2 && parts.last().isEmpty())
            recent = parts[parts.size() - 2] + '\n';
        else
            recent = parts.last();
    }
};

class tst_ProcessOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsAllOrTheLastLine_data()
    {
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<Data::String>("last");

        const auto row = [](const char *name, const QStringList &pieces, const char *last) {
            QTest::newRow(name) << pieces << Data::String(last);
        };
        // clang-format off
        row("whole lines", {"a\nb\n"}, "b\n");
        row("a line under way", {"a\nb"}, "b");
        row("one line", {"a\n"}, "a\n");
        row("no line end", {"a", "b"}, "ab");
        row("only line ends", {"\n\n"}, "\n");
        row("a line end alone", {"\n"}, "\n");
        row("a line that is left by the next", {"a\n", "b"}, "b");
        row("a line that is empty", {"a\n", "\n"}, "\n");
        row("an end in a piece of its own", {"a", "b", "\n"}, "ab\n");
        row("carriage returns go with a line", {"a\r\nb\rc"}, "bc");
        row("carriage returns stay without", {"10\r20\r"}, "10\r20\r");
        row("and go when the line ends", {"10\r20\r", "\n"}, "1020\n");
        row("they are after the end", {"a\n\r"}, "a\n");
        row("they are all", {"\n\r\r"}, "\n");
        row("they come after the end", {"a\n", "\r"}, "a\n");
        row("they come after the cut", {"a\nb", "\rc"}, "b\rc");
        // clang-format on
    }

    void keepsAllOrTheLastLine()
    {
        QFETCH(QStringList, pieces);
        QFETCH(Data::String, last);
        ProcessOutput all;
        ProcessOutput line;

        for (const QString &piece : pieces) {
            QCOMPARE(all.append(piece.toUtf8(), true), Data::String(piece));
            QCOMPARE(line.append(piece.toUtf8(), false), Data::String(piece));
        }

        QCOMPARE(all.text(), Data::String(pieces.join("")));
        QCOMPARE(all.takeRecent(), Data::String(pieces.join("")));
        QCOMPARE(line.text(), Data::String());
        QCOMPARE(line.takeRecent(), last);
        QCOMPARE(line.takeRecent(), Data::String());
    }

    void doesWithPiecesWhatThePlainWayDoes()
    {
        std::mt19937 random(1);
        const auto upTo = [&](unsigned int count) { return random() % count; };

        for (int run = 0; run < 3000; ++run) {
            ProcessOutput output;
            PlainOutput plain;
            for (unsigned int pieces = upTo(12); pieces > 0; --pieces) {
                QString piece;
                for (unsigned int length = upTo(5); length > 0; --length)
                    piece += "ab\r\n\n"[upTo(5)];
                const bool keep = upTo(8) == 0; // which may change in the middle
                output.append(piece.toUtf8(), keep);
                plain.append(piece, keep);
                if (upTo(6) == 0) {
                    QCOMPARE(output.takeRecent(), Data::String(plain.recent));
                    plain.recent.clear();
                }
            }
            QCOMPARE(output.text(), Data::String(plain.text));
            QCOMPARE(output.takeRecent(), Data::String(plain.recent));
        }
    }

    void putsCharactersTogetherThatComeInPieces()
    {
        const Data::String text("a\u00e4\u65e5\U0001f600\nz");
        const QByteArray bytes = text.toUtf8();

        for (int size = 1; size <= bytes.size(); ++size) {
            ProcessOutput output;
            Data::String pieces;
            for (int i = 0; i < bytes.size(); i += size)
                pieces = pieces + output.append(bytes.mid(i, size), true);
            QCOMPARE(output.end(true), Data::String());
            QCOMPARE(pieces, text);
            QCOMPARE(output.text(), text);
            QCOMPARE(output.takeRecent(), text);
        }
    }

    void readsWhatIsNoUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Data::String>("text");

        QTest::newRow("a wrong byte") << QByteArray("a\xff z") << Data::String("a\ufffd z");
        QTest::newRow("Latin-1") << QByteArray("\xe4 z") << Data::String("\ufffd z");
        QTest::newRow("a mark at the start") << QByteArray("\xef\xbb\xbf z") << Data::String(" z");
        QTest::newRow("two marks")
            << QByteArray("\xef\xbb\xbf\xef\xbb\xbf") << Data::String(QString(QChar(0xfeff)));
        QTest::newRow("a mark within") << QByteArray("a\xef\xbb\xbfz") << Data::String("a\ufeffz");
        QTest::newRow("a mark after a wrong byte")
            << QByteArray("\xff\xef\xbb\xbfz") << Data::String("\ufffd\ufeffz");
        QTest::newRow("wrong, then right, then cut")
            << QByteArray("\xff\xc3\xa4\xe6") << Data::String("\ufffd\u00e4\ufffd");
        QTest::newRow("a zero byte")
            << QByteArray("a\0z", 3) << Data::String(QString("a") + QChar(0) + "z");
        QTest::newRow("a cut character") << QByteArray("a\xe6\x97") << Data::String("a\ufffd");
        QTest::newRow("its first byte") << QByteArray("\xf0") << Data::String("\ufffd");
    }

    void readsWhatIsNoUtf8()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(Data::String, text);
        ProcessOutput output;
        ProcessOutput byByte;
        ProcessOutput last;

        Data::String pieces = output.append(bytes, true);
        pieces = pieces + output.end(true);
        for (int i = 0; i < bytes.size(); ++i)
            byByte.append(bytes.mid(i, 1), true);
        byByte.end(true);
        last.append(bytes, false);
        last.end(false);

        QCOMPARE(pieces, text);
        QCOMPARE(byByte.text(), text);
        QCOMPARE(output.text(), text);
        QCOMPARE(output.takeRecent(), text);
        QCOMPARE(last.text(), Data::String());
        QCOMPARE(last.takeRecent(), text);
    }

    void readsOtherEncodings_data()
    {
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Data::String>("text");

        const auto row = [](const char *encoding, const QByteArray &bytes, const char *text) {
            QTest::addRow("%s, %s", encoding, bytes.toHex().constData())
                << encoding << bytes << Data::String(QString::fromUtf8(text));
        };
        // clang-format off
        row("windows-1252", "\xe4\x80", "\u00e4\u20ac");
        row("windows-1252", "\x81", "\u0081"); // as in files
        row("windows-1253", "a\xd2z", "a\ufffdz");
        row("IBM850", "\x84\xe1\n", "\u00e4\u00df\n");
        row("latin1", "\xef\xbb\xbf", "\u00ef\u00bb\u00bf");
        row("Shift_JIS", "\x93\xfa\x96{", "\u65e5\u672c");
        row("Shift_JIS", "a\x93", "a\ufffd");
        row("UTF-16LE", QByteArray("a\0\xe5\x65", 4), "a\u65e5");
        row("UTF-16LE", QByteArray("\xff\xfe" "a\0", 4), "a");
        row("UTF-16", QByteArray("\xfe\xff\0a", 4), "a");
        row("UTF-16LE", QByteArray("a\0b", 3), "a\ufffd");
        row("437", "\xc4\x84", "\u2500\u00e4");
        row("cp852", "\x9f", "\u010d");
        row("UTF-16LE", QByteArray("\x3d\xd8\0\xdez\0", 6), "\U0001f600z");
        row("UTF-16LE", QByteArray("a\0\x3d\xd8", 4), "a\ufffd");
        row("UTF-16LE", QByteArray("a\0\x3d\xd8\0", 5), "a\ufffd");
        row("UTF-16BE", QByteArray("\0a\xd8\x3d", 4), "a\ufffd");
        row("UTF-16LE", QByteArray("\x3d\xd8z\0", 4), "\ufffdz");
        row("UTF-16LE", QByteArray("\0\xdez\0", 4), "\ufffdz");
        row("UTF-16LE", QByteArray("\x3d\xd8\x3d\xd8\0\xde", 6), "\ufffd\U0001f600");
        row("UTF-7", "+2D3eAA-z", "\U0001f600z");
        row("UTF-7", "x+2D3", "x\ufffd");
        row("UTF-7", "+MEJv", "\u3042\ufffd");
        row("CESU-8", "\xed\xa0\xbd\xed\xb8\x80", "\U0001f600");
        row("UTF-8", "\xef\xbb\xbf\xc3\xa4\xff", "\u00e4\ufffd");
        row("no such", "\xc3\xa4", "\u00e4"); // UTF-8
        // clang-format on
    }

    void readsOtherEncodings()
    {
        QFETCH(QString, encoding);
        QFETCH(QByteArray, bytes);
        QFETCH(Data::String, text);
        if (encoding == "UTF-7" || encoding == "CESU-8")
            SKIP_ON_WINDOWS("Qt without ICU does not know it");

        for (int size = 1; size <= bytes.size(); ++size) {
            ProcessOutput output;
            output.begin(Utils::Encoding(encoding));
            Data::String pieces;
            for (int i = 0; i < bytes.size(); i += size) {
                const Data::String piece = output.append(bytes.mid(i, size), true);
                QVERIFY(piece.isValidUtf16()); // as it is written to a log
                pieces = pieces + piece;
            }
            pieces = pieces + output.end(true);
            QCOMPARE(pieces, text);
            QCOMPARE(output.text(), text);

            output.clear(); // the next output begins anew, in the same encoding
            output.append(bytes, true);
            output.end(true);
            QCOMPARE(output.text(), text);
        }
    }

    void beginsAnewBehindTheEnd()
    {
        ProcessOutput output;
        output.append("\xef\xbb\xbf"
                      "a\xe6",
                      true);
        output.end(true);
        output.clear();
        QCOMPARE(output.text(), Data::String());
        QCOMPARE(output.takeRecent(), Data::String());

        output.append("\xef\xbb\xbf"
                      "b\xe6",
                      true);
        output.append("\x97\xa5", true);

        QCOMPARE(output.text(), Data::String("b\u65e5"));
    }

    void beginsAnewWhereMemoryEnds_data()
    {
        QTest::addColumn<QString>("encoding");
        QTest::addColumn<QByteArray>("bytes");

        QTest::newRow("UTF-8") << "UTF-8" << QByteArray("a\xe6");
        QTest::newRow("UTF-8 with a wrong byte") << "UTF-8" << QByteArray("\xff\xc3");
        QTest::newRow("UTF-16LE") << "UTF-16LE" << QByteArray("a\0b\0", 4);
        QTest::newRow("half a pair") << "UTF-16LE" << QByteArray("a\0\x3d\xd8", 4);
        QTest::newRow("Shift_JIS") << "Shift_JIS" << QByteArray("a\x93");
    }

    void beginsAnewWhereMemoryEnds()
    {
        SKIP_ON_WINDOWS("no memory can be made to fail there");
        QFETCH(QString, encoding);
        QFETCH(QByteArray, bytes);
        const Utils::Encoding before(encoding);
        const Utils::Encoding utf8("UTF-8");
        bool isOut = true;
        for (int n = 0; isOut; ++n) {
            ProcessOutput ended;
            ended.begin(before);
            ended.append(bytes, true);
            FailingMemory memory(n, FailingMemory::Once);
            try {
                ended.end(true);
            } catch (const std::bad_alloc &) {
            }
            isOut = memory.hasFailed();
            memory.end();
            ended.clear();
            QVERIFY(ended.end(true).isEmpty());
            ended.begin(Utils::Encoding("UTF-16LE"));
            QCOMPARE(ended.append(QByteArray("z\0", 2), true), Data::String("z"));
            ended.clear();
            ended.begin(utf8);
            QCOMPARE(ended.append("\xef\xbb\xbf\xc3\xa4", true), Data::String("\u00e4"));
            QCOMPARE(ended.text(), Data::String("\u00e4"));
        }

        ProcessOutput dropped; // without an end
        dropped.begin(before);
        dropped.append(bytes, true);
        dropped.clear();
        dropped.begin(Utils::Encoding("UTF-16LE"));
        QCOMPARE(dropped.append(QByteArray("z\0", 2), true), Data::String("z"));
        dropped.clear();
        dropped.begin(utf8);
        QCOMPARE(dropped.append("\xef\xbb\xbf\xc3\xa4", true), Data::String("\u00e4"));
    }

    void searchesTheRecentTextFromItsStartAgainWhenItIsEmptied()
    {
        ProcessOutput output;
        output.append("long text", false);
        output.clear();
        output.append("a\nb", false);
        QCOMPARE(output.takeRecent(), Data::String("b"));

        output.append("long text", false);
        output.takeRecent();
        output.append("a\nb", false);
        QCOMPARE(output.takeRecent(), Data::String("b"));
    }

    void losesWhatIsBehindItsLimit()
    {
        ProcessOutput output(5);
        output.append("abc", true);
        QCOMPARE(output.append("def", true), Data::String("def"));
        QCOMPARE(output.append("g", true), Data::String("g"));
        QCOMPARE(output.text(), Data::String("abcde"));
        QCOMPARE(output.takeRecent(), Data::String("abcde"));

        output.append("fg", true); // is recent nevertheless
        QCOMPARE(output.text(), Data::String("abcde"));
        QCOMPARE(output.takeRecent(), Data::String("fg"));

        output.append("abcdef", false);
        QCOMPARE(output.append("gh", false), Data::String("gh"));
        output.append("\nb", false); // is found nevertheless
        QCOMPARE(output.text(), Data::String("abcde"));
        QCOMPARE(output.takeRecent(), Data::String("b"));
    }

    void holdsAMillionByDefault()
    {
        ProcessOutput output;
        output.append(QByteArray(1000000, 'a'), true);
        QCOMPARE(output.text().size(), 1000000);
    }

    /// A growing line must not be searched again for each of its chunks: that would take minutes.
    void growsALongLineInLinearTime()
    {
        const QByteArray piece(100, 'a');
        const int pieces = 400000;
        ProcessOutput output;

        for (int i = 0; i < pieces; ++i)
            output.append(piece, false);
        output.append("\n", false);

        QCOMPARE(output.takeRecent().size(), 100 * pieces + 1);
    }
};

QTEST_GUILESS_MAIN(tst_ProcessOutput)
#include "tst_ProcessOutput.moc"
