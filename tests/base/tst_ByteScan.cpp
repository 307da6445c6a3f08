#include "utils/base/ByteScan_p.h"

#include <QtTest>

#include <climits>

#include <random>

class tst_ByteScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsLineFeedsInFrontOfAZeroByte()
    {
        QList<int> feeds;
        const auto append = [&](int feed) { feeds.append(feed); };

        QVERIFY(!Utils::scanLineFeeds("\na\n\n", 4, append));
        QCOMPARE(feeds, (QList<int>{0, 2, 3}));
        feeds.clear();
        QVERIFY(Utils::scanLineFeeds("a\n\0\n", 4, append));
        QCOMPARE(feeds, QList<int>{1});
    }

    void skipsFields()
    {
        const QByteArray line = "a,bb,,c" + QByteArray(Utils::scanPadding, ',');
        const char *const begin = line.constData();
        const char *const end = begin + 7;

        QCOMPARE(Utils::skipFields(begin, end, ',', 0) - begin, 0);
        QCOMPARE(Utils::skipFields(begin, end, ',', 1) - begin, 2);
        QCOMPARE(Utils::skipFields(begin, end, ',', 2) - begin, 5);
        QCOMPARE(Utils::skipFields(begin, end, ',', 3) - begin, 6);
        QVERIFY(!Utils::skipFields(begin, end, ',', 4));
        QVERIFY(!Utils::skipFields(begin, end, ',', INT_MAX));
        QVERIFY(!Utils::skipFields(nullptr, nullptr, ',', 1));
    }

    void doesAtOnceWhatIsPlainlyDone()
    {
        const unsigned seed = std::random_device()();
        qInfo("seed %u", seed);
        std::mt19937 random(seed);

        for (int round = 0; round < 50 * 1000; ++round) {
            const int size = int(random() % 300);
            // Where bytes above 0x7f and those next to the wanted ones are frequent.
            static const char bytes[] = "\n\x0b\x09\x01\xff\x80\x8a,,x";
            const unsigned rare = round % 2 == 0 ? 10 : 200;
            QByteArray line(size + Utils::scanPadding, ',');
            for (int i = 0; i < size; ++i) {
                const unsigned kind = random() % rare;
                line[i] = kind < 10 ? bytes[kind] : 'x';
            }
            if (size > 0 && random() % 3 == 0)
                line[int(random() % unsigned(size))] = '\0';
            const char *const begin = line.constData();

            QList<int> feeds;
            QList<int> plainFeeds;
            QCOMPARE(Utils::scanLineFeeds(begin, size, [&](int feed) { feeds.append(feed); }),
                     Utils::scanLineFeedsPlainly(begin, size,
                                                 [&](int feed) { plainFeeds.append(feed); }));
            QCOMPARE(feeds, plainFeeds);
            const int count = int(random() % 8);
            QVERIFY(Utils::skipFields(begin, begin + size, ',', count) ==
                    Utils::skipFieldsPlainly(begin, begin + size, ',', count));
        }
    }
};

QTEST_GUILESS_MAIN(tst_ByteScan)
#include "tst_ByteScan.moc"
