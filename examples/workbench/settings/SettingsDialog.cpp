#include "examples/workbench/settings/SettingsDialog.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/settings/SettingEditor.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>

namespace Workbench {

using Utils::Settings;

static QVector<SettingEditor::Choice> languageChoices()
{
    QVector<SettingEditor::Choice> choices{{"", text(".ctx.systemLanguage")}};
    for (const QString &language : languages())
        choices.append({language, nameOf(language)});
    return choices;
}

SettingsDialog::SettingsDialog(QWidget *parent) : QDialog(parent), m_problem(new QLabel(this))
{
    setObjectName("SettingsDialog");
    bindText(this, "windowTitle", ".ctx.preferencesTitle");
    auto *const layout = new QVBoxLayout(this);
    addEditors(*layout);
    m_problem->setObjectName("settingsProblem");
    m_problem->setTextFormat(Qt::PlainText);
    m_problem->setWordWrap(true);
    layout->addWidget(m_problem);
    layout->addStretch(1);
    addButtons(*layout);

    loadAll();
    m_changes.setCallback(this, &SettingsDialog::takeSetting);
}

void SettingsDialog::addEditors(QVBoxLayout &layout)
{
    using Editor = SettingEditor;
    addGroup(layout, ".ctx.settingsGeneral",
             {Editor::makeChoice(".ctx.setLanguage", Preferences::language, languageChoices, this),
              Editor::makeFolder(".ctx.setTempFolder", Preferences::tempFolder, this),
              Editor::make(".ctx.setFlush", Preferences::flushFiles, this)});
    addGroup(layout, ".ctx.settingsTables",
             {Editor::make(".ctx.setMemoryLimit", Preferences::memoryLimit, ".ctx.megabytes", this),
              Editor::make(".ctx.setDigits", Preferences::digits, nullptr, this)});
    QVector<Editor *> tools{
        Editor::make(".ctx.setStopTime", Preferences::stopTime, ".ctx.seconds", this),
        Editor::make(".ctx.setOutputLines", Preferences::outputLines, nullptr, this),
        Editor::make(".ctx.setBusLength", Preferences::busLength, nullptr, this)};
#ifdef KELM_WORKBENCH_SCRIPTS
    tools.append(
        Editor::make(".ctx.setScriptTime", Preferences::scriptTimeLimit, ".ctx.seconds", this));
#endif
    addGroup(layout, ".ctx.settingsTools", tools);
}

void SettingsDialog::addGroup(QVBoxLayout &layout, const char *title,
                              const QVector<SettingEditor *> &editors)
{
    auto *const box = new QGroupBox(this);
    auto *const grid = new QGridLayout(box);
    bindText(box, "title", title);
    layout.addWidget(box);
    grid->setColumnStretch(1, 1);
    for (SettingEditor *const editor : editors)
        addRow(*grid, editor);
}

/// The part of \p editor that has the focus, and so is read aloud.
static QWidget &focusOf(SettingEditor &editor)
{
    QWidget &widget = editor.widget();
    return widget.focusProxy() ? *widget.focusProxy() : widget;
}

void SettingsDialog::addRow(QGridLayout &grid, SettingEditor *editor)
{
    const Row row{editor, new QLabel(this), new QToolButton(this)};
    const int index = grid.rowCount();
    row.label->setBuddy(&editor->widget());
    bindText(row.label, "text", editor->label());
    bindText(row.reset, "text", ".ctx.reset");
    editor->widget().setObjectName(QString(editor->key()).section('/', -1));
    row.reset->setObjectName("reset " + editor->widget().objectName());
    QSizePolicy policy = row.reset->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    row.reset->setSizePolicy(policy);
    grid.addWidget(row.label, index, 0);
    grid.addWidget(&editor->widget(), index, 1);
    grid.addWidget(row.reset, index, 2);
    connect(row.reset, &QToolButton::clicked, editor, [editor] {
        editor->widget().setFocus();
        editor->reset();
    });
    connect(editor, &SettingEditor::refused, m_problem, &QLabel::setText);
    m_rows.append(row);
}

void SettingsDialog::addButtons(QVBoxLayout &layout)
{
    auto *const box = new QDialogButtonBox(QDialogButtonBox::Close, this);
    const auto add = [&](const char *name, void (SettingsDialog::*run)()) {
        auto *const button = new QPushButton(box);
        button->setObjectName(name);
        button->setAutoDefault(false); // Return ends the entry of a value
        bindText(button, "text", QByteArray(".ctx.") + name);
        box->addButton(button, QDialogButtonBox::ActionRole);
        connect(button, &QPushButton::clicked, this, run);
    };
    add("resetAll", &SettingsDialog::resetAll);
    add("exportSettings", &SettingsDialog::exportSettings);
    add("importSettings", &SettingsDialog::importSettings);
    box->button(QDialogButtonBox::Close)->setAutoDefault(false);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout.addWidget(box);
}

void SettingsDialog::takeSetting(const Data::VariantCollection &change)
{
    const QString key = change["key"].toString();
    for (const Row &row : qAsConst(m_rows)) {
        // A group that is removed takes its keys with it.
        if (row.editor->key() == key || row.editor->key().startsWith(key + '/'))
            load(row);
    }
    const bool isStored = Settings().sync();
    m_problem->setText(isStored ? QString()
                                : text(".err.settings").arg(QString(Utils::File::lastError())));
}

void SettingsDialog::loadAll()
{
    int width = 0; // of all labels, as bold ones
    for (const Row &row : qAsConst(m_rows)) {
        QFont bold = row.label->font();
        bold.setBold(true);
        const QString label = text(row.editor->label()).remove('&');
        width = qMax(width, QFontMetrics(bold).horizontalAdvance(label));
    }
    for (const Row &row : qAsConst(m_rows)) {
        row.label->setMinimumWidth(width);
        load(row);
    }
}

void SettingsDialog::load(const Row &row)
{
    row.editor->load();
    const bool isChanged = !row.editor->isDefault();
    QFont font = row.label->font();
    font.setBold(isChanged);
    row.label->setFont(font);
    row.reset->setVisible(isChanged);
    row.reset->setAccessibleName(text(".ctx.reset").remove('&') + ' ' +
                                 text(row.editor->label()).remove('&'));
    QWidget &focus = focusOf(*row.editor);
    focus.setAccessibleName(text(row.editor->label()).remove('&'));
    focus.setAccessibleDescription(isChanged ? text(".ctx.notDefault") : QString());
}

void SettingsDialog::resetAll()
{
    if (QMessageBox::question(this, text(".ctx.program"), text(".msg.resetAll")) !=
        QMessageBox::Yes)
        return;
    Settings settings; // one, which writes once
    for (const Row &row : qAsConst(m_rows))
        row.editor->keepDefault(settings);
    if (!settings.resetGroup(""))
        QMessageBox::warning(this, text(".ctx.program"), Utils::File::lastError());
}

static QString settingsFilter() { return text(".ctx.settingsFiles") + " (*.ini)"; }

void SettingsDialog::exportSettings()
{
    const QString path = QFileDialog::getSaveFileName(this, text(".ctx.exportSettings").remove('&'),
                                                      "workbench.ini", settingsFilter());
    if (!path.isEmpty() && !Settings().exportTo(path))
        QMessageBox::warning(this, text(".ctx.program"), Utils::File::lastError());
}

void SettingsDialog::importSettings()
{
    const QString path = QFileDialog::getOpenFileName(this, text(".ctx.importSettings").remove('&'),
                                                      QString(), settingsFilter());
    if (!path.isEmpty() && !Settings().importFrom(path))
        QMessageBox::warning(this, text(".ctx.program"),
                             text(".err.import").arg(QString(Utils::File::lastError())));
}

void SettingsDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        retranslate(this);
        loadAll();
    }
    QDialog::changeEvent(event);
}

} // namespace Workbench
