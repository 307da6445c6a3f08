// kelm xml: describes a document, checks its type and version, and writes it in the fixed layout.

#include "examples/console/Files.h"
#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/File.h"
#include "utils/text/StringUtil.h"
#include "utils/xml/Document.h"

#include <QDir>
#include <QRegExp>
#include <QTemporaryFile>

namespace Kelm {

using Utils::File;
using Utils::Xml::Document;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"type",
         "The type that the document must have, as its DOCTYPE names it: A, one of A;B, A or none "
         "with A;, or docElem:A for the root element.",
         "TYPE"},
        {"at-least", "The lowest version that it may have.", "VERSION"},
        {"to", "Writes the document to FILE in the fixed layout.", "FILE"},
        {"rewrite", "Writes the document in place, unless the layout would damage it."},
    });
}

/// Returns the number of elements in \p element, including itself. Documents are not deep.
static int countElements(const QDomElement &element)
{
    int count = 1;
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement())
        count += countElements(child);
    return count;
}

static void printSummary(const Document &document)
{
    const QString type = document.doctype().name();
    print("Type      " + (type.isEmpty() ? "none" : type));
    print("Root      " + document.documentElement().tagName());
    print("Version   " + Utils::StringUtil::display(document.documentVersion()));
    print(QString("Elements  %1").arg(countElements(document.documentElement())));
}

/// Writes \p document to \p path, if it can be read again from there.
static Result write(const Document &document, const QString &path)
{
    // The layout works on lines, and damages some documents that mix text and elements. So the
    // document is written to another file first, which also shows whether the disk has room. No
    // file is made beside a pipe or a device.
    const QString place = isDevice(path) ? QDir::temp().filePath("kelm") : path;
    QTemporaryFile trial(place + ".XXXXXX");
    if (!trial.open())
        return failed(QString("Cannot write \"%1\": %2").arg(place, trial.errorString()));
    Document copy(Document::Copy, 0.0);
    Data::String error;
    if (!document.write(trial.fileName()) || !copy.open(trial.fileName(), "", error))
        return failed(QString("\"%1\" cannot be written in this layout. %2").arg(path, error));

    // Not by Document::write(), which does not report an incomplete write.
    const QString problem = writeFile(path, QString::fromUtf8(File::readRaw(trial.fileName())));
    return problem.isEmpty() ? good() : failed(problem);
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QString path = given.positionalArguments().constFirst();
    if (given.isSet("to") && given.isSet("rewrite"))
        return misused("--to and --rewrite exclude each other");

    const QString wanted = given.value("at-least");
    if (given.isSet("at-least") && !wanted.contains(QRegExp("^[0-9]")))
        return misused("--at-least must begin with a number");

    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);
    Document document(Document::Normal, 0.0);
    Data::String error;
    if (!document.open(path, given.value("type"), error))
        return failed(QString("\"%1\": %2").arg(path, error));

    const double version = document.documentVersion();
    if (given.isSet("at-least") && version < Document::stringToVersion(wanted))
        return failed(QString("\"%1\" has the version %2, which is below %3")
                          .arg(path, QString::number(version), wanted));

    if (given.isSet("to"))
        return write(document, given.value("to"));
    if (given.isSet("rewrite"))
        return write(document, path);
    printSummary(document);
    return good();
}

const Command xmlCommand = {
    "xml", "FILE", 1, 1, "Checks an XML document and writes it in a fixed layout.", declare, run,
};

} // namespace Kelm
