#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Session.h"

#include <QApplication>
#include <QCommandLineParser>

int main(int argc, char **argv)
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Kelm");
    QCoreApplication::setApplicationName("workbench");
    QCoreApplication::setApplicationVersion(KELM_VERSION);
    QApplication::setDesktopFileName("workbench");

    QCommandLineParser parser;
    parser.setApplicationDescription("Shows tables, tag files and documents of measurements.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({"language", "The language of texts and numbers, such as de.", "NAME"});
    parser.addPositionalArgument("FILE...", "The files to open.", "[FILE...]");
    parser.process(application);

    Workbench::Session session(Workbench::hostVariables(), parser.value("language"));
    session.window().restoreLayout();
    session.window().show();
    session.window().openFiles(parser.positionalArguments());
    return QApplication::exec();
}
