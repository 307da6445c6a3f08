#include "utils/settings/IniText_p.h"

#include "tests/support/Files.h" // contentsOf
#include "tests/support/Windows.h"

#include <QColor>
#include <QtTest>

#include <algorithm>

namespace IniText = Utils::IniText;

class tst_IniText : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder{QFileInfo("/dev/shm").isWritable() ? "/dev/shm/ini-XXXXXX"
                                                              : QDir::tempPath() + "/ini-XXXXXX"};

    QString path(const QString &name) const { return m_folder.filePath(name); }

    /// What QSettings reads in \p text.
    QSettings::SettingsMap readByQt(const QByteArray &text) const
    {
        QTemporaryFile file(path("XXXXXX.ini"));
        file.open();
        file.write(text);
        file.close();
        const QSettings settings(file.fileName(), QSettings::IniFormat);
        const QStringList keys = settings.allKeys();
        QSettings::SettingsMap values;
        for (const QString &key : keys) {
            // A key that QSettings lists and cannot ask for.
            if (key != key.split('/', Qt::SkipEmptyParts).join('/') || key.isEmpty())
                continue;
            values[key] = settings.value(key);
        }
        return values;
    }

    static QSettings::SettingsMap askable(QSettings::SettingsMap values)
    {
        for (const QString &key : values.keys()) {
            if (key != key.split('/', Qt::SkipEmptyParts).join('/') || key.isEmpty())
                values.remove(key);
        }
        return values;
    }

    /// In type too, where a QVariant takes "5" for 5.
    static bool areSame(const QSettings::SettingsMap &left, const QSettings::SettingsMap &right)
    {
        return left.keys() == right.keys() && std::equal(left.begin(), left.end(), right.begin(),
                                                         [](const QVariant &a, const QVariant &b) {
                                                             return a == b &&
                                                                    a.userType() == b.userType();
                                                         });
    }

    QByteArray writtenByQt(const QSettings::SettingsMap &values) const
    {
        const QString file = path("written.ini");
        QFile::remove(file);
        {
            QSettings settings(file, QSettings::IniFormat);
            settings.clear();
            for (auto entry = values.begin(); entry != values.end(); ++entry)
                settings.setValue(entry.key(), *entry);
        }
        return contentsOf(file);
    }

    static QString randomText(QRandomGenerator &random, int longest)
    {
        static const QString signs = QString::fromUtf8(" \t\n\r\a\b\f\v\\\"'?;,=@()[]%/#xXuU01789"
                                                       "abcdefABCDEFgG.-_äß€日😀\x7f") +
                                     QChar(0) + QChar(1) + QChar(0xa0) + QChar(0xd800) +
                                     QChar(0xffff);
        QString text;
        for (int i = random.bounded(longest + 1); i > 0; --i)
            text += signs[random.bounded(signs.size())];
        return text;
    }

    static QString randomKey(QRandomGenerator &random)
    {
        static const QStringList words = {
            "a",        "A",   "a-b",   "General", "general", "GENERAL", "%",
            "%general", "x y", "Größe", "日本",    "a=b;c",   "[d]",     "very.long-name_1"};
        QStringList names;
        for (int i = random.bounded(3); i >= 0; --i) {
            QString name = random.bounded(2) ? words[random.bounded(words.size())]
                                             : randomText(random, 5).remove('/');
            names.append(name.isEmpty() ? QString("k") : name);
        }
        return names.join('/');
    }

    static QVariant randomValue(QRandomGenerator &random, int depth = 0)
    {
        static const QStringList marks = {
            "@ByteArray(x)", "@Rect(1 2 3 4)", "@Invalid()",       "@@",          "@",
            "@Variant(",     "@Size(1 2)",     "@Point(5)6)",      "@String(a)",  "@DateTime(\1\2)",
            "@Rect(1 2 3)",  "@Size()",        "@Variant(\1\2\3)", "@Point(a b)", "@ByteArray()"};
        switch (random.bounded(depth < 2 ? 20 : 16)) {
        case 0:
            return QVariant();
        case 1:
            return random.bounded(2) == 0;
        case 2:
            return static_cast<int>(random.generate());
        case 3:
            return random.generate();
        case 4:
            return static_cast<qlonglong>(random.generate64());
        case 5:
            return random.generate64();
        case 6:
            return random.generateDouble() * 1e10;
        case 7:
            return QByteArray(randomText(random, 20).toUtf8());
        case 8:
            return QRect(random.bounded(9) - 4, 2, 3, -4);
        case 9:
            return QSize(-1, random.bounded(100));
        case 10:
            return QPoint(random.bounded(9) - 4, 7);
        case 11:
            return QDateTime::fromMSecsSinceEpoch(random.generate());
        case 12:
            return QVariant(QColor(1, 2, random.bounded(256)));
        case 13:
            return 1.5f;
        case 14:
            return marks[random.bounded(marks.size())];
        case 15:
            return QString(randomText(random, 3)) + marks[random.bounded(marks.size())];
        case 16: {
            QStringList list;
            for (int i = random.bounded(4); i > 0; --i)
                list.append(random.bounded(3) ? randomText(random, 6)
                                              : marks[random.bounded(marks.size())]);
            return list;
        }
        case 17: {
            QVariantList list;
            for (int i = random.bounded(4); i > 0; --i)
                list.append(randomValue(random, depth + 1));
            return list;
        }
        case 18:
            return QVariantMap{{"k", randomValue(random, depth + 1)}};
        default:
            return randomText(random, 30);
        }
    }

    static QByteArray randomFile(QRandomGenerator &random)
    {
        static const QByteArrayList pieces = {"[",
                                              "]",
                                              "[General]",
                                              "[%General]",
                                              "[a]",
                                              "[A]",
                                              "[ a ]",
                                              "[a\\b]",
                                              "[b",
                                              "=",
                                              "=",
                                              "=",
                                              "\n",
                                              "\n",
                                              "\n",
                                              "\r\n",
                                              "\n\r",
                                              "\r",
                                              " ",
                                              "\t",
                                              ";",
                                              ";x=1",
                                              "# x",
                                              "\"",
                                              "\"",
                                              "\\",
                                              "\\x41",
                                              "\\x",
                                              "\\xg",
                                              "\\0",
                                              "\\101",
                                              "\\18",
                                              "\\n",
                                              "\\q",
                                              "\\\n",
                                              "\\\r\n",
                                              ",",
                                              ", ",
                                              "a",
                                              "b",
                                              "key",
                                              "%20",
                                              "%U00e4",
                                              "%U",
                                              "%",
                                              "%zz",
                                              "%+5",
                                              "% 5",
                                              "@Invalid()",
                                              "@@x",
                                              "@Rect(1 2 3 4)",
                                              "@Size(1 2)",
                                              "@Point(1)2)",
                                              "@ByteArray(a)",
                                              "@String(",
                                              ")",
                                              "\xe4",
                                              "\xc3\xa4",
                                              "1",
                                              "\\\\",
                                              "\\\"",
                                              "a=1\n",
                                              "b=2\n",
                                              "[a]\nb=3\n",
                                              "[%general]\n",
                                              "x\\y=5\n",
                                              "\\y=6\n"};
        QByteArray text = random.bounded(8) == 0 ? "\xef\xbb\xbf" : "";
        for (int i = random.bounded(40); i > 0; --i)
            text += pieces[random.bounded(pieces.size())];
        if (random.bounded(4) == 0 && !text.isEmpty())
            text[random.bounded(text.size())] = '\0';
        return text;
    }

private Q_SLOTS:
    void writesTheBytesThatQSettingsWrites()
    {
        SKIP_ON_WINDOWS("QSettings keeps the order of keys on Windows");
        QRandomGenerator random(1);

        for (int i = 0; i < 1500; ++i) {
            QSettings::SettingsMap values;
            for (int k = random.bounded(8); k >= 0; --k)
                values[randomKey(random)] = randomValue(random);

            // On Windows Qt ends lines in another way.
            QCOMPARE(IniText::write(values), writtenByQt(values).replace("\r\n", "\n"));
        }
    }

    void readsTheValuesThatQSettingsReads()
    {
        SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        QRandomGenerator random(2);

        for (int i = 0; i < 1500; ++i) {
            QSettings::SettingsMap values;
            for (int k = random.bounded(8); k >= 0; --k)
                values[randomKey(random)] = randomValue(random);
            const QByteArray text = IniText::write(values);

            const QSettings::SettingsMap found = IniText::read(text);

            QVERIFY2(areSame(found, readByQt(text)), text);
        }
    }

    void readsWhatPeopleEditedAsQSettingsDoes_data()
    {
        QTest::addColumn<QByteArray>("text");

        const auto row = [](const char *name, const QByteArray &text) {
            QTest::newRow(name) << text;
        };
        // clang-format off
        row("empty",               "");
        row("no line feed at the end", "a=1");
        row("comments",            "; one\n;two\na=1 ; three\n  ;four\n[s];five\nb=2;six\n");
        row("blanks",              " a = 1 \n\t[ s ]\t\n  b  =  x y  \n\n\n");
        row("no key",              "=1\n[s]\n=2\n");
        row("no value",            "a=\nb\n[s]\nc=\n");
        row("a section twice",     "[s]\na=1\nb=1\n[t]\nc=3\n[s]\na=2\n");
        row("a key twice",         "a=1\na=2\n[General]\na=3\n");
        row("section without an end", "[s\na=1\n");
        row("General",             "[general]\na=1\n[%general]\nb=2\n[%GENERAL]\nc=3\n");
        row("section in a section", "[a\\b]\nc=1\n[a]\nb\\c=2\n");
        row("other line ends",     "a=1\r\nb=2\rc=3\n\rd=4");
        row("two lines",           "a=x\\\ny\nb=x\\\r\nz\nc=\"p\nq\"\n");
        row("lines in quotes",     "a=\"x\\\n\ny\"\nb=\"x\\\r\ry\"\nc=\"x\\\r\ny\"\nd=\"x\\\n\ry\"\n");
        row("unknown escapes",     "a=\\q\\z\\!\nb=\\xg\\x\nc=\\777\\8\nd=x\\");
        row("numbers that end",    "a=\\x41G\nb=\\x4aZ\nc=\\x4Fg\nd=\\x4A@\ne=\\101G\nf=\\1018\n");
        row("quotes",              "a=\"b\nc=\"d\" e \"f\" \ng=h\"i,j\"k, l\n");
        row("lists",               "a=1,2,3\nb=,\nc=a , \"b \" , c \nd=@Invalid(), @@x, @Size(1 2)\n");
        row("keys with escapes",   "%41=1\n%U0041=2\n%=3\n%4=4\n%zz=5\n%U12=6\na%20b=7\n");
        row("UTF-8 with its mark", "\xef\xbb\xbf[s]\na=\xc3\xa4,\xe2\x82\xac\n");
        row("UTF-8 without",       "a=\xc3\xa4\n");
        row("a NUL byte",          QByteArray("a=x\0y\nb=2\n", 10));
        // clang-format on
    }

    void readsWhatPeopleEditedAsQSettingsDoes()
    {
        SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        QFETCH(QByteArray, text);

        QVERIFY(areSame(askable(IniText::read(text)), readByQt(text)));
    }

    /// The sums of these wrap around, in Qt and here.
    void takesTheLargestRectangles()
    {
        const QByteArray texts[] = {"@Rect(2147483647 2 3 4)", "@Rect(1 1 -2147483648 4)",
                                    "@Rect(-2147483648 0 0 -1)"};
        for (const QByteArray &text : texts) {
            const QVariant value = IniText::read("k=" + text)["k"];

            QCOMPARE(value.type(), QVariant::Rect);
            QCOMPARE(IniText::writeValue(value), text);
        }
    }

    /// QDataStream ends the process on such a date.
    void writesADateInNoTimeZoneAsAnInvalidOne()
    {
        const QDateTime date(QDate(2000, 1, 1), QTime(12, 0), QTimeZone("Nowhere/Nothing"));
        const QDateTime good(QDate(2000, 1, 1), QTime(12, 0), QTimeZone("UTC"));
        const QVariantList list = {date, 1, good};
        const auto again = [](const QVariant &value) {
            return IniText::read("k=" + IniText::writeValue(value))["k"];
        };

        QCOMPARE(again(date), QVariant(QDateTime()));
        QCOMPARE(again(good), QVariant(good));
        QCOMPARE(again(list), QVariant(QVariantList({QDateTime(), "1", good})));
        QCOMPARE(again(QVariantMap{{"a", list}, {"b", good}}),
                 QVariant(QVariantMap{{"a", QVariantList{QDateTime(), 1, good}}, {"b", good}}));
        QCOMPARE(again(QVariantHash{{"a", date}}), QVariant(QVariantHash{{"a", QDateTime()}}));
    }

    void keepsTheCaseOfGeneralWhenAsked()
    {
        const QSettings::SettingsMap values = {
            {"GENERAL/a", "1"}, {"General/a", "2"}, {"a", "3"}, {"general/a", "4"}};

        const QByteArray text = IniText::write(values, IniText::Groups::AsTheyAre);

        QVERIFY2(text.contains("[%General]\na=2\n") && text.contains("[%general]\na=4\n"), text);
        QVERIFY(areSame(IniText::read(text), values));
#ifndef _WIN32 // where QSettings ignores the case of keys
        QVERIFY(areSame(readByQt(text), values));
#endif
    }

    void readsAnyBytesAsQSettingsDoes()
    {
        SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        QRandomGenerator random(3);

        for (int i = 0; i < 4000; ++i) {
            const QByteArray text = randomFile(random);

            const QSettings::SettingsMap found = askable(IniText::read(text));
            const QSettings::SettingsMap expected = readByQt(text);

            if (!areSame(found, expected))
                qDebug() << text << found << expected;
            QVERIFY(areSame(found, expected));
        }
    }
};

QTEST_GUILESS_MAIN(tst_IniText)
#include "tst_IniText.moc"
