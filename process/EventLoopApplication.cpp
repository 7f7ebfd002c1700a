#include "process/EventLoopApplication.h"

#include "core/DispatchQueue.h"
#include "process/ApplicationDelegate.h"

#include <QtCore/QCoreApplication>

EventLoopApplication::EventLoopApplication(std::function<void()> endEventLoop)
    : m_endEventLoop(endEventLoop ? std::move(endEventLoop) : [] { QCoreApplication::exit(0); }) {}

void EventLoopApplication::terminate(const std::shared_ptr<ApplicationDelegate>& delegate) {
    if (!delegate)
        return;
    {
        std::lock_guard lock(m_mutex);
        m_delegate = delegate;
    }
    switch (delegate->applicationShouldTerminate()) {
    case ApplicationDelegate::TerminateNow:
        finishTermination();
        break;
    case ApplicationDelegate::TerminateLater:
        m_pending.store(true);
        // The work may have ended between the delegate's answer and now,
        // with its reply ignored: look once more.
        if (!delegate->hasRunningProcesses())
            replyToApplicationShouldTerminate(true);
        break;
    case ApplicationDelegate::TerminateCancel:
        break;
    }
}

void EventLoopApplication::replyToApplicationShouldTerminate(bool shouldTerminate) {
    if (!m_pending.exchange(false) || !shouldTerminate)
        return;
    finishTermination();
}

void EventLoopApplication::finishTermination() {
    std::weak_ptr<ApplicationDelegate> weak;
    {
        std::lock_guard lock(m_mutex);
        weak = m_delegate;
    }
    // Replies come from the threads that end the work; the loop is the main thread's.
    dispatchMain([weak, endEventLoop = m_endEventLoop] {
        if (const auto delegate = weak.lock())
            delegate->applicationWillTerminate();
        endEventLoop();
    });
}
