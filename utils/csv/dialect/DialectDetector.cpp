#include "utils/csv/dialect/DialectDetector_p.h"

#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/csv/CSVDialect_p.h"
#include "utils/csv/dialect/DialectFindings_p.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <new>
#include <vector>

namespace Utils {

/// A format with its score.
struct Candidate
{
    DialectFormat format;
    DialectScore score;
    double next = 0.0; // the largest score of a format with another delimiter
};

/// Finds the format that fits a sample best and agrees with the properties that are set.
class FormatFinder
{
public:
    FormatFinder(const DialectSample &sample, const CSVDialect &known);

    void find();

    Candidate best;
    double delimiterConfidence = 0.0;
    double quotesConfidence = 0.0;
    double commentConfidence = 0.0;

private:
    QStringList delimiters() const;
    Candidate bestFormatOf(const QString &delimiter, const QString &comment) const;
    bool isAllowed(const DialectFormat &format) const;
    Candidate bestFormatWithComment(const QString &comment) const;
    void findComment();
    bool isComment(const QString &marker, const Candidate &with, const Candidate &without) const;
    void findDelimiterConfidence();
    void findQuotesConfidence();

    const QStringList &m_parts;
    const CSVDialect &m_known;
    const bool m_isWhole;
    const bool m_hasQuotes;
};

FormatFinder::FormatFinder(const DialectSample &sample, const CSVDialect &known)
    : m_parts(sample.parts), m_known(known), m_isWhole(sample.isWhole),
      m_hasQuotes(std::any_of(m_parts.cbegin(), m_parts.cend(),
                              [](const QString &part) { return part.contains(QLatin1Char('"')); }))
{}

QStringList FormatFinder::delimiters() const
{
    if (m_known.confidence(CSVDialect::Delimiter) >= 1.0)
        return {m_known.delimiter()};
    // Of several that fit equally well, the first is chosen.
    return {QStringLiteral(","), QStringLiteral(";"), QStringLiteral("\t"),
            QStringLiteral("|"), csvBlanks,           QString()};
}

/// Lowers the scores of formats that other formats make unlikely.
static void lowerUnlikelyScores(std::vector<Candidate> &candidates)
{
    const double all = 0.999;
    const auto fitsAll = [&](const Candidate &candidate) {
        return candidate.score.consistency >= all && candidate.score.numDelimiters > 0 &&
               !candidate.format.isAligned();
    };
    const bool hasOther = std::any_of(candidates.begin(), candidates.end(), fitsAll);
    const bool hasTab =
        std::any_of(candidates.begin(), candidates.end(), [](const auto &candidate) {
            const double nearlyAll = 0.9;
            return candidate.format.delimiter == QLatin1String("\t") &&
                   candidate.score.consistency >= nearlyAll;
        });
    for (Candidate &candidate : candidates) {
        // Texts have blanks, but rarely tabs.
        if (candidate.format.isAligned() && hasTab)
            candidate.score.value *= 0.6;
        // A delimiter that the first row lacks, where another one is in all rows
        if (hasOther && candidate.score.isMissingAtTop && !candidate.format.delimiter.isEmpty())
            candidate.score.value *= 0.5;
    }
}

/// The better one of the formats with and without quotes.
Candidate FormatFinder::bestFormatOf(const QString &delimiter, const QString &comment) const
{
    Candidate better;
    better.format = {delimiter, comment, false};
    for (const bool isQuoted : {false, true}) {
        const DialectFormat format{delimiter, comment, isQuoted};
        if (!isAllowed(format))
            continue;
        const DialectRows rows(m_parts, format);
        const bool isGuess = m_known.confidence(CSVDialect::Quoting) < 1.0;
        if (isQuoted && isGuess && rows.numQuoted() <= rows.numMisquoted())
            continue;
        const DialectScore score = DialectScore::of(rows, format);
        if (score.value > better.score.value || (isQuoted && score.value >= better.score.value))
            better = {format, score, 0.0};
    }
    return better;
}

/// Whether the quotes of a format agree with the properties that are set and with the sample.
bool FormatFinder::isAllowed(const DialectFormat &format) const
{
    if (format.isAligned())
        return !format.isQuoted;
    if (m_known.confidence(CSVDialect::Quoting) >= 1.0)
        return format.isQuoted == (m_known.quotes() != CSVDialect::NoQuotes);
    return !format.isQuoted || m_hasQuotes;
}

/// The largest score of a format with another delimiter than that of \p winner.
static double secondBestScore(const std::vector<Candidate> &candidates, const Candidate &winner)
{
    double next = 0.0;
    for (const Candidate &other : candidates) {
        // Tabs are blanks, too: where they fit, blanks often fit nearly as well.
        const bool isWeak =
            winner.format.delimiter == QLatin1String("\t") && other.format.isAligned();
        if (&other != &winner)
            next = std::max(next, other.score.value * (isWeak ? 0.5 : 1.0));
    }
    return next;
}

/// The best format with the comment marker \p comment.
Candidate FormatFinder::bestFormatWithComment(const QString &comment) const
{
    std::vector<Candidate> candidates;
    const QStringList all = delimiters();
    for (const QString &delimiter : all) {
        if (delimiter != comment || delimiter.isEmpty() || all.size() == 1)
            candidates.push_back(bestFormatOf(delimiter, comment));
    }
    lowerUnlikelyScores(candidates);
    std::size_t first = 0;
    for (std::size_t i = 1; i < candidates.size(); ++i) {
        if (candidates[i].score.value > candidates[first].score.value * 1.001)
            first = i;
    }
    Candidate winner = candidates[first];
    winner.next = secondBestScore(candidates, candidates[first]);
    return winner;
}

// Comments

static const char *const markers[] = {"#", "%", "//", ";", "!"};

/// The lines of the sample that begin with a marker.
struct MarkedLines
{
    int numMarked = 0;
    int numLeading = 0; // before all others
    int numOthers = 0;
    QString first;

    MarkedLines(const QStringList &parts, const QString &marker)
    {
        for (int i = 0; i < parts.size(); ++i) {
            const auto lines = parts.at(i).splitRef(QLatin1Char('\n'));
            for (const QStringRef &line : lines) {
                if (line.trimmed().isEmpty())
                    continue;
                if (!line.startsWith(marker)) {
                    ++numOthers;
                    continue;
                }
                if (numMarked++ == 0)
                    first = line.toString();
                numLeading += i == 0 && numOthers == 0;
            }
        }
    }
};

/// Whether lines with \p marker, of which there is at least one, are comments, from the best
/// formats with and without comments.
bool FormatFinder::isComment(const QString &marker, const Candidate &with,
                             const Candidate &without) const
{
    const MarkedLines lines(m_parts, marker);
    if (lines.numOthers == 0)
        return false;
    const bool isAll = lines.numMarked > lines.numOthers * 4 && lines.numLeading < lines.numMarked;
    if (isAll)
        return false; // colours, or words with a hash sign
    const QString text = lines.first.mid(marker.size());
    const QString &delimiter = with.format.delimiter;
    const bool isLabel = marker == QLatin1String("#") && !delimiter.isEmpty() &&
                         !with.format.isAligned() && text.startsWith(delimiter);
    if (lines.numLeading == 1 && isLabel)
        return false; // "#,Name,Value"
    if (lines.numLeading > 0)
        return with.score.value >= without.score.value * 0.9;
    // Rows that are alike are data; lines that differ from them may be comments.
    return with.score.value > without.score.value * 1.004;
}

void FormatFinder::findComment()
{
    if (m_known.confidence(CSVDialect::Comment) >= 1.0) {
        best = bestFormatWithComment(m_known.comment());
        commentConfidence = 1.0;
        return;
    }
    best = bestFormatWithComment(QString());
    // An unknown marker would make some rows differ from the others.
    const bool isEven = best.score.consistency > 0.98 && !best.format.delimiter.isEmpty();
    commentConfidence = isEven ? 0.95 : 0.75;
    const Candidate without = best;
    for (const char *const marker : markers) {
        const QString comment = QLatin1String(marker);
        const bool occurs = std::any_of(m_parts.cbegin(), m_parts.cend(), [&](const QString &part) {
            return part.startsWith(comment) || part.contains(QLatin1Char('\n') + comment);
        });
        if (!occurs || m_known.delimiter() == comment)
            continue;
        commentConfidence = 0.6;
        const Candidate with = bestFormatWithComment(comment);
        if (isComment(comment, with, without)) {
            best = with;
            const MarkedLines lines(m_parts, comment);
            const bool isRemark = lines.first.mid(comment.size()).startsWith(QLatin1Char(' '));
            commentConfidence = lines.numLeading > 0 && isRemark ? 0.92 : 0.7;
            return;
        }
    }
}

// Confidences

static bool hasAny(const QStringList &parts, const QString &characters)
{
    return std::any_of(parts.cbegin(), parts.cend(), [&](const QString &part) {
        return std::any_of(part.begin(), part.end(),
                           [&](QChar character) { return characters.contains(character); });
    });
}

/// Whether commas in \p parts are followed by blanks, as in sentences.
static bool hasSentences(const QStringList &parts)
{
    int commas = 0;
    int blanks = 0;
    for (const QString &part : parts) {
        commas += part.count(QLatin1Char(','));
        blanks += part.count(QLatin1String(", "));
        blanks += part.count(QLatin1String(",\n"));
    }
    return blanks * 2 > commas;
}

void FormatFinder::findDelimiterConfidence()
{
    const DialectScore &score = best.score;
    const double next = best.next;
    if (m_known.confidence(CSVDialect::Delimiter) >= 1.0) {
        delimiterConfidence = 1.0;
        return;
    }
    if (score.value <= 0.0)
        return;
    const double margin = 1.0 - std::min(1.0, next / score.value);
    if (best.format.delimiter.isEmpty()) {
        // One column is certain when the text has no possible delimiter.
        const double evidence = score.numRows / (score.numRows + 2.0);
        const bool isCertain = next <= 0.0 && !hasAny(m_parts, QStringLiteral(",;\t| "));
        delimiterConfidence = (isCertain ? 0.95 : 0.6) * evidence;
        return;
    }
    const double evidence = 1.0 - 1.0 / (1.0 + score.numDelimiters / 2.0);
    const double distance = std::min(1.0, margin / 0.4);
    delimiterConfidence =
        (0.5 + 0.49 * distance) * evidence * std::min(1.0, score.consistency * 1.02);
    const double fewValues = 0.1;
    if (best.format.delimiter == QLatin1String(",") && score.values < fewValues &&
        hasSentences(m_parts))
        delimiterConfidence = std::min(delimiterConfidence, 0.6);
}

void FormatFinder::findQuotesConfidence()
{
    if (m_known.confidence(CSVDialect::Quoting) >= 1.0) {
        quotesConfidence = 1.0;
        return;
    }
    if (!m_hasQuotes) {
        quotesConfidence = m_isWhole ? 0.95 : 0.9;
        return;
    }
    const DialectRows rows(m_parts, best.format);
    const int all = rows.numQuoted() + rows.numMisquoted();
    if (best.format.isQuoted)
        quotesConfidence = 0.97 * rows.numQuoted() / (all + 0.5);
    else
        quotesConfidence = best.format.isAligned() ? 0.5 : 0.7;
}

void FormatFinder::find()
{
    findComment();
    findDelimiterConfidence();
    findQuotesConfidence();
}

// The dialect

CSVDialect DialectDetector::detect(const DialectSample &sample, const CSVDialect &known)
{
    CSVDialect dialect = known;
    CSVDialectPrivate &found = *dialect.d;
    found.isValid = true;
    const auto isKnown = [&](CSVDialect::Property property) {
        return known.confidence(property) >= 1.0;
    };
    if (!isKnown(CSVDialect::Encoding)) {
        found.encoding = sample.encoding.name;
        found.confidences[CSVDialect::Encoding] = sample.encoding.confidence;
    }
    FormatFinder finder(sample, known);
    finder.find();
    const DialectFormat &format = finder.best.format;
    const DialectRows rows(sample.parts, format);
    if (rows.rows().empty())
        return dialect;

    const double doubt = sample.isText ? 1.0 : 0.4;
    const double basis = 0.5 + 0.5 * finder.delimiterConfidence;
    found.delimiter = format.delimiter;
    found.quotes = format.isQuoted ? CSVDialect::Rfc4180Quotes : CSVDialect::NoQuotes;
    found.comment = format.comment;
    found.hasCarriageReturns = sample.hasReturns;
    const auto rate = [&](CSVDialect::Property property, double confidence) {
        if (!isKnown(property))
            found.confidences[property] = std::clamp(confidence * doubt, 0.0, 0.99);
    };
    rate(CSVDialect::Delimiter, finder.delimiterConfidence);
    rate(CSVDialect::Quoting, finder.quotesConfidence * basis);
    rate(CSVDialect::Comment, finder.commentConfidence);

    if (!isKnown(CSVDialect::Header)) {
        const DialectHeader header = DialectHeader::find(rows);
        found.headerRow = header.headerRow;
        found.unitRow = header.unitRow;
        found.firstDataRow = header.firstDataRow;
        rate(CSVDialect::Header, header.confidence * basis);
    }
    const bool isCommaFree = format.delimiter == QLatin1String(",") && !format.isQuoted;
    const DialectNumbers numbers = DialectNumbers::find(rows, found.firstDataRow, isCommaFree);
    found.hasGroupedDigits = numbers.isGrouped;
    if (!isKnown(CSVDialect::DecimalPoint)) {
        found.decimalPoint = numbers.decimalPoint;
        rate(CSVDialect::DecimalPoint, numbers.confidence * basis);
    }
    return dialect;
}

/// What is set in a dialect; the rest has its defaults.
static QString knownEncoding(const CSVDialect &known)
{
    return known.confidence(CSVDialect::Encoding) >= 1.0 ? QString(known.encoding()) : QString();
}

/// A dialect that is not valid. It needs no memory.
CSVDialect DialectDetector::invalid()
{
    CSVDialect dialect;
    dialect.d = CSVDialectPrivate::invalid();
    return dialect;
}

CSVDialect DialectDetector::detectBytes(const QByteArray &bytes, const CSVDialect &known)
{
    LastError operation;
    try {
        const CSVDialect dialect = detectInBytes(bytes, known);
        operation.succeeded();
        return dialect;
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return invalid();
    }
}

CSVDialect DialectDetector::detectFile(const Data::String &path, const CSVDialect &known)
{
    LastError operation;
    try {
        const CSVDialect dialect = detectInFile(path, known);
        if (dialect.isValid())
            operation.succeeded();
        return dialect;
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return invalid();
    }
}

CSVDialect DialectDetector::detectInBytes(const QByteArray &bytes, const CSVDialect &known)
{
    const auto read = [&](qint64 position, int size) {
        return bytes.mid(static_cast<int>(position), size);
    };
    return detect(DialectSample::take(bytes.size(), knownEncoding(known), read), known);
}

CSVDialect DialectDetector::detectInFile(const Data::String &path, const CSVDialect &known)
{
    const CSVDialect failed = invalid();
    QFile file(pathForQt(path));
    // Reading would empty a pipe, and a device may have no end.
    if (!isName(path) || !QFileInfo(file).isFile()) {
        LastError::isNoFile(path);
        return failed;
    }
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        LastError::cannotRead(file);
        return failed;
    }
    bool isRead = true;
    const auto read = [&](qint64 position, int size) {
        QByteArray bytes;
        isRead = isRead && file.seek(position);
        while (isRead && bytes.size() < size) {
            const QByteArray more = file.read(size - bytes.size());
            if (more.isEmpty())
                break;
            bytes += more;
        }
        isRead = isRead && file.error() == QFileDevice::NoError;
        return bytes;
    };
    const DialectSample sample = DialectSample::take(file.size(), knownEncoding(known), read);
    if (!isRead) {
        LastError::cannotRead(file);
        return failed;
    }
    return detect(sample, known);
}

} // namespace Utils
