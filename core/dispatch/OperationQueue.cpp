#include "core/dispatch/OperationQueue.h"

#include "core/dispatch/BlockOperation.h"

#include <QtCore/QDebug>
#include "core/dispatch/ThreadHandOff.h"

#include <QtCore/QThreadPool>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>

namespace ondrel {

namespace {

const QString kOperationCount = QStringLiteral("operationCount");

// Operations of every queue run here. Each queue bounds itself; the pool is
// wide so that queues do not hold each other up.
// The route by which operations reach the pool.
constexpr char kOperationPoolChannel = 0;

QThreadPool& operationPool() {
    static QThreadPool pool;
    static const bool configured = [] {
        pool.setMaxThreadCount(256);
        pool.setExpiryTimeout(30000);
        return true;
    }();
    Q_UNUSED(configured);
    return pool;
}

constexpr int kSystemWidth = 64;

} // namespace

// What the operations of a queue share with it; it outlives the queue object
// while operations remain.
struct OperationQueueState {
    struct Entry {
        std::shared_ptr<Operation> operation;
        bool started = false;
    };

    mutable std::mutex mutex;
    std::condition_variable condition;  // the queue emptied, or a call-out ended
    std::deque<Entry> entries;
    int running = 0;  // started and not yet finished
    int maxConcurrent = OperationQueue::DefaultMaxConcurrentOperationCount;
    bool suspended = false;
    QString name;
    OperationQueue* owner = nullptr;  // cleared by the queue's destructor
    int callouts = 0;                 // announcements under way to `owner`
};

namespace {

// Keeps the queue object alive (or, when it is not held by shared_ptr, its
// destructor waiting) while its changes are announced. Empty when it is gone.
class OwnerAccess {
public:
    explicit OwnerAccess(OperationQueueState& state) : m_state(state) {
        std::lock_guard lock(state.mutex);
        OperationQueue* owner = state.owner;
        if (!owner)
            return;
        const std::weak_ptr<Object> weak = owner->weak_from_this();
        m_strong = weak.lock();
        const bool sharedOwner = weak.owner_before(std::weak_ptr<Object>()) || std::weak_ptr<Object>().owner_before(weak);
        if (sharedOwner && !m_strong)
            return;  // being destroyed
        m_owner = owner;
        ++state.callouts;
    }
    ~OwnerAccess() {
        if (!m_owner)
            return;
        {
            std::lock_guard lock(m_state.mutex);
            --m_state.callouts;
        }
        m_state.condition.notify_all();
        m_strong.reset();  // last: this may destroy the queue
    }
    OwnerAccess(const OwnerAccess&) = delete;
    OwnerAccess& operator=(const OwnerAccess&) = delete;

    OperationQueue* operator->() const { return m_owner; }
    explicit operator bool() const { return m_owner != nullptr; }

private:
    OperationQueueState& m_state;
    ObjectPtr m_strong;
    OperationQueue* m_owner = nullptr;
};

} // namespace

const ClassInfo& OperationQueue::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<OperationQueue, Object>(QStringLiteral("OperationQueue"))
            .property(QStringLiteral("name"), &OperationQueue::name, &OperationQueue::setName)
            .property(kOperationCount, &OperationQueue::operationCount)
            .property(QStringLiteral("operations"), &OperationQueue::operations)
            .property(QStringLiteral("maxConcurrentOperationCount"), &OperationQueue::maxConcurrentOperationCount,
                      &OperationQueue::setMaxConcurrentOperationCount)
            .property(QStringLiteral("isSuspended"), &OperationQueue::isSuspended, &OperationQueue::setSuspended);
    return info;
}

OperationQueue::OperationQueue() : m_state(std::make_shared<OperationQueueState>()) { m_state->owner = this; }

OperationQueue::~OperationQueue() {
    std::unique_lock lock(m_state->mutex);
    m_state->owner = nullptr;
    m_state->condition.wait(lock, [this] { return m_state->callouts == 0; });
}

void OperationQueue::addOperation(const std::shared_ptr<Operation>& operation) {
    if (!operation)
        return;
    {
        OwnerAccess owner(*m_state);
        if (owner)
            owner->willChangeValueForKey(kOperationCount);
        bool added;
        {
            std::lock_guard lock(m_state->mutex);
            added = operation->enterQueue(m_state);
            if (added)
                m_state->entries.push_back({operation, false});
        }
        if (owner)
            owner->didChangeValueForKey(kOperationCount);
        if (!added) {
            qWarning().noquote() << operation->description()
                                 << "is already in a queue, running or finished, and is not added";
            return;
        }
    }
    scheduleOperations(m_state);
}

void OperationQueue::addOperations(const std::vector<std::shared_ptr<Operation>>& operations, bool waitUntilFinished) {
    for (const auto& operation : operations)
        addOperation(operation);
    if (waitUntilFinished)
        for (const auto& operation : operations)
            if (operation)
                operation->waitUntilFinished();
}

void OperationQueue::addOperationWithBlock(std::function<void()> block) {
    addOperation(BlockOperation::blockOperationWithBlock(std::move(block)));
}

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const {
    std::lock_guard lock(m_state->mutex);
    std::vector<std::shared_ptr<Operation>> result;
    result.reserve(m_state->entries.size());
    for (const auto& entry : m_state->entries)
        result.push_back(entry.operation);
    return result;
}

qsizetype OperationQueue::operationCount() const {
    std::lock_guard lock(m_state->mutex);
    return qsizetype(m_state->entries.size());
}

int OperationQueue::maxConcurrentOperationCount() const {
    std::lock_guard lock(m_state->mutex);
    return m_state->maxConcurrent;
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
    if (count < 0)
        count = DefaultMaxConcurrentOperationCount;
    if (count == maxConcurrentOperationCount())
        return;
    willChangeValueForKey(QStringLiteral("maxConcurrentOperationCount"));
    {
        std::lock_guard lock(m_state->mutex);
        m_state->maxConcurrent = count;
    }
    didChangeValueForKey(QStringLiteral("maxConcurrentOperationCount"));
    scheduleOperations(m_state);
}

bool OperationQueue::isSuspended() const {
    std::lock_guard lock(m_state->mutex);
    return m_state->suspended;
}

void OperationQueue::setSuspended(bool suspended) {
    if (suspended == isSuspended())
        return;
    willChangeValueForKey(QStringLiteral("isSuspended"));
    {
        std::lock_guard lock(m_state->mutex);
        m_state->suspended = suspended;
    }
    didChangeValueForKey(QStringLiteral("isSuspended"));
    if (!suspended)
        scheduleOperations(m_state);
}

void OperationQueue::cancelAllOperations() {
    for (const auto& operation : operations())
        operation->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    Q_ASSERT(!Operation::isRunningOnThisThread(m_state.get()));  // it would wait for itself
    std::unique_lock lock(m_state->mutex);
    m_state->condition.wait(lock, [this] { return m_state->entries.empty(); });
}

QString OperationQueue::name() const {
    std::lock_guard lock(m_state->mutex);
    return m_state->name;
}

void OperationQueue::setName(const QString& name) {
    willChangeValueForKey(QStringLiteral("name"));
    {
        std::lock_guard lock(m_state->mutex);
        m_state->name = name;
    }
    didChangeValueForKey(QStringLiteral("name"));
}

void OperationQueue::scheduleOperations(const std::shared_ptr<OperationQueueState>& state) {
    std::vector<std::shared_ptr<Operation>> toStart;
    {
        std::lock_guard lock(state->mutex);
        if (state->suspended)
            return;
        const int width = state->maxConcurrent < 0 ? kSystemWidth : state->maxConcurrent;
        for (auto& entry : state->entries) {
            if (state->running >= width)
                break;
            if (!entry.started && entry.operation->isReady()) {
                entry.started = true;
                ++state->running;
                toStart.push_back(entry.operation);
            }
        }
    }
    for (auto& operation : toStart) {
        std::function<void()> work = [operation = std::move(operation)] {
            ThreadHandOff::receive(&kOperationPoolChannel);
            try {
                operation->start();
            } catch (const std::exception& e) {
                qWarning().noquote() << "Uncaught exception in" << operation->description() << ":" << e.what();
            } catch (...) {
                qWarning().noquote() << "Uncaught exception in" << operation->description();
            }
        };
        ThreadHandOff::send(&kOperationPoolChannel);
        operationPool().start(std::move(work));
    }
}

void OperationQueue::operationDidFinish(const std::shared_ptr<OperationQueueState>& state, Operation* operation) {
    OwnerAccess owner(*state);
    if (owner)
        owner->willChangeValueForKey(kOperationCount);
    {
        std::lock_guard lock(state->mutex);
        const auto it = std::find_if(state->entries.begin(), state->entries.end(),
                                     [operation](const auto& entry) { return entry.operation.get() == operation; });
        if (it != state->entries.end()) {
            if (it->started)
                --state->running;
            state->entries.erase(it);
        }
        if (state->entries.empty())
            state->condition.notify_all();
    }
    scheduleOperations(state);
    if (owner)
        owner->didChangeValueForKey(kOperationCount);
}

} // namespace ondrel
