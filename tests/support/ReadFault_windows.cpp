#include "tests/support/ReadFault.h"

// Functions of the C library cannot be replaced here: nothing fails, and the tests are skipped.

ReadFault::ReadFault(const QString &, qint64, int, int) {}
void ReadFault::refuseSeeks() {}
void ReadFault::repair() {}
int ReadFault::count() const { return 0; }

int openFiles() { return 0; }
