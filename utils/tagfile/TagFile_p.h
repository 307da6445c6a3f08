#pragma once

#include "utils/tagfile/TagFile.h"

#include <memory>
#include <vector>

QT_FORWARD_DECLARE_CLASS(QFile)

namespace Utils {

class TagFilePrivate
{
public:
    std::vector<std::unique_ptr<TagFile::Tag>> tags; // each keeps its place when others come or go
    Data::String filename;
    QFile *file = nullptr;         // while a file is streamed out; only close() deletes it
    QTextStream *stream = nullptr; // the same, and in toString()
    int options = TagFile::BlankLines | TagFile::WriteYesNo | TagFile::WriteComments;
    Data::VariantCollection meta;

    void readTags(QTextStream &in);
    bool canWrite() const;
    void writeTags(TagFile &to) const;
};

/// The name of the tag that tells what kind of file it is.
constexpr const char *typeTagName = "TYPE";

/// The text of the catalogue for \p id, as in ".err.fileread", with \p path filled in.
Data::String fileMessage(const char *id, const Data::String &path);

} // namespace Utils
