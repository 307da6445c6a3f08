#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class FileReaderPrivate;

/// Reads the lines of a UTF-8 text file, with or without a line end after the last line.
///
/// Either call readLine() for each line, or derive a class, override lineRead() and call
/// readFile():
///
///     Utils::FileReader reader(path);
///     Data::String line;
///     while (reader.readLine(line, /*trim=*/true))
///         ...
///
/// A line ends with LF or CR LF, which is not part of the line. A line of more than 268,435,456
/// characters is returned in pieces of that length. FileByteReader reads lines as bytes, and
/// differs in further points; see there.
///
/// A read error, as on a damaged disk, ends the lines for good: no later line is read, and no part
/// of the line with the error is returned.
class KELMUTILS_EXPORT FileReader
{
public:
    /// Opens a text in UTF-8.
    /// \compat No line is read of a pipe, as Qt takes it to be at its end before the first read.
    /// With the encoding "auto", see below, its lines are read.
    explicit FileReader(const Data::String &path);

    /// Opens a text in an encoding such as "windows-1252", or with "auto" in its File::encoding().
    /// Bytes that are not valid in the encoding become U+FFFD. When there is no encoding of that
    /// name, the file is not open, and File::lastError() has the reason.
    FileReader(const Data::String &path, const Data::String &encoding);
    virtual ~FileReader();

    FileReader(const FileReader &) = delete;
    FileReader &operator=(const FileReader &) = delete;

    /// Whether the file is open. False for a file that is missing, cannot be read, or is a folder:
    /// there are no lines then.
    bool isOpen() const;

    /// Reads the next line into \p line, and with \p trim removes white space from both ends. False
    /// when there is no further line, with \p line unchanged, and when the line cannot be read,
    /// with \p line empty.
    ///
    /// After rereadLine() the function returns true and does not change \p line.
    bool readLine(Data::String &line, bool trim);

    /// The next line, or "" when there is none.
    ///
    /// \compat After rereadLine() the function returns "".
    Data::String nextLine();

    /// Makes the next readLine() return true without reading, for a caller whose variable still
    /// contains the line that was read last.
    ///
    /// \compat At the end of the file the call has no effect: the next readLine() returns false.
    void rereadLine();

    /// The number of lines that readLine() and nextLine() have read so far.
    int lineCount() const;

    /// Passes the remaining lines to lineRead(), until that returns false.
    ///
    /// \compat The lines are not counted, and a preceding rereadLine() stays in effect for the next
    /// readLine().
    void readFile();

protected:
    /// Called by readFile() for each line. Return false to stop.
    virtual bool lineRead(const Data::String &line);

private:
    std::unique_ptr<FileReaderPrivate> d;
};

} // namespace Utils
