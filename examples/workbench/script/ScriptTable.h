#pragma once

#include "data/String.h"
#include "data/Variant.h"

#include <QPointer>
#include <QStringList>
#include <QVector>

namespace Workbench {

class ScriptColumn;
class TableDocument;

// The classes of the module "Workbench". When a call fails, it sets the Python error and returns an
// empty result: the caller returns the error to Python. So does each call for a table that has been
// closed, and each call on another thread than the main one.

/// A table that is open, for scripts. Rows and columns count from 0.
class ScriptTable
{
public:
    ScriptTable() = default;
    explicit ScriptTable(TableDocument &document);

    Data::String path() const;
    int numRows() const;
    int numColumns() const;
    QStringList labels() const;
    bool canChange() const;

    /// A column by its label, as the window shows it, or by its number.
    ScriptColumn column(const Data::Variant &column) const;

    Data::String cell(int row, const Data::Variant &column) const;

    /// Changes a cell. The user can undo it.
    void setCell(int row, const Data::Variant &column, const Data::Variant &value);

    /// Closes the table. False when there are unsaved changes that the user wants to keep.
    bool close();

    Data::String representation() const;

private:
    friend class ScriptColumn;

    TableDocument *document() const;
    int columnNumber(const TableDocument &document, const Data::Variant &column) const;

    QPointer<TableDocument> m_document;
    QString m_name; // for errors
};

/// A column of a table, for scripts: a sequence of numbers, one for each row. A hole, and a text
/// that is no number, is NaN.
class ScriptColumn
{
public:
    ScriptColumn() = default;
    ScriptColumn(const ScriptTable &table, int number);

    int number() const { return m_number; }
    Data::String label() const;
    Data::String unit() const;
    int size() const;
    double value(int row) const;

    /// The numbers of all rows, in less time than one by one.
    QVector<double> values() const;

    Data::String representation() const;

private:
    TableDocument *document() const;

    ScriptTable m_table;
    int m_number = 0;
};

/// The table that is or was current last; with a name, the one with this path or name of a file.
ScriptTable scriptTable(const Data::String &name);

/// All tables that are open.
QVector<ScriptTable> scriptTables();

/// Opens a file in a tab. \p isTable tells whether it is a table.
ScriptTable openScriptTable(const Data::String &path, bool &isTable);

/// Shows a text until the user has read it.
void showScriptMessage(const Data::String &message);

/// Sets the result of the run.
void setScriptResult(const Data::Variant &value);

} // namespace Workbench
