#pragma once

#include "process/interfaces/TerminableApplication.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace ondrel {

class ApplicationDelegate;

// The application object of a program without windows: quitting ends the
// main event loop (QCoreApplication::exec returns), after the
// delegate has agreed. When the delegate answers that termination comes
// later, the loop ends at its reply.
class EventLoopApplication : public TerminableApplication {
public:
    // endEventLoop runs on the main thread when termination goes ahead; by
    // default it is QCoreApplication::exit(0).
    explicit EventLoopApplication(std::function<void()> endEventLoop = {});

    // Asks the delegate and ends the loop now, later or not at all; answers
    // the delegate's reply. Call on the main thread.
    int terminate(const std::shared_ptr<ApplicationDelegate>& delegate);
    // For a program whose loop isn't running, such as the command line once
    // its command is done: asks as terminate does and, unless the delegate
    // cancels, processes main-thread events until the termination has gone
    // ahead (the delegate told, the loop's end called). False when cancelled.
    bool terminateAndWait(const std::shared_ptr<ApplicationDelegate>& delegate);
    bool isTerminationPending() const { return m_pending.load(); }

    void replyToApplicationShouldTerminate(bool shouldTerminate) override;

private:
    // Tells the delegate, then ends the loop, on the main thread.
    void finishTermination();

    std::function<void()> m_endEventLoop;
    std::mutex m_mutex;
    std::weak_ptr<ApplicationDelegate> m_delegate;
    std::atomic<bool> m_pending{false};
    // How the termination that terminateAndWait waits for ended; set on the
    // main thread.
    enum Outcome : int { Waiting, Terminated, Cancelled };
    std::shared_ptr<std::atomic<int>> m_outcome = std::make_shared<std::atomic<int>>(Waiting);
};

} // namespace ondrel
