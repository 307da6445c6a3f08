#pragma once

#include "utils/csv/CSVDialect.h"

#include <QSharedData>

#include <array>

namespace Utils {

class CSVDialectPrivate : public QSharedData
{
public:
    static constexpr int numProperties = CSVDialect::DecimalPoint + 1;

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
};

} // namespace Utils
