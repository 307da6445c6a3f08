#include "utils/catalogue/LastError_p.h"

#include "utils/catalogue/Catalogue_p.h"

namespace Utils {

/// A reason of one thread.
struct Reason
{
    const char *id = nullptr; // null when there is none
    QStringList values;
    int depth = 0; // operations that run

    void clear()
    {
        id = nullptr;
        values.clear();
    }
};

static Reason &reason()
{
    static thread_local Reason present;
    return present;
}

LastError::LastError()
{
    if (reason().depth++ == 0)
        reason().clear();
}

LastError::~LastError() { --reason().depth; }

bool LastError::succeeded()
{
    if (reason().depth == 1)
        reason().clear();
    return true;
}

bool LastError::set(const char *id, const QStringList &values)
{
    if (!reason().id) {
        reason().id = id;
        reason().values = values;
    }
    return false;
}

Data::String LastError::text()
{
    return reason().id ? message(".Kelm.Utils", reason().id, reason().values) : Data::String();
}

} // namespace Utils
