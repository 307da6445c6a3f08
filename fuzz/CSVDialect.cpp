// The dialect of any bytes, alone and with some of its properties set.

#include "utils/csv/CSVDialect.h"

#include "fuzz/Input.h"

#include <algorithm>

using Utils::CSVDialect;

static const CSVDialect::Property properties[] = {CSVDialect::Encoding, CSVDialect::Delimiter,
                                                  CSVDialect::Quoting,  CSVDialect::Comment,
                                                  CSVDialect::Header,   CSVDialect::DecimalPoint};

/// A dialect of which some properties are set.
static CSVDialect knownDialect(Input &input)
{
    static const char *const encodings[] = {"",          "UTF-8", "UTF-16LE", "windows-1252",
                                            "Shift_JIS", "?"};
    static const char *const delimiters[] = {"", ",", ";", "\t", "\\s+", "::", "\""};
    static const char *const comments[] = {"", "#", "//", ";", "\n"};
    CSVDialect known;
    if (const int i = input.choice(6))
        known.setEncoding(encodings[i]);
    if (const int i = input.choice(8))
        known.setDelimiter(delimiters[i - 1]);
    if (const int i = input.choice(6))
        known.setComment(comments[i - 1]);
    if (const int i = input.choice(3))
        known.setQuotes(i == 1 ? CSVDialect::NoQuotes : CSVDialect::Rfc4180Quotes);
    return known;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const CSVDialect known = knownDialect(input);
    const int times = input.choice(2) * 40 + 1; // more than the sample
    const QByteArray bytes = input.rest().repeated(times);

    const CSVDialect dialect = CSVDialect::detectBytes(bytes, known);
    require(dialect.isValid(), "bytes can be read");
    for (const CSVDialect::Property property : properties) {
        const double confidence = dialect.confidence(property);
        require(confidence >= 0.0 && confidence <= 1.0, "a confidence is a share");
        const bool isKnown = known.confidence(property) == 1.0;
        require(isKnown == (confidence == 1.0), "what is known is certain, and nothing else");
    }
    if (known.confidence(CSVDialect::Delimiter) == 1.0)
        requireEqual<QString>(dialect.delimiter(), known.delimiter(), "the delimiter is kept");
    require(dialect.headerRow() < std::max(dialect.firstDataRow(), 1), "data are below the header");
    require(dialect.unitRow() < 0 || dialect.unitRow() > dialect.headerRow(), "units are below it");
    require(!dialect.toText().contains(QLatin1Char('\n')) ||
                known.comment().contains(QLatin1Char('\n')),
            "a line for people");

    const CSVDialect again = CSVDialect::detectBytes(bytes, known);
    require(again == dialect, "the same bytes have the same dialect");
    requireEqual<QString>(again.toJson(), dialect.toJson(), "and the same confidences");
    return 0;
}
