// Operations that decide by the stored values what to write, on a store that cannot be read.

#include "tests/settings/UnreadStore.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

#include <functional>
#include <memory>

#include <sys/resource.h>
#include <unistd.h>

using Utils::File;
using Utils::Settings;

using Act = std::function<void(Settings &)>;
Q_DECLARE_METATYPE(Act)

static const SettingsHome home;

static const QByteArray oldText = "[General]\n"
                                  "width=8000000\n"
                                  "\n"
                                  "[Grp]\n"
                                  "a=1\n"
                                  "sub\\b=2\n"
                                  "\n"
                                  "[MRU]\n"
                                  "files\\aa=/one\n"
                                  "files\\ab=/two\n";

static const QByteArray groupText = "[Grp]\n"
                                    "a=1\n"
                                    "sub\\b=2\n"
                                    "tub\\c=3\n";

static const char *const oldValues = "Grp/a=1 Grp/sub/b=2 MRU/files/aa=/one MRU/files/ab=/two "
                                     "width=8000000";

/// A name that no store has had yet: what is known of a file lasts until the process ends.
static QByteArray nextApplication()
{
    static int number = 0;
    return "Unread" + QByteArray::number(++number);
}

/// The reason of the last failure as its key, as no texts are loaded.
static QString reason() { return QString(File::lastError()).section('.', -1); }

class tst_Settings_unread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Recorder> m_recorder;

    /// Each operation with what it leaves of a store that cannot be read, and of one that can.
    static void addOperations()
    {
        QTest::addColumn<Act>("act");
        QTest::addColumn<QString>("unread");
        QTest::addColumn<QString>("read");

        const auto row = [](const char *name, const Act &act, const QString &unread,
                            const QString &read) { QTest::newRow(name) << act << unread << read; };
        const QString old = oldValues;
        const QString lists = "MRU/files/aa=/one MRU/files/ab=/two";
        const QString group = "Grp/a=1 Grp/sub/b=2";
        const QString rest = lists + " width=8000000";
        const auto rename = [](const char *from, const char *to) {
            return [=](Settings &settings) { settings.renameKey(from, to, /*recursive=*/true); };
        };

        row(
            "setDefault", [](Settings &settings) { settings.setDefault("width", 640); }, old, old);
        row(
            "setDefault, absent", [](Settings &settings) { settings.setDefault("x", 640); }, old,
            old + " x=640");
        row(
            "setDefault in a group",
            [](Settings &settings) { settings.beginGroup("Grp").setDefault("a", 5).endGroup(); },
            old, old);
        row(
            "setDefault, kept",
            [](Settings &settings) { settings.setDefault("width", 640, /*keepDefault=*/true); },
            old + " width_default=640", old + " width_default=640");
        row("renameKey", rename("Grp", "New"), old, lists + " New/a=1 New/sub/b=2 width=8000000");
        row("renameKey to itself", rename("Grp", "Grp"), old, old);
        row("renameKey to another case", rename("Grp", "grp"), old,
            lists + " grp/a=1 grp/sub/b=2 width=8000000");
        row("renameKey of all", rename("", ""), old, old);
        row(
            "renameKey without subgroups",
            [](Settings &settings) { settings.renameKey("Grp", "New"); }, old,
            lists + " New/a=1 width=8000000");
        row(
            "copyKey",
            [](Settings &settings) { settings.copyKey("Grp", "New", /*recursive=*/true); }, old,
            group + " " + lists + " New/a=1 New/sub/b=2 width=8000000");
        row(
            "addMRU", [](Settings &settings) { settings.addMRU("files", "/new"); }, old,
            group + " MRU/files/aa=/new MRU/files/ab=/one MRU/files/ac=/two width=8000000");
        row(
            "addMRU of an old path", [](Settings &settings) { settings.addMRU("files", "/two"); },
            old, group + " MRU/files/aa=/two MRU/files/ab=/one width=8000000");
        row(
            "removeMRU", [](Settings &settings) { settings.removeMRU("files", "/one"); }, old,
            group + " MRU/files/ab=/two width=8000000");
    }

    /// What is in the file of a store that can be read, when all is written.
    static QString storedNow()
    {
        return Settings().sync() ? home.storedInFile() : QString("not stored");
    }

    /// Another program adds \p lines to the file, and an object is made while the process can have
    /// only \p room more files open.
    static bool readWithRoomFor(int room, const QByteArray &lines)
    {
        QFile file(home.file());
        if (!file.open(QIODevice::Append) || file.write(lines) != lines.size())
            return false;
        file.close();

        rlimit before;
        const int next = dup(STDOUT_FILENO);
        close(next);
        if (next < 0 || getrlimit(RLIMIT_NOFILE, &before) != 0)
            return false;
        rlimit limit = before;
        limit.rlim_cur = static_cast<rlim_t>(next + room);
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
            return false;
        const Settings other;
        return setrlimit(RLIMIT_NOFILE, &before) == 0;
    }

    /// Lets QSettings forget the values of the file, which it does not find for a moment.
    static bool loseValues()
    {
        const QString path = home.file();
        if (!QFile::rename(path, path + ".aside"))
            return false;
        QSettings().sync();
        return QFile::rename(path + ".aside", path);
    }

private Q_SLOTS:
    void init()
    {
        m_recorder = std::make_unique<Recorder>();
        QVERIFY(Settings::SettingChanged().connect(
            m_recorder.get(), SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void losesNothingThatWasNeverRead_data() { addOperations(); }

    void losesNothingThatWasNeverRead()
    {
        QFETCH(Act, act);
        QFETCH(QString, unread);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());

        QString why;
        {
            Settings settings;
            act(settings);
            why = reason();
            QCOMPARE(settings.status(), Settings::Failed);
        }

        QCOMPARE(Settings().status(), Settings::Failed);
        QVERIFY(store.heal());
        QCOMPARE(storedNow(), unread);
        QCOMPARE(Settings().status(), Settings::Stored);
        QCOMPARE(why, QString("settings"));
        QCOMPARE(m_recorder->calls, QStringList());
    }

    void losesNothingThatWasReadBefore_data() { addOperations(); }

    void losesNothingThatWasReadBefore()
    {
        QFETCH(Act, act);
        QFETCH(QString, unread);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        QCOMPARE(Settings().getInt("width"), 8000000);
        QVERIFY(store.harm());

        {
            Settings settings;
            act(settings);
            QCOMPARE(settings.status(), Settings::Failed);
        }

        QCOMPARE(reason(), QString("settings"));
        QVERIFY(store.heal());
        QCOMPARE(storedNow(), unread);
        QCOMPARE(m_recorder->calls, QStringList());
    }

    void losesNothingBesideOtherChanges_data() { addOperations(); }

    void losesNothingBesideOtherChanges()
    {
        QFETCH(Act, act);
        QFETCH(QString, unread);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());

        {
            Settings settings;
            settings.setInt("y", 1).removeKey("z");
            act(settings);
            QCOMPARE(settings.status(), Settings::Failed);
        }

        QVERIFY(store.heal());
        QCOMPARE(storedNow(), unread + " y=1");
    }

    void readsTheStoreAgain_data() { addOperations(); }

    void readsTheStoreAgain()
    {
        QFETCH(Act, act);
        QFETCH(QString, read);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());

        Settings settings;
        QCOMPARE(settings.status(), Settings::Failed);
        QVERIFY(store.heal());
        act(settings);

        QCOMPARE(reason(), QString());
        QCOMPARE(storedNow(), read);
    }

    void readsTheStoreAgainAfterAChange_data() { addOperations(); }

    void readsTheStoreAgainAfterAChange()
    {
        QFETCH(Act, act);
        QFETCH(QString, read);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());

        Settings settings;
        settings.setInt("y", 1);
        QVERIFY(store.heal());
        act(settings);

        QCOMPARE(reason(), QString());
        QCOMPARE(storedNow(), read + " y=1");
    }

    void findsThatAnotherObjectHasLostTheValues_data() { addOperations(); }

    void findsThatAnotherObjectHasLostTheValues()
    {
        QFETCH(Act, act);
        QFETCH(QString, read);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        Settings settings;
        settings.setInt("y", 1).sync();
        QVERIFY(loseValues());
        QCOMPARE(settings.status(), Settings::Stored);

        act(settings);

        QCOMPARE(storedNow(), read + " y=1");
    }

    void findsLostValuesAfterAChangeToo_data() { addOperations(); }

    void findsLostValuesAfterAChangeToo()
    {
        QFETCH(Act, act);
        QFETCH(QString, read);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        Settings settings;
        settings.setInt("y", 1).sync();
        QVERIFY(loseValues());

        settings.setInt("Grp/a", 1); // the first key of the file
        act(settings);

        QCOMPARE(storedNow(), read + " y=1");
    }

    void storesFlagsBesideWhatIsUnread()
    {
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());

        Settings().setFlags("Grp", false, true);

        QVERIFY(store.heal());
        QCOMPARE(storedNow(), "Grp/Default=noexport reset " + QString(oldValues));
    }

    void returnsADefaultThatCannotBeStored()
    {
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());
        Settings settings;

        settings.setDefault("width", 640).setDefault("width", 320).setDefault("Grp/x", 5);

        QCOMPARE(settings.getInt("width", 7), 640);
        QCOMPARE(Settings("Grp").getInt("x", 7), 5);
        QCOMPARE(Settings().getInt("y", 7), 7);
        settings.setInt("Grp/x", 6);
        QCOMPARE(settings.getInt("Grp/x", 7), 6);
        settings.removeKey("Grp");
        QCOMPARE(settings.getInt("Grp/x", 7), 7);

        QVERIFY(store.repair());
        QCOMPARE(settings.getInt("width", 7), 8000000);
        QCOMPARE(home.storedInFile(), QString("MRU/files/aa=/one MRU/files/ab=/two "
                                              "width=8000000"));
    }

    void actsOnWhatAPlainObjectHasChanged()
    {
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        Settings settings;
        settings.setInt("y", 1).sync();
        QSettings plain;
        plain.remove("Grp");

        settings.addMRU("files", "/new");

        QCOMPARE(reason(), QString());
        QCOMPARE(storedNow(), QString("MRU/files/aa=/new MRU/files/ab=/one MRU/files/ac=/two "
                                      "width=8000000 y=1"));
    }

    void losesNothingThatAnotherObjectCannotOpen()
    {
        for (int room = 0; room < 5; ++room) {
            const UnreadStore store(nextApplication(), oldText);
            QVERIFY(store.isReady() && store.repair());
            Settings settings;
            settings.setInt("y", 1);
            QVERIFY(readWithRoomFor(room, "\n[Z]\nz=1\n"));

            settings.setDefault("width", 640).setDefault("z", 2);

            QCOMPARE(storedNow(), QString("Grp/a=1 Grp/sub/b=2 MRU/files/aa=/one MRU/files/ab=/two "
                                          "Z/z=1 width=8000000 y=1 z=2"));
        }
    }

    void removesWhatAnotherObjectCannotOpen()
    {
        for (int room = 0; room < 5; ++room) {
            const UnreadStore store(nextApplication(), oldText);
            QVERIFY(store.isReady() && store.repair());
            Settings settings;
            settings.setInt("y", 1);
            QVERIFY(readWithRoomFor(room, "\n[Z]\nz=1\n"));

            settings.removeKey("Grp").removeKey("MRU").setInt("Grp/n", 1);

            QCOMPARE(storedNow(), QString("Grp/n=1 Z/z=1 width=8000000 y=1"));
        }
    }

    void removesWhatWasSetAgainAndRemovedAgain()
    {
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady());

        Settings settings;
        settings.removeKey("Grp").setInt("Grp/a", 5).setInt("Grp/sub/b", 6).removeKey("Grp/sub");

        QVERIFY(store.heal());
        QCOMPARE(storedNow(), QString("Grp/a=5 MRU/files/aa=/one MRU/files/ab=/two width=8000000"));
    }

    void movesAGroupThatAReceiverHidesForAMoment()
    {
        for (int room = 0; room < 5; ++room) {
            const UnreadStore store(nextApplication(), groupText);
            QVERIFY(store.isReady() && store.repair());
            m_recorder->calls.clear();
            m_recorder->reaction = [&] {
                if (m_recorder->calls.size() == 1) // of New/sub
                    QVERIFY(readWithRoomFor(room, "\n[Z]\nz=1\n"));
            };

            Settings().renameKey("Grp", "New", /*recursive=*/true);

            m_recorder->reaction = nullptr;
            QCOMPARE(reason(), QString());
            QCOMPARE(storedNow(), QString("New/a=1 New/sub/b=2 New/tub/c=3 Z/z=1"));
        }
    }

    void keepsAGroupThatAReceiverHidesWhileItIsRenamed_data()
    {
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("hiddenAt"); // which call of the receiver
        QTest::addColumn<QString>("shownAt");
        QTest::addColumn<QString>("moved");
        QTest::addColumn<QString>("kept");

        const QString group = "Grp/a=1 Grp/sub/b=2 Grp/tub/c=3 ";
        const QString moved = "New/a=1 New/sub/b=2 New/tub/c=3 Z/z=1";
        const QString kept = group + "New/a=1 New/sub/b=2 Z/z=1";
        // clang-format off
        QTest::newRow("shown at once") << "New" << "sig(New/sub, invalid)" << "sig(New, invalid)"
            << moved << kept;
        QTest::newRow("shown at the end") << "New" << "sig(New/sub, invalid)" << "sig(Grp, invalid)"
            << moved << kept;
        QTest::newRow("shown later") << "New" << "sig(New/sub, invalid)" << ""
            << moved << kept;
        QTest::newRow("hidden at the end") << "New" << "sig(New, invalid)" << ""
            << moved << group + moved;
        QTest::newRow("the same name") << "Grp" << "sig(@@@_temp_@@@/sub, invalid)"
            << "sig(@@@_temp_@@@, invalid)" << group + "Z/z=1" << group + "Z/z=1";
        QTest::newRow("another case") << "grp" << "sig(@@@_temp_@@@/sub, invalid)"
            << "sig(@@@_temp_@@@, invalid)" << "Z/z=1 grp/a=1 grp/sub/b=2 grp/tub/c=3"
            << group + "Z/z=1 grp/a=1 grp/sub/b=2";
        // clang-format on
    }

    void keepsAGroupThatAReceiverHidesWhileItIsRenamed()
    {
        QFETCH(QString, to);
        QFETCH(QString, hiddenAt);
        QFETCH(QString, shownAt);
        QFETCH(QString, moved);
        QFETCH(QString, kept);
        const bool isHeld = to.compare("Grp", Qt::CaseInsensitive) == 0; // nothing is stored then

        int timesKept = 0;
        for (int room = 0; room < 5; ++room) {
            const UnreadStore store(nextApplication(), groupText);
            QVERIFY(store.isReady() && store.repair());
            m_recorder->calls.clear();
            m_recorder->reaction = [&] {
                if (m_recorder->calls.constLast() == hiddenAt)
                    QVERIFY(readWithRoomFor(room, "\n[Z]\nz=1\n") && store.harm());
                if (m_recorder->calls.constLast() == shownAt) {
                    m_recorder->reaction = nullptr;
                    QVERIFY(store.heal());
                    QVERIFY(Settings().sync() || isHeld);
                }
            };

            Settings().renameKey("Grp", to, /*recursive=*/true);

            m_recorder->reaction = nullptr;
            const bool isTold = reason() == "settings";
            QVERIFY(!shownAt.isEmpty() || store.heal());
            QCOMPARE(storedNow(), isTold ? kept : moved);
            timesKept += isTold;
        }
        QVERIFY(timesKept > 0);
    }

    void keepsAGroupOfWhichAReceiverHidesAPart()
    {
        int timesKept = 0;
        for (int room = 0; room < 5; ++room) {
            const UnreadStore store(nextApplication(), "[Grp]\ns\\a\\x=1\ns\\b\\x=2\nt\\x=3\n");
            QVERIFY(store.isReady() && store.repair());
            m_recorder->reaction = [&] {
                if (m_recorder->calls.constLast() == "sig(New/s/a, invalid)")
                    QVERIFY(readWithRoomFor(room, "\n[Z]\nz=1\n") && store.harm());
                if (m_recorder->calls.constLast() == "sig(New/s, invalid)")
                    QVERIFY(store.repair());
            };

            Settings().renameKey("Grp", "New", /*recursive=*/true);

            m_recorder->reaction = nullptr;
            const bool isTold = reason() == "settings";
            QCOMPARE(storedNow(), QString(isTold ? "Grp/s/a/x=1 Grp/s/b/x=2 Grp/t/x=3 New/s/a/x=1 "
                                                   "New/t/x=3 Z/z=1"
                                                 : "New/s/a/x=1 New/s/b/x=2 New/t/x=3 Z/z=1"));
            timesKept += isTold;
        }
        QVERIFY(timesKept > 0);
    }

    void movesAGroupThatAReceiverHasLost()
    {
        const UnreadStore store(nextApplication(), groupText);
        QVERIFY(store.isReady() && store.repair());
        Settings settings;
        m_recorder->reaction = [&] {
            if (m_recorder->calls.size() == 1) // of New/sub
                QVERIFY(settings.sync() && loseValues());
        };

        settings.renameKey("Grp", "New", /*recursive=*/true);

        m_recorder->reaction = nullptr;
        QCOMPARE(storedNow(), QString("New/a=1 New/sub/b=2 New/tub/c=3"));
        QCOMPARE(reason(), QString());
    }

    void copiesNoGroupThatAReceiverHides()
    {
        int timesHidden = 0;
        for (int room = 0; room < 5; ++room) {
            const UnreadStore store(nextApplication(), groupText);
            QVERIFY(store.isReady() && store.repair());
            m_recorder->calls.clear();
            m_recorder->reaction = [&] {
                if (m_recorder->calls.size() == 1)
                    QVERIFY(readWithRoomFor(room, "\n[Z]\nz=1\n") && store.harm());
            };

            Settings().copyKey("Grp", "New", /*recursive=*/true);

            m_recorder->reaction = nullptr;
            const QString why = reason();
            QVERIFY(store.heal());
            const QString group = "Grp/a=1 Grp/sub/b=2 Grp/tub/c=3 New/a=1 New/sub/b=2 ";
            if (why.isEmpty()) {
                QCOMPARE(storedNow(), group + "New/tub/c=3 Z/z=1");
                continue;
            }
            ++timesHidden;
            QCOMPARE(why, QString("settings"));
            QCOMPARE(m_recorder->calls,
                     QStringList({"sig(New/sub, invalid)", "sig(New, invalid)"}));
            QCOMPARE(storedNow(), group + "Z/z=1");
        }
        QVERIFY(timesHidden > 0);
    }

    /// The reason is that of the operation, not of what its receivers do.
    void hasNoReasonOfReceivers_data() { addOperations(); }

    void hasNoReasonOfReceivers()
    {
        QFETCH(Act, act);
        QFETCH(QString, read);
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        m_recorder->reaction = [] { QVERIFY(File::read("no such file").isEmpty()); };

        Settings settings;
        act(settings);

        m_recorder->reaction = nullptr;
        QCOMPARE(reason(), QString());
        QCOMPARE(storedNow(), read);
    }

    void hasTheReasonsOfReceiversInThem()
    {
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        QStringList reasons;
        m_recorder->reaction = [&] {
            File::read("no such file");
            reasons += reason();
            File::read(home.file());
            reasons += reason();
        };

        Settings().copyKey("Grp", "New");

        m_recorder->reaction = nullptr;
        QCOMPARE(reasons, QStringList({"nofile", ""}));
    }

    void renamesWhatIsReadButCannotBeWritten()
    {
        const UnreadStore store(nextApplication(), oldText);
        QVERIFY(store.isReady() && store.repair());
        const QString path = home.file();
        QVERIFY(
            QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
        m_recorder->reaction = [] { QCOMPARE(Settings().getInt("width"), 8000000); };
        {
            const OrdinaryUser user(home.path());
            Settings settings;
            settings.setInt("y", 1);
            QVERIFY(!settings.sync());

            settings.renameKey("Grp", "New", /*recursive=*/true).setDefault("x", 2);

            QCOMPARE(reason(), QString());
            QCOMPARE(settings.status(), Settings::Failed);
            QCOMPARE(settings.groups(""), QStringList({"MRU", "New"}));
            QCOMPARE(settings.getInt("x"), 2);
        }
        m_recorder->reaction = nullptr;

        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
        QCOMPARE(storedNow(), QString("MRU/files/aa=/one MRU/files/ab=/two New/a=1 New/sub/b=2 "
                                      "width=8000000 x=2 y=1"));
    }
};

QTEST_GUILESS_MAIN(tst_Settings_unread)
#include "tst_Settings_unread.moc"
