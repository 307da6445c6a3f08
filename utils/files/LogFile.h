#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

class QObject;

namespace Utils {

class LogFilePrivate;

/// A log that starts empty with each run, is only ever appended to, and is on the disk after each
/// entry.
///
///     Utils::LogFile log("work/import.log", /*removeIfEmpty=*/true);
///     log.append("row 12: ", /*newLine=*/false).append("no number", /*newLine=*/true);
///
/// The log stands where it is asked for, unless that is where programs are: then it goes to the
/// user's home folder, under its own name. Programs are taken to be where
///
/// - the text of the log's folder holds "code", and "comp" or "apps", case-sensitive and wherever
///   in it: "/barcode/company" counts, which is meant. For a bare name it is the current folder;
/// - the path with ".exe" for each ".log" in it exists. A path without ".log" that exists goes to
///   the home folder itself then, which is meant;
/// - the running program is, if programs have no ".exe" here.
///
/// A log that cannot be opened where it is asked for goes to the home folder as well. Wherever it
/// goes, it starts empty: what a file of its name held there is lost.
class KELMUTILS_EXPORT LogFile
{
public:
    /// Opens the log at \p path, or none when that is empty. \p removeIfEmpty takes a log away at
    /// its end that has nothing in it, but none whose size cannot be told then, or that cannot be
    /// removed.
    LogFile(const Data::String &path, bool removeIfEmpty);
    ~LogFile();

    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /// Adds \p text, with a line feed behind it for \p newLine. Nothing happens without an open
    /// file.
    ///
    /// Whether it could be written is not told: what a full disk does not take is written with a
    /// later entry, or lost at the end.
    LogFile &append(const Data::String &text, bool newLine);

    /// Whether there is an open file to append to.
    bool isValid() const;

    /// The QFile of the log, to connect to.
    QObject *object() const;

    /// Where the log is, be it open or not. "" for one that was opened by setPath(), which is
    /// meant.
    Data::String path() const;

    /// Opens the log at just that path, for an object that was made with the empty one. False when
    /// it was not, has an open file already, or the file cannot be opened.
    bool setPath(const Data::String &path);

    /// Whether each append(), also one that carries on a line, begins with the local time as
    /// "hh:mm:ss.zzz: ", in digits from 0 to 9 in any language. Off at first.
    void setTimestamp(bool enabled);

private:
    std::unique_ptr<LogFilePrivate> d;
};

} // namespace Utils
