#pragma once

#include <atomic>
#include <functional>
#include <memory>

class QTimer;

namespace ondrel {


// A timer on the main thread's event loop. A scheduled timer keeps itself
// alive until it is invalidated (a one-shot timer invalidates itself after
// firing), so callers may keep only a weak reference, or none.
class Timer : public std::enable_shared_from_this<Timer> {
public:
    // Schedules `block` to run on the main thread after `seconds`, and every
    // `seconds` after that when `repeats`. May be called from any thread.
    // `block` is callable (not empty).
    static std::shared_ptr<Timer> scheduledTimer(double seconds, bool repeats, std::function<void()> block);

    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    // Stops the timer for good; from any thread. After it returns on the main
    // thread the block is not called again.
    void invalidate();
    bool isValid() const { return m_valid.load(std::memory_order_acquire); }
    double timeInterval() const { return m_interval; }
    bool repeats() const { return m_repeats; }

private:
    Timer(double seconds, bool repeats, std::function<void()> block);
    void schedule();  // on the main thread
    void fire();      // on the main thread
    void release();   // on the main thread

    const double m_interval;
    const bool m_repeats;
    std::function<void()> m_block;
    std::atomic<bool> m_valid{true};
    QTimer* m_timer = nullptr;  // owned and touched by the main thread only
};

} // namespace ondrel
