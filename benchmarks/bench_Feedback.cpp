// What a loop pays for telling how far it has come. benchmarks/report tells how names and counters
// make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/ProgressRange.h"

#include <limits>

using benchmark::State;
using Utils::Progress;

// So many steps that a hundredth of them, after which the next report comes, is not reached often
// enough to be seen.
static const int manySteps = std::numeric_limits<int>::max();

template <typename Step>
static void stepBetweenReports(State &state, Step step)
{
    Progress progress(manySteps, "Reading", /*cancelable=*/true);
    for (auto _ : state)
        benchmark::DoNotOptimize(step(progress));
    if (progress.count() != state.iterations())
        state.SkipWithError("a step was not counted");
}

int main(int argc, char **argv)
{
    addLimited("step between reports", "tick", 5.0, [](State &state) {
        stepBetweenReports(state, [](Progress &progress) { return progress.tick(); });
    });
    addLimited("step between reports", "setCount", 5.0, [](State &state) {
        stepBetweenReports(
            state, [count = 0](Progress &progress) mutable { return progress.setCount(++count); });
    });
    addLimited("step in a part of another task", "tick", 5.0, [](State &state) {
        Progress whole(2);
        const Utils::ProgressRange part(whole, 0, 1);
        stepBetweenReports(state, [](Progress &progress) { return progress.tick(); });
    });
    addLimited("estimate between reports", "remaining", 200.0, [](State &state) {
        Progress progress(manySteps);
        progress.tick(1000);
        for (auto _ : state)
            benchmark::DoNotOptimize(progress.remaining());
    });
    addLimited("step of an inert reporter", "tick", 5.0, [](State &state) {
        Progress progress(-1);
        for (auto _ : state)
            benchmark::DoNotOptimize(progress.tick());
    });
    return runBenchmarks(argc, argv);
}
