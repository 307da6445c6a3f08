#include "utils/xml/Document.h"

#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Placeholders_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/files/File.h"
#include "utils/xml/DocumentText_p.h"
#include "utils/xml/Element.h"
#include "utils/xml/MessageIndex_p.h"
#include "utils/xml/ParseGuard_p.h"
#include "utils/xml/VersionStrings_p.h"

#include <QFile>
#include <QXmlInputSource>

#include <limits>
#include <locale>
#include <new>
#include <sstream>

namespace Utils {
namespace Xml {

static const QLatin1Char dot('.');
static const QLatin1String elementPrefix("docElem:");

/// Converts like a processor: a value that is out of range becomes the lowest int.
static int truncated(double value)
{
    constexpr double limit = 2147483648.0;
    if (value > -limit - 1.0 && value < limit)
        return static_cast<int>(value);
    return std::numeric_limits<int>::min();
}

/// Rounds to two decimals. Adds 0.4, not 0.5, so that half a unit is rounded down.
static double rounded(double version) { return truncated(version * 100.0 + 0.4) * 0.01; }

/// The digits at the start of \p text, with the first "." and those that follow a second one.
static QString versionDigits(const QString &text)
{
    QString digits;
    int dots = 0;
    for (const QChar character : text) {
        if (character == dot) {
            ++dots;
            if (dots == 3)
                break;
            if (dots == 2)
                continue;
        } else if (!character.isDigit()) {
            break;
        }
        digits += character;
    }
    return digits;
}

static double versionNumber(const QString &text)
{
    std::istringstream stream(versionDigits(text).toStdString());
    stream.imbue(std::locale::classic());
    double version = 0.0;
    stream >> version;
    return stream.fail() ? 0.0 : version;
}

static ParseLimits bearableLimits()
{
    ParseLimits limits;
    limits.depth = bearableDepth();
    return limits;
}

// QXmlInputSource is deprecated, but QDomDocument uses it to read every device. Only here is the
// text available as the parser receives it, in any encoding of the file.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

/// Passes a file to Qt's parser, up to the position where it exceeds the limits of ParseGuard.
class GuardedSource : public QXmlInputSource
{
public:
    explicit GuardedSource(QFile *file)
        : QXmlInputSource(file), m_file(file), m_size(file->size()), m_guard(bearableLimits())
    {}

    const ParseGuard &guard() const { return m_guard; }

protected:
    QString fromRawData(const QByteArray &data, bool beginning) override
    {
        QString text = QXmlInputSource::fromRawData(data, beginning);
        bool isAccepted = m_guard.accepts(text, data.size(), m_size);
        // The parser searches each entity for all others as soon as it is declared, so the parser
        // receives none before all declarations have been found to be few enough.
        while (isAccepted && m_guard.isInDeclarations()) {
            const QByteArray more = m_file->read(declarationsSize);
            if (more.isEmpty())
                break;
            const QString moreText = QXmlInputSource::fromRawData(more, /*beginning=*/false);
            isAccepted = m_guard.accepts(moreText, more.size(), m_size);
            text += moreText;
        }
        return isAccepted ? text : QString(); // an empty text ends the document
    }

private:
    static constexpr qint64 declarationsSize = 64LL * 1024; // bytes read at once

    QFile *const m_file;
    const qint64 m_size;
    ParseGuard m_guard;
};

/// The text for \p message at \p place, a line and a column.
static QString errorAt(const QString &message, const QStringList &place)
{
    return fillPlaceholders(QStringLiteral("%1\nline: %2  column: %3"),
                            QStringList{message} + place);
}

/// Reads \p file into \p document. Returns false and sets \p error to the reason and its position
/// when the file is not well-formed or exceeds the limits of ParseGuard.
static bool parseFile(QFile &file, QDomDocument &document, Data::String &error)
{
    GuardedSource source(&file);
    QString message;
    int line = 0;
    int column = 0;
    bool isRead =
        document.setContent(&source, /*namespaceProcessing=*/false, &message, &line, &column);
    const ParseGuard &guard = source.guard();
    if (!guard.message().isEmpty()) {
        isRead = false;
        message = guard.message();
        line = guard.line();
        column = guard.column();
    }
    // The parser treats any position where nothing more can be read as the end. The content before
    // an unreadable block may be a valid document by chance.
    if (!isRead && file.error() != QFile::NoError)
        LastError::cannotRead(file);
    file.unsetError();
    if (isRead && (!file.read(1).isEmpty() || file.error() != QFile::NoError)) {
        isRead = false;
        message = file.error() == QFile::NoError
                      ? QStringLiteral("The file could not be read whole")
                      : file.errorString();
        line = guard.line();
        column = guard.column();
    }
    if (isRead)
        return true;
    const QStringList place = {QString::number(line), QString::number(column)};
    error = errorAt(message, place);
    if (file.error() != QFile::NoError)
        return LastError::cannotRead(file);
    return LastError::set(".err.xml", QStringList{file.fileName(), message} + place);
}

QT_WARNING_POP

/// The version that the attribute of \p root names; 0.0 without it.
static double versionOf(const QDomElement &root)
{
    const QString attribute = QStringLiteral("version");
    return root.hasAttribute(attribute) ? Document::stringToVersion(root.attribute(attribute))
                                        : 0.0;
}

Document::Document(const Data::String &docType, Mode mode, double version)
    : QDomDocument(docType), m_mode(mode), m_documentVersion(version)
{}

Document::Document(Mode mode, double version) : m_mode(mode), m_documentVersion(version) {}

bool Document::open(const Data::String &path, const Data::String &docType, Data::String &error)
{
    const LastError operation;
    m_documentVersion = 0.0;

    QFile file(pathForQt(path));
    if (!isName(path) || !file.open(QIODevice::ReadOnly)) {
        error = message(".Kelm.Data", ".err.noopen", {path});
        return LastError::cannotRead(file);
    }

    if (!parseFile(file, *this, error))
        return false;
    file.close();

    if (docType.startsWith(elementPrefix)) {
        const QString wanted = docType.mid(elementPrefix.size());
        const QString found = documentElement().tagName();
        if (found != wanted) {
            error = message(".Kelm.Data", ".err.doctype", {found, wanted});
            return LastError::setFor(".err.rootelement", path, found, wanted);
        }
    } else if (!docType.isEmpty()) {
        const QString found = doctype().name();
        if (!docType.split(QLatin1Char(';')).contains(found)) {
            error = message(".Kelm.Data", ".err.doctype", {found, docType});
            return LastError::setFor(".err.doctype", path, found, docType);
        }
    }

    m_documentVersion = versionOf(documentElement());
    return true;
}

bool Document::parse(const Data::String &text, Data::String &error)
{
    m_documentVersion = 0.0;
    ParseGuard guard(bearableLimits());
    QString message;
    int line = 0;
    int column = 0;
    if (!guard.accepts(text, text.size(), text.size())) {
        message = guard.message();
        line = guard.line();
        column = guard.column();
    } else if (setContent(text, /*namespaceProcessing=*/false, &message, &line, &column)) {
        m_documentVersion = versionOf(documentElement());
        return true;
    }
    error = errorAt(message, {QString::number(line), QString::number(column)});
    return false;
}

bool Document::write(const Data::String &path) const
{
    const LastError operation;
    QStringList pieces;
    try {
        pieces = DocumentText(*this).pieces();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
    if (pieces.isEmpty())
        return LastError::setFor(".err.toodeep", path);
    return File::write(path, pieces);
}

Data::String Document::toText() const
{
    try {
        const QStringList pieces = DocumentText(*this).pieces();
        return pieces.isEmpty() ? QString() : pieces.join(QLatin1Char('\n')) + QLatin1Char('\n');
    } catch (const std::bad_alloc &) {
        return {}; // larger than the memory
    }
}

bool Document::isDocType(const Data::String &type) const { return doctype().name() == type; }

bool Document::isCopy() const { return m_mode == Copy; }

bool Document::isUndo() const { return m_mode == Undo; }

double Document::documentVersion() const { return m_documentVersion; }

double Document::currentVersion() const { return m_currentVersion; }

void Document::setCurrentVersion(double version) { m_currentVersion = rounded(version); }

void Document::setMeta(const Data::String &key, const Data::String &value)
{
    m_meta.insert(key, value);
}

Data::String Document::getMeta(const Data::String &key) const { return m_meta.value(key); }

void Document::appendMessage(const Data::String &text) { appendUnlessContained(m_messages, text); }

Data::String Document::messages() const { return m_messages; }

void Document::replaceInValues(const Data::String &oldValue, const Data::String &newValue)
{
    Element(documentElement()).replaceInValues(oldValue, newValue);
}

void Document::registerVersionString(const Data::String &text, double version)
{
    versionStrings.insert(text, version);
}

double Document::stringToVersion(const Data::String &text)
{
    const auto registered = versionStrings.constFind(text);
    return registered != versionStrings.constEnd() ? *registered : rounded(versionNumber(text));
}

} // namespace Xml
} // namespace Utils
