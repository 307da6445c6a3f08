#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>

#include <memory>

namespace Utils {

class FileByteReaderPrivate;

/// Reads the lines of a file as bytes. On first use the class builds an index of the line starts.
///
/// Either call readLine() for each line, or derive a class, override lineRead() and call
/// readFile(). A line ends with LF; one CR before the LF is removed.
///
/// \compat The class differs from FileReader in these points:
/// - Text after the last LF is not a line.
/// - For an empty line that ends with LF alone, readLine() returns false, as at the end of the
///   file. The reader has moved past that line, so reading can continue.
/// - rereadLine() goes back in the file.
/// - A line feed after a zero byte in the same block of 10,240 bytes does not end a line.
///
/// Lines that start or end beyond 2 GiB are ignored. The file must not change while it is open. If
/// the file cannot be read to its end for the index, as on a damaged disk, there are no lines.
class KELMUTILS_EXPORT FileByteReader
{
public:
    explicit FileByteReader(const Data::String &path);
    virtual ~FileByteReader();

    FileByteReader(const FileByteReader &) = delete;
    FileByteReader &operator=(const FileByteReader &) = delete;

    /// Whether the file is open. False for a file that is missing, cannot be read, or is a folder:
    /// there are no lines then.
    bool isOpen() const;

    /// Reads the next line into \p line, and with \p trim removes ASCII white space from both ends.
    /// False, with \p line empty, at the end of the file, for an empty line that ends with LF
    /// alone, and for a line that cannot be read completely. In the last two cases the reader has
    /// moved past the line.
    bool readLine(QByteArray &line, bool trim);

    /// The next line. Empty when readLine() returns false.
    QByteArray nextLine();

    /// Goes back by one line, so that the next readLine() reads the same line again. Before the
    /// first line it does nothing.
    void rereadLine();

    /// The number of lines read so far, which is the index of the next line.
    int lineCount() const;

    /// Passes the remaining lines to lineRead(), until that returns false or up to a line for which
    /// readLine() returns false. The lines are counted by lineCount(). Another call continues after
    /// the last line that was read.
    void readFile();

    /// Returns up to \p n bytes from the current position. At first this is the start of the file;
    /// after a line was read, it is the line feed at the end of that line; after the index was
    /// built, it is the end of the file. Empty for a negative \p n.
    ///
    /// On a read error, the result is the bytes before the error: fewer than \p n bytes do not
    /// always mean the end of the file.
    ///
    /// \compat Bytes that are read before the index is built belong to the first line, and line
    /// feeds among them end no line.
    QByteArray read(long n);

protected:
    /// Called by readFile() for each line. Return false to stop.
    virtual bool lineRead(const QByteArray &line);

private:
    std::unique_ptr<FileByteReaderPrivate> d;
};

} // namespace Utils
