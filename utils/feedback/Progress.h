#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class ProgressPrivate;
class ProgressRange;

/// Reports the progress of a task to the host, until the object is destroyed.
///
/// Objects of this class, called reporters, are stack objects and nest; the innermost one reports
/// for the task. A reporter calls the host through Data::IApplication. The host draws, processes
/// events, handles the Esc key and calls cancel(); this class processes no events. Without a host
/// everything works, except that no host is called.
///
///     Progress progress(numFiles, "Reading", /*cancelable=*/true);
///     for (const Data::String &file : files) {
///         read(file);
///         if (!progress.tick())
///             return false; // cancelled
///     }
///
/// There are two chains of nested reporters, the ordinary chain and the popup chain, each with a
/// display of its own. The two chains do not interact. In the first two seconds of a task the host
/// gets only labels, unless the display is shown already. The first report after that shows the
/// display, unless 90 % of the steps are done by then. The display is hidden when the outermost
/// reporter of its chain ends.
///
/// A nested reporter takes over from the outer one the elapsed time and whether the display is
/// shown. When it ends, the host gets the label of the outer reporter again and, if the display is
/// shown, its progress. If the nested reporter was cancelled, the outer one is then cancelled, too.
/// So a cancellation moves outwards, one level each time a reporter ends, even to reporters that
/// are not cancelable.
///
/// \compat A nested reporter that ends without being cancelled clears a cancellation that the outer
/// reporter received meanwhile.
///
/// A reporter that is destroyed before one nested in it leaves the chain without notifying the
/// host. A reporter must not be deleted during a call that it makes to the host.
class KELMUTILS_EXPORT Progress
{
public:
    /// Starts a task of \p maxSteps steps.
    ///
    ///     0         => no known end; reports at each step
    ///     negative  => inert: in no chain, no label, no wait cursor; tick() and setCount() change
    ///                  and report nothing, all other functions work
    ///
    /// The label is \p label. With \p cancelable, the user can cancel the task; the label of an
    /// ordinary reporter then ends with the hint "Press Esc to cancel." on a line of its own.
    /// \p popup selects the popup chain. \p waitCursor shows the wait cursor until the reporter
    /// ends.
    ///
    /// Progress is reported each time a twentieth of the steps is done. From 10,020 steps on, it is
    /// reported each time a hundredth is done.
    explicit Progress(int maxSteps, const Data::String &label = Data::String(),
                      bool cancelable = false, bool waitCursor = false, bool popup = false);

    /// Constructs a background reporter: without a known end, not cancelable and in no chain. When
    /// the outermost reporter of a chain ends, the host gets the label of the background reporter
    /// again. The background reporter then reports at its next tick() or setCount(). All background
    /// reporters share one label, which remains after their destruction.
    Progress();

    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress();

    /// Adds the absolute value of \p steps to the count. False when the task was cancelled.
    ///
    /// The count may exceed maxSteps(), but not the largest int. Within the last 5 % of the steps,
    /// each call reports.
    bool tick(int steps = 1);

    /// Raises the count to \p count, but at most to maxSteps(). A lower or negative \p count does
    /// not change it. False when the task was cancelled.
    ///
    /// Within the last five steps, not the last 5 % as in tick(), each call reports.
    bool setCount(int count);

    /// Restarts the count at 0 with \p maxSteps steps, and reports. 0 means no known end and also
    /// restarts the elapsed time.
    ///
    /// A negative \p maxSteps stands for its absolute value. Progress is then reported each time a
    /// hundredth of the steps is done, or at each call when there are fewer than 100 steps.
    void setMaxSteps(int maxSteps);

    /// Sets the label to \p text as it is, without a hint.
    void setLabel(const Data::String &text);

    Data::String label() const;
    int count() const;
    int maxSteps() const;

    /// An id for the use of the caller. The library does not interpret it.
    void setId(const Data::String &id);
    Data::String id() const;

    bool isPopup() const;

    /// Cancels the task, if it is cancelable.
    void cancel();
    bool cancelled() const;

    /// Makes the host show its popup display without the means to cancel. Does nothing for an
    /// ordinary reporter.
    ///
    /// \compat cancel() still works.
    void disableCancel();

    /// Milliseconds since the task began, on a monotonic clock. A task begins with the construction
    /// of the outermost reporter of its chain and begins anew with setMaxSteps(0): for that
    /// reporter and those that are nested in it afterwards. For an inert or a background reporter
    /// it begins with its own construction.
    int elapsed() const;

    /// Shows or hides the display at once. hide() of a background reporter also clears the label
    /// that the background reporters share.
    void show();
    void hide();

    /// save() remembers the count, maxSteps(), the interval between reports and the label. Each
    /// restore() sets them again, and passes only the label to the host. Without an earlier save(),
    /// restore() does nothing.
    void save();
    void restore();

    /// The innermost popup reporter, or the innermost ordinary reporter when there is no popup
    /// reporter. Null when there is neither.
    static Progress *any();

    /// The innermost reporter of the chain that \p popup selects, or null.
    static Progress *current(bool popup);

    /// The label of the innermost ordinary reporter. When there is none, the label of the
    /// background reporters.
    static Data::String currentLabel();

    /// Whether the innermost ordinary reporter can be cancelled. False when there is none.
    static bool isCancelable();

    /// The milliseconds until the task of this reporter is likely to end. -1 when there is no
    /// estimate: without a known end, before the first step, after the task was cancelled, and for
    /// an inert reporter.
    ///
    /// The estimate is smoothed: recent steps have more weight. It changes between reports, too.
    /// Neither this function nor rate() calls the host. tick() and setCount() read the clock for it
    /// only when they report.
    int remaining() const;

    /// Steps per second, smoothed as remaining() is. It needs no known end. 0 before the first step
    /// and for an inert reporter.
    double rate() const;

    /// Sets the unit of a step, such as "rows" or "MB", for displays of the count and the rate. It
    /// is empty at first. The host is not called.
    void setUnit(const Data::String &unit);
    Data::String unit() const;

    /// The reporter whose progress the host receives when this one reports: of the reporters in
    /// which this one is nested, the outermost that has a ProgressRange; this one when none has. A
    /// host calls functions such as remaining() of it. Never null; the pointer is valid while that
    /// reporter exists.
    Progress *whole();

private:
    friend class ProgressRange;
    friend struct ProgressState;

    void report();
    void update();
    Q_DECL_HIDDEN void fillParts(qint64 now);
    Q_DECL_HIDDEN void beginPart(ProgressRange *range);
    Q_DECL_HIDDEN void endPart(ProgressRange *range);

    const std::unique_ptr<ProgressPrivate> d;
};

} // namespace Utils
