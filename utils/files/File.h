#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QStringList>

#include <cstdio>

namespace Utils {

/// Paths, file contents, folder trees and resources: static functions, no instances.
///
/// Paths are written with "/". Text files are UTF-8. A function that fails returns an empty result,
/// false or a count, as described for each. No function shows a message, and none throws, except
/// std::bad_alloc where its description does not say what happens when the memory does not suffice.
class KELMUTILS_EXPORT File
{
public:
    File() = delete;

    // Paths. These functions use only the text of a path, except currentDir(), isDir(), isFile(),
    // and those whose description says otherwise. Two paths are compared case-insensitively on
    // every system. A text that is not a valid path yields "" or false.

    /// The non-empty arguments, in order, joined by "/". The arguments themselves are not changed.
    ///
    ///     "", "", "x"  => "x"
    ///     "a/", "b"    => "a//b"
    static Data::String join(const Data::String &a, const Data::String &b,
                             const Data::String &c = Data::String(),
                             const Data::String &d = Data::String(),
                             const Data::String &e = Data::String(),
                             const Data::String &f = Data::String());

    /// An absolute \p path is returned unchanged. A relative one is appended to \p folder, or to
    /// the current directory when \p folder is empty, and cleaned.
    static Data::String absolutePath(const Data::String &path, const Data::String &folder);

    /// The last component, without its last suffix unless \p withExtension is true. A hidden name
    /// such as ".bashrc" consists of a suffix only.
    ///
    ///     "/p/archive.tar.gz"  => "archive.tar", with extension "archive.tar.gz"
    ///     ".bashrc"            => "", with extension ".bashrc"
    ///     "a/"                 => ""
    static Data::String base(const Data::String &path, bool withExtension = false);

    /// The last suffix, without its dot.
    static Data::String extension(const Data::String &path);

    /// The path without its last component. Only the text is used: the result is "." for a name
    /// without a folder and for "".
    static Data::String parentFolder(const Data::String &path);

    /// The path without redundant "/", "." and "..", in native separators. A path that starts with
    /// "/" keeps its "/" on every system.
    static Data::String cleanPath(const Data::String &path);

    static Data::String currentDir();

    /// The opposite of isRelative().
    static bool isAbsolute(const Data::String &path);

    /// Whether \p path is a relative path. Only the text is used.
    ///
    ///     "", "a", "a/b"       => true
    ///     ".config/x", "../x"  => true   every path that starts with "."
    ///     ":/icons/x.png"      => true   a Qt resource
    ///     "/a", "C:/x"         => false
    ///     "\\server/x"         => false
    ///     "C:", "C:x"          => true   a name without a folder; false on Windows, as on a drive
    static bool isRelative(const Data::String &path);

    /// Whether \p a and \p b are the same text, either as passed or after cleanPath(),
    /// case-insensitively. The file system is not consulted, and relative paths are not made
    /// absolute.
    static bool isSamePath(const Data::String &a, const Data::String &b);

    /// Whether the text of \p path starts with the text of \p folder, either as passed or after
    /// cleanPath(), case-insensitively.
    ///
    /// \compat Plain text is compared: "/data/abc" is contained in "/data/ab", every path is
    /// contained in "", and a folder is contained in itself.
    static bool isContainedIn(const Data::String &path, const Data::String &folder);

    /// Whether the file name in \p path, with its extension, matches one of the wildcard patterns
    /// of \p filter, case-insensitively. Patterns are separated by single spaces; an empty pattern
    /// matches only an empty name.
    ///
    /// In a filter with brackets, in the form that file dialogs use, only the text between the
    /// first "(" and the next ")" counts. If every ")" is before the first "(", all text after the
    /// "(" counts.
    ///
    ///     "a.PNG", "Images (*.png *.jpg)"  => true
    static bool checkFilter(const Data::String &path, const Data::String &filter);

    /// \p path shortened for display, with "/" for each "\": its first two parts, "...", and its
    /// last parts. As many last parts are kept as fit into \p maxChars characters, but at least one
    /// and at most \p maxParts - 1. A \p maxParts below 3 counts as 3.
    ///
    /// A path with fewer than \p maxParts parts, or fewer than \p maxChars characters, is returned
    /// unchanged.
    ///
    /// \compat A path of exactly \p maxChars characters is shortened, too. A shortened path of
    /// three parts is longer than before.
    ///
    ///     "C:/one/two/three/four/five/six.txt", 10, 3  => "C:/one/.../six.txt"
    static Data::String abbreviateName(const Data::String &path, int maxChars = 80,
                                       int maxParts = 5);

    /// Turns \p name into a valid file name: each space becomes "_", unless \p allowSpaces is true,
    /// and / \ : * ? " < > | are removed. \p valid, if not null, is set to whether \p name was
    /// valid already.
    static Data::String validate(const Data::String &name, bool allowSpaces = false,
                                 bool *valid = nullptr);

    /// The size of a file as text for users. The argument is a path, or a decimal number of bytes.
    /// "" when it is neither the path of a non-empty file nor a number of at least 0.
    ///
    ///     "0"              => "0 bytes"
    ///     "512"            => "512 bytes"
    ///     "1023"           => "1,023 bytes"
    ///     "1048576"        => "1.01 MB"
    ///     "1500000000000"  => "1.39 TB"
    ///
    /// \compat The unit changes at powers of 1024, but the number is divided by powers of 1020.
    /// There is no unit above TB: the text of such a size ends with the space that comes before a
    /// unit.
    static Data::String sizeString(const Data::String &pathOrNumber);

    /// The filter for image files: with \p extensionsOnly a list of suffixes, otherwise the text
    /// for a file dialog. The two results list different suffixes on purpose.
    ///
    ///     true   => ".png;.xpm"                              findResource() tests for these
    ///     false  => "Image Files (*.png *.xpm *.jpg *.gif)"  for file dialogs
    static Data::String imageFilter(bool extensionsOnly);

    /// The filter for layout files.
    ///
    ///     true   => ".ui"
    ///     false  => "Layout Files (*.ui)"
    static Data::String layoutFilter(bool extensionsOnly);

    static bool isDir(const Data::String &path);
    static bool isFile(const Data::String &path);

    // Contents: whole files, and the properties of a file

    // A named pipe is opened like a file, which blocks until a process opens its other end. A path
    // that contains a zero byte names no file.

    /// The text of a file, or of an address that starts with "http://". "" when the file is missing
    /// or cannot be opened, when the address cannot be loaded, or when the text is too large for a
    /// string, as a whole file of 1 GiB is.
    ///
    ///     lines 0    the whole text, unchanged; "" when it is not valid UTF-8
    ///     lines 3    the first three lines, or fewer, each with "\n" as line end
    ///     lines -3   the end of the text, see below
    ///
    /// When the requested part cannot be read completely, as on a damaged disk, the result is "",
    /// never a shorter part.
    ///
    /// A byte order mark is removed. When it is the mark of UTF-16 or UTF-32, the text is decoded
    /// accordingly, unless \p lines is negative. When \p lines is not 0, each invalid byte becomes
    /// U+FFFD.
    ///
    /// \compat The end of a text is approximate. It consists of blocks of 200 bytes, counted back
    /// from the last byte but one, until these contain one line feed more than lines were
    /// requested. So it usually starts in the middle of a line. Line feeds after a zero byte in the
    /// same block are not counted. When the file has too few line feeds, the result starts at the
    /// first whole block, and the bytes before that block, 200 at most, are left out. A file of up
    /// to 201 bytes is returned whole.
    ///
    /// For an address \p lines is ignored. The call shows the wait cursor and processes events,
    /// except user input, until the reply is complete: event handlers run during the call, and an
    /// application that is told to quit during the call quits after it. The time is unlimited
    /// unless setHttpLimits() limits it. Redirects are not followed; the text is the body of the
    /// redirecting reply. A reply that is shorter than its announced length yields "". A reply
    /// without a length, or a compressed reply, ends when its connection ends. Without a
    /// QCoreApplication the result is "", because there is no event loop.
    ///
    /// An address may be read on any thread, also on one that Qt has not started, such as a thread
    /// of a script. The events are those of that thread. It keeps the event dispatcher that Qt
    /// makes for it until it ends.
    static Data::String read(const Data::String &path, int lines = 0);

    /// Sets the limits of read() for an address: \p msec milliseconds until the reply is complete,
    /// and \p bytes bytes. They are used in the whole process, on all threads, by each read() that
    /// starts after this call. When a limit is exceeded, the request is aborted and read() returns
    /// "".
    ///
    /// There are no limits at first. A value of 0 or less means no limit. With a limit of bytes the
    /// server is asked for an uncompressed reply, and a reply that is compressed anyway yields "".
    static void setHttpLimits(int msec, qint64 bytes);

    /// All bytes of a file. Empty when the file is missing, cannot be opened, cannot be read to its
    /// end, or is too large: 2 GiB or more, or larger than the memory.
    static QByteArray readRaw(const Data::String &path);

    /// Replaces the contents of a file by \p text in UTF-8, or creates the file. The file is
    /// written in place, without a backup and without a temporary file, unless setSafeWriting() is
    /// on. The wait cursor is shown during the call.
    ///
    /// False when the file cannot be opened; it is then unchanged.
    ///
    /// \compat Write errors are not reported: on a full disk the result is true and the file is
    /// incomplete. Only lastError() has the reason.
    static bool write(const Data::String &path, const Data::String &text);

    /// The same with \p lines, each followed by "\n".
    static bool write(const Data::String &path, const QStringList &lines);

    /// The same with bytes, which are written unchanged, and without the wait cursor.
    static bool writeRaw(const Data::String &path, const QByteArray &bytes);

    /// Replaces the contents of a file by \p text in UTF-8, or creates the file, so that nothing is
    /// lost: when the call fails, and also when the process is killed or the power fails at any
    /// time, the file has all of its old contents or all of the new ones. True when the new
    /// contents are on the disk.
    ///
    /// The contents are written to another file in the same folder, flushed to the disk, and then
    /// replace the file. Permissions, the access control list and extended attributes of users are
    /// kept, and owner and group if the user may set them; a file without such a list gets none
    /// from its folder. For a symbolic link, its target is replaced.
    ///
    /// False, with a reason in lastError() and the old contents in place, when
    /// - the file may not be written, or the disk is full;
    /// - no file can be created in its folder, unless the file is empty;
    /// - the path is that of a disk.
    ///
    /// The result is also false, with the new contents in place, when the disk does not confirm
    /// that it has stored them; lastError() tells this case from the others.
    ///
    /// Four exceptions:
    /// - A file with several names (hard links) keeps them: it is written in place, after the new
    ///   contents are on the disk and space for them is reserved. A kill, a power failure or a disk
    ///   error during that copy leaves it incomplete. A full disk does not, unless the file system
    ///   reserves no space, or writes each change to another place, as Btrfs and ZFS do. A file is
    ///   also written so when the new one cannot have its access control list or attributes.
    /// - Devices, pipes and open streams, such as /dev/stdout, are written directly.
    /// - So is an empty file in a folder in which no file can be created: it is made empty again on
    ///   a failure, but not after a kill or a power failure.
    /// - File systems of local disks have files without a name, so a kill leaves no other file. On
    ///   other file systems, such as network drives, and when all processes of a group are killed
    ///   at once within microseconds, a hidden file ".kelm-saving-" with a number stays in the
    ///   folder. The next call for the same file removes it.
    static bool writeSafely(const Data::String &path, const Data::String &text);
    static bool writeSafely(const Data::String &path, const char *text);

    /// The same with \p lines, each followed by "\n".
    static bool writeSafely(const Data::String &path, const QStringList &lines);

    /// The same with bytes, which are written unchanged, and without the wait cursor.
    static bool writeSafely(const Data::String &path, const QByteArray &bytes);

    /// Sets whether all functions of the library that replace a file do so as writeSafely() does,
    /// with its result: write(), writeRaw(), copy(), TagFile::save(), Xml::Document::write() and
    /// CSVTable::write(). move() has no result, but keeps the target, see there. TagFile::open()
    /// begins a new file, and TagFile::close() replaces the old one by it. The setting is off at
    /// first, and applies to the whole process.
    ///
    /// Without \p flush the contents are not forced to the disk, which takes most of the time. They
    /// are then protected from a kill and a full disk, but not from a power failure. move() to
    /// another file system forces them all the same, because it removes the source.
    ///
    /// Streams of openWrite(), a LogFile, which starts empty and grows with each entry, and
    /// Settings, which are always protected, are not affected.
    static void setSafeWriting(bool on, bool flush = true);
    static bool isSafeWriting();

    /// The reason why the last operation of this thread on a file failed, as a text for users from
    /// the string catalogue in the current language. "" after a success; the key of the text when
    /// the catalogue does not have the text.
    ///
    /// The operations are those of File, TagFile, CSVTable, CSVReader, CSVDialect, Document and
    /// Settings that can fail, Process::run() and setEncoding(), and the constructor of FileReader
    /// with an encoding. Functions that cannot fail, such as File::join(), keep the reason.
    ///
    /// Some operations return true, or a result, or nothing, although a part of them failed:
    /// write() and others on a full disk, copyDir(), move(), remove(), search(), access to rows of
    /// a table in its file. The reason is then that of the first part that failed.
    static Data::String lastError();

    /// Opens a file to read its bytes. The caller closes the stream. Null when the file cannot be
    /// opened, and for a folder. errno is 0 after success and otherwise tells why this call failed.
    static std::FILE *openRead(const Data::String &path);

    /// Opens a file to write bytes: at its end with \p append, otherwise replacing its contents.
    /// The rest is as for openRead().
    static std::FILE *openWrite(const Data::String &path, bool append);

    /// Whether the file or folder \p path exists. A path with a "*" is a pattern: true when
    /// search(), without subfolders, finds a file for it.
    ///
    ///     ""          false
    ///     "a/b"       true for a file and a folder; false for a broken link
    ///     "a/*.txt"   true for a matching file in a; hidden files and folders do not count
    static bool exists(const Data::String &path);

    /// The size of the file in bytes, at the time of the call; 0 when \p path does not exist.
    static qint64 size(const Data::String &path);

    /// The time of the last modification, as it is at the time of the call, in seconds since the
    /// Unix epoch. 0 when \p path does not exist, when the system cannot determine the time, and
    /// for times before the epoch. Times beyond 32 bits are not supported.
    static unsigned int timestamp(const Data::String &path);

    /// The time of the last modification as text: local time in the QDateTime format \p format, or
    /// in DateTime::formatISO() when that is empty, with names and digits as in DateTime. "" when
    /// \p path does not exist or the system cannot determine the time.
    static Data::String timestampString(const Data::String &path, const Data::String &format = {});

    /// The version in the resources of a program or library, as in "19.02.1.5". "" when it has
    /// none, and on systems whose programs have no such resource.
    ///
    /// \compat Only the second number is padded, to two digits.
    static Data::String version(const Data::String &path);

    /// Whether the text of a file or address, as read() returns it, contains \p word with neither a
    /// letter nor a digit directly before or after it; "_" is neither of these. An empty word is
    /// found in an empty text, and at any position without a letter or digit on either side.
    static bool containsWord(const Data::String &path, const Data::String &word,
                             bool caseSensitive);

    /// Whether the extension, in any case, is that of an image format that Qt can read. The list of
    /// formats is requested from Qt once in the process.
    static bool isSupportedImage(const Data::String &path);

    // Encodings: texts of other programs. The name of an encoding is that of its QTextCodec, such
    // as "windows-1252", "ISO-8859-15", "Shift_JIS" or "UTF-16LE"; and "IBM437", "IBM852" and other
    // code pages of consoles are also found where Qt does not have them, as on Windows.

    /// The name of the encoding of the text in a file, from its bytes:
    ///
    ///     a byte order mark                     the encoding of the mark
    ///     every second byte of ASCII is zero    "UTF-16LE", "UTF-16BE" or UTF-32; a guess
    ///     valid UTF-8                           "UTF-8"; a guess when fewer than four characters
    ///                                           are outside ASCII, or with zero bytes or escapes
    ///     other bytes                           the fallback encoding; a guess
    ///
    /// Plain ASCII, and an empty file, are "UTF-8" and no guess, because their text is the same in
    /// all other encodings. A mark and zero bytes are searched for in the first 64 KiB; a file is
    /// read up to the first byte that is not valid UTF-8.
    ///
    /// \p isGuess, if not null, is set to whether the result may be wrong: encodings in which every
    /// byte is valid cannot be distinguished from each other. "" when the file cannot be read.
    static Data::String encoding(const Data::String &path, bool *isGuess = nullptr);

    /// The same for the bytes of a text. "" when the memory does not suffice.
    static Data::String encodingOf(const QByteArray &bytes, bool *isGuess = nullptr);

    /// Sets the encoding of texts that are neither UTF-8 nor UTF-16 nor UTF-32, "windows-1252" at
    /// first, in the whole process, from any thread. False when there is no encoding of that name.
    static bool setFallbackEncoding(const Data::String &name);
    static Data::String fallbackEncoding();

    /// The whole text of a file in an encoding, or with "auto" in its encoding(). A byte order mark
    /// of the encoding is removed. The byte order of "UTF-16" and "UTF-32" is that of the mark;
    /// without a mark they are little-endian.
    ///
    /// "" when there is no encoding of that name, when the file cannot be read, when it is too
    /// large, and when it has bytes that are not valid in the encoding; lastError() has the reason.
    /// Each byte is valid in windows-1252: the five that it does not define are the control
    /// characters U+0081, U+008D, U+008F, U+0090 and U+009D. An address is not loaded.
    static Data::String read(const Data::String &path, const Data::String &encoding);

    /// Replaces the contents of a file by \p text in an encoding, as writeRaw() does. A byte order
    /// mark is written for "UTF-16" and "UTF-32" only.
    ///
    /// False, with the file unchanged, when the file cannot be opened, when there is no encoding of
    /// that name, and when \p text has a character that the encoding does not have.
    static bool write(const Data::String &path, const Data::String &text,
                      const Data::String &encoding);

    // Trees: copy, move, remove and create

    // Hidden entries, broken links, sockets and pipes in a folder are ignored, so a folder that
    // contains one may not be empty after remove(). Operations on a folder with six or more entries
    // report through a Progress on the popup display, unless a popup reporter exists already. With
    // \p cancelable the user can cancel them there; otherwise they show the wait cursor. What was
    // done before a cancel stays. For remove() only folders count as entries, and each name to keep
    // reduces the count by one. A path that contains a zero byte names nothing.

    /// Copies one file. When \p target is an existing folder, the copy is created in it under the
    /// name of the source. False when the file cannot be copied completely; no part of a copy
    /// remains.
    ///
    /// When the target file exists, \p overwrite decides:
    ///
    ///     0         the target is kept; returns false
    ///     positive  the target is replaced
    ///     negative  the target is replaced if the source is newer, in whole seconds; otherwise
    ///               it is kept, and the call returns true
    ///
    /// Copying a file to itself, even by a path through links, does nothing and returns true, for
    /// any \p overwrite. When the system cannot determine whether both are the same file, or which
    /// is newer, the target is kept and the result is false. The result is also false when the
    /// target cannot be removed, when the target is a broken link, and when the source is not a
    /// file.
    ///
    /// While a popup reporter exists, a file of more than 2048 KB is copied in small chunks, with a
    /// reporter and a wait cursor of its own and without its permissions. This copy cannot be
    /// cancelled. It is written beside the target, as by writeSafely(), and gets its name when it
    /// is complete.
    ///
    /// With setSafeWriting() the copy is written as by writeSafely(), a new one, too, but has the
    /// permissions of the source. A target that may not be written is kept. When the target is a
    /// link, the link stays and the file that it leads to is replaced; when that is the source,
    /// nothing is done and the result is true.
    ///
    /// \compat Three corners:
    /// - Paths that differ only in case count as the same file: nothing is copied and the result is
    ///   true.
    /// - A target that is replaced is removed before the source is opened: it is lost when the copy
    ///   fails, as when the source cannot be read or the disk is full.
    /// - A cancel during a copy in chunks is lost.
    static bool copy(const Data::String &source, const Data::String &target, int overwrite = 1,
                     bool showWaitCursor = true);

    /// Copies the folder \p source, with everything below it, into the folder \p target, which is
    /// created when it is missing. Returns 1 when copy() returned true for at least one file, 0
    /// when it returned true for none, and -1 when the user cancelled.
    ///
    ///     "x/ab", "y"    => y/ab
    ///     "x/a.b", "y"   => y/a         the copy is named base(source), without the extension
    ///     "x/ab/", "y"   => y           that name is empty here, as for "x/.ab"
    ///     "x/ab", "x"    => 1           the folder itself: nothing to do
    ///     "x/a*", "y"    => y/ab, ...   each matching folder, but no files; case-insensitive
    ///
    /// Only the last part of \p source may contain wildcards. A folder found for a pattern is
    /// copied under its own name, even when this name contains a "*". For a link, the file or
    /// folder that it leads to is copied. A folder is skipped when it is the destination of this
    /// copy or is being copied already, so that copies below their own source and loops of links
    /// end. Folders that link to each other are copied on each way, as by search(). An empty \p
    /// source is not a folder.
    ///
    /// The result does not report what could not be copied: files for which copy() returns false,
    /// folders that cannot be listed, and the contents of folders that cannot be created. Only
    /// lastError() has the reason. Of a folder whose listing breaks off, the entries that were
    /// listed are copied.
    ///
    /// A file that is replaced is forced to the disk, as by copy(). A new file is not, which would
    /// take most of the time: when the power fails shortly after the call, it may be incomplete.
    /// When the process ends during the call, each file is complete or missing; on network drives
    /// and others without files that have no name, a temporary file may stay.
    ///
    /// \compat When a file exists where a folder has to be created, it is the target of copy() for
    /// each file directly in that source folder, one after the other. The contents of the last one
    /// remain.
    static int copyDir(const Data::String &source, const Data::String &target, int overwrite = 1,
                       bool cancelable = false);

    /// Moves a file or folder by the command of the system, and returns when that has finished. An
    /// existing file \p target is replaced; into an existing folder \p target the source is moved.
    /// Only lastError() tells a failure. Does nothing when a path is empty.
    ///
    /// Within a file system the source is renamed, so that the target is the old or the new one at
    /// any time. On another file system it is copied: the old target is removed first, and a part
    /// of the new one may stay when the disk is full or the process ends. The source is removed
    /// when the copy is complete. With setSafeWriting() a file, but not a folder, is copied as by
    /// writeSafely() there, except on Windows; it keeps its own permissions and times.
    static void move(const Data::String &source, const Data::String &target);

    /// As move(). When \p source contains a "*", its last part is a wildcard pattern, and each
    /// matching folder is moved to the same \p target.
    static void moveDir(const Data::String &source, const Data::String &target);

    /// Removes files and folders. Returns the number of removed files and folders, or -1 when the
    /// user cancelled.
    ///
    ///     "dir/*"      everything in dir, with all subfolders, but not dir itself
    ///     "dir/*.txt"  the files, but not the folders, that search() finds in dir
    ///     "file"       the file
    ///     "dir"        the files directly in dir, and then dir if it is empty; no subfolders
    ///
    /// \p exceptions are entries of dir to keep, for the first form only and not in subfolders. It
    /// is one wildcard pattern, case-insensitive, or, if it contains a line feed, a list of exact
    /// names separated by line feeds. A pattern that is not valid, such as "[k*", keeps nothing.
    ///
    /// When an entry is a link, the link is removed, and the file or folder that it leads to is
    /// kept. A folder is also kept when the system cannot determine whether it is a link. Only
    /// links within \p path itself are followed: "link/*" empties the folder that the link leads
    /// to. On Unix this holds also when another process exchanges a folder below \p path for a link
    /// during the call: nothing is removed elsewhere.
    ///
    /// A folder that cannot be listed keeps its contents; when the listing breaks off, the entries
    /// that were listed are removed. lastError() has the reason. There is none when the folder
    /// itself was to be removed, too, and could be, because it was empty.
    ///
    /// "/*", "//*" and "*" remove nothing, so that a path in which the folder name is missing by
    /// mistake empties neither the root nor the current directory. Neither does any other path of
    /// the root that ends with "/*", such as "/./*", "/tmp/../*", or "link/*" for a link to it. On
    /// Windows the same holds for a drive or a share: "D:/*", "D:*", "D:/./*", "//server/share/*".
    /// lastError() tells that such a path is not accepted. Write "./*" for the current directory.
    ///
    /// \compat In the other forms the root is a folder as any other: "/" and "/tmp/.." remove the
    /// files directly in it.
    static int remove(const Data::String &path, const Data::String &exceptions = Data::String(),
                      bool cancelable = false);

    /// Creates a folder and its missing parents. True when the folder exists after the call, also
    /// when it existed before. False when one of them cannot be created; parents that the call has
    /// created stay. "" is the current directory.
    static bool createDir(const Data::String &path);

    // Search: files by name, by content, and by resource name

    /// The files in \p folder, and with \p recursive in its subfolders, whose names match one of
    /// the wildcard patterns in \p filter. The returned paths start with \p folder. Empty when the
    /// folder does not exist.
    ///
    ///     "*.txt"         text files; case-insensitive
    ///     "*.a;*.b"       both kinds, in the order in which the folder lists them
    ///     "" or "*.a; "   an empty pattern matches nothing; spaces are part of a pattern
    ///
    /// The files of a folder come before those of its subfolders, unsorted. Hidden entries, sockets
    /// and pipes are ignored. Links to folders are followed, except a link to a folder in which the
    /// search already is, so that loops of links end. Folders that link to each other are entered
    /// in each order: with ten of them there are ten million ways, and as many results. Folders
    /// below \p folder that cannot be listed, and entries that cannot be examined, are skipped
    /// without a reason in lastError(). A reason is stored when \p folder itself does not exist, is
    /// no folder, or cannot be listed to its end; the files that were found are returned all the
    /// same.
    ///
    /// When \p maxCount is above 0, the search of a folder ends when it has found \p maxCount files
    /// in the folder and its subfolders.
    ///
    /// \compat Files are counted from 0 again in each subfolder, so the result may have more than
    /// \p maxCount files. A folder whose name contains a "*" is skipped, unless a file in the same
    /// parent folder matches that name as a pattern.
    static QStringList search(const Data::String &folder, const Data::String &filter,
                              bool recursive = true, int maxCount = 0);

    /// The first file that search() finds, or "".
    static Data::String find(const Data::String &folder, const Data::String &filter,
                             bool recursive = false);

    /// The first of \p files whose text contains \p text, or "". The text of a file is what read()
    /// returns for it with \p lines. Comparison is case-sensitive. An empty text is found in the
    /// first of \p files, even when that file does not exist. When the text is not found,
    /// lastError() has the reason for the first file that could not be read.
    static Data::String searchInFiles(const Data::String &text, const QStringList &files,
                                      int lines = 0);

    /// The same for those files in \p folder, without its subfolders, that match \p filter as in
    /// search(), with its reasons.
    static Data::String searchInFiles(const Data::String &text, const Data::String &folder,
                                      const Data::String &filter, int lines = 0);

    /// The path of the resource \p name, or "" when there is none. A resource is a file, a Qt
    /// resource, a file in the folder of resources, or a file of a plugin.
    ///
    /// \p extensions is "" or a list of suffixes separated by ";". For each suffix in turn, the
    /// paths below are tried in this order; the first one that exists is returned. The table shows
    /// them for the name "a.b.c" and the suffix ".png", with the folders "res" and "plugins" set:
    ///
    ///     a.b.c                                         the name itself, if it is a file
    ///     :/a.b.c.png   :/a/b/c.png   :/a/c.png         only :/a.b.c if it ends with the suffix
    ///     res/icons/a.b.c
    ///     res/icons/a.b.c.png                           this and the next two only if the suffix
    ///     res/locale/a.b.c.png                          is not empty and the name does not end
    ///     res/locale/plugins/a/b/c.png                  with it
    ///     plugins/a.b.c
    ///     plugins/a/b/c/c.png   plugins/a/b/c.png   plugins/a/b/res/c.png
    ///
    /// For a name without a dot, the paths that have "/" in its place are left out. If the folder
    /// plugins/a/b does not exist, plugins/a is used instead. "icons/" is left out unless
    /// \p extensions is a non-empty part of the text of imageFilter(true).
    ///
    /// Folders are found, too, except for the name itself.
    ///
    /// \compat A path that was found once, other than the name itself, is returned from then on,
    /// even after it was removed or setSearchPath() was called. It is stored under the name
    /// followed by the extensions, so the name "a" with the extensions ".png" and the name "a.png"
    /// without extensions share one result. A search that found nothing is repeated by the next
    /// call.
    static Data::String findResource(const Data::String &name,
                                     const Data::String &extensions = Data::String());

    /// Sets the folder of resources, "../res" at first, and the folder of plugins, empty at first.
    /// A relative folder refers to the directory that is current at each search. No plugins are
    /// searched when their folder is empty.
    static void setSearchPath(const Data::String &resourcePath, const Data::String &pluginPath);

    /// The folder for temporary files: the value of the setting "gui/tempPath", or the temporary
    /// folder of the system.
    static Data::String tempPath();

    /// The two folders of templates, whether they exist or not: "TORVE/templates" in the folder
    /// that the environment variable ALLUSERSPROFILE names, or as a relative path when this is not
    /// set, and "templates" in the folder of resources.
    static QStringList templatePaths();
};

} // namespace Utils
