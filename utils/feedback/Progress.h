#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class ProgressPrivate;

/// Reports how far a task has come, for as long as it is in scope.
///
/// Reporters stand on the stack and nest; the innermost one speaks for the task. The host hears of
/// it through Data::IApplication, which draws, handles events and the Esc key, and calls cancel().
/// Nothing here processes events. Without a host everything works, and only its calls are left out.
///
///     Progress progress(numFiles, "Reading", /*cancelable=*/true);
///     for (const Data::String &file : files) {
///         read(file);
///         if (!progress.tick())
///             return false; // cancelled
///     }
///
/// There are two chains of nested reporters, the ordinary and the popup one, each with a display of
/// its own. They do not interact. A display is shown once a task has run for two seconds, unless it
/// is 90 % done by then, and is hidden at the end of its chain. A nested reporter inherits the time
/// spent and what is shown. At its end the text of the outer one comes back, which takes over
/// whether it was cancelled: a cancel travels outwards, one level an end, also to a reporter that
/// is not cancelable. A nested task that ends uncancelled takes a cancel that came in for the outer
/// one back, which is meant.
///
/// A reporter that dies before one nested in it leaves the chain without a word to the host. None
/// may be deleted from within a call to the host that it makes.
class KELMUTILS_EXPORT Progress
{
public:
    /// Starts a task of \p maxSteps steps.
    ///
    ///     0         no known end
    ///     negative  inert: in no chain, without label and wait cursor, silent at tick() and
    ///               setCount(), while every other operation works
    ///
    /// The label is \p label, with the hint "Press Esc to cancel." for an ordinary reporter that is
    /// cancelable. \p waitCursor shows the wait cursor until the end.
    ///
    /// The host is called every twentieth of the steps, from 10,020 steps on every hundredth.
    explicit Progress(int maxSteps, const Data::String &label = Data::String(),
                      bool cancelable = false, bool waitCursor = false, bool popup = false);

    /// A background reporter: without a known end, not cancelable and in no chain. Its label comes
    /// back when the last ordinary or popup task has ended, and it reports at its next tick() then.
    /// All background reporters share the label, which outlives them.
    Progress();

    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress();

    /// Adds \p steps, or -\p steps when it is negative. False when the task was cancelled.
    ///
    /// The count may pass maxSteps(), and stays at the largest int when it would pass that. Within
    /// the last 5 % of the steps each call reports.
    bool tick(int steps = 1);

    /// Raises the count to \p count, at most to maxSteps(). False when the task was cancelled.
    ///
    /// A lower or negative count changes nothing. Within the last five steps each call reports,
    /// which differs from tick() on purpose.
    bool setCount(int count);

    /// Starts the count again, with \p maxSteps steps. 0 starts the time again too.
    ///
    /// -\p maxSteps steps when it is negative, reported every hundredth, or at each call when they
    /// are fewer than 100.
    void setMaxSteps(int maxSteps);

    /// Sets the text as it stands, without a hint.
    void setLabel(const Data::String &text);

    Data::String label() const;
    int count() const;
    int maxSteps() const;

    /// A tag of the owner's own, which has no meaning here.
    void setId(const Data::String &id);
    Data::String id() const;

    bool isPopup() const;

    /// Cancels the task, if it is cancelable.
    void cancel();
    bool cancelled() const;

    /// Takes the means to cancel from the host's popup display. cancel() works as before, which is
    /// meant, and an ordinary reporter does nothing.
    void disableCancel();

    /// Milliseconds since the outermost reporter of the chain began, or since it or this one was
    /// given no known end by setMaxSteps(). The clock does not jump with the time of day. An inert
    /// or a background reporter counts from its own start.
    int elapsed() const;

    /// Shows or hides the display now. A background reporter that is hidden forgets the label that
    /// would come back.
    void show();
    void hide();

    /// Remembers count, interval, steps and label; restore() puts them back, as often as it is
    /// called, and tells the host of the label only.
    void save();
    void restore();

    /// The innermost popup reporter, else the innermost ordinary one, else null.
    static Progress *any();

    /// The innermost reporter of the chosen chain, or null.
    static Progress *current(bool popup);

    /// The label of the innermost ordinary reporter, else that of the background reporter.
    static Data::String currentLabel();

    /// Whether the innermost ordinary reporter can be cancelled. False when there is none.
    static bool isCancelable();

private:
    friend struct ProgressState;

    void report();
    void update();

    const std::unique_ptr<ProgressPrivate> d;
};

} // namespace Utils
