#include "core/dispatch/Operation.h"

#include "core/dispatch/OperationQueue.h"

#include <QtCore/QDebug>

#include <algorithm>
#include <exception>

namespace ondrel {

namespace {

const QString kIsReady = QStringLiteral("isReady");
const QString kIsExecuting = QStringLiteral("isExecuting");
const QString kIsFinished = QStringLiteral("isFinished");
const QString kIsCancelled = QStringLiteral("isCancelled");

void runGuarded(const std::function<void()>& block, const Operation& operation, const char* what) {
    try {
        block();
    } catch (const std::exception& e) {
        qWarning().noquote() << "Uncaught exception in the" << what << "of" << operation.description() << ":"
                             << e.what();
    } catch (...) {
        qWarning().noquote() << "Uncaught exception in the" << what << "of" << operation.description();
    }
}

// The operations whose main runs on this thread, innermost last.
thread_local std::vector<const Operation*> t_runningOperations;

} // namespace

bool Operation::isRunningOnThisThread() const {
    return std::find(t_runningOperations.begin(), t_runningOperations.end(), this) != t_runningOperations.end();
}

bool Operation::isRunningOnThisThread(const OperationQueueState* queue) {
    for (const Operation* operation : t_runningOperations) {
        std::lock_guard lock(operation->m_mutex);
        if (operation->m_queue.get() == queue)
            return true;
    }
    return false;
}

const ClassInfo& Operation::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Operation, Object>(QStringLiteral("Operation"))
                                       .property(QStringLiteral("name"), &Operation::name, &Operation::setName)
                                       .property(kIsReady, &Operation::isReady)
                                       .property(kIsExecuting, &Operation::isExecuting)
                                       .property(kIsFinished, &Operation::isFinished)
                                       .property(kIsCancelled, &Operation::isCancelled)
                                       .property(QStringLiteral("isAsynchronous"), &Operation::isAsynchronous)
                                       .property(QStringLiteral("dependencies"), &Operation::dependencies);
    return info;
}

Operation::Operation() = default;

Operation::~Operation() = default;

void Operation::start() {
    if (m_started.exchange(true, std::memory_order_acq_rel)) {
        qWarning().noquote() << description() << "was started more than once";
        return;
    }
    if (isCancelled()) {
        setFinished(true);
        return;
    }
    setExecuting(true);
    struct Running {
        explicit Running(const Operation* operation) { t_runningOperations.push_back(operation); }
        ~Running() { t_runningOperations.pop_back(); }
    };
    runGuarded(
        [this] {
            const Running running(this);
            main();
        },
        *this, "main");
    setExecuting(false);
    setFinished(true);
}

void Operation::cancel() {
    if (isCancelled() || isFinished())
        return;
    willChangeValueForKey(kIsCancelled);
    const bool was = m_cancelled.exchange(true, std::memory_order_acq_rel);
    didChangeValueForKey(kIsCancelled);
    if (!was)
        updateReadiness();  // a cancelled operation waits for nothing
}

void Operation::setExecuting(bool executing) {
    if (isExecuting() == executing)
        return;
    willChangeValueForKey(kIsExecuting);
    m_executing.store(executing, std::memory_order_release);
    didChangeValueForKey(kIsExecuting);
}

void Operation::setFinished(bool finished) {
    if (!finished || isFinished())
        return;
    willChangeValueForKey(kIsFinished);
    bool was;
    {
        std::lock_guard lock(m_mutex);
        was = m_finished.exchange(true, std::memory_order_acq_rel);
    }
    didChangeValueForKey(kIsFinished);
    if (!was)
        didFinish();
}

void Operation::didFinish() {
    const ObjectPtr keepAlive = weak_from_this().lock();  // leaving the queue may drop its last owner
    std::vector<std::weak_ptr<Object>> dependents;
    std::shared_ptr<OperationQueueState> queue;
    {
        std::lock_guard lock(m_mutex);
        dependents.swap(m_dependents);
        queue.swap(m_queue);
    }
    for (const auto& weak : dependents)
        if (const ObjectPtr dependent = weak.lock())
            static_cast<Operation*>(dependent.get())->updateReadiness();
    if (queue)
        OperationQueue::operationDidFinish(queue, this);

    std::function<void()> completion;
    {
        std::lock_guard lock(m_mutex);
        completion.swap(m_completionBlock);
    }
    if (completion)
        runGuarded(completion, *this, "completion block");
    completion = nullptr;
    {
        std::lock_guard lock(m_mutex);
        m_done = true;
    }
    m_doneCondition.notify_all();
}

void Operation::updateReadiness() {
    const auto computeReady = [this] {
        if (isCancelled())
            return true;
        return std::all_of(m_dependencies.begin(), m_dependencies.end(),
                           [](const std::shared_ptr<Operation>& d) { return d->isFinished(); });
    };
    {
        std::lock_guard lock(m_mutex);
        if (computeReady() == isReady())
            return;
    }
    willChangeValueForKey(kIsReady);
    bool ready;
    std::shared_ptr<OperationQueueState> queue;
    {
        // Computed again under the lock, so that the last update wins with
        // what is true now.
        std::lock_guard lock(m_mutex);
        ready = computeReady();
        m_ready.store(ready, std::memory_order_release);
        queue = m_queue;
    }
    didChangeValueForKey(kIsReady);
    if (ready && queue)
        OperationQueue::scheduleOperations(queue);
}

void Operation::addDependency(const std::shared_ptr<Operation>& operation) {
    if (!operation || operation.get() == this)
        return;
    {
        std::lock_guard lock(m_mutex);
        if (std::find(m_dependencies.begin(), m_dependencies.end(), operation) != m_dependencies.end())
            return;
        m_dependencies.push_back(operation);
    }
    {
        std::lock_guard lock(operation->m_mutex);
        if (!operation->isFinished())
            operation->m_dependents.push_back(weak_from_this());
    }
    updateReadiness();
}

void Operation::removeDependency(const std::shared_ptr<Operation>& operation) {
    if (!operation)
        return;
    {
        std::lock_guard lock(m_mutex);
        const auto it = std::find(m_dependencies.begin(), m_dependencies.end(), operation);
        if (it == m_dependencies.end())
            return;
        m_dependencies.erase(it);
    }
    {
        std::lock_guard lock(operation->m_mutex);
        auto& list = operation->m_dependents;
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [this](const std::weak_ptr<Object>& w) {
                                      const ObjectPtr o = w.lock();
                                      return !o || o.get() == this;
                                  }),
                   list.end());
    }
    updateReadiness();
}

std::vector<std::shared_ptr<Operation>> Operation::dependencies() const {
    std::lock_guard lock(m_mutex);
    return m_dependencies;
}

void Operation::setCompletionBlock(std::function<void()> block) {
    std::lock_guard lock(m_mutex);
    m_completionBlock = std::move(block);
}

std::function<void()> Operation::completionBlock() const {
    std::lock_guard lock(m_mutex);
    return m_completionBlock;
}

void Operation::waitUntilFinished() {
    Q_ASSERT(!isRunningOnThisThread());  // it would wait for itself
    std::unique_lock lock(m_mutex);
    m_doneCondition.wait(lock, [this] { return m_done; });
}

QString Operation::name() const {
    std::lock_guard lock(m_mutex);
    return m_name;
}

void Operation::setName(const QString& name) {
    willChangeValueForKey(QStringLiteral("name"));
    {
        std::lock_guard lock(m_mutex);
        m_name = name;
    }
    didChangeValueForKey(QStringLiteral("name"));
}

QString Operation::description() const {
    const QString state = isFinished()    ? QStringLiteral("finished")
                          : isExecuting() ? QStringLiteral("executing")
                          : isReady()     ? QStringLiteral("ready")
                                          : QStringLiteral("waiting");
    const QString n = name();
    return QStringLiteral("<%1 %2%3%4>")
        .arg(className(), n.isEmpty() ? QString() : QStringLiteral("\"%1\" ").arg(n), state,
             isCancelled() ? QStringLiteral(", cancelled") : QString());
}

bool Operation::enterQueue(const std::shared_ptr<OperationQueueState>& queue) {
    std::lock_guard lock(m_mutex);
    if (m_queue || isFinished() || isExecuting() || m_started.load(std::memory_order_acquire))
        return false;
    m_queue = queue;
    return true;
}

} // namespace ondrel
