// Runs a fuzz target on files, without libFuzzer: each argument is an input, or a folder of inputs.
// A target ends the program at the first that fails; its name is the last one that was printed.
//
// Inputs of a folder are passed over when "folder/name" is in the list that the environment
// variable KNOWN_FINDINGS names, with a line for each.

#include "fuzz/Input.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>

static bool run(const QString &path)
{
    std::printf("%s\n", qPrintable(path));
    std::fflush(stdout);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.constData()),
                           static_cast<std::size_t>(bytes.size()));
    return true;
}

static QStringList knownFindings()
{
    QFile file(QFile::decodeName(qgetenv("KNOWN_FINDINGS")));
    file.open(QIODevice::ReadOnly); // none without the file
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
}

int main(int argc, char *argv[])
{
    const QStringList known = knownFindings();
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const QString path = QFile::decodeName(argv[i]);
        QStringList inputs{path};
        if (QFileInfo(path).isDir()) {
            const QDir folder(path);
            inputs = folder.entryList(QDir::Files | QDir::Hidden, QDir::Name);
            for (QString &input : inputs)
                input = folder.filePath(input);
        }
        for (const QString &input : inputs) {
            const QFileInfo file(input);
            if (known.contains(file.dir().dirName() + QLatin1Char('/') + file.fileName())) {
                std::printf("passed over: %s\n", qPrintable(input));
                continue;
            }
            if (!run(input)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(input));
                return 2;
            }
            ++count;
        }
    }
    if (count == 0) {
        std::fprintf(stderr, "no inputs\n");
        return 2;
    }
    return 0;
}
