#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>

#include <memory>

namespace Utils {

class FileByteReaderPrivate;

/// Reads the lines of a file as bytes, by an index of line starts that is built on first use.
///
/// Either pull the lines, or derive, override lineRead() and call readFile(). A line ends with LF;
/// one CR in front of it is dropped. Where it differs from FileReader, that is meant:
///
/// - Text behind the last LF is no line.
/// - An empty line that ends with a bare LF reads as false, as the end of the file does. The reader
///   has moved behind it, so that reading may go on.
/// - rereadLine() really goes back.
/// - A line feed behind a zero byte in the same block of 10,240 bytes is not seen.
///
/// Lines that begin or end beyond 2 GiB are not there. The file must not change meanwhile. A file
/// that cannot be read to its end for the index, as on a damaged disk, has no lines.
class KELMUTILS_EXPORT FileByteReader
{
public:
    explicit FileByteReader(const Data::String &path);
    virtual ~FileByteReader();

    FileByteReader(const FileByteReader &) = delete;
    FileByteReader &operator=(const FileByteReader &) = delete;

    /// False for a file that is missing, cannot be read, or is a folder: there are no lines then.
    bool isOpen() const;

    /// Reads the next line into \p line, and takes the ASCII blanks off its ends with \p trim.
    /// False, with \p line emptied, at the end, for a line of no length, and for one that cannot be
    /// read whole. In the last two cases the reader has moved behind the line.
    bool readLine(QByteArray &line, bool trim);

    /// The next line; empty, too, where readLine() gives false.
    QByteArray nextLine();

    /// Goes back by one line. At the first line it stays there.
    void rereadLine();

    /// How many lines were taken so far: the index of the next one.
    int lineCount() const;

    /// Hands the rest of the lines to lineRead() until that gives false, or up to a line for which
    /// readLine() gives false. Lines are counted, and another call goes on behind it.
    void readFile();

    /// Up to \p n bytes from where the last operation has stopped: at first the start of the file,
    /// behind a line its line end, and the end of the file when the index was just built. Bytes
    /// read in front of the index are part of the first line, but their line feeds do not count,
    /// which is meant. Empty for a negative \p n. Where the file cannot be read, the bytes before
    /// that place come, and nothing from there on: fewer than \p n bytes are not always the rest.
    QByteArray read(long n);

protected:
    /// Takes a line from readFile(). False to get no more.
    virtual bool lineRead(const QByteArray &line);

private:
    std::unique_ptr<FileByteReaderPrivate> d;
};

} // namespace Utils
