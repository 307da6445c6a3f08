#include "utils/csv/CSVReader.h"

#include "utils/base/LastError_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/csv/CSVReader_p.h"
#include "utils/files/File.h"

#include <algorithm>
#include <new>

namespace Utils {

bool CSVReaderPrivate::findEncoding(FileEncoding &found) const
{
    found = {};
    if (encodingName.isEmpty())
        return true;
    found.name =
        isAutomatic(encodingName) ? QString(File::encoding(path, &found.isGuess)) : encodingName;
    const Encoding encoding(found.name);
    const auto isKept = [&](char delimiter) { return encoding.keepsLinesAndFields(delimiter); };
    if (!isKept('\n') || !std::all_of(delimiters.begin(), delimiters.end(), isKept))
        return LastError::set(".err.lineEncoding", {path, found.name});
    found.hasMark = encoding.isUtf8();
    found.encoding = encoding.unlessUtf8();
    return true;
}

LineSource::Line CSVReaderPrivate::firstLine() const
{
    LineSource::Line line = source->line(0);
    line.begin += sizeOfUtf8Mark(line.begin, line.end);
    return line;
}

bool CSVReader::setEncoding(const Data::String &name)
{
    LastError operation;
    try {
        return findUsualName(name, d->encodingName) && operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

Data::String CSVReader::encoding() const { return d->encodingName; }

Data::String CSVReader::detectedEncoding(bool *isGuess) const
{
    if (isGuess)
        *isGuess = d->decoded.isGuess;
    return d->decoded.name;
}

} // namespace Utils
