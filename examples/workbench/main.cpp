#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Session.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <algorithm>

/// Whether the command line may ask for a text on standard output instead of a window.
static bool mayAskForHelp(int argc, char **argv)
{
    return std::any_of(argv + 1, argv + argc, [](const QByteArray &argument) {
        return argument.startsWith("-h") || argument.startsWith("--h") ||
               argument.startsWith("-v") || argument.startsWith("--v");
    });
}

int main(int argc, char **argv)
{
    QCoreApplication::setOrganizationName("Kelm");
    QCoreApplication::setApplicationVersion(KELM_VERSION);
    QCommandLineParser parser;
    parser.setApplicationDescription("Shows tables, tag files and documents of measurements.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({"language", "The language of texts and numbers, such as de.", "NAME"});
    parser.addPositionalArgument("FILE...", "The files to open.", "[FILE...]");
    if (mayAskForHelp(argc, argv)) { // which needs no display
        QCoreApplication application(argc, argv);
        QCoreApplication::setApplicationName("kelm-workbench");
        if (parser.parse(QCoreApplication::arguments()))
            parser.process(application); // ends the program if the text was asked for
    }

    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName("workbench");
    QApplication::setDesktopFileName("kelm-workbench");
    parser.process(application);

    Workbench::Session session(Workbench::hostVariables(), parser.value("language"));
    session.window().restoreLayout();
    session.window().show();
    // In the event loop: the window is there at once, and can be closed while a large file is read.
    QTimer opening;
    opening.setSingleShot(true);
    QObject::connect(&opening, &QTimer::timeout, &session.window(),
                     [&] { session.window().openFiles(parser.positionalArguments()); });
    opening.start(0);
    return QApplication::exec();
}
