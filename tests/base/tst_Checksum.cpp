#include "utils/base/Checksum_p.h"

#include <QtTest>

#include <random>

using Utils::Checksum;

class tst_Checksum : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ofNothingIsZero()
    {
        Checksum sum;
        QCOMPARE(sum.value(), quint16(0));
        sum.add(nullptr, 0);
        QCOMPARE(sum.value(), quint16(0));
    }

    void isThatOfTheStandard()
    {
        Checksum sum;
        sum.add("123456789", 9);
        QCOMPARE(sum.value(), quint16(36974));
    }

    void mayBeAskedForInBetween()
    {
        Checksum sum;
        sum.add("1234", 4);
        QCOMPARE(sum.value(), qChecksum("1234", 4));
        sum.add("56789", 5);
        QCOMPARE(sum.value(), quint16(36974));
    }

    void isThatOfQtForAnyBytesInAnyPieces()
    {
        const unsigned seed = std::random_device()();
        qInfo("seed %u", seed);
        std::mt19937 random(seed);

        for (int round = 0; round < 20 * 1000; ++round) {
            QByteArray bytes(int(random() % (round % 100 == 0 ? 5000u : 60u)), '\0');
            for (char &byte : bytes)
                byte = round % 3 == 0 ? char('0' + random() % 10) : char(random());
            Checksum sum;
            for (int start = 0; start < bytes.size();) {
                const int size = qMin(int(random() % 40u), bytes.size() - start);
                sum.add(bytes.constData() + start, std::size_t(size));
                start += size;
            }
            QCOMPARE(sum.value(), qChecksum(bytes.constData(), uint(bytes.size())));
        }
    }
};

QTEST_GUILESS_MAIN(tst_Checksum)
#include "tst_Checksum.moc"
