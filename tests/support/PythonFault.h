#pragma once

/// While it lives, one call of Python's C interface fails with a MemoryError, as where the memory
/// ends: the call \p number, counted from 0, of those that make or find an object.
///
///     for (int n = 0;; ++n) {
///         PythonFault fault(n);
///         ... // the operation
///         if (!fault.hasFailed())
///             break; // it makes no more than n such calls
///     }
///
/// A test that uses it links the target PythonFault, whose functions replace those of Python.
class PythonFault
{
public:
    /// With a \p function, as "PyList_New", only its calls count. Some functions must be named.
    /// Those that compile and run code fail without an error.
    explicit PythonFault(int number, const char *function = nullptr);
    ~PythonFault() { end(); }

    PythonFault(const PythonFault &) = delete;
    PythonFault &operator=(const PythonFault &) = delete;

    /// Lets all calls succeed again.
    void end();

    bool hasFailed() const;
};
