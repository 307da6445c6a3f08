#pragma once

namespace Data {

/// An object with static storage, one of each type, that may still be accessed after its
/// destruction.
///
/// Objects that are destroyed later test the result of ifAlive(). It reads a plain bool, which
/// outlives every object.
template <typename State>
class ProcessWide
{
public:
    ProcessWide() = default;
    ~ProcessWide() { isAlive = false; } // the state is released after this line

    ProcessWide(const ProcessWide &) = delete;
    ProcessWide &operator=(const ProcessWide &) = delete;

    /// The state, or null after its destruction.
    State *ifAlive() { return isAlive ? &m_state : nullptr; }

    /// Only for callers that know that the state is alive.
    State *operator->() { return &m_state; }

    /// Public for tests, which set it to false temporarily.
    static inline bool isAlive = true;

private:
    State m_state;
};

} // namespace Data
