#pragma once

#include <QThread>

#include <memory>

/// Runs \p function in a thread that has a stack of \p bytes, and waits for its end.
template <typename Function>
void onStack(uint bytes, const Function &function)
{
    const std::unique_ptr<QThread> thread(QThread::create(function));
    thread->setStackSize(bytes);
    thread->start();
    thread->wait();
}
