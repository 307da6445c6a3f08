#include "examples/workbench/table/FormatDialog.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/table/NumberDelegate.h"
#include "examples/workbench/table/TableDocument.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/signals/SignalBlocker.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTextCodec>

#include <algorithm>

namespace Workbench {

using Utils::CSVDialect;
using Utils::CSVTable;
using Utils::SignalBlocker;

static const int previewRows = 40;
static const int previewColumns = 100;
static const int mostRows = 1000000; // more than those from which a format is detected

FormatDialog::FormatDialog(TableDocument &document, QWidget *parent)
    : QDialog(parent), m_document(document), m_delimiter(new QComboBox(this)),
      m_encoding(new QComboBox(this)), m_point(new QComboBox(this)), m_quotes(new QCheckBox(this)),
      m_comment(new QLineEdit(this)), m_headerRow(new QSpinBox(this)),
      m_unitRow(new QSpinBox(this)), m_dataRow(new QSpinBox(this)), m_summary(new QLabel(this)),
      m_preview(new QTableWidget(this))
{
    setObjectName("FormatDialog");
    setWindowTitle(text(".ctx.formatTitle"));
    fillChoices();
    layOut();
    show(document.dialect());
    updatePreview();

    const auto update = [this] { updatePreview(); };
    for (QComboBox *const box : {m_delimiter, m_encoding, m_point})
        connect(box, &QComboBox::currentTextChanged, this, update);
    for (QSpinBox *const box : {m_headerRow, m_unitRow, m_dataRow})
        connect(box, QOverload<int>::of(&QSpinBox::valueChanged), this, update);
    connect(m_comment, &QLineEdit::textChanged, this, update);
    connect(m_quotes, &QCheckBox::toggled, this, update);
}

void FormatDialog::fillChoices()
{
    m_delimiter->setEditable(true);
    m_delimiter->setInsertPolicy(QComboBox::NoInsert);
    m_delimiter->setCompleter(nullptr); // a letter is a delimiter rather than the start of a name
    m_delimiter->addItem(text(".ctx.comma"), ",");
    m_delimiter->addItem(text(".ctx.semicolon"), ";");
    m_delimiter->addItem(text(".ctx.tab"), "\t");
    m_delimiter->addItem(text(".ctx.bar"), "|");
    m_delimiter->addItem(text(".ctx.blanks"), "\\s+");
    m_delimiter->addItem(text(".ctx.oneColumn"), "");
    m_point->addItem(text(".ctx.decimalPoint"), ".");
    m_point->addItem(text(".ctx.decimalComma"), ",");
    m_encoding->setEditable(true);
    for (const char *const name :
         {"UTF-8", "UTF-16LE", "UTF-16BE", "windows-1252", "ISO 8859-15", "Shift_JIS"})
        m_encoding->addItem(name);
    m_quotes->setText(text(".ctx.quotes"));
    for (QSpinBox *const box : {m_headerRow, m_unitRow}) {
        box->setRange(0, mostRows);
        box->setSpecialValueText(text(".ctx.none"));
    }
    m_dataRow->setRange(1, mostRows);
    m_preview->setItemDelegate(new NumberDelegate(m_preview));
    m_preview->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_preview->setAccessibleName(text(".ctx.preview"));
    m_preview->setWordWrap(false);
    m_summary->setWordWrap(true);
    m_summary->setObjectName("summary");
    m_comment->setObjectName("commentLine");
}

void FormatDialog::layOut()
{
    auto *const left = new QFormLayout;
    left->addRow(text(".ctx.delimiter"), m_delimiter);
    left->addRow(text(".ctx.encoding"), m_encoding);
    left->addRow(text(".ctx.decimal"), m_point);
    left->addRow(QString(), m_quotes);
    auto *const right = new QFormLayout;
    right->addRow(text(".ctx.comment"), m_comment);
    right->addRow(text(".ctx.headerRow"), m_headerRow);
    right->addRow(text(".ctx.unitRow"), m_unitRow);
    right->addRow(text(".ctx.dataRow"), m_dataRow);
    auto *const choices = new QHBoxLayout;
    choices->addLayout(left, 1);
    choices->addLayout(right, 1);

    auto *const buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    QPushButton *const detect =
        buttons->addButton(text(".ctx.detect"), QDialogButtonBox::ResetRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &FormatDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &FormatDialog::reject);
    connect(detect, &QPushButton::clicked, this, [this] {
        show(detectDialect(m_document.path()));
        updatePreview();
    });

    auto *const layout = new QVBoxLayout(this);
    layout->addLayout(choices);
    layout->addWidget(m_preview, 1);
    layout->addWidget(m_summary);
    layout->addWidget(buttons);
    resize(fontMetrics().averageCharWidth() * QSize(110, 80));
}

/// Selects the item with \p value, which is added when it is none of the usual ones.
static void choose(QComboBox &box, const QString &value)
{
    int index = box.findData(value);
    if (index < 0) {
        box.addItem(value, value);
        index = box.count() - 1;
    }
    box.setCurrentIndex(index);
}

void FormatDialog::show(const CSVDialect &dialect)
{
    const SignalBlocker blockers[] = {
        SignalBlocker(m_delimiter), SignalBlocker(m_encoding), SignalBlocker(m_point),
        SignalBlocker(m_quotes),    SignalBlocker(m_comment),  SignalBlocker(m_headerRow),
        SignalBlocker(m_unitRow),   SignalBlocker(m_dataRow),
    };
    m_shown = dialect;
    choose(*m_delimiter, dialect.delimiter());
    choose(*m_point, QString(dialect.decimalPoint()));
    m_encoding->setCurrentText(dialect.encoding());
    m_quotes->setChecked(dialect.quotes() == CSVDialect::Rfc4180Quotes);
    m_comment->setText(dialect.comment());
    m_headerRow->setValue(dialect.headerRow() + 1);
    m_unitRow->setValue(dialect.unitRow() + 1);
    m_dataRow->setValue(dialect.firstDataRow() + 1);
}

/// The delimiter of the item that is shown, or what was typed.
QString FormatDialog::chosenDelimiter() const
{
    const QString shown = m_delimiter->currentText();
    const int index = m_delimiter->findText(shown);
    return index < 0 ? shown : m_delimiter->itemData(index).toString();
}

CSVDialect FormatDialog::chosen() const
{
    CSVDialect dialect = m_shown;
    dialect.setDelimiter(chosenDelimiter());
    dialect.setEncoding(m_encoding->currentText());
    dialect.setDecimalPoint(m_point->currentData().toString().at(0).toLatin1());
    dialect.setQuotes(m_quotes->isChecked() ? CSVDialect::Rfc4180Quotes : CSVDialect::NoQuotes);
    dialect.setComment(m_comment->text());
    dialect.setHeader(m_headerRow->value() - 1, m_unitRow->value() - 1, m_dataRow->value() - 1);
    return dialect;
}

void FormatDialog::updatePreview()
{
    const CSVDialect dialect = chosen();
    // What was detected and is not changed yet may be doubtful, which its text shows.
    m_summary->setText((dialect == m_shown ? m_shown : dialect).toText());
    CSVTable head;
    if (!readHead(m_document.path(), dialect, head)) {
        m_preview->setRowCount(0);
        const QString reason = Utils::File::lastError();
        m_summary->setText(reason.isEmpty() ? text(".err.open").arg(m_document.path()) : reason);
        return;
    }
    const int firstRow = dialect.firstDataRow();
    const int numRows = std::clamp(head.numRows() - firstRow, 0, previewRows);
    const QList<Utils::CSVColumn> columns = head.columns().mid(0, previewColumns);
    m_preview->setRowCount(numRows);
    m_preview->setColumnCount(columns.size());
    for (int col = 0; col < columns.size(); ++col) {
        const QString unit =
            columns[col].unit.isEmpty() ? QString() : " [" + columns[col].unit + ']';
        m_preview->setHorizontalHeaderItem(col, new QTableWidgetItem(columns[col].label + unit));
        for (int row = 0; row < numRows; ++row) {
            auto *const item = new QTableWidgetItem(head.data(firstRow + row, col));
            if (columns[col].type == Utils::CSVColumn::Numbers)
                item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            m_preview->setItem(row, col, item);
        }
    }
    m_preview->resizeColumnsToContents();
}

void FormatDialog::accept()
{
    if (m_document.isChanged() &&
        QMessageBox::question(this, windowTitle(), text(".msg.reloadLoses")) != QMessageBox::Yes)
        return;
    if (m_document.readAs(chosen()))
        QDialog::accept();
    else
        QMessageBox::warning(this, windowTitle(), m_document.failure());
}

} // namespace Workbench
