#include "utils/process/ProcessLines_p.h"

#include "tests/support/Print.h"

#include <QtTest>

using Utils::Process;
using Utils::ProcessLines;

/// All lines, each after "o:" or "e:" for its channel.
static QStringList taken(ProcessLines &lines)
{
    QStringList found;
    while (!lines.isEmpty()) {
        const ProcessLines::Line line = lines.take();
        found.append((line.channel == Process::StandardOutput ? "o:" : "e:") + line.text);
    }
    return found;
}

class tst_ProcessLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dividesPiecesIntoLines_data()
    {
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<QStringList>("before"); // its end
        QTest::addColumn<QStringList>("atEnd");

        const auto row = [](const char *name, const QStringList &pieces, const QStringList &before,
                            const QStringList &atEnd) {
            QTest::newRow(name) << pieces << before << atEnd;
        };
        // clang-format off
        row("nothing", {}, {}, {});
        row("an empty piece", {""}, {}, {});
        row("no end", {"a"}, {}, {"o:a"});
        row("one", {"a\n"}, {"o:a"}, {});
        row("several", {"a\nb\n\nc"}, {"o:a", "o:b", "o:"}, {"o:c"});
        row("in pieces", {"a", "b", "\nc", "\n"}, {"o:ab", "o:c"}, {});
        row("of Windows", {"a\r\nb\r\n"}, {"o:a", "o:b"}, {});
        row("of Windows in pieces", {"a\r", "\nb\r", "", "\n"}, {"o:a", "o:b"}, {});
        row("states of a progress", {"10%\r20%\r"}, {"o:10%", "o:20%"}, {});
        row("states before a line end", {"10%\r\r\nb"}, {"o:10%", "o:"}, {"o:b"});
        row("a return, then a text", {"a\r", "b\nc\n"}, {"o:a", "o:b", "o:c"}, {});
        row("line feed first", {"\n\r\n\r"}, {"o:", "o:", "o:"}, {});
        row("an empty line after that of Windows", {"a\r\n\n"}, {"o:a", "o:"}, {});
        // clang-format on
    }

    void dividesPiecesIntoLines()
    {
        QFETCH(QStringList, pieces);
        QFETCH(QStringList, before);
        QFETCH(QStringList, atEnd);
        ProcessLines lines;

        for (const QString &piece : pieces)
            lines.append(piece, Process::StandardOutput);

        QCOMPARE(taken(lines), before);
        lines.end();
        QCOMPARE(taken(lines), atEnd);
        lines.append("\nx\n", Process::StandardOutput); // a new output
        QCOMPARE(taken(lines), (QStringList{"o:", "o:x"}));
    }

    void separatesChannels()
    {
        ProcessLines lines;

        lines.append("a\r", Process::StandardOutput);
        lines.append("\nb", Process::StandardError);
        lines.append("\nc", Process::StandardOutput);
        lines.append("d\n", Process::StandardError);
        lines.append("x", Process::StandardError);

        QCOMPARE(taken(lines), (QStringList{"o:a", "e:", "e:bd"}));
        lines.end();
        QCOMPARE(taken(lines), (QStringList{"o:c", "e:x"}));
    }

    void dividesLongLines_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("found");

        QTest::newRow("within the limit") << "abc\nd\n" << QStringList{"o:abc", "o:d"};
        QTest::newRow("one more") << "abcd\n" << QStringList{"o:abc", "o:d"};
        QTest::newRow("twice") << "abcdef\r\ng" << QStringList{"o:abc", "o:def", "o:g"};
    }

    void dividesLongLines()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, found);
        ProcessLines whole(3);
        ProcessLines single(3);

        whole.append(text, Process::StandardOutput);
        for (const QChar character : qAsConst(text))
            single.append(QString(character), Process::StandardOutput);

        whole.end();
        single.end();
        QCOMPARE(taken(whole), found);
        QCOMPARE(taken(single), found);
    }

    void isClearedCompletely()
    {
        ProcessLines lines;
        lines.append("a\nb\r", Process::StandardOutput);
        lines.append("c", Process::StandardError);

        lines.clear();

        QVERIFY(lines.isEmpty());
        lines.append("\n", Process::StandardOutput);
        lines.append("d\n", Process::StandardError);
        QCOMPARE(taken(lines), (QStringList{"o:", "e:d"}));
    }
};

QTEST_GUILESS_MAIN(tst_ProcessLines)
#include "tst_ProcessLines.moc"
