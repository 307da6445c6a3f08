// Executes its argument:
//
//     wait  waits for a minute
//     tree  starts two children that wait, prints their numbers, and waits
#include <QCoreApplication>
#include <QProcess>
#include <QThread>

#include <cstdio>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == "tree") {
        for (int i = 0; i < 2; ++i) {
            qint64 id = 0;
            if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), {"wait"}, {},
                                         &id))
                return 1;
            std::printf("%lld\n", static_cast<long long>(id));
        }
        std::fflush(stdout);
    }
    QThread::sleep(60);
    return 0;
}
