#pragma once

#include "utils/platform/Platform.h"

#include <QIODevice>
#include <QString>

#include <memory>

namespace Utils {

/// A file that is written beside its target and replaces it when it is complete, as
/// Platform::FileReplacement does. Without commit() the old content stays.
///
/// A failure stores its reason as a LastError.
class SafeFile : public QIODevice
{
public:
    /// Whether the functions of the library that replace files do so by this class, and whether
    /// they flush the content to the disk. For the whole process; off at first.
    static void setUsed(bool on, bool flush);
    static bool isUsed();
    static bool isFlushed();

    explicit SafeFile(const QString &path);
    ~SafeFile() override;

    /// The target must be a new file: open() and commit() fail when a file or a link exists there.
    /// Called before open().
    void requireNewTarget();

    /// Uses the permissions of the file \p path instead of those of the old file. False on failure.
    /// Called before open().
    bool copyPermissions(const QString &path);

    /// \p mode must be WriteOnly.
    bool open(OpenMode mode) override;
    bool isSequential() const override { return true; }

    /// Replaces the target, and closes the file. False when that fails, and when a write has
    /// failed; the old content is unchanged then. With \p flush, the result is also false when the
    /// file is replaced but the disk does not confirm it.
    bool commit(bool flush = isFlushed());

    /// Stores the reason why the file cannot be replaced, if it is known already. Returns false.
    bool storeReason();

protected:
    qint64 readData(char *bytes, qint64 most) override;
    qint64 writeData(const char *bytes, qint64 size) override;

private:
    const QString m_path;
    bool m_isNewOnly = false;
    Platform::FileReplacement m_replacement;
};

/// A device for a new content of the file \p path: a SafeFile if isUsed(), otherwise a QFile, which
/// is written in place. It is not open.
std::unique_ptr<QIODevice> makeOutput(const QString &path);

/// Opens \p output, a result of makeOutput(). On failure it stores the reason and returns false.
bool openOutput(QIODevice &output);

/// Completes \p output, after all was written if \p isWritten. It stores the reason of a failure.
/// The result is false only for a SafeFile, whose target is unchanged then: a file that is written
/// in place is incomplete, which is no failure by the contract of its writers.
bool finishOutput(QIODevice &output, bool isWritten);

} // namespace Utils
