#pragma once

#include <cstddef>

#include <sys/mman.h>

/// Requests, writes and releases memory, of which what is measured next then gets its pages.
///
/// A virtual machine returns memory that nobody uses to its host. The first write to a large page
/// of it takes about fifty times as long as to one that the machine has, so that a sample would
/// depend on what ran before it.
inline void supplyMemory(std::size_t mebibytes = 512)
{
    const std::size_t size = mebibytes << 20;
    void *const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return;
    madvise(memory, size, MADV_HUGEPAGE); // may fail
    const std::size_t smallestPage = 4096;
    for (std::size_t i = 0; i < size; i += smallestPage)
        static_cast<volatile char *>(memory)[i] = 1;
    munmap(memory, size);
}
