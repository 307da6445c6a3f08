#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QStringList>

#include <cstdio>

namespace Utils {

/// Paths, file contents, folder trees and resources: static operations, no instances.
///
/// Paths are written with "/". Text files are UTF-8. A failure is an empty result, false, or a
/// count; nothing here throws or shows a message.
class KELMUTILS_EXPORT File
{
public:
    File() = delete;

    // Paths: what can be told from the text of a path. Case is folded on every system where two
    // paths are compared, and a path that makes no sense gives "" or false.

    /// The arguments that are not empty, in order, with "/" between them. No "/" that is in them is
    /// looked at.
    ///
    ///     "", "", "x"  => "x"
    ///     "a/", "b"    => "a//b"
    static Data::String join(const Data::String &a, const Data::String &b,
                             const Data::String &c = Data::String(),
                             const Data::String &d = Data::String(),
                             const Data::String &e = Data::String(),
                             const Data::String &f = Data::String());

    /// \p path as it is when it is absolute; otherwise cleaned, below \p folder, or below the
    /// current folder when that is empty.
    static Data::String absolutePath(const Data::String &path, const Data::String &folder);

    /// The last component, with or without its last suffix. A hidden name is all suffix.
    ///
    ///     "/p/archive.tar.gz"  => "archive.tar", with extension "archive.tar.gz"
    ///     ".bashrc"            => "", with extension ".bashrc"
    ///     "a/"                 => ""
    static Data::String base(const Data::String &path, bool withExtension = false);

    /// The last suffix, without its dot.
    static Data::String extension(const Data::String &path);

    /// The folder that the path is in, as far as its text tells: "." for a bare name and for "".
    static Data::String parentFolder(const Data::String &path);

    /// The path without needless "/", "." and "..", in the separators of the system. A path that
    /// begins with "/" keeps its own.
    static Data::String cleanPath(const Data::String &path);

    static Data::String currentDir();

    /// Whether \p path is no relative one.
    static bool isAbsolute(const Data::String &path);

    /// Whether the text is that of a relative path.
    ///
    ///     "", "a", "a/b"       => true
    ///     ".config/x", "../x"  => true   whatever begins with "."
    ///     ":/icons/x.png"      => true   a resource of the toolkit
    ///     "/a", "C:/x"         => false
    ///     "\\server/x"         => false
    ///     "C:", "C:x"          => true   a name with no folder in front of it
    static bool isRelative(const Data::String &path);

    /// Whether two texts name one path, as they stand or cleaned. The file system is not asked, and
    /// nothing is made absolute.
    static bool isSamePath(const Data::String &a, const Data::String &b);

    /// Whether the text of \p path begins with that of \p folder, as they stand or cleaned. Plain
    /// text is compared, which is meant: "/data/abc" is contained in "/data/ab", everything is
    /// contained in "", and a folder in itself.
    static bool isContainedIn(const Data::String &path, const Data::String &folder);

    /// Whether the name of the file at \p path, with its extension, matches one of the wildcard
    /// patterns of \p filter, which single blanks separate. Of a filter with brackets, as dialogs
    /// show it, only what is between them counts, or all behind a "(" that only a ")" in front of
    /// it closes. An empty pattern matches an empty name only.
    ///
    ///     "a.PNG", "Images (*.png *.jpg)"  => true
    static bool checkFilter(const Data::String &path, const Data::String &filter);

    /// \p path shortened for display, with "/" for each "\": its first two pieces, "...", and as
    /// many of the last ones as go into \p maxChars characters, but one at least and at most
    /// \p maxParts - 1. Fewer than three parts count as three.
    ///
    /// A path is given back untouched when it is shorter than \p maxChars, which one of exactly
    /// that length is not, or when it has fewer pieces than \p maxParts. One with three pieces
    /// becomes longer, which is meant.
    ///
    ///     "C:/one/two/three/four/five/six.txt", 10, 3  => "C:/one/.../six.txt"
    static Data::String abbreviateName(const Data::String &path, int maxChars = 80,
                                       int maxParts = 5);

    /// \p name as it may be a file's: each blank replaced by "_", unless they are allowed, and
    /// / \ : * ? " < > | removed. \p valid tells, if given, whether \p name was good as it was.
    static Data::String validate(const Data::String &name, bool allowSpaces = false,
                                 bool *valid = nullptr);

    /// The size of the file at a path, or a decimal number of bytes, for people. "" for an empty or
    /// missing file, and for what is no number, or a negative one.
    ///
    /// The unit goes up at powers of 1024 and the number is divided by powers of 1020, which is
    /// meant. Above TB there is no word, and the text ends in the blank. "0" gives "0 bytes".
    ///
    ///     "512"            => "512 bytes"
    ///     "1023"           => "1,023 bytes"
    ///     "1048576"        => "1.01 MB"
    ///     "1500000000000"  => "1.39 TB"
    static Data::String sizeString(const Data::String &pathOrNumber);

    /// Image files: the filter of a dialog, or the extensions that findResource() looks for among
    /// the icons, which are deliberately fewer.
    static Data::String imageFilter(bool extensionsOnly);

    /// Layout files: the filter of a dialog, or their extension.
    static Data::String layoutFilter(bool extensionsOnly);

    static bool isDir(const Data::String &path);
    static bool isFile(const Data::String &path);

    // Contents: whole files, and what can be asked of one

    // A named pipe is opened as a file is, which waits until somebody opens its other end. A path
    // with a zero byte names nothing.

    /// The text of a file, or of an address that starts with "http://". "" when it is missing,
    /// cannot be opened or got, or is too large for a text, as a whole file of 1 GiB is.
    ///
    ///     lines 0    all of it, as it is; "" when it is no valid UTF-8
    ///     lines 3    its first three lines, or fewer, each ended by "\n" whatever ended it
    ///     lines -3   its end, with three lines or more in it
    ///
    /// "" also when what is asked for cannot be read whole, as on a damaged disk: never a part.
    ///
    /// A mark at the start is dropped; where it tells that the text is UTF-16 or UTF-32, lines of 0
    /// and above read that. With lines other than 0 each invalid byte becomes U+FFFD.
    ///
    /// The end is rough, which is meant: it is made of whole blocks of 200 bytes, counted from the
    /// last byte but one, until they hold one line feed more than lines are wanted, so it mostly
    /// starts within a line. What stands behind a zero byte of a block does not count. Where there
    /// are too few line feeds, the up to 200 bytes before the first whole block are left out all
    /// the same. A file of up to 201 bytes comes whole.
    ///
    /// For an address \p lines does not count. The call shows the wait cursor and handles events,
    /// but no user input, until the answer is there, however long that takes unless setHttpLimits()
    /// limits it: other handlers run in the middle of it, and an application that quits does so
    /// afterwards. Redirects are not followed; the text is what the redirecting answer holds. An
    /// answer that is shorter than it tells gives "". One that tells no length, or is packed, ends
    /// where its connection does. Without an application object, whose event loop it needs, the
    /// result is "".
    static Data::String read(const Data::String &path, int lines = 0);

    /// Limits each read() of an address that starts from now on, in the whole process: to \p msec
    /// milliseconds until the answer is there, and to \p bytes bytes of it. Beyond a limit the
    /// answer is given up, and the result is "".
    ///
    /// There are no limits at first, and for a number of 0 or below there is none. Where the bytes
    /// are limited, the answer is asked for unpacked, and one that is packed all the same gives "".
    static void setHttpLimits(int msec, qint64 bytes);

    /// All bytes of a file. Empty when it is missing, cannot be opened or not be read to its end,
    /// or has 2 GiB or more.
    static QByteArray readRaw(const Data::String &path);

    /// Replaces the file with \p text in UTF-8, in place: without a backup and without a temporary
    /// file. Shows the wait cursor meanwhile.
    ///
    /// False when it cannot be opened, and then it stays as it was. Whether all could be written is
    /// not told, which is meant: on a full disk the result is true and the file incomplete.
    static bool write(const Data::String &path, const Data::String &text);

    /// The same with \p lines, each followed by "\n".
    static bool write(const Data::String &path, const QStringList &lines);

    /// The same with bytes as they are, and without the wait cursor.
    static bool writeRaw(const Data::String &path, const QByteArray &bytes);

    /// A stream that reads the bytes of a file, for the caller to close. Null when it cannot be
    /// opened, as a folder cannot. errno describes this open: 0 when it went well.
    static std::FILE *openRead(const Data::String &path);

    /// The same for writing: at its end with \p append, else in its place.
    static std::FILE *openWrite(const Data::String &path, bool append);

    /// Whether there is a file or folder \p path, or, where it has a "*", a file that fits it as
    /// search() without subfolders takes it.
    ///
    ///     ""          false
    ///     "a/b"       a file or a folder; false for a link to nothing
    ///     "a/*.txt"   a file in a; hidden ones and folders do not count
    static bool exists(const Data::String &path);

    /// The size in bytes at this moment, 0 when there is nothing.
    static qint64 size(const Data::String &path);

    /// When it was last modified, in seconds since the Unix epoch, as known at this moment. 0 when
    /// there is nothing or it cannot be told, and for what is older than the epoch. Times beyond 32
    /// bits are not handled.
    static unsigned int timestamp(const Data::String &path);

    /// When it was last modified, in local time and in a pattern of QDateTime,
    /// DateTime::formatISO() when \p format is empty, with names and digits as in DateTime. "" when
    /// there is nothing, or it cannot be told.
    static Data::String timestampString(const Data::String &path, const Data::String &format = {});

    /// The version in the resources of a program or library, as in "19.02.1.5". Only the second
    /// number is padded, which is meant. "" when it has none, or on a system that knows none.
    static Data::String version(const Data::String &path);

    /// Whether the text of a file or address, as read() gives it, has \p word with no letter or
    /// digit on either side; "_" is none. An empty word is found at the start of an empty text, and
    /// between two such boundaries.
    static bool containsWord(const Data::String &path, const Data::String &word,
                             bool caseSensitive);

    /// Whether the extension, in any case, is that of an image format that Qt can read. The formats
    /// are asked for once in the process.
    static bool isSupportedImage(const Data::String &path);

    // Trees: copying, moving, removing and creating

    // Hidden entries, links that lead nowhere, sockets and pipes are not seen in a folder, which
    // may keep it from being empty. Long operations report through Progress, on the popup display:
    // where a folder has six entries or more, and no popup reporter is there already. With
    // cancelable they can be cancelled there, else they show the wait cursor. What was done stays.
    // For remove() the folders count alone, less every name that it is to keep. A path with a zero
    // byte names nothing.

    /// Copies one file. An existing folder \p target takes it under its own name. False when it
    /// cannot be copied whole, and then no part of it is left.
    ///
    /// When there is something at the target, \p overwrite decides:
    ///
    ///     0         the target is kept: false
    ///     positive  it is replaced
    ///     negative  it is replaced if \p source is newer, in whole seconds, else kept: true
    ///
    /// A file copied onto itself is left alone: true, whatever \p overwrite says. So is any other
    /// whose path differs in nothing but case, which is meant. Where the system cannot tell whether
    /// it is the same file, or which is newer, the target is kept: false. What is replaced is
    /// removed before the source is looked at, which is meant too: it is lost when the source
    /// cannot be read. A target that cannot be removed is kept, as is a link there that leads
    /// nowhere, and a source that is no file is not copied.
    ///
    /// While a popup reporter is there, more than 2048 KB are copied in small chunks, under a
    /// reporter and a wait cursor of their own and without permissions, and cannot be cancelled: a
    /// cancel that comes in meanwhile is lost, which is meant.
    static bool copy(const Data::String &source, const Data::String &target, int overwrite = 1,
                     bool showWaitCursor = true);

    /// Copies the folder \p source, with all below it, into the folder \p target, which is made
    /// when it is missing. 1 when a file was copied, or kept as copy() says, be it one of many; 0
    /// when none was; -1 when it was cancelled.
    ///
    ///     "x/ab", "y"    => y/ab
    ///     "x/a.b", "y"   => y/a         the name is that of base(): without its extension
    ///     "x/ab/", "y"   => y           and empty here, as for "x/.ab"
    ///     "x/ab", "x"    => 1           itself: nothing to do
    ///     "x/a*", "y"    => y/ab, ...   each folder that fits, and no file; case does not count
    ///
    /// Only the last part may be a wildcard, and a folder that is found is taken as it is named,
    /// "*" and all. Links are copied as what they lead to. A folder is not copied when it is the
    /// one that the copy goes to, or is being copied already, so that a copy below its own source
    /// and a loop of links end. What is in a folder that cannot be made at the target is left out,
    /// as is a file that copy() cannot copy, and what cannot be listed: the result does not tell.
    /// But a file that stands in a folder's way is a target of copy() for each file directly in the
    /// folder, which is meant: the last one stays. An empty \p source is no folder.
    static int copyDir(const Data::String &source, const Data::String &target, int overwrite = 1,
                       bool cancelable = false);

    /// Moves a file or folder through the system's own command, and returns when that is done. A
    /// file at \p target is replaced; a folder there takes what is moved. A failure is silent, and
    /// an empty path does nothing.
    static void move(const Data::String &source, const Data::String &target);

    /// As move(). Where \p source has a "*", its last part is a wildcard, and each folder that fits
    /// is moved to the same \p target.
    static void moveDir(const Data::String &source, const Data::String &target);

    /// Removes files and folders. The number of those removed; -1 when it was cancelled.
    ///
    ///     "dir/*"      all in dir, and all below it
    ///     "dir/*.txt"  the files, but not the folders, that search() finds in dir
    ///     "file"       the file
    ///     "dir"        the files in dir, and dir when it is empty then; it does not go down
    ///
    /// \p exceptions names entries of dir to keep, in the first form only, and not further below:
    /// those that fit one wildcard, whose case does not count, or, with a line feed, the exact
    /// names between the line feeds.
    ///
    /// A link is removed as a link, and what it leads to is left alone. So is a folder of which the
    /// system cannot tell that it is no link. Only one that \p path goes through is followed:
    /// "link/*" empties the folder that it leads to.
    ///
    /// "/*" and "*", which have no name of a folder before the wildcard, remove nothing, and
    /// neither does "//*", which is the root: an empty name is not taken for the current folder, so
    /// that a path that was put together wrongly removes nothing. For the current folder write
    /// "./*".
    static int remove(const Data::String &path, const Data::String &exceptions = Data::String(),
                      bool cancelable = false);

    /// Makes a folder and the folders above it. True when it is there, also when it was before.
    /// False when one cannot be made; those above it stay. "" is the current folder.
    static bool createDir(const Data::String &path);

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
    /// folder that the search is in already, so that a loop of links ends. What cannot be listed or
    /// looked at is left out, and nothing tells of it.
    ///
    /// With \p maxCount above 0 the search stops when it has found that many. What is below one
    /// subfolder counts anew, so the result may be longer, which is meant. A folder is asked for by
    /// exists(), which is meant too: one with a "*" in its name is passed over, unless a file
    /// beside it fits that name as a wildcard.
    static QStringList search(const Data::String &folder, const Data::String &filter,
                              bool recursive = true, int maxCount = 0);

    /// The first file that search() finds, or "".
    static Data::String find(const Data::String &folder, const Data::String &filter,
                             bool recursive = false);

    /// The first of \p files in what read() gives of it, with \p lines, there is \p text, or "".
    /// Case counts. An empty text is in the first of them, even when there is no such file.
    static Data::String searchInFiles(const Data::String &text, const QStringList &files,
                                      int lines = 0);

    /// The same in the files in \p folder, without its subfolders, that fit \p filter as in
    /// search().
    static Data::String searchInFiles(const Data::String &text, const Data::String &folder,
                                      const Data::String &filter, int lines = 0);

    /// The path of the resource \p name, or "" when there is none: of a file, of a resource of the
    /// toolkit, of what is below the folder of resources, or of what a plugin brings.
    ///
    /// \p extensions is "" or suffixes separated by ";". With the folders "res" and "plugins" set,
    /// "a.b.c" and ".png" stand for the first of these that there is, and other suffixes for theirs
    /// in turn, behind all of the first:
    ///
    ///     a.b.c                                         a file; the name as it is
    ///     :/a.b.c.png   :/a/b/c.png   :/a/c.png         only :/a.b.c if it ends with the suffix
    ///     res/icons/a.b.c
    ///     res/icons/a.b.c.png                           this and the next two only if there is a
    ///     res/locale/a.b.c.png                          suffix and the name does not end with it
    ///     res/locale/plugins/a/b/c.png
    ///     plugins/a.b.c
    ///     plugins/a/b/c/c.png   plugins/a/b/c.png   plugins/a/b/res/c.png
    ///
    /// For a name without a dot, the paths in which it is taken apart are left out. Where there is
    /// no folder plugins/a/b, plugins/a takes its place. "icons/" is left out unless the text of
    /// imageFilter(true) has all of \p extensions in it.
    ///
    /// Folders count as well, except for the name as it is. What was found, other than the name as
    /// it is, is found from then on, which is meant: neither its end nor setSearchPath() changes
    /// that. It is known by name and extensions in one, so that "a" with ".png" and "a.png" answer
    /// for each other. What was not found is looked for again.
    static Data::String findResource(const Data::String &name,
                                     const Data::String &extensions = Data::String());

    /// Sets the folder of resources, "../res" at first, and that of plugins. Relative ones are
    /// those of the current folder of the moment. Without a folder of plugins none is looked in.
    static void setSearchPath(const Data::String &resourcePath, const Data::String &pluginPath);

    /// The folder for temporary files: the setting "gui/tempPath", or that of the system.
    static Data::String tempPath();

    /// The two folders of templates, whether they exist or not: "TORVE/templates" in the folder
    /// that the environment variable ALLUSERSPROFILE names, if any, and "templates" in that of
    /// resources.
    static QStringList templatePaths();
};

} // namespace Utils
