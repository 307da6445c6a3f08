#include "utils/base/Simd_p.h"

#include <QtTest>

#include <random>

using Random = std::mt19937_64;

/// 64 units, of which many equal \p wanted or come close to it.
template <typename Unit>
static void fill(Unit (&units)[64], Unit wanted, Random &random)
{
    const quint64 rare = random() % 2 == 0 ? 4 : 100;
    for (Unit &unit : units) {
        switch (random() % rare) {
        case 0:
            unit = wanted;
            break;
        case 1:
            unit = Unit(wanted ^ (1 << random() % (8 * sizeof(Unit))));
            break;
        case 2:
            unit = Unit(random());
            break;
        default:
            unit = Unit('x');
            break;
        }
    }
}

class tst_Simd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsUnitsByTheirBits()
    {
        char bytes[64] = {};
        bytes[0] = 'a';
        bytes[17] = '\x80';
        bytes[63] = '\xff';
        const Utils::Units<char> units(bytes);

        QCOMPARE(units.equalTo('a'), quint64(1));
        QCOMPARE(units.equalTo('b'), quint64(0));
        QCOMPARE(units.wide(), quint64(1) << 17 | quint64(1) << 63);
        QCOMPARE(units.atLeast(0x81), quint64(1) << 63);
        QCOMPARE(units.atLeast('a'), quint64(1) | quint64(1) << 17 | quint64(1) << 63);
        QVERIFY(units.anyWide() != 0);
        QVERIFY(units.anyZero() != 0);

        ushort wide[64] = {};
        wide[1] = 0x2022;
        wide[62] = 0xffff;
        QCOMPARE(Utils::Units<ushort>(wide).equalTo(0x2022), quint64(1) << 1);
        QCOMPARE(Utils::Units<ushort>(wide).equalTo(0xffff), quint64(1) << 62);
        QCOMPARE(Utils::Units<ushort>(wide).equalTo(0x22), quint64(0));
    }

    void doesAtOnceWhatIsPlainlyDone()
    {
#ifndef KELMUTILS_SSE2
        QSKIP("there is the plain twin only");
#else
        const quint64 seed = std::random_device()();
        qInfo("seed %llu", seed);
        Random random(seed);
        for (int round = 0; round < 100 * 1000; ++round) {
            const auto wanted = static_cast<ushort>(random());
            char bytes[64];
            fill(bytes, static_cast<char>(wanted), random);
            const Utils::SimdUnits<char> simd(bytes);
            const Utils::PlainUnits<char> plain(bytes);
            QCOMPARE(simd.equalTo(char(wanted)), plain.equalTo(char(wanted)));
            QCOMPARE(simd.atLeast(wanted & 0xff), plain.atLeast(wanted & 0xff));
            QCOMPARE(simd.wide(), plain.wide());
            QCOMPARE(simd.anyWide() != 0, plain.anyWide() != 0);
            QCOMPARE(simd.anyZero() != 0, plain.anyZero() != 0);

            ushort units[64];
            fill(units, wanted, random);
            QCOMPARE(Utils::SimdUnits<ushort>(units).equalTo(wanted),
                     Utils::PlainUnits<ushort>(units).equalTo(wanted));
            for (ushort &unit : units)
                unit &= 0x7f;
            units[random() % 64] = static_cast<ushort>(1 << random() % 16);
            QCOMPARE(Utils::SimdUnits<ushort>(units).anyWide() != 0,
                     Utils::PlainUnits<ushort>(units).anyWide() != 0);
        }
#endif
    }
};

QTEST_GUILESS_MAIN(tst_Simd)
#include "tst_Simd.moc"
