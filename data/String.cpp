#include "data/String.h"

#include <string>

namespace Data {

const char *String::c_str() const
{
    // Assigned in place: the buffer keeps its memory from one conversion to the next, so a pointer
    // kept too long usually shows the wrong text rather than freed memory.
    static std::string buffer;
    const QByteArray utf8 = toUtf8();
    buffer.assign(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    return buffer.c_str();
}

} // namespace Data
