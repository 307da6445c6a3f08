#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// A cell of a CSVTable where the table stores it, without a copy.
///
/// CSVTable::visit() passes cells to a function of the caller. They and their pointers are valid
/// only until this function returns.
///
/// The table stores a cell in one of two forms: as bytes, which is usual for a table that was read
/// from a file, or as UTF-16. Text that needs conversion, such as a quoted field, is UTF-16, too,
/// so one table may have cells of both forms.
class KELMUTILS_EXPORT CSVCell
{
public:
    /// Whether the cell is stored as UTF-16.
    bool isUtf16() const { return m_form == Utf16; }

    /// The cell as bytes; null when it is stored as UTF-16. They are not terminated by a zero.
    ///
    /// In a table stored as text they are valid UTF-8. White space of ASCII at the ends is not part
    /// of the cell, but white space outside ASCII, which text() does not return, may be. In a table
    /// in the file, no white space is removed. With CSVTable::setEncoding() they are UTF-8 in each
    /// kind of storage. With CSVTable::Rfc4180 they are exactly the contents of the cell.
    const char *bytes() const { return isUtf16() ? nullptr : static_cast<const char *>(m_data); }

    /// The cell as UTF-16; null when it is stored as bytes.
    const QChar *characters() const
    {
        return isUtf16() ? static_cast<const QChar *>(m_data) : nullptr;
    }

    /// The number of bytes or code units.
    int size() const { return m_size; }

    /// The result of CSVTable::isEmpty() for the cell.
    bool isEmpty() const;

    /// The text of the cell in CSVTable::data(row).
    Data::String text() const;

    /// The result of CSVTable::dataValue() for the row and column of the cell, and its \p ok.
    double number(bool *ok = nullptr) const;

private:
    friend class CSVRowBuilder;

    enum Form : unsigned char
    {
        Utf16,
        Utf8,     // trimmed at ASCII white space
        Bytes,    // of any encoding; ends at a zero byte as text
        InFile,   // not trimmed
        Exact,    // UTF-8; text with all white space
        Comma = 8 // a flag of the forms of bytes: numbers have a decimal comma
    };

    CSVCell() = default;
    CSVCell(const void *data, int size, Form form, bool hasRoom, const double *hole)
        : m_data(data), m_hole(hole), m_size(size), m_form(form), m_hasRoom(hasRoom)
    {}

    Form form() const { return static_cast<Form>(m_form & ~Comma); }
    bool hasComma() const { return isUtf16() ? m_hasRoom : (m_form & Comma) != 0; }

    QString toText() const;
    bool toPureNumber(double &value) const;
    double toNumber(bool *ok) const;

    const void *m_data;
    const double *m_hole; // the hole number
    int m_size;
    Form m_form;
    // Whether the memory before the end of the cell may be read, for fast parsing; of UTF-16,
    // whether numbers have a decimal comma.
    bool m_hasRoom;
};

} // namespace Utils
