#include "utils/settings/IniText_p.h"
#include "utils/settings/StoredVariant_p.h"

#include <QBrush>
#include <QColor>
#include <QConicalGradient>
#include <QCursor>
#include <QEasingCurve>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPalette>
#include <QPen>
#include <QPixmap>
#include <QPolygonF>
#include <QRadialGradient>
#include <QTextFormat>
#include <QTimeZone>
#include <QtTest>

using Utils::Images;
using Utils::isReadable;
using Utils::UnbuiltValue;

using Version = QDataStream::Version;

// The two versions in settings files.
static const Version versionOfQt4 = QDataStream::Qt_4_0;
static const Version versionOfQt5 = QDataStream::Qt_5_6;

/// The stream of \p value.
static QByteArray streamed(const QVariant &value, Version version)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(version);
    stream << value;
    return bytes;
}

static QByteArray number(int n)
{
    return QByteArray(1, char(n >> 24)) + char(n >> 16) + char(n >> 8) + char(n);
}

static QPixmap pixmap()
{
    QPixmap pixmap(4, 4);
    pixmap.fill(Qt::red);
    return pixmap;
}

/// Of a file that was read before there was a QGuiApplication.
static QSettings::SettingsMap readEarly;

class tst_StoredVariant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areBuiltOnceThereIsAGuiApplication()
    {
        QVERIFY(Utils::IniText::hasUnbuilt(readEarly));
        const QVariant early = readEarly["pixmap"];
        QCOMPARE(early.userType(), qMetaTypeId<UnbuiltValue>());

        QCOMPARE(Utils::IniText::built(early).value<QPixmap>().size(), QSize(4, 4));
        const QVariantList list = Utils::IniText::built(readEarly["list"]).toList();
        QCOMPARE(list.value(0).toString(), QString("a"));
        QCOMPARE(list.value(1).value<QPixmap>().size(), QSize(4, 4));
        QVERIFY(!Utils::IniText::built(readEarly["curve"]).isValid()); // is built in no program
        QCOMPARE(Utils::IniText::built(readEarly["text"]).toString(), QString("b"));

        QVERIFY(Utils::IniText::hasUnbuilt({{"list", readEarly["list"]}}));
        QVERIFY(!Utils::IniText::hasUnbuilt({{"text", readEarly["text"]}, {"l", QVariantList{1}}}));
    }

    void findsWhereEachValueEnds_data()
    {
        QTest::addColumn<QVariant>("value");

        QTextFormat format;
        format.setProperty(QTextFormat::UserProperty, "text");
        QPalette palette(Qt::green);
        palette.setBrush(QPalette::Base, QBrush(QLinearGradient(0, 0, 1, 1)));
        const auto row = [](const char *name, const QVariant &value) {
            QTest::newRow(name) << value;
        };
        row("nothing", QVariant());
        row("text", "a");
        row("list", QVariantList{1, QVariantList{"a"}, QVariant()});
        row("map", QVariantMap{{"a", 1}, {"b", "c"}});
        row("hash", QVariantHash{{"a", 1}});
        const QVariant inner = 5;
        row("value in a value", QVariant(QMetaType::QVariant, &inner));
        row("texts", QStringList{"a", "", "c"});
        row("bytes", QVariant::fromValue(QByteArrayList{"a", "b"}));
        row("key sequence", QVariant::fromValue(QKeySequence("Ctrl+K, Ctrl+L")));
        row("text format", format);
        row("polygon", QPolygon(QRect(1, 2, 3, 4)));
        row("polygon of numbers", QPolygonF(QRectF(1, 2, 3, 4)));
        row("no brush", QBrush());
        row("brush", QBrush(Qt::red, Qt::CrossPattern));
        row("linear gradient", QBrush(QLinearGradient(0, 0, 1, 1)));
        row("radial gradient", QBrush(QRadialGradient(1, 1, 5)));
        row("conical gradient", QBrush(QConicalGradient(1, 1, 90)));
        row("pen", QPen(Qt::red, 2, Qt::DashDotLine));
        row("pen with a gradient", QPen(QBrush(QRadialGradient(1, 1, 5)), 3));
        row("palette", palette);
        row("region", QRegion(1, 2, 3, 4) + QRegion(9, 9, 3, 4));
        row("date", QDateTime(QDate(2000, 1, 1), QTime(12, 0)));
        row("date in a time zone",
            QDateTime(QDate(2000, 1, 1), QTime(12, 0), QTimeZone("UTC+01:00")));
        row("value of our own", QVariant::fromValue(UnbuiltValue{"@Variant(x)"}));
    }

    void findsWhereEachValueEnds()
    {
        QFETCH(QVariant, value);

        for (const Version version : {versionOfQt4, versionOfQt5}) {
            const QVariantList values{value, "next"};
            const QVariantList withCurve = values + QVariantList{QEasingCurve()};
            for (const Images images : {Images::Refused, Images::Built}) {
                QVERIFY(isReadable(streamed(value, version), version, images));
                QVERIFY(isReadable(streamed(values, version), version, images));
                QVERIFY(!isReadable(streamed(withCurve, version), version, images));
            }
        }
    }

    void readsImagesWhereTheyCanBeBuilt_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isImageInQt5");

        QTextFormat format;
        format.setProperty(QTextFormat::UserProperty, pixmap());
        QPalette palette;
        palette.setBrush(QPalette::Base, pixmap());
        // A texture is a QPixmap in streams of Qt 4 only.
        QTest::newRow("pixmap") << QVariant(pixmap()) << true;
        QTest::newRow("cursor") << QVariant(QCursor(Qt::WaitCursor)) << true;
        QTest::newRow("format") << QVariant(format) << true;
        const QVariant inner = pixmap();
        QTest::newRow("value in a value") << QVariant(QMetaType::QVariant, &inner) << true;
        QTest::newRow("map") << QVariant(QVariantMap{{"a", pixmap()}, {"b", 1}}) << true;
        QTest::newRow("brush") << QVariant(QBrush(pixmap())) << false;
        QTest::newRow("pen") << QVariant(QPen(QBrush(pixmap()), 2)) << false;
        QTest::newRow("palette") << QVariant(palette) << false;
    }

    void readsImagesWhereTheyCanBeBuilt()
    {
        QFETCH(QVariant, value);
        QFETCH(bool, isImageInQt5);

        for (const Version version : {versionOfQt4, versionOfQt5}) {
            const bool isImage = version == versionOfQt4 || isImageInQt5;
            const QByteArray bytes = streamed(value, version);
            const QByteArray withCurve =
                streamed(QVariantList{value, "next", QEasingCurve()}, version);
            QVERIFY(isReadable(bytes, version, Images::Built));
            QCOMPARE(isReadable(bytes, version, Images::Refused), !isImage);
            QVERIFY(!isReadable(withCurve, version, Images::Built));
        }
    }

    void readsAHundredLevels_data()
    {
        QTest::addColumn<QByteArray>("level"); // with one value in it, in a stream of Qt 4

        const QByteArray emptyText = number(-1);
        QTest::newRow("lists") << number(QMetaType::QVariantList) + number(1);
        QTest::newRow("maps") << number(QMetaType::QVariantMap) + number(1) + emptyText;
        QTest::newRow("hashes") << number(QMetaType::QVariantHash) + number(1) + emptyText;
        QTest::newRow("values") << number(QMetaType::QVariant + 97);
        QTest::newRow("formats") << number(QMetaType::QTextFormat + 1) +
                                        number(QTextFormat::CharFormat) + number(1) +
                                        number(QTextFormat::UserProperty);
    }

    void readsAHundredLevels()
    {
        QFETCH(QByteArray, level);
        const QByteArray value = number(QMetaType::Int) + number(5);

        QVERIFY(isReadable(level.repeated(100) + value, versionOfQt4, Images::Refused));
        QVERIFY(!isReadable(level.repeated(101) + value, versionOfQt4, Images::Refused));
    }

    /// Other programs have written them, by numbers that Qt 5 uses for other types.
    void findsWhereValuesOfOtherTypesEnd_data()
    {
        QTest::addColumn<QByteArray>("value"); // in a stream of Qt 4
        QTest::addColumn<bool>("isLast");      // that Qt reads

        const QByteArray noText = number(-1);
        const QByteArray name("QPolygonF\0", 10);
        const bool hasWidgets = QMetaType::sizeOf(QMetaType::QSizePolicy) != 0;
        QTest::newRow("size policy, which Qt Gui does not have")
            << number(75) + noText << !hasWidgets;
        QTest::newRow("no type") << number(110) + noText << false;
        QTest::newRow("type of the host")
            << number(127) + number(name.size()) + name + number(0) << false;
        QTest::newRow("the same by its later number")
            << number(QMetaType::User) + number(name.size()) + name + number(0) << false;
    }

    void findsWhereValuesOfOtherTypesEnd()
    {
        QFETCH(QByteArray, value);
        QFETCH(bool, isLast);
        const QByteArray list = number(QMetaType::QVariantList);
        const QByteArray curve = streamed(QEasingCurve(), versionOfQt4);
        const QByteArray text = streamed("next", versionOfQt4);

        for (const Images images : {Images::Refused, Images::Built}) {
            QVERIFY(isReadable(list + number(2) + value + text, versionOfQt4, images));
            QCOMPARE(isReadable(list + number(2) + value + curve, versionOfQt4, images), isLast);
        }
    }

    void readsColorsOfTheKindsThatQtKnows()
    {
        const QByteArray components = QByteArray::fromHex("ffff 1111 2222 3333 0000");
        for (const Version version : {versionOfQt4, versionOfQt5}) {
            const QByteArray nullFlag(version == versionOfQt4 ? 0 : 1, '\0');
            const QByteArray list = number(QMetaType::QVariantList) + nullFlag + number(2);
            for (int kind = -128; kind < 128; ++kind) {
                const QByteArray color =
                    number(QMetaType::QColor) + nullFlag + char(kind) + components;
                const bool isKnown = kind >= QColor::Invalid && kind <= QColor::ExtendedRgb;
                QCOMPARE(isReadable(color, version, Images::Refused), isKnown);
                QCOMPARE(
                    isReadable(list + color + streamed("next", version), version, Images::Refused),
                    isKnown);
                // The next value is found where the color ends.
                QVERIFY(!isReadable(list + color + streamed(QEasingCurve(), version), version,
                                    Images::Refused));
            }
        }
    }

    void readsColorsOfTheKindsThatQtKnowsInOtherValues_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("colors");

        // By their bytes, the colors are found in the streams.
        const QColor color(0x12, 0x34, 0x56);
        QLinearGradient gradient(0, 0, 1, 1);
        gradient.setStops({{0.25, color}, {0.5, Qt::white}, {0.75, color}});
        QBrush shaded(gradient);
        shaded.setColor(color);
        QTextFormat format;
        format.setBackground(color);
        QPalette palette(Qt::green);
        palette.setColor(QPalette::Inactive, QPalette::Base, color);
        palette.setBrush(QPalette::Disabled, QPalette::AlternateBase, shaded);
        QPixmap texture(2, 2);
        texture.fill(Qt::white);
        const QBrush textured(color, texture);
        QTest::newRow("brush") << QVariant(QBrush(color, Qt::CrossPattern)) << 1;
        QTest::newRow("brush with a texture") << QVariant(textured) << 1;
        QTest::newRow("gradient") << QVariant(shaded) << 3;
        QTest::newRow("pen") << QVariant(QPen(color, 2)) << 1;
        QTest::newRow("pen with a gradient") << QVariant(QPen(shaded, 3)) << 3;
        QTest::newRow("palette") << QVariant(palette) << 4;
        QTest::newRow("text format") << QVariant(format) << 1;
    }

    void readsColorsOfTheKindsThatQtKnowsInOtherValues()
    {
        QFETCH(QVariant, value);
        QFETCH(int, colors);
        const QByteArray components = QByteArray::fromHex("ffff 1212 3434 5656 0000");

        for (const Version version : {versionOfQt4, versionOfQt5}) {
            const QByteArray bytes = streamed(value, version);
            QCOMPARE(bytes.count(components), colors);
            for (int at = -1; (at = bytes.indexOf(components, at + 1)) >= 0;) {
                QByteArray changed = bytes;
                for (int kind = -128; kind < 128; ++kind) {
                    changed[at - 1] = char(kind);
                    QCOMPARE(isReadable(changed, version, Images::Built),
                             kind >= QColor::Invalid && kind <= QColor::ExtendedRgb);
                }
            }
        }
    }

    void readsNoMoreElementsThanThereAre_data()
    {
        QTest::addColumn<QByteArray>("start"); // in a stream of Qt 5
        QTest::addColumn<int>("size");         // of an element

        const auto header = [](int type) { return number(type) + '\0'; };
        // clang-format off
        QTest::newRow("list")               << header(QMetaType::QVariantList) << 5; // type and null flag
        QTest::newRow("texts")              << header(QMetaType::QStringList) << 4;
        QTest::newRow("bytes")              << header(QMetaType::QByteArrayList) << 4;
        QTest::newRow("key sequence")       << header(QMetaType::QKeySequence) << 4;
        QTest::newRow("polygon")            << header(QMetaType::QPolygon) << 8;
        QTest::newRow("polygon of numbers") << header(QMetaType::QPolygonF) << 16;
        // clang-format on
    }

    void readsNoMoreElementsThanThereAre()
    {
        QFETCH(QByteArray, start);
        QFETCH(int, size);
        const auto isGood = [](const QByteArray &bytes) {
            return isReadable(bytes, versionOfQt5, Images::Built);
        };
        const QByteArray three(3 * size, '\0');

        QVERIFY(isGood(start + number(3) + three));
        QVERIFY(!isGood(start + number(3 * size + 1) + three));
        QVERIFY(!isGood(start + number(0x7fffffff) + three));
        QVERIFY(!isGood(start + number(-1) + three) || start == number(QMetaType::QStringList));
    }

    void takesAnEndWithinAValueAsReadable_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("version");

        const auto rows = [](const char *name, const QVariant &value) {
            for (const Version version : {versionOfQt4, versionOfQt5})
                QTest::addRow("%s, %d", name, version) << value << int(version);
        };
        rows("text", "text");
        rows("date", QDateTime(QDate(2000, 1, 1), QTime(12, 0)));
        rows("color", QColor(Qt::red));
        rows("brush", QBrush(Qt::red));
        rows("gradient", QBrush(QLinearGradient(0, 0, 1, 1)));
        rows("pen", QPen(Qt::red, 2));
        rows("palette", QPalette(Qt::green));
        rows("format", QTextFormat());
        rows("list", QVariantList{"text", "text", "text", "text"});
    }

    void takesAnEndWithinAValueAsReadable()
    {
        QFETCH(QVariant, value);
        QFETCH(int, version);
        const QByteArray whole = streamed(value, Version(version));

        int readable = 0;
        for (int size = 0; size < whole.size(); ++size)
            readable += isReadable(whole.left(size), Version(version), Images::Refused);

        // What has elements, and is cut off early, claims to have more than there are.
        const QByteArray name = QTest::currentDataTag();
        const bool hasElements = name.startsWith("gradient") || name.startsWith("list");
        QVERIFY(hasElements ? readable > 20 && readable < whole.size() : readable == whole.size());
    }
};

/// The text of a value in a settings file, from its stream.
static QByteArray line(const char *key, const QByteArray &stream)
{
    const QString text = Utils::IniText::latin1("@Variant(" + stream + ')');
    return QByteArray(key) + '=' +
           Utils::IniText::writeValue(QVariant::fromValue(UnbuiltValue{text})) + '\n';
}

int main(int argc, char *argv[])
{
    qRegisterMetaTypeStreamOperators<UnbuiltValue>();
    const QImage image(4, 4, QImage::Format_RGB32);
    QByteArray stream = number(QMetaType::QPixmap);
    {
        QDataStream out(&stream, QIODevice::Append);
        out.setVersion(versionOfQt4);
        out << image;
    }
    readEarly = Utils::IniText::read(
        line("pixmap", stream) + line("curve", streamed(QEasingCurve(), versionOfQt4)) +
        line("list", stream).replace("list=", "list=a, ") + "text=b\n");

    const QGuiApplication application(argc, argv);
    tst_StoredVariant test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_StoredVariant.moc"
