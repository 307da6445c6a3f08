#pragma once

#include "utils/csv/CSVDialect.h"

#include <QDialog>

QT_FORWARD_DECLARE_CLASS(QCheckBox)
QT_FORWARD_DECLARE_CLASS(QComboBox)
QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QLineEdit)
QT_FORWARD_DECLARE_CLASS(QSpinBox)
QT_FORWARD_DECLARE_CLASS(QTableWidget)

namespace Workbench {

class TableDocument;

/// Asks how a table is written: its encoding, delimiter, quotes, comments, decimal point and header
/// rows, with a preview of the first rows.
class FormatDialog : public QDialog
{
    Q_OBJECT

public:
    FormatDialog(TableDocument &document, QWidget *parent);

    /// Reads the document anew as chosen. When that fails, the reason is shown and the dialog stays
    /// open.
    void accept() override;

private:
    void fillChoices();
    void layOut();
    void show(const Utils::CSVDialect &dialect);
    QString chosenDelimiter() const;
    Utils::CSVDialect chosen() const;
    void updatePreview();

    TableDocument &m_document;
    Utils::CSVDialect m_shown; // with what the dialog has no fields for
    QComboBox *m_delimiter;
    QComboBox *m_encoding;
    QComboBox *m_point;
    QCheckBox *m_quotes;
    QLineEdit *m_comment;
    QSpinBox *m_headerRow;
    QSpinBox *m_unitRow;
    QSpinBox *m_dataRow;
    QLabel *m_summary;
    QTableWidget *m_preview;
};

} // namespace Workbench
