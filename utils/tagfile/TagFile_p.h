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

    /// Appends all tags to \p out. Now and then, behind whole lines, it calls \p empty(), which may
    /// take away what is there.
    template <typename Empty>
    void writeTags(QString &out, Empty empty) const;
};

/// The name of the tag that tells what kind of file it is.
constexpr const char *typeTagName = "TYPE";

/// The text of the catalogue for \p id, as in ".err.fileread", with \p path filled in.
Data::String fileMessage(const char *id, const Data::String &path);

} // namespace Utils
