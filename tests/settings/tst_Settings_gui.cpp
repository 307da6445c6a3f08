// A test that writes what programs are to bear, and the same program with and without a
// QGuiApplication, which reads it.

#ifndef _WIN32
#include "tests/support/OrdinaryUser.h"
#endif
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/IniText_p.h"
#include "utils/settings/Settings.h"
#include "utils/settings/StoredVariant_p.h"

#include <QBitmap>
#include <QBrush>
#include <QCursor>
#include <QDateTime>
#include <QEasingCurve>
#include <QGuiApplication>
#include <QIcon>
#include <QLinearGradient>
#include <QPalette>
#include <QPen>
#include <QPixmap>
#include <QRegion>
#include <QTextFormat>
#include <QTimeZone>
#include <QtTest>

#include <memory>
#include <optional>

#ifdef _WIN32
static const char fileName[] = "/Company/Tests.ini";
#else
static const char fileName[] = "/Company/Tests.conf";
#endif

using Utils::Settings;

static std::unique_ptr<SettingsHome> home;

static QByteArray contents()
{
    QFile file(qEnvironmentVariable("XDG_CONFIG_HOME") + fileName);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

/// The line of \p key in the file.
static QByteArray lineOf(const QByteArray &key)
{
    for (const QByteArray &line : contents().split('\n')) {
        if (line.startsWith(key + '='))
            return line;
    }
    return QByteArray();
}

/// What follows the "=" in the file for \p value, or for a value whose stream is \p bytes.
static QByteArray stored(const QVariant &value, const QByteArray &bytes)
{
    QByteArray text;
    QDataStream stream(&text, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_4_0);
    if (value.isValid())
        stream << value;
    text = "@Variant(" + text + bytes + ')';
    const QString whole = QString::fromLatin1(text.constData(), text.size());
    return Utils::IniText::writeValue(QVariant::fromValue(Utils::UnbuiltValue{whole}));
}

/// The same for a date in the time zone \p name, or for one whose kind does not exist.
static QByteArray dateIn(const QString &name)
{
    QByteArray text;
    QDataStream stream(&text, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_6);
    stream << quint32(QMetaType::QDateTime) << qint8(0) << QDate(2000, 1, 1) << QTime(12, 0);
    if (name.isEmpty())
        stream << qint8(-1);
    else
        stream << qint8(Qt::TimeZone) << name;
    const QString whole = "@DateTime(" + Utils::IniText::latin1(text) + ')';
    return Utils::IniText::writeValue(QVariant::fromValue(Utils::UnbuiltValue{whole}));
}

static QByteArray number(int n)
{
    return QByteArray(1, char(n >> 24)) + char(n >> 16) + char(n >> 8) + char(n);
}

/// Whether \p value is invalid, or a list of 1 and the invalid value.
static bool isHidden(const QVariant &value)
{
    return !value.isValid() || value == QVariantList{"1", QVariant()};
}

/// A program that reads the file, and ends with 0 when all is as it must be.
static int runReader(const QByteArray &command)
{
    QSettings::setDefaultFormat(QSettings::NativeFormat);
    SettingsHome::nameApplication();
    std::unique_ptr<QSettings> ofHost;
    if (command == "afterTheHost")
        ofHost = std::make_unique<QSettings>();
#ifndef _WIN32
    std::optional<OrdinaryUser> user;
    const bool isOfAnother = command == "ofAnother"; // and may be written, but not touched
    if (command == "unwritable" || isOfAnother) {
        const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME");
        QFile::setPermissions(folder + fileName, QFile::Permissions(isOfAnother ? 0x6666 : 0x4444));
        QFile::setPermissions(folder + "/Company", QFile::Permissions(0x7755));
        user.emplace(folder);
    }
#endif
    const QByteArray line = lineOf("v");
    int errors = 0;
    const auto check = [&](bool condition, const char *what) {
        if (!condition)
            std::printf("not met: %s\n", what);
        errors += condition ? 0 : 1;
    };
    {
        Settings settings("g");
        if (command == "readable") {
            check(settings.getValue("v").isValid(), "the value is read");
            return errors;
        }
        if (command == "unwritable" || command == "ofAnother") {
            check(isHidden(settings.getValue("v", 5)), "it reads as the invalid value");
            check(settings.getInt("other") == 7, "the other value is read");
            return errors;
        }
        check(settings.keys("") == QStringList({"other", "v"}), "the keys are there");
        check(isHidden(settings.getValue("v", 5)), "it reads as the invalid value");
        check(settings.getInt("other") == 7, "the other value is read");
        settings.setInt("other", 8);
        check(settings.sync(), "the store is written");
    }
    check(!line.isEmpty() && lineOf("v") == line, "the value is kept");
    check(lineOf("other") == "other=8", "the other one is written");
    {
        Settings settings;
        settings.renameKey("g", "h");
        check(settings.sync(), "the renamed group is written");
        check(isHidden(settings.getValue("h/v")), "it reads as the invalid value still");
    }
    check(contents().startsWith("[h]\n") && lineOf("v") == line, "a renamed value is kept");
    return errors;
}

class tst_Settings_gui : public QObject
{
    Q_OBJECT

private:
    static QPixmap pixmap()
    {
        QImage image(4, 4, QImage::Format_ARGB32);
        image.fill(Qt::red);
        return QPixmap::fromImage(image);
    }

    static void write(const QByteArray &value)
    {
        QDir().mkpath(home->path() + "/Company");
        QFile file(home->path() + fileName);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[g]\nother=7\nv=" + value + "\n");
    }

    static void runOther(const char *program, const char *command)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(), {program, command});
        QVERIFY(process.waitForFinished(60000));
        const QByteArray output = process.readAll();
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, output);
    }

private Q_SLOTS:
    void keepsImagesUntilThereIsAGuiApplication_data()
    {
        QTest::addColumn<QByteArray>("value");

        const QBrush texture(pixmap());
        QPalette palette;
        palette.setBrush(QPalette::Base, texture);
        QTextFormat format;
        format.setProperty(QTextFormat::UserProperty, pixmap());
        const auto row = [](const char *name, const QVariant &value) {
            QTest::newRow(name) << stored(value, QByteArray());
        };
        row("pixmap", pixmap());
        row("no pixmap", QPixmap());
        row("bitmap", QBitmap(2, 2));
        row("icon", QIcon(pixmap()));
        row("cursor", QCursor(Qt::WaitCursor));
        row("cursor of a pixmap", QCursor(pixmap()));
        row("brush with a texture", texture);
        row("pen with a texture", QPen(texture, 2));
        row("palette with a texture", palette);
        row("format with a pixmap", format);
        row("pixmap in a list", QVariantList{1, "a", pixmap()});
        row("pixmap in a map", QVariantMap{{"a", QVariantList{pixmap()}}});
        row("pixmap in a hash", QVariantHash{{"a", pixmap()}});
        row("pixmap after what is long",
            QVariantList{QPalette(), QPen(Qt::red), QTextFormat(), QBrush(QLinearGradient()),
                         QDateTime::currentDateTime(), QPolygon(QRect(1, 2, 3, 4)), pixmap()});
        QTest::newRow("bitmap by its name")
            << stored({}, number(127) + number(8) + QByteArray("QBitmap", 8));
        QTest::newRow("bitmap in a value of two") << "1, " + stored(QBitmap(1, 1), QByteArray());
        QTest::newRow("bitmap in a stream of Qt 5") << QByteArray("@DateTime(\\0\\0\\0I\\0)");
    }

    void keepsImagesUntilThereIsAGuiApplication()
    {
        QFETCH(QByteArray, value);
        write(value);

        runOther("--with-gui", "readable");
        runOther("--without-gui", "unbuilt");
    }

    void keepsWhatQtCannotReadSafely_data()
    {
        QTest::addColumn<QByteArray>("value");

        QTest::newRow("list with too many elements") << stored({}, number(9) + number(0x7fffffff));
        QTest::newRow("polygon with too many points")
            << stored({}, number(71) + number(0x7fffffff));
        QTest::newRow("texts with too many") << stored({}, number(11) + number(0x7fffffff));
        QTest::newRow("region with too many rectangles")
            << stored({}, number(72) + number(8) + number(10) + number(0x7fffffff));
        QTest::newRow("region with too many points")
            << stored({}, number(72) + number(8) + number(3) + number(0x7fffffff));
        QTest::newRow("gradient with too many stops")
            << stored({}, number(66) + char(Qt::LinearGradientPattern) + QByteArray(11, 0) +
                              number(0) + number(0x7fffffff));
        QTest::newRow("pen with too many dashes") << stored(
            {}, number(77) + char(Qt::CustomDashLine) + QByteArray(8, 0) + char(Qt::NoBrush) +
                    QByteArray(11, 0) + QByteArray(8, 0) + number(0x7fffffff));
        QTest::newRow("color of an unknown kind")
            << stored({}, number(67) + char(6) + QByteArray(10, 0));
        QTest::newRow("easing curve") << stored(QEasingCurve(), QByteArray());
        QTest::newRow("easing curve after images")
            << stored(QVariantList{pixmap(), QIcon(pixmap()), QCursor(pixmap()), QBitmap(2, 2),
                                   QBrush(pixmap()), QEasingCurve()},
                      QByteArray());
        QTest::newRow("easing curve in a value of two")
            << "1, " + stored(QEasingCurve(), QByteArray());
        QTest::newRow("date in an unknown time zone") << dateIn("Nowhere/Nothing");
        QTest::newRow("date of no kind") << dateIn({});
        QTest::newRow("lists in lists")
            << stored({}, (number(9) + number(1)).repeated(100'000) + number(0) + number(-1));
    }

    void keepsWhatQtCannotReadSafely()
    {
        QFETCH(QByteArray, value);

        write(value);
        runOther("--without-gui", "unbuilt");
        write(value);
        runOther("--with-gui", "unbuilt");
    }

    void keepsItThoughTheHostHasReadTheFile()
    {
        write(stored(pixmap(), QByteArray()));
        runOther("--without-gui", "afterTheHost");

        write(stored(QEasingCurve(), QByteArray()));
        runOther("--with-gui", "afterTheHost");
    }

#ifndef _WIN32
    void readsAFileThatCannotBeWritten()
    {
        write(stored(QEasingCurve(), QByteArray()));

        runOther("--with-gui", "unwritable");
        QVERIFY(QFile::remove(home->path() + fileName));
    }

    void readsAFileOfAnotherUser()
    {
        write(stored(QEasingCurve(), QByteArray()));

        runOther("--with-gui", "ofAnother");
        QVERIFY(QFile::remove(home->path() + fileName));
    }
#endif

    void readsWhatNeedsNone_data()
    {
        QTest::addColumn<QVariant>("value");

        QLinearGradient gradient(0, 0, 1, 1);
        gradient.setColorAt(0.5, Qt::green);
        QTextFormat format;
        format.setProperty(QTextFormat::UserProperty, 3);
        QTest::newRow("brush") << QVariant(QBrush(Qt::red));
        QTest::newRow("brush with a gradient") << QVariant(QBrush(gradient));
        QTest::newRow("pen") << QVariant(QPen(Qt::red, 2, Qt::DashLine));
        QTest::newRow("palette") << QVariant(QPalette(Qt::red));
        QTest::newRow("format") << QVariant(format);
        QTest::newRow("polygon") << QVariant(QPolygon(QRect(1, 2, 3, 4)));
        QTest::newRow("font") << QVariant(QFont("x", 12));
        QTest::newRow("image") << QVariant(pixmap().toImage());
        QTest::newRow("region") << QVariant(QRegion(1, 2, 3, 4) + QRegion(9, 9, 3, 4));
        QTest::newRow("no region") << QVariant(QRegion());
        QTest::newRow("date") << QVariant(QDateTime::currentDateTime());
        QTest::newRow("date in a time zone")
            << QVariant(QDateTime::currentDateTime().toTimeZone(QTimeZone("UTC+01:00")));
        QTest::newRow("map") << QVariant(QVariantMap{{"a", 1}, {"b", QStringList{"x", "y"}}});
    }

    void readsWhatNeedsNone()
    {
        QFETCH(QVariant, value);
        write(stored(value, QByteArray()));

        runOther("--without-gui", "readable");
        runOther("--with-gui", "readable");
    }

    void readsAllWithAGuiApplication()
    {
        write(stored(pixmap(), QByteArray()));

        const Settings settings("g");
        const Data::Variant value = settings.getValue("v");

        QCOMPARE(value.userType(), int(QMetaType::QPixmap));
        QCOMPARE(value.value<QPixmap>().size(), QSize(4, 4));
    }
};

int main(int argc, char *argv[])
{
    if (argc == 3 && QByteArray(argv[1]) == "--without-gui")
        return runReader(argv[2]);
    if (argc == 3 && QByteArray(argv[1]) == "--with-gui") {
        const QGuiApplication application(argc, argv);
        return runReader(argv[2]);
    }
    home = std::make_unique<SettingsHome>();
    QGuiApplication application(argc, argv);
    SettingsHome::nameApplication();
    tst_Settings_gui test;
    const int result = QTest::qExec(&test, argc, argv);
    home.reset();
    return result;
}

#include "tst_Settings_gui.moc"
