#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

// Scenarios: operations of the library whose system calls are made to fail one after the other.

/// What came of an operation.
struct Outcome
{
    /// Whether it reported a failure: by false, an empty result, 0 or a text, as its header says.
    bool isTold = false;

    /// Whether File::lastError() alone tells it, because the result does not. Never true together
    /// with the data of a run without faults: there is no reason where nothing has failed.
    bool isOnlyReason = false;

    /// The data after the operation, in a few words: those of contents(), of a value in memory, or
    /// both. They are compared with those of a run without faults: equal data, equal words.
    QByteArrayList states;

    /// What was lost but must stay, reported or not. "" when nothing was.
    QByteArray damage;

    void add(const QByteArray &state) { states.append(state); }
};

/// One run of a scenario, in a fresh folder that is the current one.
struct Run
{
    std::function<void(Outcome &)> act;     ///< with faults: the operation, and no other
    std::function<void(Outcome &)> inspect; ///< without: looks at what there is
};

struct Scenario
{
    const char *name;             ///< of the operation; after a colon, its special case
    const char *groups;           ///< of Inject::groupNames, or "all"
    std::function<Run()> prepare; ///< makes the files that are needed
    long most = 1000000;          ///< the largest n, for what makes as many calls as there is time
};

std::vector<Scenario> fileScenarios();
std::vector<Scenario> textScenarios();
std::vector<Scenario> processScenarios();
std::vector<Scenario> formatScenarios();
std::vector<Scenario> runScenarios();

// What a scenario is made of

/// The groups of what a process needs, without what a program reads when it starts.
constexpr char processGroups[] = "open read write short fork pipe stat readdir seek lock malloc";

/// What a scenario keeps between act() and inspect().
template <typename Type>
std::shared_ptr<Type> keep(const Type &start = Type())
{
    return std::make_shared<Type>(start);
}

/// The file at \p path in one word: "new" for \p fresh, "old" for \p old, "missing", "empty", "a
/// part" for the start of the new one, else "other".
QByteArray contents(const QString &path, const QByteArray &fresh, const QByteArray &old = {});

/// A value in memory in one word: "whole", "empty", "a part" for its start, else "other".
QByteArray value(const QByteArray &found, const QByteArray &whole);

/// What is below the folder \p path, with the contents of files as \p text of each tells: sorted.
QByteArrayList treeOf(const QString &path);

/// A tree in one word: "whole", "a part" when it has nothing that \p whole has not, else "foreign
/// entries".
QByteArray treeState(const QByteArrayList &found, const QByteArrayList &whole);

/// The bytes of a file, without the library. "" when there is none.
QByteArray bytesOf(const QString &path);

/// \p count numbered lines of some 20 bytes, different for each \p seed.
QByteArray lines(int count, const char *seed = "line");
