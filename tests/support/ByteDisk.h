#pragma once

#include <QString>

/// While it lives, this program can write a number of bytes to the disk of a path, and no more: a
/// write ends in the middle, and the next one fails because the disk is full. A disk itself fills
/// by blocks. There is one at a time.
///
/// A test that uses it links the target ByteDisk, whose functions replace those of the C library.
class ByteDisk
{
public:
    ByteDisk(const QString &path, qint64 bytes);
    ~ByteDisk();

    ByteDisk(const ByteDisk &) = delete;
    ByteDisk &operator=(const ByteDisk &) = delete;

    /// Whether a write has failed.
    static bool isFull();
};
