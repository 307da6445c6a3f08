#pragma once

#include "utils/settings/Setting.h"

#include <QObject>
#include <QVector>

#include <functional>

QT_FORWARD_DECLARE_CLASS(QWidget)

namespace Workbench {

/// The editor of a setting: it shows the stored value, and stores each valid one at once.
class SettingEditor : public QObject
{
    Q_OBJECT

public:
    /// A value of a setting of which there are only a few, and its text.
    struct Choice
    {
        Data::String value;
        QString text;
    };

    /// An editor with the label \p label, the id of a text. The setting must outlive it. The suffix
    /// of a number is a text such as " MB", or null.
    static SettingEditor *make(const char *label, const Utils::Setting<bool> &setting,
                               QWidget *parent);
    static SettingEditor *make(const char *label, const Utils::Setting<int> &setting,
                               const char *suffix, QWidget *parent);

    /// An editor that offers what \p choices returns in the current language.
    static SettingEditor *makeChoice(const char *label, const Utils::Setting<Data::String> &setting,
                                     const std::function<QVector<Choice>()> &choices,
                                     QWidget *parent);

    /// An editor of a folder, which must exist and be writable.
    static SettingEditor *makeFolder(const char *label, const Utils::Setting<Data::String> &setting,
                                     QWidget *parent);

    const char *label() const { return m_label; }
    QWidget &widget() const { return m_widget; }

    virtual Data::String key() const = 0;
    virtual bool isDefault() const = 0;
    virtual void reset() const = 0;

    /// Keeps the default, for Settings::resetGroup().
    virtual void keepDefault(Utils::Settings &settings) const = 0;

    /// Shows the stored value, with texts in the current language.
    virtual void load() = 0;

Q_SIGNALS:
    void refused(const QString &reason); ///< what was entered has not been stored

protected:
    SettingEditor(const char *label, QWidget &widget, QObject *parent);

private:
    const char *const m_label;
    QWidget &m_widget;
};

} // namespace Workbench
