// Lets standard input and output of each program that is linked with it be those of Unix: without
// carriage returns.

#include <cstdio>
#include <initializer_list>

#include <fcntl.h>
#include <io.h>

static const bool isBinary = [] {
    for (std::FILE *const stream : {stdin, stdout, stderr})
        _setmode(_fileno(stream), _O_BINARY);
    return true;
}();
