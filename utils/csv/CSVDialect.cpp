#include "utils/csv/CSVDialect.h"

#include "utils/base/Placeholders_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/csv/CSVDialect_p.h"
#include "utils/csv/cells/Cells_p.h"
#include "utils/csv/dialect/DialectDetector_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <new>

namespace Utils {

static const char *const propertyNames[] = {"encoding", "delimiter", "quotes",
                                            "comment",  "header",    "decimalPoint"};

/// Constructs a dialect in memory that is never freed.
static CSVDialectPrivate *makeForever(unsigned char *memory, bool isValid)
{
    auto *const dialect = new (memory) CSVDialectPrivate;
    dialect->isValid = isValid;
    dialect->ref.ref();
    return dialect;
}

CSVDialectPrivate *CSVDialectPrivate::plain()
{
    alignas(CSVDialectPrivate) static unsigned char memory[sizeof(CSVDialectPrivate)];
    static CSVDialectPrivate *const dialect = makeForever(memory, /*isValid=*/true);
    return dialect;
}

CSVDialectPrivate *CSVDialectPrivate::invalid()
{
    alignas(CSVDialectPrivate) static unsigned char memory[sizeof(CSVDialectPrivate)];
    static CSVDialectPrivate *const dialect = makeForever(memory, /*isValid=*/false);
    return dialect;
}

CSVDialect::CSVDialect() : d(CSVDialectPrivate::plain()) {}
CSVDialect::CSVDialect(const CSVDialect &other) = default;
CSVDialect &CSVDialect::operator=(const CSVDialect &other) = default;
CSVDialect::~CSVDialect() = default;

CSVDialect CSVDialect::detect(const Data::String &path, const CSVDialect &known)
{
    return DialectDetector::detectFile(path, known);
}

CSVDialect CSVDialect::detectBytes(const QByteArray &bytes, const CSVDialect &known)
{
    return DialectDetector::detectBytes(bytes, known);
}

bool CSVDialect::isValid() const { return d->isValid; }

double CSVDialect::confidence(Property property) const
{
    const bool isProperty = property >= Encoding && property <= DecimalPoint;
    return isProperty ? d->confidences[property] : 0.0;
}

Data::String CSVDialect::encoding() const { return d->encoding; }

void CSVDialect::setEncoding(const Data::String &name)
{
    d->encoding = name;
    d->confidences[Encoding] = 1.0;
}

Data::String CSVDialect::delimiter() const { return d->delimiter; }

void CSVDialect::setDelimiter(const Data::String &delimiter)
{
    d->delimiter = delimiter;
    d->confidences[Delimiter] = 1.0;
}

bool CSVDialect::isAligned() const { return d->delimiter == csvBlanks; }

CSVDialect::Quotes CSVDialect::quotes() const { return d->quotes; }

void CSVDialect::setQuotes(Quotes quotes)
{
    d->quotes = quotes;
    d->confidences[Quoting] = 1.0;
}

Data::String CSVDialect::comment() const { return d->comment; }

void CSVDialect::setComment(const Data::String &marker)
{
    d->comment = marker;
    d->confidences[Comment] = 1.0;
}

int CSVDialect::headerRow() const { return d->headerRow; }
int CSVDialect::unitRow() const { return d->unitRow; }
int CSVDialect::firstDataRow() const { return d->firstDataRow; }

void CSVDialect::setHeader(int headerRow, int unitRow, int firstDataRow)
{
    d->headerRow = std::max(headerRow, -1);
    d->unitRow = std::max(unitRow, -1);
    d->firstDataRow = std::max(firstDataRow, 0);
    d->confidences[Header] = 1.0;
}

char CSVDialect::decimalPoint() const { return d->decimalPoint; }

void CSVDialect::setDecimalPoint(char point)
{
    d->decimalPoint = point;
    d->confidences[DecimalPoint] = 1.0;
}

bool CSVDialect::hasGroupedDigits() const { return d->hasGroupedDigits; }
void CSVDialect::setGroupedDigits(bool on) { d->hasGroupedDigits = on; }

bool CSVDialect::hasCarriageReturns() const { return d->hasCarriageReturns; }
void CSVDialect::setCarriageReturns(bool on) { d->hasCarriageReturns = on; }

bool CSVDialect::operator==(const CSVDialect &other) const
{
    const CSVDialectPrivate &a = *d;
    const CSVDialectPrivate &b = *other.d;
    return a.isValid == b.isValid && a.encoding == b.encoding && a.delimiter == b.delimiter &&
           a.quotes == b.quotes && a.comment == b.comment && a.headerRow == b.headerRow &&
           a.unitRow == b.unitRow && a.firstDataRow == b.firstDataRow &&
           a.decimalPoint == b.decimalPoint && a.hasGroupedDigits == b.hasGroupedDigits &&
           a.hasCarriageReturns == b.hasCarriageReturns;
}

namespace {

/// A text for users. It is in English where the catalogue does not have it.
struct Text
{
    const char *id;
    const char *english;

    QString with(const QStringList &values = {}) const
    {
        const Data::String key = QLatin1String(".Kelm.Utils") + QLatin1String(id);
        const QString text = textOf(key);
        const bool isFound = text != key && text != QLatin1String(id);
        return fillPlaceholders(isFound ? text : QString::fromLatin1(english), values);
    }
};

const Text unknown = {".dialect.unknown", "unknown"};
const Text oneColumn = {".dialect.oneColumn", "one column"};
const Text aligned = {".dialect.aligned", "columns aligned by blanks"};
const Text tab = {".dialect.tab", "delimiter tab"};
const Text delimiterIs = {".dialect.delimiter", "delimiter '%1'"};
const Text noQuotes = {".dialect.noQuotes", "no quotes"};
const Text doubleQuotes = {".dialect.quotes", "double quotes"};
const Text noComments = {".dialect.noComments", "no comments"};
const Text commentsAfter = {".dialect.comments", "comments after '%1'"};
const Text noLabels = {".dialect.noLabels", "no labels"};
const Text labelsIn = {".dialect.labels", "labels in row %1"};
const Text unitsIn = {".dialect.units", "units in row %1"};
const Text dataFrom = {".dialect.data", "data from row %1"};
const Text point = {".dialect.point", "decimal point"};
const Text comma = {".dialect.comma", "decimal comma"};
const Text thousands = {".dialect.thousands", "separators between thousands"};
const Text carriageReturns = {".dialect.returns", "lines end at carriage returns"};

} // namespace

static const QLatin1String separator(", ");

static QString delimiterText(const QString &delimiter)
{
    if (delimiter.isEmpty())
        return oneColumn.with();
    if (delimiter == csvBlanks)
        return aligned.with();
    return delimiter == QLatin1String("\t") ? tab.with() : delimiterIs.with({delimiter});
}

static QString headerText(const CSVDialect &dialect)
{
    const auto rowText = [](const Text &text, int row) {
        return text.with({QString::number(row + 1)});
    };
    QStringList parts;
    parts.append(dialect.hasHeader() ? rowText(labelsIn, dialect.headerRow()) : noLabels.with());
    if (dialect.unitRow() >= 0)
        parts.append(rowText(unitsIn, dialect.unitRow()));
    if (dialect.hasHeader() || dialect.firstDataRow() > 0)
        parts.append(rowText(dataFrom, dialect.firstDataRow()));
    return parts.join(separator);
}

Data::String CSVDialect::toText() const
{
    if (!d->isValid)
        return unknown.with();
    QString numbers = (d->decimalPoint == ',' ? comma : point).with();
    if (d->hasGroupedDigits)
        numbers += separator + thousands.with();

    const QString texts[] = {d->encoding,
                             delimiterText(d->delimiter),
                             (d->quotes == NoQuotes ? noQuotes : doubleQuotes).with(),
                             d->comment.isEmpty() ? noComments.with()
                                                  : commentsAfter.with({d->comment}),
                             headerText(*this),
                             numbers};
    const double doubtful = 0.5;
    QStringList parts;
    for (int i = 0; i < CSVDialectPrivate::numProperties; ++i) {
        const bool isDoubtful = d->confidences[static_cast<std::size_t>(i)] < doubtful;
        parts.append(isDoubtful ? texts[i] + QStringLiteral(" (?)") : texts[i]);
    }
    if (d->hasCarriageReturns)
        parts.append(carriageReturns.with());
    return parts.join(separator);
}

Data::String CSVDialect::toJson() const
{
    QJsonObject confidences;
    for (int i = 0; i < CSVDialectPrivate::numProperties; ++i) {
        const double rounded =
            std::floor(d->confidences[static_cast<std::size_t>(i)] * 100 + 1e-9) / 100;
        confidences.insert(QLatin1String(propertyNames[i]), rounded);
    }
    const auto rowOf = [](int row) { return row < 0 ? QJsonValue() : QJsonValue(row); };
    QJsonObject object{
        {QStringLiteral("encoding"), d->encoding},
        {QStringLiteral("delimiter"), d->delimiter},
        {QStringLiteral("quotes"),
         d->quotes == NoQuotes ? QJsonValue() : QStringLiteral("RFC 4180")},
        {QStringLiteral("comment"), d->comment},
        {QStringLiteral("headerRow"), rowOf(d->headerRow)},
        {QStringLiteral("unitRow"), rowOf(d->unitRow)},
        {QStringLiteral("firstDataRow"), d->firstDataRow},
        {QStringLiteral("decimalPoint"), QString(QLatin1Char(d->decimalPoint))},
        {QStringLiteral("groupedDigits"), d->hasGroupedDigits},
        {QStringLiteral("confidence"), confidences},
    };
    if (d->hasCarriageReturns)
        object.insert(QStringLiteral("carriageReturns"), true);
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace Utils
