#pragma once

#include "utils/csv/CSVTable.h"
#include "utils/csv/backends/CSVStringData_p.h"
#include "utils/feedback/Progress.h"

#include <memory>
#include <new>

namespace Utils {

/// What \p task gives, or an empty result when the memory does not suffice.
template <typename Task>
auto emptyWithoutMemory(const Task &task) -> decltype(task())
{
    try {
        return task();
    } catch (const std::bad_alloc &) {
        return decltype(task())();
    }
}

/// Runs \p task, which changes all or nothing. Nobody is told when the memory does not suffice.
template <typename Task>
void unlessOutOfMemory(const Task &task)
{
    try {
        task();
    } catch (const std::bad_alloc &) {
        // nothing has changed
    }
}

/// While it lives, a reporter may be used for something else. There may be none.
class SavedProgress
{
public:
    explicit SavedProgress(Progress *progress) : m_progress(progress)
    {
        if (m_progress)
            m_progress->save();
    }
    SavedProgress(const SavedProgress &) = delete;
    SavedProgress &operator=(const SavedProgress &) = delete;
    ~SavedProgress()
    {
        if (m_progress)
            m_progress->restore();
    }

private:
    Progress *const m_progress;
};

class CSVTablePrivate
{
public:
    CSVTablePrivate() = default;
    CSVTablePrivate(const CSVTablePrivate &) = delete;
    CSVTablePrivate &operator=(const CSVTablePrivate &) = delete;
    ~CSVTablePrivate() { useText(); }

    void addDelimiter(const Data::String &delimiter, bool alternate);

    /// Makes the text rows the current backend again, as they are.
    void useText() { use(&textData); }

    /// Makes \p backend the current one, and owns it.
    void use(std::unique_ptr<CSVData> backend) { use(backend.release()); }

    bool isText() const { return data == &textData; }

    /// Whether there is one delimiter, of one character: what all backends can split at.
    bool hasSingleDelimiter() const
    {
        return textData.delimiters.size() == 1 && textData.delimiters.first().size() == 1;
    }

    /// The delimiter as the readers of bytes take it: in Latin-1, or 0 where it is not in that.
    char byteDelimiter() const { return textData.delimiters.first().at(0).toLatin1(); }

    /// Adds \p text to the text rows, which become the current backend.
    bool setText(const CSVText &text, bool quoted);

    /// Reads the file as a table in the file, which becomes the current backend, also when it
    /// cannot be read and has no rows.
    bool readInFile();

    /// Puts the text rows from \p firstRow on in order; all, or none with std::bad_alloc.
    void sort(int col, int firstRow, bool ascending);

    QMap<Data::String, Data::Variant> propertyValues(int row, bool normalizeKeys) const;

    /// A text row as one line, as CSVTable::stringData() gives it.
    Data::String line(int row) const;

    /// What is written between fields.
    Data::String outputDelimiter() const
    {
        return textData.delimiters.value(0, QStringLiteral(","));
    }

    bool demandParse = false;
    double holeValue = 0.0; // of this table; those in memory read the one of the process
    Data::String progressLabel;
    Data::String path;
    Progress *progress = nullptr; // not owned
    CSVStringData textData;
    CSVData *data = &textData; // or a backend on the heap, owned

private:
    void use(CSVData *backend)
    {
        if (data != &textData)
            delete data;
        data = backend;
    }
};

} // namespace Utils
