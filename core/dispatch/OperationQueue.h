#pragma once

#include "core/objects/Object.h"
#include "core/dispatch/Operation.h"

#include <QtCore/QString>

#include <functional>
#include <memory>
#include <vector>

namespace ondrel {

struct OperationQueueState;

// Runs operations on worker threads, at most maxConcurrentOperationCount at
// once, each when it is ready (its dependencies, in this queue or another,
// have finished), in the order they were added among those ready.
//
// "operationCount" is observable: it rises when an operation is added and
// falls when one finishes, announced on the thread that finished it.
// A suspended queue starts nothing new; running operations go on. Cancelled
// operations are still started, so that they finish at once and leave.
//
// Operations keep running when the queue object is gone. Hold the queue by
// shared_ptr; a queue owned otherwise must outlive the observers it tells.
class OperationQueue : public Object {
    ONDREL_OBJECT(OperationQueue, Object)

public:
    // Leaves the width to the system: wide enough for blocking work.
    static constexpr int DefaultMaxConcurrentOperationCount = -1;

    OperationQueue();
    ~OperationQueue() override;

    void addOperation(const std::shared_ptr<Operation>& operation);
    void addOperations(const std::vector<std::shared_ptr<Operation>>& operations, bool waitUntilFinished);
    void addOperationWithBlock(std::function<void()> block);

    std::vector<std::shared_ptr<Operation>> operations() const;  // not yet finished, in order of addition
    qsizetype operationCount() const;

    int maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(int count);
    bool isSuspended() const;
    void setSuspended(bool suspended);

    void cancelAllOperations();
    // Blocks until the queue is empty. Never call it from the queue's own operations.
    void waitUntilAllOperationsAreFinished();

    QString name() const;
    void setName(const QString& name);

private:
    friend class Operation;

    static void scheduleOperations(const std::shared_ptr<OperationQueueState>& state);
    static void operationDidFinish(const std::shared_ptr<OperationQueueState>& state, Operation* operation);

    std::shared_ptr<OperationQueueState> m_state;
};

} // namespace ondrel
