#pragma once

#include "utils/csv/CSVDialect.h"
#include "utils/csv/dialect/DialectSample_p.h"

namespace Utils {

/// Detects a dialect.
class DialectDetector
{
public:
    static CSVDialect detectFile(const Data::String &path, const CSVDialect &known);
    static CSVDialect detectBytes(const QByteArray &bytes, const CSVDialect &known);

private:
    static CSVDialect invalid();
    static CSVDialect detectInFile(const Data::String &path, const CSVDialect &known);
    static CSVDialect detectInBytes(const QByteArray &bytes, const CSVDialect &known);
    static CSVDialect detect(const DialectSample &sample, const CSVDialect &known);
};

} // namespace Utils
