#include "process/application/EventLoopApplication.h"

#include "core/dispatch/DispatchQueue.h"
#include "process/application/ApplicationDelegate.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>

namespace ondrel {

EventLoopApplication::EventLoopApplication(std::function<void()> endEventLoop)
    : m_endEventLoop(endEventLoop ? std::move(endEventLoop) : [] { QCoreApplication::exit(0); }) {}

int EventLoopApplication::terminate(const std::shared_ptr<ApplicationDelegate>& delegate) {
    if (!delegate)
        return ApplicationDelegate::TerminateCancel;
    {
        std::lock_guard lock(m_mutex);
        m_delegate = delegate;
    }
    const ApplicationDelegate::TerminateReply reply = delegate->applicationShouldTerminate();
    switch (reply) {
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
    return reply;
}

bool EventLoopApplication::terminateAndWait(const std::shared_ptr<ApplicationDelegate>& delegate) {
    m_outcome->store(Waiting);
    if (terminate(delegate) == ApplicationDelegate::TerminateCancel)
        return false;
    // The reply that ends the wait arrives as a main-thread event.
    QEventLoop loop;
    while (m_outcome->load() == Waiting)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    return m_outcome->load() == Terminated;
}

void EventLoopApplication::replyToApplicationShouldTerminate(bool shouldTerminate) {
    if (!m_pending.exchange(false))
        return;
    if (shouldTerminate)
        finishTermination();
    else
        dispatchMain([outcome = m_outcome] { outcome->store(Cancelled); });
}

void EventLoopApplication::finishTermination() {
    std::weak_ptr<ApplicationDelegate> weak;
    {
        std::lock_guard lock(m_mutex);
        weak = m_delegate;
    }
    // Replies come from the threads that end the work; the loop is the main thread's.
    dispatchMain([outcome = m_outcome, weak, endEventLoop = m_endEventLoop] {
        if (const auto delegate = weak.lock())
            delegate->applicationWillTerminate();
        endEventLoop();
        outcome->store(Terminated);
    });
}

} // namespace ondrel
