// A host that does nothing but load the library.

#include "utils/Application.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    Utils::setApplication(nullptr); // any use, so that the library is loaded
    return 0;
}
