#pragma once

#include <QThread>

#include <memory>

#ifdef _WIN32
void runOnStack(unsigned bytes, void (*function)(void *), void *context);
#endif

/// Runs \p function in a thread that has a stack of \p bytes, and waits for its end.
///
/// Wine has no stacks of less than 1 MiB.
template <typename Function>
void onStack(uint bytes, const Function &function)
{
#ifdef _WIN32 // where a QThread has at least the stack that the program wants for its first thread
    runOnStack(
        bytes, [](void *called) { (*static_cast<const Function *>(called))(); },
        const_cast<Function *>(&function));
#else
    const std::unique_ptr<QThread> thread(QThread::create(function));
    thread->setStackSize(bytes);
    thread->start();
    thread->wait();
#endif
}
