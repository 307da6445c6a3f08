#pragma once

namespace Data {

/// An object with static storage, one of each type, that may still be asked for after its end.
///
/// Objects that die later test what ifAlive() returns. It reads a plain bool, which outlives every
/// object.
template <typename State>
class ProcessWide
{
public:
    ProcessWide() = default;
    ~ProcessWide() { isAlive = false; } // the state is released after this line

    ProcessWide(const ProcessWide &) = delete;
    ProcessWide &operator=(const ProcessWide &) = delete;

    /// The state, or null once it is gone.
    State *ifAlive() { return isAlive ? &m_state : nullptr; }

    /// For callers that know that it is alive.
    State *operator->() { return &m_state; }

    /// For tests, which make it false for a while.
    static inline bool isAlive = true;

private:
    State m_state;
};

} // namespace Data
