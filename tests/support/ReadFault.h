#pragma once

#include <QString>

#include <cerrno>

/// While it lives, this program can read the file at a path up to an offset only, as from a disk
/// with a bad block there: what is read from there on fails. There is one at a time.
///
/// A test that uses it links the target ReadFault, whose functions replace those of the C library.
class ReadFault
{
public:
    static constexpr int forever = -1;

    /// The reads that fail set errno to \p error, and are as many as \p times.
    ReadFault(const QString &path, qint64 offset, int error = EIO, int times = forever);
    ~ReadFault() { repair(); }

    ReadFault(const ReadFault &) = delete;
    ReadFault &operator=(const ReadFault &) = delete;

    /// Also refuses to go to any place in the file, where that is done by fseek() or fseeko().
    void refuseSeeks();

    /// Lets the file be read again.
    void repair();

    /// How many calls have failed.
    int count() const;
};

/// How many files this process has open.
int openFiles();
