#include "utils/xml/MessageIndex_p.h"

#include "tests/csv/FailingMemory.h"

#include "tests/support/Windows.h"

#include <QtTest>

#include <random>

using Utils::Xml::appendUnlessContained;

static void appendPlainly(QString &messages, const QString &text)
{
    if (messages.contains(text))
        return;
    if (!messages.isEmpty())
        messages += '\n';
    messages += text;
}

/// Texts of few letters, so that many are parts of others, and long ones among them.
static QString randomText(std::mt19937 &random)
{
    QString text;
    const auto size = random() % (random() % 4 == 0 ? 60 : 9);
    for (unsigned int i = 0; i < size; ++i)
        text += QChar(ushort(random() % 50 == 0 ? '\n' : 'a' + random() % 3));
    return text;
}

class tst_MessageIndex : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsWhatAPlainSearchDoesNotFind()
    {
        std::mt19937 random(1);
        QString messages;
        QString expected;

        for (int i = 0; i < 5000; ++i) {
            const QString text = randomText(random);
            appendUnlessContained(messages, text);
            appendPlainly(expected, text);
            QCOMPARE(messages.size(), expected.size());
        }

        QVERIFY(expected.size() > 20000);
        QCOMPARE(messages, expected);
    }

    void keepsTheMessagesOfSeveralOwnersApart()
    {
        std::mt19937 random(2);
        QString messages[3];
        QString expected[3];

        for (int i = 0; i < 6000; ++i) {
            const auto owner = random() % 3;
            if (random() % 100 == 0) { // shares the text of another one, as a copied document does
                const auto other = random() % 3;
                messages[owner] = messages[other];
                expected[owner] = expected[other];
            }
            const QString text = randomText(random);
            appendUnlessContained(messages[owner], text);
            appendPlainly(expected[owner], text);
            QCOMPARE(messages[owner].size(), expected[owner].size());
        }

        for (int owner = 0; owner < 3; ++owner)
            QCOMPARE(messages[owner], expected[owner]);
    }

    void findsATextAcrossTwoMessagesAndInLongOnes()
    {
        QString messages = QString("x").repeated(5000);
        appendUnlessContained(messages, "first message");
        appendUnlessContained(messages, "second message, which is longer than the others");
        const QString before = messages;

        appendUnlessContained(messages, "message\nsecond");
        appendUnlessContained(messages, "");
        appendUnlessContained(messages, "x");
        appendUnlessContained(messages, "ssage, which is longer than the o");

        QCOMPARE(messages, before);
    }

    // Texts that differ late, so that a part of them occurs in the messages.
    void readsNeitherAllMessagesNorCopiesThemForEachText()
    {
        QString messages;
        qint64 numAppended = 0;
        const qint64 numReadBefore = Utils::Xml::numMessageCharactersRead();

        const AllocatedMemory used;
        for (int i = 0; i < 5000; ++i) {
            const QString text = "A value is out of its range: " + QString::number(1000 * i);
            appendUnlessContained(messages, text);
            numAppended += text.size();
        }
        const auto bytes = used.bytes();

        const qint64 numRead = Utils::Xml::numMessageCharactersRead() - numReadBefore;
        QVERIFY(messages.size() > 150 * 1000);
        QVERIFY(numRead >= numAppended);
        QVERIFY2(numRead < 20 * messages.size(), QByteArray::number(numRead));
        QVERIFY2(bytes < 40 * messages.size(), QByteArray::number(qint64(bytes)));
    }

    void searchesWithoutAnIndexWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const QString long_ = QString("x").repeated(5000);
        for (int room = 0; room < 40; ++room) {
            QString messages = long_ + QString::number(room);
            const QString text = "text";
            bool hasThrown = false;
            {
                FailingMemory memory(room, FailingMemory::Once);
                try {
                    appendUnlessContained(messages, text);
                } catch (const std::bad_alloc &) {
                    hasThrown = true;
                }
            }
            if (hasThrown)
                QCOMPARE(messages, long_ + QString::number(room));
            else
                QCOMPARE(messages, long_ + QString::number(room) + "\ntext");
        }
    }
};

QTEST_GUILESS_MAIN(tst_MessageIndex)
#include "tst_MessageIndex.moc"
