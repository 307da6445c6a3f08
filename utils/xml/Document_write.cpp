#include "utils/files/File.h"
#include "utils/xml/Document.h"
#include "utils/xml/DocumentText_p.h"

#include <new>

namespace Utils {
namespace Xml {

bool Document::write(const Data::String &path) const
{
    QStringList pieces;
    try {
        pieces = DocumentText(*this).pieces();
    } catch (const std::bad_alloc &) {
        return false; // larger than the memory
    }
    return !pieces.isEmpty() && File::write(path, pieces);
}

} // namespace Xml
} // namespace Utils
