#include "data/String.h"

#include <string>

namespace Data {

namespace {

struct Utf8Buffer
{
    ~Utf8Buffer() { alive = false; } // the text is released behind this line

    std::string text;
    static inline bool alive = true;
};

} // namespace

const char *String::c_str() const
{
    static Utf8Buffer buffer;
    if (!Utf8Buffer::alive)
        return "";

    // Assigned in place: the buffer keeps its memory from one conversion to the next, so a pointer
    // kept too long usually shows the wrong text rather than freed memory.
    const QByteArray utf8 = toUtf8();
    buffer.text.assign(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    return buffer.text.c_str();
}

} // namespace Data
