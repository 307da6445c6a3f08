#include "examples/workbench/settings/SettingEditor.h"

#include "examples/workbench/Texts.h"
#include "utils/signals/SignalBlocker.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QSpinBox>
#include <QToolButton>

namespace Workbench {

using Utils::Setting;
using Utils::SignalBlocker;

SettingEditor::SettingEditor(const char *label, QWidget &widget, QObject *parent)
    : QObject(parent), m_label(label), m_widget(widget)
{}

namespace {

template <typename T>
class EditorOf : public SettingEditor
{
public:
    EditorOf(const char *label, const Setting<T> &setting, QWidget &widget, QWidget *parent)
        : SettingEditor(label, widget, parent), m_setting(setting)
    {}

    Data::String key() const override { return m_setting.key(); }
    bool isDefault() const override { return m_setting.isDefault(); }
    void reset() const override { m_setting.set(m_setting.defaultValue()); }
    void keepDefault(Utils::Settings &settings) const override
    {
        settings.setDefault(m_setting.key(), m_setting.defaultValue(), /*keepDefault=*/true);
    }

protected:
    const Setting<T> &m_setting;
};

class SwitchEditor : public EditorOf<bool>
{
public:
    SwitchEditor(const char *label, const Setting<bool> &setting, QCheckBox &box, QWidget *parent)
        : EditorOf(label, setting, box, parent), m_box(box)
    {
        connect(&box, &QCheckBox::toggled, this, [this](bool on) { m_setting.set(on); });
    }

    void load() override
    {
        const SignalBlocker blocker(&m_box);
        m_box.setChecked(m_setting.value());
    }

private:
    QCheckBox &m_box;
};

class NumberEditor : public EditorOf<int>
{
public:
    NumberEditor(const char *label, const Setting<int> &setting, const char *suffix, QSpinBox &box,
                 QWidget *parent)
        : EditorOf(label, setting, box, parent), m_box(box), m_suffix(suffix)
    {
        box.setRange(setting.least(), setting.most());
        box.setGroupSeparatorShown(true);
        box.setAccelerated(true);
        box.setKeyboardTracking(false); // 1 of 128 is no value
        connect(&box, QOverload<int>::of(&QSpinBox::valueChanged), this,
                [this](int value) { m_setting.set(value); });
    }

    void load() override
    {
        const SignalBlocker blocker(&m_box);
        m_box.setLocale(QLocale());
        m_box.setSuffix(m_suffix ? QChar(QChar::Nbsp) + text(m_suffix) : QString());
        m_box.setValue(m_setting.value());
    }

private:
    QSpinBox &m_box;
    const char *const m_suffix;
};

class ChoiceEditor : public EditorOf<Data::String>
{
public:
    ChoiceEditor(const char *label, const Setting<Data::String> &setting,
                 const std::function<QVector<Choice>()> &choices, QComboBox &box, QWidget *parent)
        : EditorOf(label, setting, box, parent), m_box(box), m_choices(choices)
    {
        connect(&box, QOverload<int>::of(&QComboBox::activated), this,
                [this] { m_setting.set(m_box.currentData().toString()); });
    }

    void load() override
    {
        m_box.clear();
        const QVector<Choice> choices = m_choices();
        for (const Choice &choice : choices)
            m_box.addItem(choice.text, QString(choice.value));
        // A value of another version of the program is none of the choices.
        m_box.setCurrentIndex(m_box.findData(QString(m_setting.value())));
    }

private:
    QComboBox &m_box;
    const std::function<QVector<Choice>()> m_choices;
};

class FolderEditor : public EditorOf<Data::String>
{
public:
    FolderEditor(const char *label, const Setting<Data::String> &setting, QWidget &widget,
                 QWidget *parent)
        : EditorOf(label, setting, widget, parent), m_line(*widget.findChild<QLineEdit *>())
    {
        connect(&m_line, &QLineEdit::editingFinished, this, [this] { store(m_line.text()); });
        connect(widget.findChild<QToolButton *>(), &QToolButton::clicked, this, [this] {
            const QString folder = QFileDialog::getExistingDirectory(
                m_line.window(), text(".ctx.browse"), m_setting.value());
            if (!folder.isEmpty())
                store(folder);
        });
    }

    void load() override
    {
        const QString value = m_setting.value();
        if (m_line.text() != value)
            m_line.setText(value);
    }

private:
    void store(const QString &folder)
    {
        const QFileInfo info(folder);
        if (!info.isAbsolute() || !info.isDir() || !info.isWritable()) {
            Q_EMIT refused(text(".err.folder").arg(folder));
            return;
        }
        if (folder != m_setting.value())
            m_setting.set(folder);
        load();
    }

    QLineEdit &m_line;
};

} // namespace

SettingEditor *SettingEditor::make(const char *label, const Setting<bool> &setting, QWidget *parent)
{
    return new SwitchEditor(label, setting, *new QCheckBox(parent), parent);
}

SettingEditor *SettingEditor::make(const char *label, const Setting<int> &setting,
                                   const char *suffix, QWidget *parent)
{
    return new NumberEditor(label, setting, suffix, *new QSpinBox(parent), parent);
}

SettingEditor *SettingEditor::makeChoice(const char *label, const Setting<Data::String> &setting,
                                         const std::function<QVector<Choice>()> &choices,
                                         QWidget *parent)
{
    return new ChoiceEditor(label, setting, choices, *new QComboBox(parent), parent);
}

SettingEditor *SettingEditor::makeFolder(const char *label, const Setting<Data::String> &setting,
                                         QWidget *parent)
{
    auto *const widget = new QWidget(parent);
    auto *const line = new QLineEdit(widget);
    auto *const button = new QToolButton(widget);
    auto *const layout = new QHBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(line, 1);
    layout->addWidget(button);
    widget->setFocusProxy(line);
    line->setMinimumWidth(widget->fontMetrics().averageCharWidth() * 30);
    button->setText(QString(QChar(0x2026)));
    bindText(button, "accessibleName", ".ctx.browse");
    return new FolderEditor(label, setting, *widget, parent);
}

} // namespace Workbench
