#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>

// Tables of more than 4 GiB.

/// The memory of this process in bytes, without what the system keeps of files.
inline qint64 residentMemory()
{
    QFile status("/proc/self/status");
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("RssAnon:"))
                return line.simplified().split(' ').value(1).toLongLong() * 1024;
        }
    }
    return 0;
}

/// A file of 5 GiB, all of it rows of 50 bytes: a number of ten digits, and letters.
class LargeTable
{
public:
    enum Form
    {
        Unquoted,
        Quoted ///< the letters are in quotes, with a comma, a quote and a line break between them
    };

    LargeTable(const QString &path, Form form) : m_path(path), m_form(form)
    {
        const int count = static_cast<int>((qint64(5) << 30) / rowSize);
        QFile file(path);
        bool isWritten = file.open(QIODevice::WriteOnly);
        for (int i = 0; isWritten && i < count; ++i)
            isWritten = file.write(row(i) + '\n') == rowSize;
        if (isWritten && file.flush())
            m_numRows = count;
    }
    LargeTable(const LargeTable &) = delete;
    LargeTable &operator=(const LargeTable &) = delete;
    ~LargeTable() { QFile::remove(m_path); }

    QString path() const { return m_path; }

    /// 0 when the file could not be written.
    int numRows() const { return m_numRows; }

    /// The bytes of a row in the file, without the line feed at its end.
    QByteArray row(int number) const
    {
        const QByteArray text = letters(number);
        if (m_form == Unquoted)
            return digits(number) + ',' + text;
        return digits(number) + ",\"" + QByteArray(text).replace('"', "\"\"") + '"';
    }

    static QByteArray digits(int number)
    {
        return QByteArray::number(number).rightJustified(10, '0');
    }

    /// The contents of the second field.
    QByteArray letters(int number) const
    {
        const char letter = static_cast<char>('a' + number % 26);
        if (m_form == Unquoted)
            return QByteArray(rowSize - 12, letter);
        return QByteArray(rowSize - 18, letter) + ",\"\n";
    }

private:
    static constexpr int rowSize = 50; // with the line feed

    const QString m_path;
    const Form m_form;
    int m_numRows = 0;
};

/// A file of 5 GiB that takes few blocks of the disk. Its rows are
///
///     first,1
///     bytes that are mostly zeros, to 2 GiB
///     before,2
///     across,3                             whose bytes are before and after 2 GiB
///     after,4
///
/// and so on for 4 GiB, and up to 14 bytes before the end of the file, where the last row is "x".
class SparseTable
{
public:
    static constexpr qint64 size = qint64(5) << 30;

    /// The file is in a folder whose name starts with \p name.
    explicit SparseTable(const QString &name)
        : // Where holes are read without filling the system's cache, if there is such a place
          m_folder((QFileInfo("/dev/shm").isWritable() ? "/dev/shm" : QDir::tempPath()) + '/' +
                   name)
    {
        QFile file(path());
        m_isMade =
            file.open(QIODevice::WriteOnly) && file.resize(size) && file.write("first,1\n") == 8;
        for (const qint64 position : {qint64(1) << 31, qint64(1) << 32, size - 14}) {
            // In blocks without zero bytes, which would hide line feeds.
            const qint64 start = (position / block - 1) * block;
            const QByteArray rows = "\nbefore,2\nacross,3\nafter,4\nx";
            QByteArray bytes(3 * block, 'x');
            bytes.replace(static_cast<int>(position - start) - 14, rows.size(), rows);
            const QByteArray inFile =
                bytes.left(static_cast<int>(std::min<qint64>(bytes.size(), size - start)));
            m_isMade = m_isMade && file.seek(start) && file.write(inFile) == inFile.size();
        }
    }

    bool isMade() const { return m_isMade; }
    QString path() const { return m_folder.filePath("file"); }

private:
    static constexpr int block = 10240; // of the rules about zero bytes

    const QTemporaryDir m_folder;
    bool m_isMade = false;
};
