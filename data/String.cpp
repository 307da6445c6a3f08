#include "data/String.h"

#include "data/ProcessWide_p.h"

#include <string>

namespace Data {

namespace {

struct Utf8Buffer
{
    std::string text;
};

} // namespace

const char *String::c_str() const
{
    static ProcessWide<Utf8Buffer> processBuffer;
    Utf8Buffer *const buffer = processBuffer.ifAlive();
    if (!buffer)
        return "";

    // Assigned in place: the buffer keeps its memory from one conversion to the next, so a pointer
    // that is kept too long usually points to a different text rather than to freed memory.
    const QByteArray utf8 = toUtf8();
    buffer->text.assign(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    return buffer->text.c_str();
}

} // namespace Data
