#pragma once

#include <QByteArray>

/// Bytes from a literal that may hold zero bytes.
template <int size>
inline QByteArray bytes(const char (&literal)[size])
{
    return QByteArray(literal, size - 1);
}
