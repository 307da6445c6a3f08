#pragma once

#include "data/String.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What libFuzzer and replay.cpp call. Zero: the input is done.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// The bytes of an input, taken from the front: choices first, then what is tested.
///
/// A choice is one byte, so that a seed can be written as text: "0" chooses 0, "1" chooses 1 and so
/// on. Where the input is at its end, choices are 0 and texts empty.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_bytes(reinterpret_cast<const char *>(data), static_cast<int>(size))
    {}
    explicit Input(const QByteArray &bytes) : m_bytes(bytes) {}

    /// A number from 0 to \p count - 1.
    int choice(int count)
    {
        if (m_position == m_bytes.size())
            return 0;
        const int byte = static_cast<unsigned char>(m_bytes.at(m_position++));
        return (byte + count * 256 - '0') % count;
    }

    bool flag() { return choice(2) == 1; }

    /// The bytes up to the next line feed, which is passed over.
    QByteArray line()
    {
        const int end = m_bytes.indexOf('\n', m_position);
        const QByteArray bytes = m_bytes.mid(m_position, end < 0 ? -1 : end - m_position);
        m_position = end < 0 ? m_bytes.size() : end + 1;
        return bytes;
    }

    QByteArray rest()
    {
        const QByteArray bytes = m_bytes.mid(m_position);
        m_position = m_bytes.size();
        return bytes;
    }

    bool isAtEnd() const { return m_position == m_bytes.size(); }

private:
    QByteArray m_bytes;
    int m_position = 0;
};

/// The text that \p bytes are in UTF-8, zero bytes included.
inline QString textOf(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

/// Ends the program when \p condition is not met, which makes the input a finding.
inline void require(bool condition, const char *what)
{
    if (condition)
        return;
    std::fprintf(stderr, "not met: %s\n", what);
    std::abort();
}

/// The same, and shows both values.
template <typename T>
void requireEqual(const T &actual, const T &expected, const char *what)
{
    if (actual == expected)
        return;
    qDebug().nospace() << "actual:   " << actual << "\nexpected: " << expected;
    require(false, what);
}

/// A file of this process that the inputs share, one after the other. It is removed at the end.
class ScratchFile
{
public:
    explicit ScratchFile(const char *name) : m_path(m_folder.filePath(QString::fromLatin1(name)))
    {
        require(m_folder.isValid(), "a temporary folder");
    }

    const Data::String &path() const { return m_path; }

    void write(const QByteArray &bytes) const
    {
        QFile file(m_path);
        require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(),
                "the scratch file is written");
    }

    QByteArray read() const
    {
        QFile file(m_path);
        require(file.open(QIODevice::ReadOnly), "the scratch file is read");
        return file.readAll();
    }

private:
    QTemporaryDir m_folder;
    Data::String m_path;
};
