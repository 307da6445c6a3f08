#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

class QObject;

namespace Utils {

class LogFilePrivate;

/// A log file that starts empty and is flushed after each entry.
///
///     Utils::LogFile log("work/import.log", /*removeIfEmpty=*/true);
///     log.append("row 12: ", /*newLine=*/false).append("no number", /*newLine=*/true);
///
/// The log is created at the path that is passed. If this path is a place for programs, the log is
/// created in the user's home folder instead, under the same file name. A path is a place for
/// programs when one of these is true:
///
/// - Its folder, as text, contains "code", and also "comp" or "apps". Comparison is case-sensitive.
///   For a file name without a folder, the current directory is the folder.
/// - The path with ".exe" in place of each ".log" exists.
/// - The path is in the folder of the running program, and the program's name does not end with
///   ".exe". Without a QCoreApplication this folder is not known.
///
/// A log that cannot be opened at its path is created in the home folder as well. In each case it
/// starts empty: the contents of an existing file of that name are lost.
///
/// \compat "code", "comp" and "apps" may be part of a longer name: "/barcode/company" is a place
/// for programs. A path without ".log" is compared with itself: if that file exists, the log is
/// created in the home folder.
class KELMUTILS_EXPORT LogFile
{
public:
    /// Opens the log for \p path, or no file when \p path is empty. With \p removeIfEmpty the
    /// destructor removes a log that is empty. A log whose size cannot be determined, or that
    /// cannot be removed, stays. So does a file that this object could not open.
    LogFile(const Data::String &path, bool removeIfEmpty);
    ~LogFile();

    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// Appends \p text, and with \p newLine a line feed. Does nothing without an open file.
    ///
    /// Write errors are not reported: what does not fit on a full disk is written with a later
    /// entry, or lost at the end.
    LogFile &append(const Data::String &text, bool newLine);

    /// Whether a file is open.
    bool isValid() const;

    /// The QFile of the log, for connections to its Qt signals. This object owns it.
    QObject *object() const;

    /// The path of the log, even if the log could not be opened.
    ///
    /// \compat "" for a log that was opened by setPath().
    Data::String path() const;

    /// Opens the log exactly at \p path, for an object that was constructed with an empty path.
    /// False when the object was not constructed with an empty path, when a file is open already,
    /// when \p path is empty, and when the file cannot be opened.
    bool setPath(const Data::String &path);

    /// Sets whether the text of each append(), even of an append() that continues a line, starts
    /// with the local time in the format "hh:mm:ss.zzz: ", with the digits 0 to 9 in every
    /// language. False at first.
    void setTimestamp(bool enabled);

private:
    std::unique_ptr<LogFilePrivate> d;
};

} // namespace Utils
