#pragma once

#include "data/String.h"

#include <QStringList>

namespace Utils {

/// The reason why the last operation of this thread failed, for File::lastError().
///
/// Each public operation that stores a reason holds an object of this class while it runs. The
/// object of the outermost operation clears the reason at its start; those of operations that it
/// calls do nothing. A failure stores its reason where it is found. An operation that succeeds
/// although one that it called failed clears the reason by succeeded().
class LastError
{
public:
    LastError();
    ~LastError();
    LastError(const LastError &) = delete;
    LastError &operator=(const LastError &) = delete;

    /// Clears the reason when this is the outermost operation. Returns true.
    bool succeeded();

    /// Stores the text of \p id in the catalogue, such as ".err.noopen", with \p values in place of
    /// its %1, %2... The text is looked up when it is requested. Returns false. \p id must be a
    /// string literal. A reason that the present operation has stored already is kept, because the
    /// first failure is the cause.
    static bool set(const char *id, const QStringList &values = {});

    /// The text of the reason in the current language, "" without one.
    static Data::String text();
};

} // namespace Utils
