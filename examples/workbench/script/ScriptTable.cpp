#include <Python.h>

#include "examples/workbench/script/ScriptTable.h"

#include "data/Array.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/script/ScriptAccess.h"
#include "examples/workbench/table/RowSearch.h"
#include "examples/workbench/table/TableDocument.h"
#include "utils/csv/CSVTable.h"
#include "utils/script/ScriptManager.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <cmath>

namespace Workbench {

static void raise(PyObject *type, const QString &message)
{
    PyErr_SetString(type, message.toUtf8().constData());
}

/// What scripts reach of the program, or null with the error set.
static ScriptAccess *access()
{
    if (QThread::currentThread() != qApp->thread()) {
        raise(PyExc_RuntimeError, "the module Workbench can be used on the main thread only");
        return nullptr;
    }
    ScriptAccess *const found = ScriptAccess::instance();
    if (!found)
        raise(PyExc_RuntimeError, "the window is closed");
    return found;
}

ScriptTable::ScriptTable(TableDocument &document)
    : m_document(&document), m_name(QFileInfo(document.path()).fileName())
{}

/// The document, or null with the error set.
TableDocument *ScriptTable::document() const
{
    const ScriptAccess *const program = access();
    if (!program)
        return nullptr;
    if (program->isOpen(m_document))
        return m_document;
    raise(PyExc_RuntimeError, QString("the table \"%1\" has been closed").arg(m_name));
    return nullptr;
}

Data::String ScriptTable::path() const
{
    const TableDocument *const table = document();
    return table ? table->path() : QString();
}

int ScriptTable::numRows() const
{
    const TableDocument *const table = document();
    return table ? table->numRows() : 0;
}

int ScriptTable::numColumns() const
{
    const TableDocument *const table = document();
    return table ? table->numColumns() : 0;
}

static QStringList labelsOf(const TableDocument &table)
{
    QStringList labels;
    for (int col = 0; col < table.numColumns(); ++col)
        labels.append(table.label(col));
    return labels;
}

QStringList ScriptTable::labels() const
{
    const TableDocument *const table = document();
    return table ? labelsOf(*table) : QStringList();
}

bool ScriptTable::canChange() const
{
    const TableDocument *const table = document();
    return table && table->canChange();
}

/// The number of a column, or -1 with the error set.
int ScriptTable::columnNumber(const TableDocument &table, const Data::Variant &column) const
{
    if (column.userType() == QMetaType::Int) {
        const int number = column.toInt();
        if (number >= 0 && number < table.numColumns())
            return number;
        raise(PyExc_IndexError, QString("no column %1: there are %2, counted from 0")
                                    .arg(number)
                                    .arg(table.numColumns()));
        return -1;
    }
    const QStringList labels = labelsOf(table);
    const int number = labels.indexOf(column.toString());
    if (number < 0)
        raise(PyExc_LookupError, QString("no column \"%1\" in %2: there are %3")
                                     .arg(column.toString(), m_name, labels.join(", ")));
    return number;
}

ScriptColumn ScriptTable::column(const Data::Variant &column) const
{
    const TableDocument *const table = document();
    const int number = table ? columnNumber(*table, column) : -1;
    return ScriptColumn(*this, number);
}

/// Whether there is a row of that number. Sets the error otherwise.
static bool checkRow(const TableDocument &table, int row)
{
    if (row >= 0 && row < table.numRows())
        return true;
    raise(PyExc_IndexError,
          QString("no row %1: there are %2, counted from 0").arg(row).arg(table.numRows()));
    return false;
}

Data::String ScriptTable::cell(int row, const Data::Variant &column) const
{
    const TableDocument *const table = document();
    const int number = table ? columnNumber(*table, column) : -1;
    if (number < 0 || !checkRow(*table, row))
        return {};
    return table->cell(row, number);
}

/// A value as the text of a cell: "" for None and for a number that is none. A number keeps all its
/// digits, other than by CSVTable::setData(), to which a whole number has six.
static QString cellText(const TableDocument &table, const Data::Variant &value)
{
    if (!value.isValid())
        return {};
    const bool isReal = value.userType() == QMetaType::Double;
    if (isReal && std::isnan(value.toDouble()))
        return {};
    QString text = value.toString();
    if (isReal && table.dialect().decimalPoint() == ',')
        text.replace('.', ',');
    return text;
}

void ScriptTable::setCell(int row, const Data::Variant &column, const Data::Variant &value)
{
    TableDocument *const table = document();
    const int number = table ? columnNumber(*table, column) : -1;
    if (number < 0 || !checkRow(*table, row))
        return;
    if (table->canChange())
        ScriptAccess::instance()->setCell(*table, row, number, cellText(*table, value));
    else
        raise(PyExc_RuntimeError,
              QString("the table \"%1\" is shown from its file and cannot be changed").arg(m_name));
}

bool ScriptTable::close()
{
    const TableDocument *const table = document();
    return table && ScriptAccess::instance()->close(table);
}

Data::String ScriptTable::representation() const
{
    const ScriptAccess *const program = ScriptAccess::instance();
    const bool isOpen = program && program->isOpen(m_document);
    return QString("<Workbench.Table \"%1\"%2>").arg(m_name, isOpen ? "" : ", closed");
}

ScriptColumn::ScriptColumn(const ScriptTable &table, int number) : m_table(table), m_number(number)
{}

/// The document, or null with the error set. It may have been read again with fewer columns.
TableDocument *ScriptColumn::document() const
{
    TableDocument *const table = m_table.document();
    if (!table || m_table.columnNumber(*table, m_number) < 0)
        return nullptr;
    return table;
}

Data::String ScriptColumn::label() const
{
    const TableDocument *const table = document();
    return table ? table->label(m_number) : QString();
}

Data::String ScriptColumn::unit() const
{
    const TableDocument *const table = document();
    return table ? table->columns().at(m_number).unit : Data::String();
}

int ScriptColumn::size() const
{
    const TableDocument *const table = document();
    return table ? table->numRows() : 0;
}

double ScriptColumn::value(int row) const
{
    const TableDocument *const table = document();
    if (!table || !checkRow(*table, row))
        return 0.0;
    bool isNumber = false;
    const double number = table->table().dataValue(table->tableRow(row), m_number, &isNumber);
    return isNumber && !Data::isHole(number) ? number : std::nan("");
}

QVector<double> ScriptColumn::values() const
{
    const TableDocument *const table = document();
    if (!table)
        return {};
    const std::optional<Numbers> numbers = numbersOf(*table, {m_number});
    if (!numbers)
        raise(PyExc_KeyboardInterrupt, "cancelled");
    QVector<double> values = numbers ? numbers->columns.constFirst() : QVector<double>();
    std::replace(values.begin(), values.end(), Data::noValue, std::nan(""));
    return values;
}

Data::String ScriptColumn::representation() const
{
    return QString("<column %1 of %2>").arg(m_number).arg(m_table.representation());
}

ScriptTable scriptTable(const Data::String &name)
{
    const ScriptAccess *const program = access();
    if (!program)
        return {};
    TableDocument *const table = name.isEmpty() ? program->table() : program->table(name);
    if (table)
        return ScriptTable(*table);
    if (name.isEmpty())
        raise(PyExc_RuntimeError, "no table is open");
    else
        raise(PyExc_LookupError, QString("no table \"%1\" is open").arg(name));
    return {};
}

QVector<ScriptTable> scriptTables()
{
    QVector<ScriptTable> all;
    if (const ScriptAccess *const program = access()) {
        for (TableDocument *const table : program->tables())
            all.append(ScriptTable(*table));
    }
    return all;
}

ScriptTable openScriptTable(const Data::String &path, bool &isTable)
{
    isTable = false;
    ScriptAccess *const program = access();
    if (!program)
        return {};
    const QString reason = program->open(path);
    if (!reason.isEmpty()) {
        raise(PyExc_IOError, reason);
        return {};
    }
    TableDocument *const table = program->table(path);
    isTable = table;
    return table ? ScriptTable(*table) : ScriptTable();
}

void showScriptMessage(const Data::String &message)
{
    ScriptAccess *const program = access();
    if (program && !program->showMessage(message))
        raise(PyExc_RuntimeError, "another dialog is open");
}

void setScriptResult(const Data::Variant &value)
{
    ScriptAccess *const program = access();
    if (!program)
        return;
    program->setResult(value);
    Utils::ScriptManager::instance().setScriptResult(value);
}

} // namespace Workbench
