#include "utils/csv/dialect/DialectFindings_p.h"

#include <QSet>
#include <QString>

#include <algorithm>

namespace Utils {

/// What kinds of characters a text has.
struct Characters
{
    bool hasDigits = false;
    bool hasSigns = false; // other than blanks and "_"
    bool hasBlanks = false;
    bool hasUpper = false;
    bool hasLower = false;

    explicit Characters(QStringView text)
    {
        for (const QChar character : text) {
            hasDigits = hasDigits || character.isDigit();
            hasBlanks = hasBlanks || character.isSpace();
            hasUpper = hasUpper || character.isUpper();
            hasLower = hasLower || character.isLower();
            hasSigns = hasSigns || (!character.isLetterOrNumber() && !character.isSpace() &&
                                    character != QLatin1Char('_'));
        }
    }
};

static bool isUsualLabel(QStringView text)
{
    static const char *const labels[] = {
        "name",      "id",        "key",        "code",        "type",     "date",     "time",
        "value",     "unit",      "city",       "state",       "label",    "country",  "group",
        "comment",   "status",    "title",      "text",        "email",    "first",    "last",
        "number",    "nr",        "no",         "user",        "class",    "category", "datum",
        "zeit",      "wert",      "einheit",    "stadt",       "land",     "typ",      "ort",
        "kommentar", "part",      "author",     "color",       "colour",   "symbol",   "source",
        "target",    "address",   "note",       "description", "material", "kanal",    "channel",
        "sensor",    "bemerkung", "bezeichnung"};
    const QString lower = text.toString().toLower();
    return std::any_of(std::begin(labels), std::end(labels), [&](const char *label) {
        const QLatin1String word(label);
        return lower == word || (word.size() > 3 && lower.contains(word)) ||
               lower.endsWith(QLatin1Char('_') + word) || lower.startsWith(word + QLatin1Char('_'));
    });
}

/// The number of cells of a column that have a feature.
struct Cells
{
    int all = 0;
    int digits = 0;
    int signs = 0;
    int blanks = 0;
    int capitals = 0; // at the start
    int sameLength = 0;
    QSet<QString> texts;

    Cells(const std::vector<QStringView> &cells, QStringView label)
    {
        for (const QStringView cell : cells) {
            const Characters characters(cell);
            ++all;
            digits += characters.hasDigits;
            signs += characters.hasSigns;
            blanks += characters.hasBlanks;
            capitals += cell.front().isUpper();
            sameLength += cell.size() == label.size();
            texts.insert(cell.toString());
        }
    }

    bool areNearlyAll(int count) const { return count * 5 > all * 4; }
    bool areRepeated() const { return all > 3 && texts.size() * 10 < all * 7; }
};

/// Rates a label by how its characters differ from those of the cells.
static double voteByCharacters(QStringView label, const Cells &cells)
{
    const Characters own(label);
    double vote = 0.0;
    if (cells.areNearlyAll(cells.digits))
        vote += own.hasDigits ? -0.4 : 1.0;
    if (cells.areNearlyAll(cells.signs))
        vote += own.hasSigns ? -0.4 : 0.6;
    if (cells.areNearlyAll(cells.blanks))
        vote += own.hasBlanks ? -0.2 : 0.3;
    if (cells.areNearlyAll(cells.capitals) && label.front().isLower())
        vote += 0.7;
    if (cells.capitals == 0 && label.front().isUpper())
        vote += 0.3;
    if (label.contains(QLatin1Char('_')) && !own.hasUpper)
        vote += 0.7;
    return vote;
}

double voteForLabel(QStringView label, const std::vector<QStringView> &column)
{
    const Cells cells(column, label);
    if (cells.all == 0)
        return 0.0;
    if (cells.texts.contains(label.toString()))
        return -2.0;

    double vote = voteByCharacters(label, cells);
    if (isUsualLabel(label))
        vote += 1.0;
    if (cells.all > 2 && cells.sameLength == cells.all)
        vote -= 0.5;
    if (cells.areRepeated())
        vote += 0.5; // the cells repeat words, but not this one
    return vote;
}

} // namespace Utils
