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

    void findsASingleUnitThatIsNotAscii()
    {
        for (const int unit : {0x7f, 0x80}) {
            char bytes[64] = {};
            bytes[40] = char(unit);
            ushort units[64] = {};
            units[40] = ushort(unit);

            QCOMPARE(Utils::Units<char>(bytes).anyWide() != 0, unit == 0x80);
            QCOMPARE(Utils::Units<ushort>(units).anyWide() != 0, unit == 0x80);
        }
    }

    void doesAtOnceWhatIsPlainlyDone()
    {
#ifndef KELMUTILS_SIMD
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

    void comparesABlockAsEachOfItsBytes()
    {
#ifndef KELMUTILS_SIMD
        QSKIP("there is the plain twin only");
#else
        const quint64 seed = std::random_device()();
        qInfo("seed %llu", seed);
        Random random(seed);
        for (int round = 0; round < 100 * 1000; ++round) {
            const auto wanted = static_cast<char>(random());
            const auto other = static_cast<char>(random());
            char bytes[64];
            fill(bytes, wanted, random);
            const Utils::SimdBlock block(bytes);
            const auto bitsOf = [&](const auto &test) {
                quint32 bits = 0;
                for (int i = 0; i < Utils::SimdBlock::length; ++i)
                    bits |= quint32(test(bytes[i])) << i;
                return bits;
            };
            const auto isEither = [&](char byte) { return byte == wanted || byte == other; };
            QCOMPARE(block.highBits(), bitsOf([](char byte) { return uchar(byte) >= 0x80; }));
            QCOMPARE((block.equalTo(wanted) | block.equalTo(other)).highBits(), bitsOf(isEither));
            QCOMPARE((block ^ Utils::SimdBlock::filled(wanted)).equalTo('\0').highBits(),
                     bitsOf([&](char byte) { return byte == wanted; }));
            QCOMPARE((block & Utils::SimdBlock::filled(wanted)).equalTo(other).highBits(),
                     bitsOf([&](char byte) { return char(byte & wanted) == other; }));
            QCOMPARE(block.without(Utils::SimdBlock::filled(wanted)).equalTo('\0').highBits(),
                     bitsOf([&](char byte) { return char(byte & ~wanted) == '\0'; }));
            QCOMPARE(block.moved().equalTo(wanted).highBits(),
                     (block.equalTo(wanted).highBits() << 1 & 0xffff) | quint32(wanted == '\0'));
            const auto most = static_cast<char>(other & 0x7f);
            QCOMPARE(block.anyAbove(most),
                     bitsOf([&](char byte) { return uchar(byte) > uchar(most); }) != 0);
        }
#endif
    }

    void narrowsCodeUnitsThatAreBytesOnly()
    {
#ifndef KELMUTILS_SIMD
        QSKIP("there is the plain twin only");
#else
        for (int unit = 0; unit <= 0xffff; ++unit) {
            const QString text = QString(15, QChar('x')) + QChar(ushort(unit));
            const Utils::SimdBlock block = Utils::SimdBlock::narrowed(text.constData());
            const quint32 last = 1U << 15;
            QCOMPARE(block.equalTo('x').highBits(), unit == 'x' ? 0xffffU : last - 1);
            const bool isByte = unit <= 0xff;
            const bool isEnd = (block.equalTo('\0') | block.equalTo('\xff')).highBits() == last;
            QVERIFY(isByte ? block.equalTo(char(unit)).highBits() >> 15 == 1 : isEnd);
        }
#endif
    }

    void readsSixteenDigits()
    {
#ifndef KELMUTILS_SIMD
        QSKIP("there is the plain twin only");
#else
        Random random(1);
        for (int round = 0; round < 100 * 1000; ++round) {
            quint64 number = 0;
            char digits[16];
            for (char &digit : digits) {
                digit = static_cast<char>(round == 0 ? 9 : random() % 10);
                number = 10 * number + quint64(digit);
            }
            QCOMPARE(Utils::SimdBlock(digits).numberOfDigits(), number);
        }
#endif
    }
};

QTEST_GUILESS_MAIN(tst_Simd)
#include "tst_Simd.moc"
