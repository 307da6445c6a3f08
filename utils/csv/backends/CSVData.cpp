#include "utils/csv/backends/CSVData_p.h"

namespace Utils {

CSVData::~CSVData() = default;

bool CSVData::isValid() const { return numRows() > 0; }
bool CSVData::isReadOnly() const { return false; }
void CSVData::setData(int, int, const Data::String &) {}
void CSVData::removeColumn(int) {}
void CSVData::removeRows(const QList<int> &) {}

} // namespace Utils
