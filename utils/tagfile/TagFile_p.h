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

    /// Reads from a file or a text stream.
    template <typename Source>
    void readTags(Source &in);

    /// Writes to what is open, if it is.
    void write(const QString &text);

    /// Writes all tags by \p sink.tag() and \p sink.property(), which take what TagFile::writeTag()
    /// and TagFile::writeProperty() do.
    template <typename Sink>
    void writeTags(Sink &sink) const;
};

/// The name of the tag that tells what kind of file it is.
constexpr const char *typeTagName = "TYPE";

/// The text of the catalogue for \p id, as in ".err.fileread", with \p path filled in.
Data::String fileMessage(const char *id, const Data::String &path);

} // namespace Utils
