// Writes each file "source" of its arguments "source target source target..." to "target", for
// tst_Document_write, which starts it with different seeds of Qt's hashes.

#include "utils/xml/Document.h"

#include <cstdio>

int main(int argc, char **argv)
{
    for (int i = 1; i + 1 < argc; i += 2) {
        Utils::Xml::Document document(Utils::Xml::Document::Normal, 0.0);
        Data::String error;
        if (!document.open(argv[i], "", error) || !document.write(argv[i + 1])) {
            std::fprintf(stderr, "%s: %s\n", argv[i], error.c_str());
            return 1;
        }
    }
    return 0;
}
