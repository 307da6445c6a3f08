#include "utils/settings/WorkspaceSettings.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/SettingsHome.h"
#include "utils/settings/SettingsSignal.h"

#include <QtTest>

#include <memory>

using Utils::Settings;
using Utils::WorkspaceSettings;

static const SettingsHome home;

class tst_WorkspaceSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { home.fill(""); }

    void keepsItsValuesInTheGroupOfAWorkspace_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");

        // clang-format off
        QTest::newRow("named") << "main" << "Workspaces/main/k";
        QTest::newRow("nested") << "a/b" << "Workspaces/a/b/k";
        QTest::newRow("empty") << "" << "Workspaces/k";
        // clang-format on
    }

    void keepsItsValuesInTheGroupOfAWorkspace()
    {
        QFETCH(QString, name);
        QFETCH(QString, key);
        Recorder recorder;
        QVERIFY(Settings::SettingChanged().connect(
            &recorder, SLOT(pair(const Data::String &, const Data::Variant &))));

        WorkspaceSettings(name).setInt("k", 5);

        QCOMPARE(home.stored(), key + "=5");
        QCOMPARE(recorder.calls, QStringList("sig(" + key + ", 5)"));
        QCOMPARE(WorkspaceSettings(name).getInt("k"), 5);
        QCOMPARE(Settings().getInt(key), 5);
    }

    void isTwoLevelsDeep()
    {
        home.fill("k=0 Workspaces/k=1 Workspaces/a/k=2");
        const WorkspaceSettings settings("a");

        QCOMPARE(settings.getInt("k"), 2);
        QCOMPARE(settings.endGroup().getInt("k"), 1);
        QCOMPARE(settings.endGroup().getInt("k"), 0);
    }

    void leavesItsGroupToACopy()
    {
        home.fill("Workspaces/a/k=2");
        auto original = std::make_unique<WorkspaceSettings>("a");
        const Settings copy(*original);

        original.reset();

        QCOMPARE(copy.getInt("k"), 2);
    }

    void isDeletedAsSettings()
    {
        home.fill("Workspaces/a/k=2");
        const std::unique_ptr<Settings> settings = std::make_unique<WorkspaceSettings>("a");

        QCOMPARE(settings->getInt("k"), 2);
    }
};

QTEST_GUILESS_MAIN(tst_WorkspaceSettings)
#include "tst_WorkspaceSettings.moc"
