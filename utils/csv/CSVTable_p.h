#pragma once

#include "utils/csv/CSVStringData_p.h"
#include "utils/csv/CSVTable.h"

#include <memory>

namespace Utils {

class CSVTablePrivate
{
public:
    CSVTablePrivate() = default;
    CSVTablePrivate(const CSVTablePrivate &) = delete;
    CSVTablePrivate &operator=(const CSVTablePrivate &) = delete;
    ~CSVTablePrivate() { useText(); }

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
