#include "utils/feedback/Progress.h"

#include "utils/Application_p.h"
#include "utils/base/Interrupt_p.h"
#include "utils/feedback/ProgressPace_p.h"
#include "utils/feedback/ProgressRange.h"
#include "utils/feedback/Progress_p.h"
#include "utils/feedback/WaitCursor.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>

namespace Utils {

static const int largestCount = std::numeric_limits<int>::max();

class ProgressPrivate
{
public:
    int count = 0;
    int maxSteps = 0;  // 0: no known end, negative: inert
    int lastCount = 0; // count at the last report
    int step = 1;      // between reports
    int savedCount = -1;
    int savedStep = 0;
    int savedLastCount = 0;
    int savedMaxSteps = 0;
    bool cancelable = false;
    bool cancelled = false;
    bool visible = false;
    bool background = false;
    bool popup = false;
    Data::String label;
    Data::String savedLabel;
    Data::String id;
    std::unique_ptr<WaitCursor> waitCursor;
    Progress *previous = nullptr; // the enclosing reporter of the same chain
    qint64 start = progressState.now();

    Data::String unit;
    ProgressPace pace{start}; // of this reporter, as the start may be that of an outer one
    ProgressPace savedPace{start};
    ProgressRange *range = nullptr; // the current part, which nested reporters fill
    double filled = 0.0;            // the count including the fraction that parts have filled

    double position() const { return std::max<double>(count, filled); }
};

/// The progress that is passed to the host when a reporter reports.
struct ShownProgress
{
    const ProgressPrivate &reporter;

    /// Whether there is no need to show the display for the rest.
    bool isNearlyDone() const
    {
        return reporter.maxSteps != 0 && reporter.position() / reporter.maxSteps >= 0.9;
    }

    void tell(Data::IApplication &host) const
    {
        // The fraction of a step that a part has done is shown, too.
        const bool hasFraction = reporter.filled > reporter.count;
        const int scale = hasFraction ? std::max(1000 / reporter.maxSteps, 1) : 1;
        const int count = hasFraction ? static_cast<int>(reporter.filled * scale) : reporter.count;
        host.setProgress(count, reporter.maxSteps * scale, reporter.popup);
    }
};

static int stepFor(int maxSteps)
{
    const int step = std::max(maxSteps / 20, 1);
    return step > 500 ? maxSteps / 100 : step;
}

/// The absolute value of \p number, even if it does not fit into an int.
static qint64 magnitude(int number) { return std::abs(qint64(number)); }

static Progress *&head(bool popup)
{
    return popup ? progressState.currentPopup : progressState.current;
}

qint64 steadyTime()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool ProgressState::holds(const Progress *reporter) const
{
    for (const Progress *chained : {current, currentPopup})
        for (; chained; chained = chained->d->previous)
            if (chained == reporter)
                return true;
    return false;
}

Progress::Progress(int maxSteps, const Data::String &label, bool cancelable, bool waitCursor,
                   bool popup)
    : Progress() // from here on, the destructor takes it from the chain when anything fails
{
    d->background = false;
    d->maxSteps = maxSteps;
    d->step = stepFor(maxSteps);
    d->cancelable = cancelable;
    d->popup = popup;
    if (maxSteps < 0)
        return;

    // Added to the chain before the first call to the host, which may cancel it in that call.
    Progress *const previous = head(popup);
    d->previous = previous;
    head(popup) = this;

    Data::String text = label;
    if (cancelable && !popup) {
        const QLatin1String hint("Press Esc to cancel.");
        text = text.isEmpty() ? QString(hint) : text + QLatin1String(" \n") + hint;
    }
    if (!text.isEmpty())
        setLabel(text);

    if (waitCursor)
        d->waitCursor.reset(new WaitCursor(/*suspend=*/false, /*enable=*/true));

    if (previous) {
        d->start = previous->d->start;
        if (previous->d->visible) {
            show();
            update();
        }
    }
    progressState.isDirty = false;
}

Progress::Progress() : d(new ProgressPrivate) { d->background = true; }

/// Calls \p task. What runs does not fail because the host cannot show that it has ended.
template <typename Function>
static void attempt(const Function &task)
{
    try {
        task();
    } catch (...) {
    }
}

Progress::~Progress()
{
    for (ProgressRange *range = d->range; range; range = range->m_outer)
        range->m_parent = nullptr;

    const bool popup = d->popup;
    Progress *const previous = d->previous;
    if (head(popup) != this) {
        // Inert, in the background, or not the innermost: no chain may keep a destroyed reporter.
        for (Progress *inner = head(popup); inner; inner = inner->d->previous) {
            if (inner->d->previous == this)
                inner->d->previous = previous;
        }
        return;
    }

    head(popup) = previous;
    if (previous)
        previous->d->cancelled = d->cancelled;
    // Each call by itself: when one fails, the display is still hidden.
    if (previous) {
        if (d->visible) {
            attempt([&] { previous->show(); });
            attempt([&] { previous->update(); });
        }
        attempt([&] { previous->setLabel(previous->d->label); });
    } else {
        attempt([&] {
            if (Data::IApplication *const host = application())
                host->setProgressLabel(Data::String(progressState.lastLabel), popup);
        });
        if (d->visible)
            attempt([&] { hide(); });
    }
    progressState.isDirty = progressState.isDirty || !previous;
}

bool Progress::tick(int steps)
{
    // Called in inner loops: between reports it makes no call and no allocation.
    if (d->maxSteps < 0)
        return !d->cancelled;

    const qint64 sum = d->count + magnitude(steps);
    d->count = sum > largestCount ? largestCount : static_cast<int>(sum);
    if (d->count - d->lastCount >= d->step || d->count > d->maxSteps * 0.95 ||
        (d->background && progressState.isDirty))
        report();
    return !d->cancelled;
}

bool Progress::setCount(int count)
{
    if (d->maxSteps < 0 || count < 0)
        return !d->cancelled;

    d->count = std::max(d->count, std::min(count, d->maxSteps));
    if (d->count - d->lastCount >= d->step || d->count > d->maxSteps - 5 ||
        (d->background && progressState.isDirty))
        report();
    return !d->cancelled;
}

void Progress::setMaxSteps(int maxSteps)
{
    d->count = 0;
    d->lastCount = 0;
    d->filled = 0.0;
    d->maxSteps = static_cast<int>(std::min<qint64>(magnitude(maxSteps), largestCount));
    const qint64 now = progressState.now();
    if (d->maxSteps == 0)
        d->start = now;
    d->pace = ProgressPace(now);
    d->step = maxSteps < 0 ? d->maxSteps / 100 : stepFor(d->maxSteps);
    update();
}

void Progress::setLabel(const Data::String &text)
{
    const Data::String label = text; // the host may change what text refers to
    d->label = label;
    if (Data::IApplication *const host = application())
        host->setProgressLabel(label, d->popup);
    if (d->background)
        progressState.lastLabel = label;
}

Data::String Progress::label() const { return d->label; }
int Progress::count() const { return d->count; }
int Progress::maxSteps() const { return d->maxSteps; }

void Progress::setId(const Data::String &id) { d->id = id; }
Data::String Progress::id() const { return d->id; }

bool Progress::isPopup() const { return d->popup; }

void Progress::cancel()
{
    if (d->cancelable)
        d->cancelled = true;
}

bool Progress::cancelled() const { return d->cancelled; }

void Progress::disableCancel()
{
    Data::IApplication *const host = application();
    if (host && d->popup)
        host->showProgress(true, false, d->popup);
}

int Progress::elapsed() const
{
    return static_cast<int>(std::min<qint64>(progressState.now() - d->start, largestCount));
}

int Progress::remaining() const
{
    if (d->maxSteps <= 0 || d->cancelled)
        return -1;
    const double time = d->pace.remaining(progressState.now(), d->position(), d->step, d->maxSteps);
    return static_cast<int>(std::min<double>(time, largestCount));
}

double Progress::rate() const
{
    return d->maxSteps < 0 ? 0.0 : d->pace.rate(progressState.now(), d->position(), d->step);
}

void Progress::setUnit(const Data::String &unit) { d->unit = unit; }
Data::String Progress::unit() const { return d->unit; }

Progress *Progress::whole()
{
    Progress *outermost = this;
    for (Progress *outer = d->previous; outer; outer = outer->d->previous) {
        if (outer->d->range)
            outermost = outer;
    }
    return outermost;
}

void Progress::show()
{
    d->visible = true; // first: a host that processes events may call this again
    if (Data::IApplication *const host = application())
        host->showProgress(true, d->cancelable, d->popup);
    if (!d->popup)
        return;
    if (Data::IApplication *const host = application()) // that call may have replaced it
        host->setProgressLabel(label(), d->popup);
}

void Progress::hide()
{
    if (d->background)
        progressState.lastLabel = Data::String();
    if (Data::IApplication *const host = application())
        host->showProgress(false, d->cancelable, d->popup);
    d->visible = false;
}

void Progress::save()
{
    d->savedCount = d->count;
    d->savedStep = d->step;
    d->savedLastCount = d->lastCount;
    d->savedMaxSteps = d->maxSteps;
    d->savedLabel = d->label;
    d->savedPace = d->pace;
}

void Progress::restore()
{
    if (d->savedCount < 0)
        return;

    d->count = d->savedCount;
    d->step = d->savedStep;
    d->lastCount = d->savedLastCount;
    d->maxSteps = d->savedMaxSteps;
    d->filled = 0.0;
    d->pace = d->savedPace;
    d->pace.resume(progressState.now(), d->count);
    setLabel(d->savedLabel);
}

Progress *Progress::any()
{
    return progressState.currentPopup ? progressState.currentPopup : progressState.current;
}

Progress *Progress::current(bool popup) { return head(popup); }

Data::String Progress::currentLabel()
{
    return progressState.current ? progressState.current->d->label : progressState.lastLabel;
}

bool Progress::isCancelable()
{
    return progressState.current && progressState.current->d->cancelable;
}

void Progress::report()
{
    d->lastCount = d->count;
    progressState.isDirty = false;
    if (Interrupt::isRequested())
        cancel();
    update();
}

void Progress::update()
{
    const qint64 now = progressState.now();
    d->pace.report(now, d->position());
    fillParts(now);
    const ShownProgress shown{*whole()->d};
    if (!d->visible) {
        if (now - d->start < progressState.popupDelay)
            return;
        // What is nearly done is not worth a display.
        if (!shown.isNearlyDone())
            show();
    }
    if (Data::IApplication *const host = application())
        shown.tell(*host);
}

/// Moves the outer reporters of which this one is a part.
void Progress::fillParts(qint64 now)
{
    const Progress *inner = this;
    for (Progress *outer = d->previous; outer && outer->d->range; outer = outer->d->previous) {
        ProgressPrivate &whole = *outer->d;
        if (inner->d->maxSteps <= 0 || whole.maxSteps <= 0)
            return;
        const double share = std::min(inner->d->position() / inner->d->maxSteps, 1.0);
        const double position = std::min<double>(whole.range->position(share), whole.maxSteps);
        whole.filled = std::max(whole.filled, position);
        whole.count = std::max(whole.count, static_cast<int>(whole.filled));
        whole.lastCount = whole.count;
        whole.pace.report(now, whole.position());
        inner = outer;
    }
}

void Progress::beginPart(ProgressRange *range)
{
    range->m_outer = d->range;
    d->range = range;
}

void Progress::endPart(ProgressRange *range)
{
    // Also one that does not end in the order of scopes.
    ProgressRange **link = &d->range;
    while (*link != range)
        link = &(*link)->m_outer;
    *link = range->m_outer;
    if (d->maxSteps <= 0 || d->cancelled)
        return;
    d->count = std::max(d->count, std::min(range->m_to, d->maxSteps));
    report();
}

ProgressRange::ProgressRange(Progress &parent, int from, int to)
    : m_parent(&parent), m_outer(nullptr), m_from(std::max(from, 0)), m_to(std::max(to, m_from))
{
    parent.beginPart(this);
}

ProgressRange::~ProgressRange()
{
    if (!m_parent)
        return;
    try {
        m_parent->endPart(this);
    } catch (...) { // as at the end of a reporter
    }
}

double ProgressRange::position(double share) const
{
    return m_from + (static_cast<double>(m_to) - m_from) * share;
}

} // namespace Utils
