#pragma once

#include "utils/csv/CSVTable.h"
#include "utils/csv/backends/CSVTextData_p.h"
#include "utils/csv/cells/CSVText_p.h"
#include "utils/feedback/Progress.h"

#include <memory>
#include <new>

namespace Utils {

/// What \p task returns, or an empty result when the memory does not suffice.
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

/// While it lives, a reporter is used for a task of the table. There may be none.
class TaskProgress
{
public:
    explicit TaskProgress(Progress *progress) : m_progress(progress)
    {
        if (m_progress)
            m_progress->save();
    }
    TaskProgress(const TaskProgress &) = delete;
    TaskProgress &operator=(const TaskProgress &) = delete;
    ~TaskProgress()
    {
        if (m_progress)
            m_progress->restore();
    }

    void start(int steps, const Data::String &label)
    {
        if (!m_progress)
            return;
        m_progress->setMaxSteps(steps);
        m_progress->setLabel(label);
    }

    void tick()
    {
        if (m_progress)
            m_progress->tick(1);
    }

private:
    Progress *const m_progress;
};

/// How a table holds its cells in memory.
struct CSVBackends
{
    /// The library's own.
    static CSVBackends standard();

    std::unique_ptr<CSVTextData> (*makeText)();

    /// Bytes as CSVArrayData has them.
    std::unique_ptr<CSVData> (*makeBytes)(const QByteArray &bytes, char delimiter, bool parseNow,
                                          Progress *progress, const Data::String &label);
};

class CSVTablePrivate
{
public:
    CSVTablePrivate() = default;
    CSVTablePrivate(const CSVTablePrivate &) = delete;
    CSVTablePrivate &operator=(const CSVTablePrivate &) = delete;

    /// Makes \p table hold its cells by \p newBackends, without what it has and knows so far. For
    /// tests, which have plain ones.
    static void useBackends(CSVTable &table, const CSVBackends &newBackends);

    void addDelimiter(const Data::String &delimiter, bool alternate);

    /// The backend that answers: the text rows, or the one in use.
    CSVData &current() const { return backend ? *backend : *textData; }

    /// Makes the text rows the current backend again, as they are.
    void useText() { backend.reset(); }

    bool isText() const { return !backend; }

    /// Whether there is one delimiter, of one character: what all backends can split at.
    bool hasSingleDelimiter() const
    {
        return textData->delimiters.size() == 1 && textData->delimiters.first().size() == 1;
    }

    /// The delimiter as the readers of bytes take it: in Latin-1, or 0 where it is not in that.
    char byteDelimiter() const { return textData->delimiters.first().at(0).toLatin1(); }

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
        return textData->delimiters.value(0, QStringLiteral(","));
    }

    bool demandParse = false;
    double holeValue = 0.0; // of this table; those in memory read the one of the process
    Data::String progressLabel;
    Data::String path;
    Progress *progress = nullptr; // not owned
    CSVBackends backends = CSVBackends::standard();
    std::unique_ptr<CSVTextData> textData = backends.makeText(); // there is always one
    std::unique_ptr<CSVData> backend;                            // of a table that is not text
};

} // namespace Utils
