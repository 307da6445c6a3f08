#include "data/String.h"

#include "tests/support/Print.h"

#include <QHash>
#include <QtTest>

#include <type_traits>

using Data::String;

class tst_String : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addsNothingToAQString()
    {
        QCOMPARE(sizeof(String), sizeof(QString));
        QVERIFY((std::is_base_of_v<QString, String>));
        QVERIFY((std::is_convertible_v<QString, String>));
        QVERIFY((std::is_convertible_v<const char *, String>));
        QVERIFY(String().isEmpty());
    }

    void sharesItsTextWithAQString()
    {
        const QString text = QString("long enough to be shared");

        const String ours = text;
        const QString theirs = ours;

        QCOMPARE(ours.constData(), text.constData());
        QCOMPARE(theirs.constData(), text.constData());
    }

    void isReadFromUtf8()
    {
        QCOMPARE(String("\xc3\xa4\xe2\x82\xac"), QString("\u00e4\u20ac"));
        QCOMPARE(String("ab\0cd"), QString("ab"));
    }

    void isEmptyFromANullPointer()
    {
        const char *const nothing = nullptr;

        QVERIFY(String(nothing).isEmpty());
        QCOMPARE(String(nothing) + "a", QString("a"));
    }

    void isConcatenated_data()
    {
        QTest::addColumn<String>("sum");
        QTest::addColumn<QString>("expected");
        const String a = "\u00e4";
        const QString q = "q";

        // clang-format off
        QTest::newRow("two of ours") << a + String("b") << "\u00e4b";
        QTest::newRow("ours, C string") << a + "\xc3\xb6" << "\u00e4\u00f6";
        QTest::newRow("C string, ours") << "\xc3\xb6" + a << "\u00f6\u00e4";
        QTest::newRow("C string up to its zero") << a + "b\0c" << "\u00e4b";
        QTest::newRow("ours, null") << a + static_cast<const char *>(nullptr) << "\u00e4";
        QTest::newRow("null, ours") << static_cast<const char *>(nullptr) + a << "\u00e4";
        QTest::newRow("ours, QString") << a + q << "\u00e4q";
        QTest::newRow("QString, ours") << q + a << "q\u00e4";
        QTest::newRow("ours, bytes") << a + QByteArray("\xc3\xb6") << "\u00e4\u00f6";
        QTest::newRow("bytes, ours") << QByteArray("\xc3\xb6") + a << "\u00f6\u00e4";
        QTest::newRow("ours, bytes without a zero") << a + QByteArray::fromRawData("bcd", 2) << "\u00e4bc";
        QTest::newRow("ours, bytes with a zero") << a + QByteArray("b\0c", 3) << "\u00e4b";
        QTest::newRow("ours, QChar") << a + QChar(0x20ac) << "\u00e4\u20ac";
        QTest::newRow("QChar, ours") << QChar(0x20ac) + a << "\u20ac\u00e4";
        QTest::newRow("ours, char") << a + 'c' << "\u00e4c";
        QTest::newRow("char, ours") << 'c' + a << "c\u00e4";
        QTest::newRow("ours, QLatin1String") << a + QLatin1String("l") << "\u00e4l";
        QTest::newRow("QLatin1String, ours") << QLatin1String("l") + a << "l\u00e4";
        QTest::newRow("ours, QStringRef") << a + q.leftRef(1) << "\u00e4q";
        QTest::newRow("QStringRef, ours") << q.leftRef(1) + a << "q\u00e4";
        QTest::newRow("empties") << String() + String() << "";
        // clang-format on
    }

    void isConcatenated()
    {
        QFETCH(String, sum);
        QFETCH(QString, expected);

        QCOMPARE(sum, expected);
    }

    void givesAStringOfOursFromEverySum()
    {
        const String a;
        QVERIFY((std::is_same_v<decltype(a + a), String>));
        QVERIFY((std::is_same_v<decltype(a + "b"), String>));
        QVERIFY((std::is_same_v<decltype("b" + a), String>));
        QVERIFY((std::is_same_v<decltype(a + QString()), String>));
        QVERIFY((std::is_same_v<decltype(QString() + a), String>));
    }

    void isOrderedByUtf16CodeUnit()
    {
        QVERIFY(String("B") < String("a"));
        QVERIFY(String("a") < String("b"));
        QVERIFY(!(String("a") < String("a")));
        QVERIFY(!(String("a") == String("A")));
        // The code point is above U+FFFD, its first code unit below.
        QVERIFY(String("\xf0\x9f\x98\x80") < String("\xef\xbf\xbd"));
    }

    void isHashedAsAQStringWithSeedZero()
    {
        QCOMPARE(qHash(String("abc"), 0u), qHash(QString("abc"), 0u));
        QHash<String, int> byName;
        byName["abc"] = 1;
        QCOMPARE(byName.value(QString("abc")), 1);
    }

    void givesUtf8AsACString()
    {
        QCOMPARE(QByteArray(String("\u00e4\u20ac").c_str()), QByteArray("\xc3\xa4\xe2\x82\xac"));
        QCOMPARE(QByteArray(String("").c_str()), QByteArray());
    }

    void givesACStringThatIsNeverNull()
    {
        QVERIFY(String().c_str() != nullptr);
        QCOMPARE(*String().c_str(), '\0');
    }

    void hasOneBufferForEveryCString()
    {
        const char *const first = String("first").c_str();
        const char *const second = String("other").c_str();

        QCOMPARE(static_cast<const void *>(first), static_cast<const void *>(second));
        QCOMPARE(QByteArray(first), QByteArray("other"));
    }

    void givesACStringOfALongText()
    {
        const String text = QString(1000000, QChar(0x20ac));

        const QByteArray bytes = text.c_str();

        QCOMPARE(bytes.size(), 3000000);
        QCOMPARE(String(bytes.constData()), text);
    }
};

QTEST_GUILESS_MAIN(tst_String)
#include "tst_String.moc"
