// wc -l FILE, as far as the tour needs it, on a system that has no such program: prints the number
// of lines and the name of the file.
#include <cstdio>

int main(int argc, char **argv)
{
    std::FILE *const file = argc == 3 ? std::fopen(argv[2], "rb") : nullptr;
    if (!file)
        return 1;
    int lines = 0;
    for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file))
        lines += byte == '\n';
    std::fclose(file);
    std::printf("%d %s\n", lines, argv[2]);
    return 0;
}
