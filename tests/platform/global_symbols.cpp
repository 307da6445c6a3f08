// A library to take a symbol from. See tst_Platform.cpp.

extern "C" __attribute__((visibility("default"))) int symbolOfALibrary() { return 5; }
