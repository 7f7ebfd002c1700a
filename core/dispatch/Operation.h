#pragma once

#include "core/objects/Object.h"

#include <QtCore/QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

struct OperationQueueState;

// One unit of work, run once, usually by an OperationQueue.
//
// States, each observable under its key: "isReady" (every dependency has
// finished, or the operation is cancelled), "isExecuting", "isFinished",
// "isCancelled". The default start() finishes a cancelled operation without
// calling main(); otherwise it marks the operation executing, calls main()
// and marks it finished.
//
// An asynchronous operation overrides start(): it checks isCancelled(), calls
// setExecuting(true), hands its work elsewhere, and later calls
// setFinished(true) and setExecuting(false). Its queue keeps its place taken
// until it has finished.
//
// Once finished, an operation tells its dependents, leaves its queue, runs its
// completion block and releases those blocked in waitUntilFinished(), in that
// order, on the thread that finished it. Operations are held by shared_ptr.
class Operation : public Object {
    ONDREL_OBJECT(Operation, Object)

public:
    Operation();
    ~Operation() override;

    virtual void start();
    virtual void main() {}
    // Marks the operation cancelled. It does not stop running work: main()
    // asks isCancelled(). A cancelled operation no longer waits for its
    // dependencies.
    virtual void cancel();
    virtual bool isAsynchronous() const { return false; }

    bool isCancelled() const { return m_cancelled.load(std::memory_order_acquire); }
    bool isExecuting() const { return m_executing.load(std::memory_order_acquire); }
    bool isFinished() const { return m_finished.load(std::memory_order_acquire); }
    bool isReady() const { return m_ready.load(std::memory_order_acquire); }

    // The operation becomes ready when every dependency has finished (a
    // cancelled one finishes too). Dependencies may sit in other queues.
    void addDependency(const std::shared_ptr<Operation>& operation);
    void removeDependency(const std::shared_ptr<Operation>& operation);
    std::vector<std::shared_ptr<Operation>> dependencies() const;

    // Runs once, after the operation has finished, then is let go.
    void setCompletionBlock(std::function<void()> block);
    std::function<void()> completionBlock() const;

    // Blocks until the operation has finished and its completion block has
    // run. Never call it from the operation's own work.
    void waitUntilFinished();

    QString name() const;
    void setName(const QString& name);

    QString description() const override;

protected:
    // Each announces its key when the value changes. Finishing is final.
    void setExecuting(bool executing);
    void setFinished(bool finished);

private:
    friend class OperationQueue;

    void updateReadiness();
    void didFinish();
    // Whether this operation's main, or one of `queue`'s, is running on the calling thread.
    bool isRunningOnThisThread() const;
    static bool isRunningOnThisThread(const OperationQueueState* queue);
    // Joins a queue; false when the operation is in one already or finished.
    bool enterQueue(const std::shared_ptr<OperationQueueState>& queue);

    mutable std::mutex m_mutex;
    std::condition_variable m_doneCondition;
    std::atomic<bool> m_started{false};
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_executing{false};
    std::atomic<bool> m_finished{false};
    std::atomic<bool> m_ready{true};
    bool m_done = false;  // finished, and everything after finishing has run
    std::vector<std::shared_ptr<Operation>> m_dependencies;
    std::vector<std::weak_ptr<Object>> m_dependents;
    std::function<void()> m_completionBlock;
    QString m_name;
    std::shared_ptr<OperationQueueState> m_queue;
};

} // namespace ondrel
