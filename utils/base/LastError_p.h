#pragma once

#include "data/String.h"

#include <QStringList>

#include <new>

class QFileDevice;

namespace Utils {

/// The reason why the last operation of this thread failed, for File::lastError().
///
/// Each public operation that stores a reason holds an object of this class while it runs. The
/// object of the outermost operation clears the reason at its start; those of operations that it
/// calls do nothing. A failure stores its reason where it occurs. An operation that succeeds
/// although one that it called failed clears the reason by succeeded().
///
/// When the memory does not suffice for the values of a text, the text is shown without them.
class LastError
{
public:
    LastError();
    ~LastError();
    LastError(const LastError &) = delete;
    LastError &operator=(const LastError &) = delete;

    /// Clears the reason when this is the outermost operation. Returns true.
    bool succeeded();

    /// Stores the text of \p id in the catalogue, such as ".err.nofile", with \p values in place of
    /// its %1, %2... The text is looked up when it is requested. Returns false. \p id must be a
    /// string literal. A reason that the current operation has stored already is kept, because the
    /// first failure is the cause.
    static bool set(const char *id, const QStringList &values = {});

    /// The same, without an exception when the memory does not suffice for the values.
    template <typename... Values>
    static bool setFor(const char *id, const Values &...texts)
    {
        try {
            return set(id, QStringList{texts...});
        } catch (const std::bad_alloc &) {
            return set(id);
        }
    }

    /// Stores why the system does not let the file \p path be read: \p error is the error number of
    /// the system (errno). Both return false.
    static bool cannotRead(const QString &path, int error);
    static bool cannotWrite(const QString &path, int error);

    /// The same for a file that was not opened, read or written completely by Qt.
    static bool cannotRead(const QFileDevice &file);
    static bool cannotWrite(const QFileDevice &file);

    /// The same for a file that has no name of its own because it was opened by its descriptor.
    static bool cannotRead(const QString &path, const QFileDevice &file);

    /// The same for a file, or a link to a file or folder, that Qt could not remove.
    static bool cannotRemove(const QFileDevice &file);

    /// Stores why \p path, which is no regular file, is not read: it is missing, a folder, or
    /// another kind of file. Returns false.
    static bool isNoFile(const QString &path);

    /// The id of the reason, null without one, and its values.
    static const char *id();
    static QStringList values();

    /// During its lifetime, operations have a separate reason: operations that are expected to fail
    /// at times, and those of a host that an operation calls. The destructor restores the reason
    /// from before.
    class Apart
    {
    public:
        Apart();
        ~Apart();
        Apart(const Apart &) = delete;
        Apart &operator=(const Apart &) = delete;

    private:
        const char *const m_id;
        QStringList *const m_values;
        const int m_depth;
    };
};

/// The text of the system for an error number (errno). Not qt_error_string(), which on Windows
/// takes error codes of another kind.
QString errorText(int error);

} // namespace Utils
