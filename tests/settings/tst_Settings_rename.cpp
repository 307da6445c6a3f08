// Renames that change only the case of a name, which pass through a temporary group: what is in the
// file meanwhile, and after an exception of a receiver.

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
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
            QCOMPARE(contentsOf(m_path), QByteArray(oldText));
        };

        Settings settings;
        rename(settings);

        QCOMPARE(m_recorder->calls,
                 QStringList({"sig(@@@_temp_@@@/sub, invalid)", "sig(@@@_temp_@@@, invalid)",
                              "sig(View, invalid)", "sig(view/sub, invalid)", "sig(view, invalid)",
                              "sig(@@@_temp_@@@, invalid)"}));
        QCOMPARE(contentsOf(m_path), QByteArray(newText));
        QCOMPARE(settings.status(), Settings::Stored);
    }

    void storesWhatAReceiverChangesWhenItHasEnded()
    {
        m_recorder->reaction = [&] {
            m_recorder->reaction = nullptr;
            Settings().setInt("other", 3);
        };

        Settings settings;
        rename(settings);

        QCOMPARE(contentsOf(m_path), QByteArray("[General]\nother=3\n\n") + newText);
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
            const QByteArray stored = contentsOf(m_path);
            const bool isWhole = stored.contains(oldText) || stored.contains(newText);
            QVERIFY2(isWhole && !stored.contains("temp"), stored.constData());
            QVERIFY(number > 3 || stored == oldText); // before the new name gets any value
        }
        QCOMPARE(thrown, 6);
    }

    void tellsThatAGroupIsRestored()
    {
        m_recorder->reaction = [&] {
            if (m_recorder->calls.last() == "sig(View, invalid)")
                throw std::runtime_error("each time");
        };

        Settings settings;
        QVERIFY_EXCEPTION_THROWN(rename(settings), std::runtime_error);

        QCOMPARE(m_recorder->calls.count("sig(View, invalid)"), 2);
        QCOMPARE(settings.getInt("View/width"), 5);
    }
};

QTEST_GUILESS_MAIN(tst_Settings_rename)
#include "tst_Settings_rename.moc"
