#pragma once

#include "utils/tagfile/HeldTags_p.h"
#include "utils/tagfile/TagFile.h"

QT_FORWARD_DECLARE_CLASS(QIODevice)

namespace Utils {

class TagFilePrivate
{
public:
    HeldTags tags;
    Data::String filename;
    QIODevice *file = nullptr;     // while a file is streamed; only close() deletes a QFile
    QTextStream *stream = nullptr; // the same
    bool hasNoMemory = false;      // then what is streamed is incomplete
    int options = TagFile::BlankLines | TagFile::WriteYesNo | TagFile::WriteComments;
    Data::VariantCollection meta;

    /// Writes the text that \p append appends to its argument to the open stream, if there is one.
    /// After a failure nothing more is written: anything after a gap would be useless.
    template <typename Append>
    void write(const Append &append);

    /// Writes all tags by the functions tag() and properties() of \p sink.
    template <typename Sink>
    void writeTags(Sink &sink) const;
};

/// The name of the tag that names the type of a file.
constexpr const char *typeTagName = "TYPE";

/// Sets \p error to the text of the catalogue for \p id, such as ".err.fileread", with \p path
/// filled in. It stays unchanged when the memory does not suffice.
void tell(Data::String &error, const char *id, const Data::String &path);

/// Appends \p error to \p errors, unless the memory does not suffice.
void append(QStringList &errors, const Data::String &error);

} // namespace Utils
