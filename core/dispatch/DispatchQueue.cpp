#include "core/dispatch/DispatchQueue.h"

#include "core/dispatch/ThreadHandOff.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QEvent>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtCore/QThreadPool>
#include <QtCore/QTimer>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <map>
#include <thread>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ondrel {

namespace {

using Clock = std::chrono::steady_clock;

// The queues whose work the calling thread is running, innermost last. A
// block run by `sync` on the caller's thread counts as running on that queue.
thread_local std::vector<const void*> t_currentQueues;

class CurrentQueueScope {
public:
    explicit CurrentQueueScope(const void* queue) { t_currentQueues.push_back(queue); }
    ~CurrentQueueScope() { t_currentQueues.pop_back(); }
    CurrentQueueScope(const CurrentQueueScope&) = delete;
    CurrentQueueScope& operator=(const CurrentQueueScope&) = delete;
};

bool isRunningQueue(const void* queue) {
    return std::find(t_currentQueues.begin(), t_currentQueues.end(), queue) != t_currentQueues.end();
}

// An exception must not leave a worker thread (it would end the process).
void runBlock(const std::function<void()>& block, const QString& label) {
    try {
        block();
    } catch (const std::exception& e) {
        qWarning().noquote() << "Uncaught exception in a block on" << label << ":" << e.what();
    } catch (...) {
        qWarning().noquote() << "Uncaught exception in a block on" << label;
    }
}

int milliseconds(double seconds) {
    if (!(seconds > 0))
        return 0;
    return int(std::min(seconds * 1000.0 + 0.5, 2147483647.0));
}

// One thread that hands delayed blocks to their queues when they fall due.
class DelayedDispatcher {
public:
    static DelayedDispatcher& shared() {
        // Made after the global queues, so that it stops before they go.
        DispatchQueue::global();
        static DelayedDispatcher dispatcher;
        return dispatcher;
    }

    void schedule(double seconds, std::function<void()> handOver) {
        const auto due = Clock::now() + std::chrono::microseconds(qint64(std::max(0.0, seconds) * 1e6));
        std::lock_guard lock(m_mutex);
        if (!m_thread.joinable())
            m_thread = std::thread([this] { run(); });
        m_pending.emplace(due, std::move(handOver));
        m_condition.notify_one();
    }

    ~DelayedDispatcher() {
        {
            std::lock_guard lock(m_mutex);
            m_stopping = true;
            m_condition.notify_one();
        }
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    void run() {
        pthread_setname_np(pthread_self(), "dispatch-after");
        std::unique_lock lock(m_mutex);
        while (!m_stopping) {
            if (m_pending.empty()) {
                m_condition.wait(lock);
                continue;
            }
            const auto due = m_pending.begin()->first;
            if (Clock::now() < due) {
                m_condition.wait_until(lock, due);
                continue;
            }
            auto handOver = std::move(m_pending.begin()->second);
            m_pending.erase(m_pending.begin());
            lock.unlock();
            handOver();  // only enqueues; the block itself runs on its queue
            handOver = nullptr;
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::multimap<Clock::time_point, std::function<void()>> m_pending;
    std::thread m_thread;
    bool m_stopping = false;
};

// The routes by which work reaches Qt's event queue and thread pools.
constexpr char kMainQueueChannel = 0;
constexpr char kGlobalQueueChannel = 0;

// A block on its way to the main thread. Whether it runs or is dropped
// unrun (the loop ends first), everything about it happens after the
// hand-over on the main thread.
class BlockEvent final : public QEvent {
public:
    static QEvent::Type eventType() {
        static const auto type = QEvent::Type(QEvent::registerEventType());
        return type;
    }
    explicit BlockEvent(std::function<void()> block) : QEvent(eventType()), m_block(std::move(block)) {}
    ~BlockEvent() override { ThreadHandOff::receive(&kMainQueueChannel); }
    void run() { m_block(); }

private:
    std::function<void()> m_block;
};

// Runs the blocks posted to it, on the thread of the application object.
class BlockReceiver final : public QObject {
public:
    bool event(QEvent* event) override {
        ThreadHandOff::receive(&kMainQueueChannel);  // before even the event's type is read
        if (event->type() != BlockEvent::eventType())
            return QObject::event(event);
        static_cast<BlockEvent*>(event)->run();
        return true;
    }
};

// The Qt event loop of the main thread.
class MainDispatchQueue final : public DispatchQueue {
    // One receiver for the program's life, living on the main thread.
    static QObject* receiver(QCoreApplication* app) {
        static QObject* const receiver = [app] {
            auto* made = new BlockReceiver;
            made->moveToThread(app->thread());
            return made;
        }();
        return receiver;
    }

public:
    MainDispatchQueue() : DispatchQueue(QStringLiteral("main")) {}

    void async(std::function<void()> block) override {
        Q_ASSERT(block);
        QCoreApplication* app = QCoreApplication::instance();
        if (!app) {
            qWarning("DispatchQueue: no application object, a block for the main queue is dropped");
            return;
        }
        // The event is made here, before the hand-over is announced; Qt only
        // queues it, and it is run and destroyed on the main thread.
        auto* event = new BlockEvent([block = std::move(block), this] { runBlock(block, label()); });
        ThreadHandOff::send(&kMainQueueChannel);
        QCoreApplication::postEvent(receiver(app), event);
    }

    void sync(std::function<void()> block) override {
        Q_ASSERT(block);
        if (isMainThread()) {
            runBlock(block, label());
            return;
        }
        QSemaphore done;
        async([&] {
            runBlock(block, label());
            done.release();
        });
        if (QCoreApplication::instance())
            done.acquire();
    }

    void asyncAfter(double seconds, std::function<void()> block) override {
        Q_ASSERT(block);
        const int ms = milliseconds(seconds);
        auto start = [ms, block = std::move(block), this]() mutable {
            QTimer::singleShot(ms, Qt::PreciseTimer, QCoreApplication::instance(),
                               [block = std::move(block), this] { runBlock(block, label()); });
        };
        // A timer belongs to the thread that starts it: start it on the main thread.
        if (isMainThread() && QCoreApplication::instance())
            start();
        else
            async(std::move(start));
    }

    bool isCurrent() const override { return isMainThread(); }
};

// A concurrent queue over a thread pool sized for blocking work.
class GlobalDispatchQueue final : public DispatchQueue {
public:
    GlobalDispatchQueue(const QString& label, QThread::Priority priority) : DispatchQueue(label) {
        m_pool.setMaxThreadCount(64);
        m_pool.setExpiryTimeout(30000);
        m_pool.setThreadPriority(priority);
    }

    void async(std::function<void()> block) override {
        Q_ASSERT(block);
        std::function<void()> work = [block = std::move(block), this] {
            ThreadHandOff::receive(&kGlobalQueueChannel);
            CurrentQueueScope scope(this);
            runBlock(block, label());
        };
        ThreadHandOff::send(&kGlobalQueueChannel);
        m_pool.start(std::move(work));
    }

    // A concurrent queue has no order to keep: the block runs on the caller's thread.
    void sync(std::function<void()> block) override {
        Q_ASSERT(block);
        CurrentQueueScope scope(this);
        runBlock(block, label());
    }

    void asyncAfter(double seconds, std::function<void()> block) override {
        Q_ASSERT(block);
        DelayedDispatcher::shared().schedule(seconds,
                                             [this, block = std::move(block)]() mutable { async(std::move(block)); });
    }

    bool isCurrent() const override { return isRunningQueue(this); }

private:
    QThreadPool m_pool;
};

// The state of a serial queue, shared by the queue, its worker thread and
// delayed blocks, so that blocks still run after the queue object is gone.
//
// One block at a time holds the queue ("busy"). The worker takes blocks in
// order; a `sync` call waits for its turn in the same line and then runs its
// block on the calling thread while the worker waits.
struct SerialQueueState : std::enable_shared_from_this<SerialQueueState> {
    struct Item {
        std::function<void()> block;
        bool* granted = nullptr;  // a waiting sync call, when set
    };

    explicit SerialQueueState(QString queueLabel) : label(std::move(queueLabel)) {}

    void async(std::function<void()> block) {
        std::lock_guard lock(mutex);
        items.push_back(Item{std::move(block), nullptr});
        wake();
    }

    void sync(const std::function<void()>& block) {
        if (isRunningQueue(this)) {
            runBlock(block, label);
            return;
        }
        {
            std::unique_lock lock(mutex);
            if (busy || !items.empty()) {
                bool granted = false;
                items.push_back(Item{{}, &granted});
                wake();
                condition.wait(lock, [&] { return granted; });  // the worker left `busy` set for us
            } else {
                busy = true;
            }
        }
        {
            CurrentQueueScope scope(this);
            runBlock(block, label);
        }
        std::lock_guard lock(mutex);
        busy = false;
        if (!items.empty())
            wake();
    }

    // Under the mutex: makes sure a worker will look at the items.
    void wake() {
        if (!workerRunning) {
            workerRunning = true;
            std::thread([state = shared_from_this()] { state->work(); }).detach();
        }
        condition.notify_all();
    }

    void work() {
        const QByteArray name = label.toUtf8().left(15);
        pthread_setname_np(pthread_self(), name.constData());
        std::unique_lock lock(mutex);
        for (;;) {
            const bool ready = condition.wait_for(lock, std::chrono::seconds(10), [this] { return !busy && !items.empty(); });
            if (!ready) {
                if (items.empty()) {
                    workerRunning = false;  // idle: the next block starts a new worker
                    return;
                }
                continue;  // a sync caller holds the queue; its items wait
            }
            Item item = std::move(items.front());
            items.pop_front();
            busy = true;
            if (item.granted) {
                *item.granted = true;
                condition.notify_all();
                continue;  // the caller clears `busy` when its block is done
            }
            lock.unlock();
            {
                CurrentQueueScope scope(this);
                runBlock(item.block, label);
            }
            item.block = nullptr;  // release what the block holds before taking the lock
            lock.lock();
            busy = false;
        }
    }

    const QString label;
    std::mutex mutex;
    std::condition_variable condition;
    std::deque<Item> items;
    bool busy = false;
    bool workerRunning = false;
};

class SerialDispatchQueue final : public DispatchQueue {
public:
    explicit SerialDispatchQueue(const QString& label)
        : DispatchQueue(label), m_state(std::make_shared<SerialQueueState>(label)) {}

    void async(std::function<void()> block) override {
        Q_ASSERT(block);
        m_state->async(std::move(block));
    }
    void sync(std::function<void()> block) override {
        Q_ASSERT(block);
        const auto state = m_state;  // the queue may be let go while the caller waits
        state->sync(block);
    }

    void asyncAfter(double seconds, std::function<void()> block) override {
        Q_ASSERT(block);
        DelayedDispatcher::shared().schedule(
            seconds, [state = m_state, block = std::move(block)]() mutable { state->async(std::move(block)); });
    }

    bool isCurrent() const override { return isRunningQueue(m_state.get()); }

private:
    std::shared_ptr<SerialQueueState> m_state;
};

} // namespace

DispatchQueue& DispatchQueue::main() {
    static MainDispatchQueue queue;
    return queue;
}

DispatchQueue& DispatchQueue::global(Priority priority) {
    static GlobalDispatchQueue defaultQueue(QStringLiteral("global.default"), QThread::InheritPriority);
    static GlobalDispatchQueue backgroundQueue(QStringLiteral("global.background"), QThread::LowestPriority);
    return priority == Priority::Background ? backgroundQueue : defaultQueue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::createSerial(const QString& label) {
    return std::make_shared<SerialDispatchQueue>(label);
}

void dispatchMain(std::function<void()> block) { DispatchQueue::main().async(std::move(block)); }

bool isMainThread() {
    if (QCoreApplication* app = QCoreApplication::instance())
        return QThread::currentThread() == app->thread();
    return syscall(SYS_gettid) == getpid();
}

} // namespace ondrel
