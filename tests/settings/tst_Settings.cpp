#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/signals/Slot.h"

#include <QtTest>

#include <memory>

using Data::Color;
using Data::Variant;
using Utils::Settings;

static const SettingsHome home;

/// What a program of its own prints, followed by the error when it fails.
static QString outputOf(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(SETTINGS_CHILD, arguments);
    process.waitForFinished(-1);
    QString output = QString::fromUtf8(process.readAll());
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        output += "exit code " + QString::number(process.exitCode());
    return output;
}

class tst_Settings : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Recorder> m_recorder;

    QStringList seen() const { return m_recorder->calls; }

private Q_SLOTS:
    void init()
    {
        home.fill("");
        m_recorder = std::make_unique<Recorder>();
        QVERIFY(Settings::SettingChanged().connect(
            m_recorder.get(), SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void readsWhatItWrote_data()
    {
        QTest::addColumn<Variant>("value");

        QTest::newRow("true") << Variant(true);
        QTest::newRow("number") << Variant(-5);
        QTest::newRow("fraction") << Variant(1.5);
        QTest::newRow("text") << Variant("a b;c\n=\"\\,@");
        QTest::newRow("empty text") << Variant("");
        QTest::newRow("marked text") << Variant("@Invalid()");
        QTest::newRow("non-ASCII text") << Variant("Größe 日本 😀");
        QTest::newRow("list") << Variant(QStringList{"a", "", "b, c"});
        QTest::newRow("colour") << Variant(QColor(1, 2, 3, 4));
        QTest::newRow("long text") << Variant(QString(1000000, 'x'));
    }

    void readsWhatItWrote()
    {
        QFETCH(Variant, value);

        Settings().setValue("k", value);

        QCOMPARE(Settings().getValue("k"), value);
    }

    void readsByType()
    {
        Settings settings;
        settings.setBool("b", true)
            .setInt("i", -7)
            .setString("s", "text")
            .setColor("c", QColor(1, 2, 3));

        QCOMPARE(settings.getBool("b", false), true);
        QCOMPARE(settings.getInt("i", 1), -7);
        QCOMPARE(settings.getString("s", "x"), Data::String("text"));
        QCOMPARE(settings.getColor("c", QColor()), Color(1, 2, 3));
        QCOMPARE(seen(),
                 (QStringList{"sig(b, true)", "sig(i, -7)", "sig(s, text)", "sig(c, #010203)"}));
        QCOMPARE(settings.getValue("b").userType(), int(QMetaType::Bool));
        QCOMPARE(settings.getValue("i").userType(), int(QMetaType::Int));
        QCOMPARE(settings.getValue("s").userType(), int(QMetaType::QString));
        QCOMPARE(settings.getValue("c").userType(), int(QMetaType::QColor));
    }

    void givesTheDefaultOfAnAbsentKey()
    {
        home.fill("group/k=1");
        const Settings settings;

        for (const char *key : {"absent", "group", "", "/", "//"}) {
            QCOMPARE(settings.getValue(key, 1.5), Variant(1.5));
            QCOMPARE(settings.getBool(key, true), true);
            QCOMPARE(settings.getInt(key, 5), 5);
            QCOMPARE(settings.getString(key, "text"), Data::String("text"));
            QCOMPARE(settings.getColor(key, QColor(1, 2, 3)), Color(1, 2, 3));

            QCOMPARE(settings.getValue(key), Variant());
            QCOMPARE(settings.getBool(key), false);
            QCOMPARE(settings.getInt(key), 0);
            QCOMPARE(settings.getString(key), Data::String());
            QVERIFY(!settings.getColor(key).isValid());
        }
    }

    void convertsWhatIsStored_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("truth");
        QTest::addColumn<int>("number");

        QTest::newRow("number") << "12" << true << 12;
        QTest::newRow("zero") << "0" << false << 0;
        QTest::newRow("word") << "no" << true << 0;
        QTest::newRow("false") << "False" << false << 0;
        QTest::newRow("fraction") << "1.5" << true << 0;
        QTest::newRow("least int") << "-2147483648" << true << int(0x80000000);
    }

    void convertsWhatIsStored()
    {
        QFETCH(QString, stored);
        QFETCH(bool, truth);
        QFETCH(int, number);
        const Settings settings;
        home.fill("k=" + stored + " empty=");

        QCOMPARE(settings.getBool("k", !truth), truth);
        QCOMPARE(settings.getInt("k", 77), number);
        QCOMPARE(settings.getString("k"), Data::String(stored));
        QCOMPARE(settings.getBool("empty", true), false);
        QCOMPARE(settings.getInt("empty", 77), 0);
        QCOMPARE(settings.getString("empty", "default"), Data::String(""));
    }

    void readsColours_data()
    {
        QTest::addColumn<Variant>("stored");
        QTest::addColumn<QColor>("color");

        const QColor fallback(9, 9, 9);
        QTest::newRow("colour") << Variant(QColor(1, 2, 3, 4)) << QColor(1, 2, 3, 4);
        QTest::newRow("name") << Variant("red") << QColor(255, 0, 0);
        QTest::newRow("digits") << Variant("#80ff0001") << QColor(255, 0, 1, 128);
        QTest::newRow("no colour") << Variant("no colour") << fallback;
        QTest::newRow("empty") << Variant("") << fallback;
        QTest::newRow("number") << Variant(12) << fallback;
        QTest::newRow("invalid colour") << Variant(QColor()) << fallback;
    }

    void readsColours()
    {
        QFETCH(Variant, stored);
        QFETCH(QColor, color);
        Settings settings;
        settings.setValue("c", stored);

        QCOMPARE(settings.getColor("c", QColor(9, 9, 9)), Color(color));
    }

    void tellsOfAKeyFromTheRoot_data()
    {
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("told");
        QTest::addColumn<QString>("stored");

        const auto row = [](const char *group, const char *key, const char *told,
                            const char *stored) {
            QTest::addRow("%s, %s", group, key)
                << QString(group) << QString(key) << QString(told) << QString(stored);
        };
        // clang-format off
        row("",     "k",      "k",          "k");
        row("g",    "k",      "g/k",        "g/k");
        row("g/h",  "k",      "g/h/k",      "g/h/k");
        row("",     "g/k",    "g/k",        "g/k");
        row("",     "/a//b/", "/a//b/",     "a/b");
        row("/g//", "/k/",    "g//k/",      "g/k");
        row("",     "Größe",  "Größe",      "Größe");
        // clang-format on
    }

    void tellsOfAKeyFromTheRoot()
    {
        QFETCH(QString, group);
        QFETCH(QString, key);
        QFETCH(QString, told);
        QFETCH(QString, stored);

        Settings settings(group);
        settings.setInt(key, 1);
        QCOMPARE(home.stored(), stored + "=1");
        QCOMPARE(settings.getInt(key), 1);
        settings.removeKey(key);
        QCOMPARE(home.stored(), QString());

        QCOMPARE(seen(), (QStringList{"sig(" + told + ", 1)", "sig(" + told + ", invalid)"}));
    }

    void tellsOfAValueThatIsTheSame()
    {
        Settings().setInt("k", 1).setInt("k", 1);

        QCOMPARE(seen(), (QStringList{"sig(k, 1)", "sig(k, 1)"}));
    }

    void removesAKeyThatIsSetToTheInvalidValue()
    {
        home.fill("a=1 a/b=2 a/b/c=3 ab=4");

        Settings().setValue("a", Variant());

        QCOMPARE(home.stored(), QString("ab=4"));
        QCOMPARE(seen(), QStringList("sig(a, invalid)"));
    }

    void removesAKeyWithAllBelowIt()
    {
        home.fill("a=1 a/b=2 a/b/c=3 ab=4");

        Settings().removeKey("a").removeKey("absent");

        QCOMPARE(home.stored(), QString("ab=4"));
        QCOMPARE(seen(), (QStringList{"sig(a, invalid)", "sig(absent, invalid)"}));
    }

    void ignoresAKeyWithoutAName()
    {
        home.fill("a=1 g/b=2");

        for (const char *group : {"", "g"}) {
            for (const char *key : {"", "/", "///"}) {
                Settings settings(group);
                settings.setValue(key, 5).setValue(key, Variant()).removeKey(key);
                settings.setBool(key, true).setInt(key, 1).setString(key, "x");
                settings.setColor(key, QColor(1, 2, 3));
            }
        }

        QCOMPARE(home.stored(), QString("a=1 g/b=2"));
        QCOMPARE(seen(), QStringList());
    }

    void hasChangedTheStoreWhenItTells()
    {
        Settings settings;
        QStringList found;
        m_recorder->reaction = [&] { found.append(settings.getString("k", "absent")); };

        settings.setInt("k", 1).removeKey("k");

        QCOMPARE(found, (QStringList{"1", "absent"}));
    }

    void entersAndLeavesGroups()
    {
        home.fill("k=0 a/k=1 a/b/k=2");
        const Settings settings("a");

        QCOMPARE(settings.getInt("k"), 1);
        QCOMPARE(settings.beginGroup("b").getInt("k"), 2);
        QCOMPARE(settings.endGroup().getInt("k"), 1);
        QCOMPARE(&settings.beginGroup("").beginGroup("/b/"), &settings);
        QCOMPARE(settings.getInt("k"), 2);
        QCOMPARE(settings.endGroup().endGroup().endGroup().getInt("k"), 0);
        QCOMPARE(Settings("a/b").getInt("k"), 2);
        QCOMPARE(Settings("").getInt("k"), 0);
    }

    void returnsItselfFromItsSetters()
    {
        Settings settings;

        QCOMPARE(&settings.setValue("a", 1), &settings);
        QCOMPARE(&settings.setValue("", 1), &settings);
        QCOMPARE(&settings.setBool("b", true), &settings);
        QCOMPARE(&settings.setInt("c", 1), &settings);
        QCOMPARE(&settings.setString("d", "x"), &settings);
        QCOMPARE(&settings.setColor("e", QColor()), &settings);
        QCOMPARE(&settings.removeKey("a"), &settings);
        QCOMPARE(&settings.copyKey("a", "b"), &settings);
        QCOMPARE(&settings.renameKey("a", "b"), &settings);
        QCOMPARE(&settings.setDefault("a", 1), &settings);
        QCOMPARE(&settings.addMRU("a", "b"), &settings);
        QCOMPARE(&settings.removeMRU("a", "b"), &settings);
    }

    void listsKeysAndGroupsSorted()
    {
        SKIP_ON_WINDOWS("QSettings ignores the case of keys on Windows");
        home.fill("b=1 B=1 a=1 g/k=1 G/k=1 f/h/k=1 f/j=1 f/i=1 f/I=1 b/x=1");
        const Settings settings;

        QCOMPARE(settings.keys(""), (QStringList{"B", "a", "b"}));
        QCOMPARE(settings.groups(""), (QStringList{"G", "b", "f", "g"}));
        QCOMPARE(settings.keys("f"), (QStringList{"I", "i", "j"}));
        QCOMPARE(settings.groups("f"), QStringList("h"));
        QCOMPARE(settings.keys("f/h"), QStringList("k"));
        QCOMPARE(settings.keys("absent"), QStringList());
        QCOMPARE(settings.groups("absent"), QStringList());
        QCOMPARE(settings.beginGroup("f").keys(""), (QStringList{"I", "i", "j"}));
        QCOMPARE(settings.groups(""), QStringList("h"));
        QCOMPARE(settings.keys("h"), QStringList("k"));
        QCOMPARE(settings.endGroup().keys(""), (QStringList{"B", "a", "b"})); // back again
    }

    void sharesItsGroupWithItsCopies()
    {
        home.fill("a/k=1 a/b/k=2 c/k=3");
        auto original = std::make_unique<Settings>("a");
        Settings copy(*original);

        original->beginGroup("b");
        QCOMPARE(copy.getInt("k"), 2);
        original.reset();
        QCOMPARE(copy.getInt("k"), 2);
        QCOMPARE(copy.endGroup().getInt("k"), 1);

        const Settings other("c");
        copy = other;
        QCOMPARE(copy.getInt("k"), 3);
    }

    void takesWhatAReceiverWrites()
    {
        Settings settings;
        m_recorder->reaction = [&] {
            if (settings.getInt("copy") != settings.getInt("k"))
                settings.setInt("copy", settings.getInt("k"));
        };

        settings.setInt("k", 1).setInt("k", 2);

        QCOMPARE(home.stored(), QString("copy=2 k=2"));
        QCOMPARE(seen(), (QStringList{"sig(k, 1)", "sig(copy, 1)", "sig(k, 2)", "sig(copy, 2)"}));
    }

    void isChangedThoughAReceiverAborts()
    {
        m_recorder->reaction = [] { Settings::SettingChanged().abort(); };

        Settings().setInt("k", 1);

        QCOMPARE(home.stored(), QString("k=1"));
    }

    void outlivesItsReceiver()
    {
        m_recorder->reaction = [this] { m_recorder.reset(); };

        Settings().setInt("k", 1).setInt("l", 2);

        QCOMPARE(home.stored(), QString("k=1 l=2"));
    }

    void mayBeDeletedByAReceiver_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("stored");

        // clang-format off
        QTest::newRow("set") << "set" << "a/b/x=1 a/y=2 k=1";
        QTest::newRow("remove") << "remove" << "";
        QTest::newRow("copy") << "copy" << "a/b/x=1 a/y=2 c/b/x=1 c/y=2";
        QTest::newRow("rename") << "rename" << "c/b/x=1 c/y=2";
        QTest::newRow("rename to the same") << "same" << "a/b/x=1 a/y=2";
        QTest::newRow("recent") << "recent" << "MRU/l/aa=p a/b/x=1 a/y=2";
        // clang-format on
    }

    void mayBeDeletedByAReceiver()
    {
        QFETCH(QString, operation);
        QFETCH(QString, stored);
        home.fill("a/b/x=1 a/y=2");
        auto settings = std::make_unique<Settings>();
        m_recorder->reaction = [&] { settings.reset(); };

        Settings &doomed = *settings;
        if (operation == "set")
            doomed.setInt("k", 1);
        else if (operation == "remove")
            doomed.removeKey("a");
        else if (operation == "copy")
            doomed.copyKey("a", "c", true);
        else if (operation == "rename")
            doomed.renameKey("a", "c", true);
        else if (operation == "same")
            doomed.renameKey("a", "a", true);
        else
            doomed.addMRU("l", "p");

        QCOMPARE(settings.get(), nullptr);
        QCOMPARE(home.stored(), stored);
    }

    void isReadByAnotherProcess()
    {
        {
            Settings settings("g");
            settings.setInt("i", 5).setString("s", "Größe 日本, a;b").setBool("b", true);
            settings.setColor("c", QColor(1, 2, 3)).setValue("d", 1.5);
        } // written here

        const QString list = outputOf({"list"});
        QVERIFY2(list.contains("g/b=true "), qPrintable(list));
        QVERIFY2(list.endsWith("g/d=1.5 g/i=5 g/s=Größe 日本, a;b"), qPrintable(list));
        QCOMPARE(outputOf({"getInt", "g/i"}), QString("5"));
        QCOMPARE(outputOf({"getColor", "g/c"}), QString("#010203"));
        QCOMPARE(outputOf({"getInt", "g/d"}), QString("0")); // the type is lost
        QCOMPARE(Settings().getInt("g/d"), 2);               // but not here
    }

    void isReadByAnotherProcessWhenEachObjectEnds()
    {
        for (int i = 1; i <= 3; ++i) {
            Settings("g").setInt("k", i); // no event loop runs, and nothing else is called
            QCOMPARE(outputOf({"getInt", "g/k"}), QString::number(i));
        }
        Settings("g").removeKey("k");
        QCOMPARE(outputOf({"getInt", "g/k"}), QString("-1"));
    }

    void isReadByAnotherProcessAfterSyncAndTheEventLoop()
    {
        Settings settings("g");
        settings.setInt("k", 1);
        QCOMPARE(outputOf({"getInt", "g/k"}), QString("-1"));
        QVERIFY(settings.sync());
        QCOMPARE(outputOf({"getInt", "g/k"}), QString("1"));

        settings.setInt("k", 2);
        QCOMPARE(outputOf({"getInt", "g/k"}), QString("1"));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(outputOf({"getInt", "g/k"}), QString("2"));
    }

    void readsWhatAnotherProcessWroteSinceTheLastObject()
    {
        for (int i = 1; i <= 3; ++i) {
            const QString text = QString(i, 'x'); // each as long as no other
            QCOMPARE(outputOf({"setString", "g/k", text}), QString());
            QCOMPARE(Settings("g").getString("k"), Data::String(text));
            Settings("g").setInt("mine", i);
            QCOMPARE(outputOf({"list"}), QString("g/k=%1 g/mine=%2").arg(text).arg(i));
        }
    }

    void readsWhatAnotherProcessWrote()
    {
        QCOMPARE(outputOf({"setString", "g/k", "42"}), QString());

        QSettings().sync();
        QCOMPARE(Settings("g").getInt("k"), 42);
    }

    void isWrittenWhereTheHostWantsIt()
    {
        Settings().setInt("k", 1);

        const QString ending = QSettings::defaultFormat() == QSettings::IniFormat ? "ini" : "conf";
        QCOMPARE(home.file(), home.path() + "/Company/Tests." + ending);
        QVERIFY(QFile::exists(home.file()));
    }

    void isWrittenAtTheEndOfTheProcess()
    {
        QCOMPARE(outputOf({"writeAtTheEnd"}), QString());

        QSettings().sync();
        QCOMPARE(home.stored(), QString("MRU/late/aa=path copy/late/aa=path early=1 late=2"));
    }

    void isWrittenForTheFirstTimeAtTheEndOfTheProcess()
    {
        home.fill("early=4");

        QCOMPARE(outputOf({"writeOnlyAtTheEnd"}), QString());

        QSettings().sync();
        QCOMPARE(home.stored(), QString("MRU/late/aa=path copy/late/aa=path early=4 late=5"));
    }

    void keepsWhatItCannotWriteToItself_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::addColumn<bool>("isRead"); // no file is; one that cannot be examined is not

        QTest::newRow("a folder in the file's place") << "folder" << false;
        QTest::newRow("a file in the folder's place") << "file" << true;
        QTest::newRow("a folder that may not be written") << "closed" << true;
        QTest::newRow("a folder without rights") << "rights" << false;
    }

    void keepsWhatItCannotWriteToItself()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(QString, obstacle);
        QFETCH(bool, isRead);
        const QString folder = home.path() + "/" + obstacle;
        QCoreApplication::setOrganizationName(obstacle);
        const QString file = home.file();
        QVERIFY(!QFile::exists(file));
        if (obstacle == "folder") {
            QVERIFY(QDir().mkpath(file));
        } else if (obstacle == "file") {
            QFile other(folder);
            QVERIFY(other.open(QIODevice::WriteOnly) && other.write("kept") == 4);
        } else {
            const auto listable = QFile::Permissions(0x5555);
            const auto rights = obstacle == "closed" ? listable : QFile::Permissions();
            QVERIFY(QDir().mkdir(folder) && QFile::setPermissions(folder, rights));
        }
        const QString expected = isRead ? "g/MRU/l/aa=p g/k=1 g/m/l/aa=p" : "g/k=1";

        {
            const OrdinaryUser user(home.path());
            Settings settings("g");
            settings.setInt("k", 1).addMRU("l", "p").copyKey("MRU", "n", true);
            settings.renameKey("n", "m", true).removeKey("absent");
            Data::String reason;
            QVERIFY(!settings.sync());
            QCOMPARE(settings.status(&reason), Settings::Failed);
            QVERIFY2(reason.startsWith(file + ": ") && reason.size() > file.size() + 5,
                     qPrintable(reason));
            QSettings().sync();
            QCOMPARE(home.stored(), expected);

            settings = Settings("other"); // the last one dies
            QCOMPARE(home.stored(), expected);
        }

        QCOMPARE(seen().size(), isRead ? 8 : 2);
        QCOMPARE(QFileInfo(file).isDir(), obstacle == "folder");
        if (obstacle == "file")
            QCOMPARE(QFileInfo(folder).size(), qint64(4));
        QCoreApplication::setOrganizationName("Company");
    }

    void keepsWhatIsStoredWhereItCannotWrite_data()
    {
        QTest::addColumn<bool>("isFolderClosed");

        QTest::newRow("a file that may not be written") << false;
        QTest::newRow("nor anything in its folder") << true;
    }

    void keepsWhatIsStoredWhereItCannotWrite()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(bool, isFolderClosed);
        const auto readable = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
        const auto listable = readable | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;
        Settings().setInt("kept", 1);
        QSettings().sync();
        const QString file = home.file();
        const QString folder = QFileInfo(file).path();
        QVERIFY(QFile::setPermissions(file, readable));
        if (isFolderClosed)
            QVERIFY(QFile::setPermissions(folder, listable));

        {
            const OrdinaryUser user(home.path());
            Settings settings;
            settings.setInt("kept", 2).setInt("new", 3).removeKey("kept");
            QSettings().sync();
            QCOMPARE(settings.getInt("new"), 3);
        }

        QVERIFY(QFile::setPermissions(folder, listable | QFile::WriteOwner));
        QFile store(file);
        QVERIFY(store.open(QIODevice::ReadOnly));
        const QByteArray contents = store.readAll();
        QVERIFY2(contents.contains("kept=1") && !contents.contains("new"), contents);
        QVERIFY(QFile::setPermissions(file, readable | QFile::WriteOwner));
    }

    void takesKeysOfEveryKind_data()
    {
        QTest::addColumn<QString>("key");

        QTest::newRow("blank") << " ";
        QTest::newRow("inner slashes") << "a//b";
        QTest::newRow("outer slashes") << "/a/";
        QTest::newRow("non-ASCII") << QString::fromUtf8("Größe/日本/😀");
        QTest::newRow("signs") << "a=b;c%[d]\\@";
        QTest::newRow("control characters") << QString("a\n\t") + QChar(0) + "b";
#ifndef _WIN32 // where QSettings finds keys by QString::toLower(), which damages this one
        QTest::newRow("half a character") << QString(QChar(0xd800));
#endif
        QTest::newRow("placeholder") << "%1%2";
        QTest::newRow("General") << "General/general";
        QTest::newRow("long") << QString(100000, 'k');
        QTest::newRow("deep") << QString("k/").repeated(3000);
    }

    void takesKeysOfEveryKind()
    {
        QFETCH(QString, key);
        Settings settings("group");

        settings.setInt(key, 5).setDefault(key, 6, true).copyKey("", "copy", true);
        settings.renameKey("copy", "moved", true).addMRU(key, key);

        QCOMPARE(settings.getInt(key), 5);
        QCOMPARE(settings.getInt("moved/" + key), 5);
        QCOMPARE(settings.getMRU(key, false).size(), 1);
        QVERIFY(seen().contains("sig(group/" + key + ", 5)"));
        settings.removeKey(key);
        QCOMPARE(settings.getInt(key, 7), 7);
        QCOMPARE(settings.getInt("moved/" + key), 5);
    }
};

QTEST_GUILESS_MAIN(tst_Settings)
#include "tst_Settings.moc"
