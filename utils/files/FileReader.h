#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class FileReaderPrivate;

/// Reads the lines of a UTF-8 text file, with or without a line end behind the last one.
///
/// Either pull the lines, or derive, override lineRead() and call readFile():
///
///     Utils::FileReader reader(path);
///     Data::String line;
///     while (reader.readLine(line, /*trim=*/true))
///         ...
///
/// A line ends with LF or CR LF, which are not part of it. One of more than 268,435,456 characters
/// comes in pieces of that length. FileByteReader differs in more than the type of its lines.
///
/// Where the file cannot be read any further, as on a damaged disk, the lines end for good: a line
/// that could not be read whole is not there.
class KELMUTILS_EXPORT FileReader
{
public:
    explicit FileReader(const Data::String &path);
    virtual ~FileReader();

    FileReader(const FileReader &) = delete;
    FileReader &operator=(const FileReader &) = delete;

    /// False for a file that is missing, cannot be read, or is a folder: there are no lines then.
    bool isOpen() const;

    /// Reads the next line into \p line, and takes the blanks off its ends with \p trim. False when
    /// there is none, with \p line untouched, and when it cannot be read, with \p line emptied.
    ///
    /// After rereadLine() it gives true and leaves \p line as it is.
    bool readLine(Data::String &line, bool trim);

    /// The next line, "" when there is none. "" after rereadLine() too, which is meant.
    Data::String nextLine();

    /// Makes the next readLine() succeed without reading, for a caller whose variable still holds
    /// the line. There is no way back behind the last line: readLine() gives false then, which is
    /// meant.
    void rereadLine();

    /// How many lines readLine() and nextLine() have taken so far.
    int lineCount() const;

    /// Hands the rest of the lines to lineRead() until that gives false. They are not counted, and
    /// a rereadLine() stays for the next readLine(), which is meant.
    void readFile();

protected:
    /// Takes a line from readFile(). False to get no more.
    virtual bool lineRead(const Data::String &line);

private:
    std::unique_ptr<FileReaderPrivate> d;
};

} // namespace Utils
