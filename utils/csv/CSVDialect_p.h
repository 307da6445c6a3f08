#pragma once

#include "utils/csv/CSVDialect.h"

#include <QSharedData>

#include <array>

namespace Utils {

class CSVDialectPrivate : public QSharedData
{
public:
    static constexpr int numProperties = CSVDialect::DecimalPoint + 1;

    /// The plain dialect, and one that is not valid: neither is ever deleted, and no memory is
    /// allocated for them.
    static CSVDialectPrivate *plain();
    static CSVDialectPrivate *invalid();

    bool isValid = true;
    std::array<double, numProperties> confidences{};
    QString encoding = QStringLiteral("UTF-8");
    QString delimiter = QStringLiteral(",");
    CSVDialect::Quotes quotes = CSVDialect::NoQuotes;
    QString comment;
    int headerRow = -1;
    int unitRow = -1;
    int firstDataRow = 0;
    char decimalPoint = '.';
    bool hasGroupedDigits = false;
    bool hasCarriageReturns = false;
};

} // namespace Utils
