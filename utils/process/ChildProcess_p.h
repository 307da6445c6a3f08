#pragma once

#include <QProcess>

namespace Utils {

/// A QProcess that reports when the system cannot create another process.
///
/// For QProcess itself Qt uses a call whose failure it takes for success: the process "runs" with
/// the number -1, and a signal to that number, which the destructor sends, too, ends all processes
/// of the user. For derived classes Qt uses fork(), whose failure it detects.
class ChildProcess : public QProcess
{
public:
    ~ChildProcess() override;

    void run(const QString &program, const QStringList &arguments);

    /// Ends a start that lacked memory: no program runs after that.
    void abandon() noexcept;

    using QProcess::setErrorString;
};

} // namespace Utils
