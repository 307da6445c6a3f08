#pragma once

#include "utils/base/DecimalParse_p.h"
#include "utils/csv/CSVRow.h"
#include "utils/csv/cells/Cells_p.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <limits>
#include <memory>

namespace Utils {

/// Collects the cells of one row after the other for a visitor of a table, and keeps what they
/// refer to: the table may change while a row is visited.
class CSVRowBuilder
{
public:
    using Form = CSVCell::Form;
    static constexpr Form Utf8 = CSVCell::Utf8;
    static constexpr Form Bytes = CSVCell::Bytes;
    static constexpr Form InFile = CSVCell::InFile;
    static constexpr Form Exact = CSVCell::Exact;

    /// \p hole is the number of an empty cell of bytes, and must outlive the builder. \p point is
    /// the decimal point.
    explicit CSVRowBuilder(char point = '.', const double &hole = csvHoleValue())
        : m_hole(&hole), m_hasComma(point == ','), m_comma(m_hasComma ? CSVCell::Comma : 0)
    {}

    static bool isExact(const CSVCell &cell) { return cell.form() == Exact; }

    CSVRow row(int number) const { return CSVRow(number, m_cells.get(), m_cells.get() + m_size); }

    /// Starts the next row, with room for \p count cells.
    void start(int count)
    {
        m_size = 0;
        if (count > m_room) {
            m_room = std::max(count, 2 * std::min(m_room, std::numeric_limits<int>::max() / 2));
            m_cells.reset(new CSVCell[static_cast<std::size_t>(m_room)]);
        }
        if (!m_texts.isEmpty())
            m_texts.clear();
        if (!m_byteFields.isEmpty())
            m_byteFields.clear();
    }

    /// Keeps \p chunk until another one is kept.
    void keep(const std::shared_ptr<const void> &chunk)
    {
        if (m_chunk != chunk)
            m_chunk = chunk;
    }

    /// Adds a cell in memory that is kept. \p text is the start of the text that contains the cell.
    void add(Form form, const char *text, const char *begin, const char *end)
    {
        const bool hasRoom = !m_hasComma && end - text >= decimalReach;
        m_cells[m_size++] = CSVCell(begin, static_cast<int>(end - begin),
                                    static_cast<Form>(form | m_comma), hasRoom, m_hole);
    }
    void add(const QChar *begin, const QChar *end)
    {
        m_cells[m_size++] =
            CSVCell(begin, static_cast<int>(end - begin), CSVCell::Utf16, m_hasComma, m_hole);
    }

    /// Adds a cell with a text of its own.
    void add(const QString &text)
    {
        m_texts.append(text);
        const QString &kept = m_texts.last();
        add(kept.constData(), kept.constData() + kept.size());
    }

    /// Starts a row with these fields.
    void startWith(const QStringList &fields)
    {
        start(fields.size());
        m_texts = fields;
        for (const QString &field : qAsConst(m_texts))
            add(field.constData(), field.constData() + field.size());
    }

    void startWith(const QList<QByteArray> &fields, Form form = Bytes)
    {
        start(fields.size());
        m_byteFields = fields;
        for (const QByteArray &field : qAsConst(m_byteFields))
            add(form, field.constData(), field.constData(), field.constData() + field.size());
    }

private:
    const double *m_hole;
    const bool m_hasComma;
    const unsigned char m_comma; // the flag
    std::unique_ptr<CSVCell[]> m_cells;
    int m_size = 0;
    int m_room = 0;
    std::shared_ptr<const void> m_chunk;
    QStringList m_texts;
    QList<QByteArray> m_byteFields;
};

} // namespace Utils
