#pragma once

#include "utils/tagfile/TagFile.h"
#include "utils/tagfile/TagReader_p.h"

QT_FORWARD_DECLARE_CLASS(QFile)

namespace Utils {

class TagFilePrivate
{
public:
    TagList tags;
    Data::String filename;
    QFile *file = nullptr;         // while it is streamed out; only close() deletes it
    QTextStream *stream = nullptr; // the same
    int options = TagFile::BlankLines | TagFile::WriteYesNo | TagFile::WriteComments;
    Data::VariantCollection meta;

    /// Writes what \p append appends to a text to what is open, if it is. The file ends where that
    /// cannot be done: what would come behind the gap is of no use.
    template <typename Append>
    void write(const Append &append);

    /// Writes all tags by \p sink.tag() and \p sink.property(), which take what TagFile::writeTag()
    /// and TagFile::writeProperty() do.
    template <typename Sink>
    void writeTags(Sink &sink) const;
};

/// The name of the tag that tells what kind of file it is.
constexpr const char *typeTagName = "TYPE";

/// The text of the catalogue for \p id, as in ".err.fileread", with \p path filled in.
Data::String fileMessage(const char *id, const Data::String &path);

/// The same into \p error, which stays as it was when the memory does not suffice.
void tell(Data::String &error, const char *id, const Data::String &path);

/// Appends \p error to \p errors, unless the memory does not suffice.
void append(QStringList &errors, const Data::String &error);

} // namespace Utils
