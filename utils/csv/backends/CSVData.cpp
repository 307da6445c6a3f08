#include "utils/csv/backends/CSVData_p.h"

#include "utils/base/NumberParse_p.h"

namespace Utils {

CSVData::~CSVData() = default;

bool CSVData::isValid() const { return numRows() > 0; }
bool CSVData::isReadOnly() const { return false; }
void CSVData::setData(int, int, const Data::String &) {}
void CSVData::removeColumn(int) {}
void CSVData::removeRows(const QList<int> &) {}

double &csvHoleValue()
{
    static double value = 0.0;
    return value;
}

double csvNumber(const QString &text, bool *ok)
{
    if (text.isEmpty()) {
        if (ok)
            *ok = false;
        return csvHoleValue();
    }
    const int brace = text.indexOf(QLatin1Char('{'));
    return parseNumber(brace < 0 ? text : text.left(brace), ok);
}

} // namespace Utils
