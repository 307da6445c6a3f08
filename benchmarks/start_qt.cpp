// A program with the libraries of Qt that the library uses, and nothing else.

#include <QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return 0;
}
