#pragma once

#include <QString>

/// While it lives, this program can read the file at a path up to an offset only, as from a disk
/// with a bad block there: each read beyond it fails with EIO. There is one at a time.
///
/// A test that uses it links the target ReadFault, whose functions stand in front of those of the C
/// library.
class ReadFault
{
public:
    ReadFault(const QString &path, qint64 offset);
    ~ReadFault();

    ReadFault(const ReadFault &) = delete;
    ReadFault &operator=(const ReadFault &) = delete;

    /// Lets the file be read again.
    void repair();

    /// How many reads have failed.
    int count() const;
};
