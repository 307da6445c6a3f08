#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QStringList>

namespace Utils {

/// Paths, file contents, folder trees and resources: static operations, no instances.
///
/// Paths are written with "/". Text files are UTF-8. A failure is an empty result, false, or a
/// count; nothing here throws or shows a message.
class KELMUTILS_EXPORT File
{
public:
    File() = delete;

    // Paths: what can be told from the text of a path

    // Contents: whole files, and what can be asked of one

    // Trees: copying, moving, removing and creating

    // Search: files by name, by content, and by the name of a resource

    /// The files in \p folder, and with \p recursive in those below it, that fit one of the
    /// wildcards in \p filter, as paths that begin with \p folder. Empty when there is no such
    /// folder.
    ///
    ///     "*.txt"         any text file; case does not count
    ///     "*.a;*.b"       both kinds, in the order in which the folder has them
    ///     "" or "*.a; "   nothing fits an empty piece; blanks are part of a piece
    ///
    /// The files of a folder come before those of its subfolders, unsorted. Hidden entries, sockets
    /// and the like are neither listed nor entered. Links to folders are followed, except into a
    /// folder that the search is in already, so that a loop of links ends. Two oddities are meant:
    ///
    /// - With \p maxCount above 0 the search stops when it has found that many, but what it found
    /// in
    ///   the subfolders of one folder counts anew, so the result may be longer.
    /// - A folder is asked for by exists(), for which a "*" in its name is a wildcard for files.
    /// One
    ///   that is named so is passed over unless a file beside it fits that wildcard.
    static QStringList search(const Data::String &folder, const Data::String &filter,
                              bool recursive = true, int maxCount = 0);

    /// The first file that search() finds, or "".
    static Data::String find(const Data::String &folder, const Data::String &filter,
                             bool recursive = false);
};

} // namespace Utils
