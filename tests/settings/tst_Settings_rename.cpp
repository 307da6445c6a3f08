// Renames that change only the case of a name, which pass through a temporary group: what is in the
// file meanwhile, and after an exception of a receiver.

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

#include <memory>
#include <stdexcept>

using Utils::Settings;

static const SettingsHome home;

static const char *const oldText = "[View]\nsub\\x=1\nwidth=5\n";
static const char *const newText = "[view]\nsub\\x=1\nwidth=5\n";

class tst_Settings_rename : public QObject
{
    Q_OBJECT

private:
    QString m_path; // of the settings, for which a QSettings is made, which writes what is pending
    std::unique_ptr<Recorder> m_recorder;

    /// What is in the file, whose line ends are those of the system.
    QByteArray stored() const { return contentsOf(m_path).replace("\r\n", "\n"); }

    static void rename(Settings &settings) { settings.renameKey("View", "view", true); }

private Q_SLOTS:
    void init()
    {
        m_path = home.file();
        home.fill("View/sub/x=1 View/width=5");
        QVERIFY(Settings().sync());
        m_recorder = std::make_unique<Recorder>();
        QVERIFY(Settings::SettingChanged().connect(
            m_recorder.get(), SLOT(pair(const Data::String &, const Data::Variant &))));
    }

    void keepsTheOldFileUntilItHasEnded()
    {
        m_recorder->reaction = [&] {
            {
                const Settings other;
                QCOMPARE(other.getInt("other", 7), 7);
            }
            QCoreApplication::sendPostedEvents();
            QCOMPARE(stored(), QByteArray(oldText));
        };

        Settings settings;
        rename(settings);

        QCOMPARE(m_recorder->calls,
                 QStringList({"sig(@@@_temp_@@@/sub, invalid)", "sig(@@@_temp_@@@, invalid)",
                              "sig(View, invalid)", "sig(view/sub, invalid)", "sig(view, invalid)",
                              "sig(@@@_temp_@@@, invalid)"}));
        QCOMPARE(stored(), QByteArray(newText));
        QCOMPARE(settings.status(), Settings::Stored);
    }

    void storesWhatIsPendingBeforeItBegins()
    {
        const QByteArray before = QByteArray("[General]\nother=3\n\n") + oldText;
        Settings settings;
        settings.setInt("other", 3);
        m_recorder->calls.clear();
        m_recorder->reaction = [&] { QCOMPARE(stored(), before); };

        rename(settings);

        QCOMPARE(m_recorder->calls.size(), 6);
        QVERIFY(settings.sync());
        QCOMPARE(stored(), QByteArray("[General]\nother=3\n\n") + newText);
    }

    void storesWhatAReceiverChangesWhenItHasEnded()
    {
        m_recorder->reaction = [&] {
            m_recorder->reaction = nullptr;
            Settings().setInt("other", 3);
        };

        Settings settings;
        rename(settings);

        QCOMPARE(stored(), QByteArray("[General]\nother=3\n\n") + newText);
    }

    void tellsAReceiverThatNothingIsStored()
    {
        QList<bool> results;
        QStringList reasons;
        m_recorder->reaction = [&] {
            m_recorder->reaction = nullptr;
            Settings other;
            results.append(other.sync());
            Data::String reason;
            results.append(other.status(&reason) == Settings::Failed);
            reasons.append(reason);
        };

        Settings settings;
        rename(settings);

        QCOMPARE(results, QList<bool>({false, true}));
        QCOMPARE(reasons, QStringList(m_path + ": A group is being renamed"));
        QCOMPARE(settings.status(), Settings::Stored);
    }

    void restoresTheGroupWhenAReceiverThrows()
    {
        int thrown = 0;
        for (int number = 1;; ++number) {
            init();
            m_recorder->reaction = [&] {
                if (m_recorder->calls.size() == number)
                    throw std::runtime_error("of a receiver");
            };
            QString caught;
            Settings settings;
            try {
                rename(settings);
            } catch (const std::runtime_error &error) {
                caught = error.what();
            }
            m_recorder->reaction = nullptr;
            if (caught.isEmpty())
                break;

            ++thrown;
            QCOMPARE(caught, QString("of a receiver"));
            QVERIFY(settings.sync());
            // The last report is that the temporary group is gone.
            const QByteArray expected = number < 6 ? oldText : newText;
#ifdef _WIN32
            // Both names are of one group there, whose letters may have either case then.
            QCOMPARE(stored().toLower(), expected.toLower());
#else
            QCOMPARE(stored(), expected);
#endif
        }
        QCOMPARE(thrown, 6);
    }

    void keepsWhatIsInTheNewGroupWhenAReceiverThrows()
    {
        SKIP_ON_WINDOWS("names that differ in case are of one group there");
        home.fill("View/sub/x=1 View/width=5 view/other=2 view/width=3 view/width/below=4");
        QVERIFY(Settings().sync());
        const QByteArray before = stored();
        m_recorder->reaction = [&] {
            if (m_recorder->calls.size() == 5) // all values have their new names, too
                throw std::runtime_error("of a receiver");
        };

        Settings settings;
        QVERIFY_EXCEPTION_THROWN(rename(settings), std::runtime_error);

        QVERIFY(settings.sync());
        QCOMPARE(stored(), before);
    }

    void keepsWhatAReceiverStoresBeforeItThrows_data()
    {
        QTest::addColumn<int>("number"); // of the report
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("stored");

        QTest::newRow("the old group, before it is removed") << 1 << "View/width"
                                                             << "View/sub/x=1 View/width=99";
        QTest::newRow("the old group") << 3 << "View/width"
                                       << "View/sub/x=1 View/width=99";
        QTest::newRow("a new key in it") << 4 << "View/a"
                                         << "View/a=99 View/sub/x=1 View/width=5";
        QTest::newRow("the new group, before it has values")
            << 3 << "view/width"
            << "View/sub/x=1 View/width=5 view/width=99";
        QTest::newRow("the new group") << 5 << "view/width"
                                       << "View/sub/x=1 View/width=5 view/width=99";
    }

    void keepsWhatAReceiverStoresBeforeItThrows()
    {
        QFETCH(int, number);
        QFETCH(QString, key);
        QFETCH(QString, stored);
        if (key.startsWith("view/"))
            SKIP_ON_WINDOWS("names that differ in case are of one group there");
        m_recorder->reaction = [&] {
            if (m_recorder->calls.size() != number)
                return;
            m_recorder->reaction = nullptr;
            Settings().setInt(key, 99);
            throw std::runtime_error("of a receiver");
        };

        Settings settings;
        QVERIFY_EXCEPTION_THROWN(rename(settings), std::runtime_error);

        QVERIFY(settings.sync());
        QCOMPARE(home.storedInFile(), stored);
    }

    void keepsTheValuesOfAGroupThatIsRenamedToItself()
    {
        for (int number = 1; number <= 6; ++number) {
            init();
            m_recorder->reaction = [&] {
                if (m_recorder->calls.size() == number)
                    throw std::runtime_error("of a receiver");
            };

            Settings settings;
            QVERIFY_EXCEPTION_THROWN(settings.renameKey("View", "View", true), std::runtime_error);

            QVERIFY(settings.sync());
            QCOMPARE(stored(), QByteArray(oldText));
        }
    }

    void tellsThatTheNewGroupIsGoneAgain()
    {
        SKIP_ON_WINDOWS("names that differ in case are of one group there");
        m_recorder->reaction = [&] {
            if (m_recorder->calls.last() == "sig(view/sub, invalid)")
                throw std::runtime_error("once");
        };

        Settings settings;
        QVERIFY_EXCEPTION_THROWN(rename(settings), std::runtime_error);

        QCOMPARE(m_recorder->calls.mid(4),
                 QStringList({"sig(View, invalid)", "sig(view, invalid)"}));
    }

    void tellsThatAGroupIsRestored()
    {
        m_recorder->reaction = [&] {
            if (m_recorder->calls.last() == "sig(View, invalid)")
                throw std::runtime_error("each time");
        };

        Settings settings;
        QVERIFY_EXCEPTION_THROWN(rename(settings), std::runtime_error);

        QCOMPARE(m_recorder->calls.mid(2),
                 QStringList({"sig(View, invalid)", "sig(View, invalid)"}));
        QCOMPARE(settings.getInt("View/width"), 5);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_rename)
#include "tst_Settings_rename.moc"
