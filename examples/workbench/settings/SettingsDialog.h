#pragma once

#include "utils/settings/SettingsSlot.h"

#include <QDialog>
#include <QVector>

QT_FORWARD_DECLARE_CLASS(QGridLayout)
QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QToolButton)
QT_FORWARD_DECLARE_CLASS(QVBoxLayout)

namespace Workbench {

class SettingEditor;

/// The settings of the program. A change applies at once. One by a script is shown at once, one by
/// another instance of the program within a second. What differs from its default is in bold, and
/// can be reset.
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SettingsDialog(QWidget *parent);

protected:
    void changeEvent(QEvent *event) override;

private:
    struct Row
    {
        SettingEditor *editor;
        QLabel *label;
        QToolButton *reset;
    };

    void addEditors(QVBoxLayout &layout);
    void addButtons(QVBoxLayout &layout);
    void addGroup(QVBoxLayout &layout, const char *title, const QVector<SettingEditor *> &editors);
    void addRow(QGridLayout &grid, SettingEditor *editor);
    void takeSetting(const Data::VariantCollection &change);
    void loadAll();
    void load(const Row &row);
    void resetAll();
    void exportSettings();
    void importSettings();

    QVector<Row> m_rows;
    QLabel *m_problem;
    Utils::SettingsSlot m_changes{"Workbench;gui", nullptr};
};

} // namespace Workbench
