#include "core/dispatch/Timer.h"

#include "core/dispatch/DispatchQueue.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cmath>

namespace ondrel {

Timer::Timer(double seconds, bool repeats, std::function<void()> block)
    : m_interval(std::isfinite(seconds) && seconds > 0 ? seconds : 0.0), m_repeats(repeats), m_block(std::move(block)) {}

Timer::~Timer() = default;

std::shared_ptr<Timer> Timer::scheduledTimer(double seconds, bool repeats, std::function<void()> block) {
    Q_ASSERT(block);
    std::shared_ptr<Timer> timer(new Timer(seconds, repeats, std::move(block)));
    if (isMainThread())
        timer->schedule();
    else
        dispatchMain([timer] { timer->schedule(); });
    return timer;
}

void Timer::schedule() {
    if (!isValid())
        return;
    // Owned by the application as well, so that a timer still scheduled when
    // the program ends goes with the application (and with it the connection
    // that holds this object) instead of being left behind.
    m_timer = new QTimer(QCoreApplication::instance());
    m_timer->setSingleShot(!m_repeats);
    m_timer->setInterval(int(std::min(m_interval * 1000.0 + 0.5, 2147483647.0)));
    m_timer->setTimerType(m_interval < 2.0 ? Qt::PreciseTimer : Qt::CoarseTimer);
    // The connection holds the timer alive while it is scheduled.
    QObject::connect(m_timer, &QTimer::timeout, [self = shared_from_this()] { self->fire(); });
    m_timer->start();
}

void Timer::fire() {
    if (!isValid())
        return;
    if (!m_repeats)
        m_valid.store(false, std::memory_order_release);
    // A copy: the block may invalidate this timer, which lets go of m_block.
    if (const std::function<void()> block = m_block)
        block();
    if (!isValid())
        release();
}

void Timer::invalidate() {
    m_valid.store(false, std::memory_order_release);
    if (isMainThread())
        release();
    else
        dispatchMain([self = shared_from_this()] { self->release(); });
}

void Timer::release() {
    if (!m_timer)
        return;
    QTimer* timer = std::exchange(m_timer, nullptr);
    timer->stop();
    m_block = nullptr;
    // Deleting the QTimer drops the connection and with it the reference
    // that kept this timer alive. Never inside its own signal: on a later turn
    // of the event loop.
    dispatchMain([timer] { delete timer; });
}

} // namespace ondrel
