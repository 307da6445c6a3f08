#pragma once

#include "data/String.h"

#include <QByteArray>
#include <QStringList>

class QFile;
class QRegularExpression;
class QRegularExpressionMatch;

namespace Utils {

class EncodingFinder;

/// The folders that File::findResource() searches.
struct SearchPaths
{
    static Data::String resources;
    static Data::String plugins;
};

/// Whether \p path contains a wildcard.
bool isPattern(const QString &path);

/// The expression that QDir makes of \p wildcard; an invalid one fits no name.
///
/// Both functions throw std::bad_alloc when the memory does not suffice: to Qt, the expression is
/// invalid then, and the name does not match.
QRegularExpression wildcardExpression(const QString &wildcard);

/// The match of a valid expression with \p name. It is not valid when it takes too many steps.
QRegularExpressionMatch matchName(const QRegularExpression &expression, const QString &name);

/// The paths of the folders that match \p pattern, a path that ends with a wildcard. Stores a
/// reason when the folder that they are in cannot be listed.
QStringList matchingFolders(const Data::String &pattern);

/// Stores why \p folder is not listed to its end: it does not exist, it is no folder, or \p error,
/// an error number (errno), unless that is 0. A failure of the memory is stored, too.
void notListed(const QString &folder, int error);

/// The steps of a reporter; -1, which makes it inert, when a progress is shown already.
int stepsUnlessNested(int steps);

/// QFile::remove(), also for a file whose attribute "read-only" forbids it. The name is free then,
/// even if others have the file open.
bool removeEntry(QFile &file);

/// What File::read() returns for an "http://" address.
QString readHttp(const QString &address);

/// File::readRaw(), which also tells whether the bytes are valid UTF-8: they are validated while
/// they are read, which takes less time than to read them from memory again.
QByteArray readRaw(const Data::String &path, bool &isUtf8);

/// The same, which adds the bytes to \p finder.
QByteArray readRaw(const Data::String &path, EncodingFinder &finder);

/// The text of a file, decoded.
struct DecodedFile
{
    QByteArray utf8; ///< without a byte order mark
    QString encoding;
    bool isGuess = false;
};

/// Decodes the \p bytes of the file \p path, "" for bytes of no file, by the encoding named
/// \p encoding; with "auto", by the encoding that is found. False, with a reason, when there is no
/// encoding of that name, and when the bytes are not valid. Throws std::bad_alloc when the memory
/// does not suffice.
bool decodeFile(QByteArray bytes, const QString &path, const QString &encoding,
                DecodedFile &decoded);

/// Reads the file \p path and decodes it in the same way. False, with a reason, when it cannot be
/// read, too. In a single-byte encoding it is decoded piece by piece while it is read, which takes
/// less time than to decode all of it in memory.
bool readDecoded(const Data::String &path, const QString &encoding, DecodedFile &decoded);

} // namespace Utils
