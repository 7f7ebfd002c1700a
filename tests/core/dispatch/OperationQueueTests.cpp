#include "core/dispatch/BlockOperation.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/Operation.h"
#include "core/dispatch/OperationQueue.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace ondrel {

namespace {

// Raises `high` to `value` if it is higher.
void raiseTo(std::atomic<int>& high, int value) {
    int seen = high.load();
    while (value > seen && !high.compare_exchange_weak(seen, value)) {
    }
}

// Records the order in which operations ran.
struct Journal {
    std::mutex mutex;
    std::vector<QString> entries;
    void add(const QString& entry) {
        std::lock_guard lock(mutex);
        entries.push_back(entry);
    }
    std::vector<QString> snapshot() {
        std::lock_guard lock(mutex);
        return entries;
    }
    qsizetype indexOf(const QString& entry) {
        auto all = snapshot();
        auto it = std::find(all.begin(), all.end(), entry);
        return it == all.end() ? -1 : it - all.begin();
    }
};

std::shared_ptr<BlockOperation> journaled(Journal& journal, const QString& name) {
    auto operation = BlockOperation::blockOperationWithBlock([&journal, name] { journal.add(name); });
    operation->setName(name);
    return operation;
}

// An operation that runs its work elsewhere and finishes later, as renders
// and analyses do.
class DeferredOperation : public Operation {
public:
    explicit DeferredOperation(std::atomic<int>& executing, std::atomic<int>& highWater)
        : m_executing(executing), m_highWater(highWater) {}
    bool isAsynchronous() const override { return true; }
    void start() override {
        if (isCancelled()) {
            setFinished(true);
            return;
        }
        setExecuting(true);
        raiseTo(m_highWater, ++m_executing);
        auto self = std::static_pointer_cast<DeferredOperation>(this->self());
        DispatchQueue::global().asyncAfter(0.01, [self] {
            --self->m_executing;
            self->setFinished(true);
            self->setExecuting(false);
        });
    }

private:
    std::atomic<int>& m_executing;
    std::atomic<int>& m_highWater;
};

} // namespace

TEST(OperationQueue, NeverRunsMoreThanItsWidthAndRunsThemAll) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(8);
    std::atomic<int> inside{0};
    std::atomic<int> highWater{0};
    std::atomic<int> done{0};
    std::vector<std::shared_ptr<Operation>> operations;
    for (int i = 0; i < 20; ++i)
        operations.push_back(BlockOperation::blockOperationWithBlock([&] {
            raiseTo(highWater, ++inside);
            // Stay until the queue is full (or a while), so that a queue that
            // starts too many is caught with them all inside.
            QDeadlineTimer deadline(2000);
            while (inside < 8 && !deadline.hasExpired())
                QThread::msleep(1);
            QThread::msleep(10);
            --inside;
            ++done;
        }));
    queue->addOperations(operations, true);
    EXPECT_EQ(done.load(), 20);
    EXPECT_EQ(highWater.load(), 8);
    EXPECT_EQ(queue->operationCount(), 0);
    for (const auto& operation : operations) {
        EXPECT_TRUE(operation->isFinished());
        EXPECT_FALSE(operation->isExecuting());
    }
}

TEST(OperationQueue, WidthOneRunsInOrderOfAddition) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    Journal journal;
    for (int i = 0; i < 30; ++i)
        queue->addOperation(journaled(journal, QString::number(i)));
    queue->waitUntilAllOperationsAreFinished();
    std::vector<QString> expected;
    for (int i = 0; i < 30; ++i)
        expected.push_back(QString::number(i));
    EXPECT_EQ(journal.snapshot(), expected);
}

TEST(OperationQueue, HonoursDependenciesWithinAndAcrossQueues) {
    auto queue = std::make_shared<OperationQueue>();
    auto other = std::make_shared<OperationQueue>();
    other->setSuspended(true);
    Journal journal;
    // A diamond, added in reverse so that order of addition cannot explain the result,
    // and one operation waiting on a queue that has not started yet.
    auto a = journaled(journal, "a"), b = journaled(journal, "b"), c = journaled(journal, "c");
    auto d = journaled(journal, "d"), e = journaled(journal, "e"), elsewhere = journaled(journal, "elsewhere");
    b->addDependency(a);
    c->addDependency(a);
    d->addDependency(b);
    d->addDependency(c);
    e->addDependency(elsewhere);
    EXPECT_FALSE(d->isReady());
    queue->addOperations({e, d, c, b, a}, false);
    other->addOperation(elsewhere);

    ASSERT_TRUE(spinUntil([&] { return d->isFinished(); }));
    spinFor(30);
    EXPECT_FALSE(e->isReady());
    EXPECT_FALSE(e->isFinished());
    EXPECT_EQ(queue->operationCount(), 1);
    EXPECT_LT(journal.indexOf("a"), journal.indexOf("b"));
    EXPECT_LT(journal.indexOf("a"), journal.indexOf("c"));
    EXPECT_LT(journal.indexOf("b"), journal.indexOf("d"));
    EXPECT_LT(journal.indexOf("c"), journal.indexOf("d"));

    other->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_LT(journal.indexOf("elsewhere"), journal.indexOf("e"));
    EXPECT_EQ(journal.snapshot().size(), 6u);
}

TEST(OperationQueue, RemovingADependencyMakesAnOperationReady) {
    auto blocker = std::make_shared<Operation>();  // never run
    auto queue = std::make_shared<OperationQueue>();
    std::atomic<bool> ran{false};
    auto op = BlockOperation::blockOperationWithBlock([&] { ran = true; });
    op->addDependency(blocker);
    queue->addOperation(op);
    spinFor(30);
    EXPECT_FALSE(ran);
    op->removeDependency(blocker);
    op->waitUntilFinished();
    EXPECT_TRUE(ran);
}

TEST(OperationQueue, SuspendedQueueStartsNothingUntilResumed) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setSuspended(true);
    EXPECT_TRUE(queue->isSuspended());
    std::atomic<int> ran{0};
    for (int i = 0; i < 5; ++i)
        queue->addOperationWithBlock([&] { ++ran; });
    spinFor(50);
    EXPECT_EQ(ran.load(), 0);
    EXPECT_EQ(queue->operationCount(), 5);
    EXPECT_EQ(queue->operations().size(), 5u);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran.load(), 5);
    EXPECT_EQ(queue->operationCount(), 0);
}

TEST(OperationQueue, CancelledOperationsNeverRunMainButFinishAndLeave) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setSuspended(true);
    std::atomic<int> ran{0};
    std::atomic<int> executingSeen{0};
    std::vector<std::shared_ptr<Operation>> operations;
    std::vector<ObservationHandle> observations;
    for (int i = 0; i < 10; ++i) {
        auto op = BlockOperation::blockOperationWithBlock([&] { ++ran; });
        if (i % 2)
            observations.push_back(
                op->observe("isExecuting", KeyValueObservingOptionNew, [&](const KeyValueChangeInfo& c) {
                    if (c.newValue.toBool())
                        ++executingSeen;
                }));
        operations.push_back(op);
    }
    // One more cancelled operation that waits on something that never runs:
    // cancelling frees it from its dependency.
    auto never = std::make_shared<Operation>();
    auto waiting = BlockOperation::blockOperationWithBlock([&] { ++ran; });
    waiting->addDependency(never);
    operations.push_back(waiting);
    queue->addOperations(operations, false);
    for (size_t i = 1; i < operations.size(); i += 2)
        operations[i]->cancel();
    waiting->cancel();
    EXPECT_TRUE(waiting->isReady());
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran.load(), 5);
    EXPECT_EQ(executingSeen.load(), 0);
    for (size_t i = 0; i < operations.size(); ++i) {
        EXPECT_TRUE(operations[i]->isFinished());
        EXPECT_EQ(operations[i]->isCancelled(), i % 2 == 1 || operations[i] == waiting);
    }
    EXPECT_EQ(queue->operationCount(), 0);
    EXPECT_FALSE(never->isFinished());
}

TEST(OperationQueue, CancelAllOperationsLeavesRunningWorkToFinishByItself) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    std::atomic<bool> started{false};
    std::atomic<bool> sawCancel{false};
    std::atomic<int> laterRan{0};
    auto running = std::make_shared<BlockOperation>();
    BlockOperation* self = running.get();  // alive while its block runs
    running->addExecutionBlock([&, self] {
        started = true;
        QDeadlineTimer deadline(5000);
        while (!self->isCancelled() && !deadline.hasExpired())
            QThread::msleep(1);
        sawCancel = self->isCancelled();
    });
    queue->addOperation(running);
    for (int i = 0; i < 5; ++i)
        queue->addOperationWithBlock([&] { ++laterRan; });
    ASSERT_TRUE(spinUntil([&] { return started.load(); }));
    queue->cancelAllOperations();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(sawCancel);
    EXPECT_EQ(laterRan.load(), 0);
}

TEST(OperationQueue, AsynchronousOperationsHoldTheirPlaceUntilFinished) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(2);
    std::atomic<int> executing{0};
    std::atomic<int> highWater{0};
    std::vector<std::shared_ptr<DeferredOperation>> operations;
    std::mutex mutex;
    std::vector<QString> changes;  // of the first operation, in order
    for (int i = 0; i < 6; ++i)
        operations.push_back(std::make_shared<DeferredOperation>(executing, highWater));
    auto first = operations.front();
    auto record = [&](const QString& key) {
        return first->observe(key, KeyValueObservingOptionNew, [&, key](const KeyValueChangeInfo& c) {
            std::lock_guard lock(mutex);
            changes.push_back(key + "=" + (c.newValue.toBool() ? "1" : "0"));
        });
    };
    auto o1 = record("isExecuting");
    auto o2 = record("isFinished");
    for (const auto& op : operations)
        queue->addOperation(op);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(highWater.load(), 2);
    EXPECT_EQ(executing.load(), 0);
    for (const auto& op : operations)
        EXPECT_TRUE(op->isFinished());
    // These operations clear "executing" after finishing, so after they have left the queue.
    ASSERT_TRUE(spinUntil([&] {
        std::lock_guard lock(mutex);
        return changes.size() == 3 &&
               std::none_of(operations.begin(), operations.end(), [](const auto& op) { return op->isExecuting(); });
    }));
    std::lock_guard lock(mutex);
    EXPECT_EQ(changes, (std::vector<QString>{"isExecuting=1", "isFinished=1", "isExecuting=0"}));
}

TEST(OperationQueue, OperationCountIsObservedFallingToZeroOnAWorker) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setSuspended(true);
    std::mutex mutex;
    std::vector<qint64> counts;
    std::atomic<bool> zeroOnWorker{false};
    auto observation = queue->observe("operationCount", KeyValueObservingOptionNew, [&](const KeyValueChangeInfo& c) {
        std::lock_guard lock(mutex);
        counts.push_back(c.newValue.toLongLong());
        if (c.newValue.toLongLong() == 0 && !isMainThread())
            zeroOnWorker = true;
    });
    for (int i = 0; i < 4; ++i)
        queue->addOperationWithBlock([] { QThread::msleep(2); });
    EXPECT_EQ(queue->valueForKey("operationCount").toLongLong(), 4);
    queue->setSuspended(false);
    // Four rises, then four falls told on the workers that finished them.
    ASSERT_TRUE(spinUntil([&] {
        std::lock_guard lock(mutex);
        return counts.size() == 8;
    }));
    EXPECT_TRUE(zeroOnWorker);
    std::lock_guard lock(mutex);
    EXPECT_EQ(std::vector<qint64>(counts.begin(), counts.begin() + 4), (std::vector<qint64>{1, 2, 3, 4}));
    for (size_t i = 4; i < counts.size(); ++i)
        EXPECT_LT(counts[i], 4);
}

TEST(Operation, ReadinessIsAnnouncedWhenTheLastDependencyFinishes) {
    auto first = std::make_shared<Operation>();
    auto second = std::make_shared<Operation>();
    auto op = std::make_shared<Operation>();
    op->addDependency(first);
    op->addDependency(second);
    op->addDependency(first);  // once only
    EXPECT_EQ(op->dependencies().size(), 2u);
    std::vector<bool> readiness;
    auto observation = op->observe("isReady", KeyValueObservingOptionNew,
                                   [&](const KeyValueChangeInfo& c) { readiness.push_back(c.newValue.toBool()); });
    EXPECT_FALSE(op->isReady());
    first->start();
    EXPECT_FALSE(op->isReady());
    EXPECT_TRUE(readiness.empty());
    second->cancel();
    second->start();  // a cancelled dependency finishes too
    EXPECT_TRUE(second->isFinished());
    EXPECT_TRUE(op->isReady());
    EXPECT_EQ(readiness, (std::vector<bool>{true}));
}

TEST(Operation, CompletionBlockRunsBeforeWaitersAreReleased) {
    auto queue = std::make_shared<OperationQueue>();
    std::atomic<bool> completed{false};
    std::atomic<bool> finishedInCompletion{false};
    auto op = BlockOperation::blockOperationWithBlock([] { QThread::msleep(5); });
    BlockOperation* self = op.get();
    op->setCompletionBlock([&, self] {
        finishedInCompletion = self->isFinished();
        completed = true;
    });
    queue->addOperation(op);
    op->waitUntilFinished();
    EXPECT_TRUE(completed);
    EXPECT_TRUE(finishedInCompletion);
    EXPECT_FALSE(op->completionBlock());  // let go once run
}

TEST(Operation, AnExceptionInMainStillFinishesTheOperation) {
    auto queue = std::make_shared<OperationQueue>();
    std::atomic<bool> afterRan{false};
    auto failing = BlockOperation::blockOperationWithBlock([] { throw std::runtime_error("render failed"); });
    auto after = BlockOperation::blockOperationWithBlock([&] { afterRan = true; });
    after->addDependency(failing);
    queue->addOperations({failing, after}, true);
    EXPECT_TRUE(failing->isFinished());
    EXPECT_TRUE(afterRan);
}

TEST(Operation, AddingTwiceOrAfterFinishingIsRefused) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setSuspended(true);
    auto op = std::make_shared<Operation>();
    queue->addOperation(op);
    queue->addOperation(op);
    auto other = std::make_shared<OperationQueue>();
    other->addOperation(op);
    EXPECT_EQ(queue->operationCount(), 1);
    EXPECT_EQ(other->operationCount(), 0);
    auto done = std::make_shared<Operation>();
    done->start();
    other->addOperation(done);
    EXPECT_EQ(other->operationCount(), 0);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
}

TEST(OperationQueue, OperationsOutliveTheirQueueObject) {
    std::atomic<int> ran{0};
    std::shared_ptr<Operation> last;
    {
        auto queue = std::make_shared<OperationQueue>();
        queue->setMaxConcurrentOperationCount(2);
        for (int i = 0; i < 10; ++i)
            queue->addOperationWithBlock([&] {
                QThread::msleep(2);
                ++ran;
            });
        last = BlockOperation::blockOperationWithBlock([&] { ++ran; });
        queue->addOperation(last);
    }
    last->waitUntilFinished();
    EXPECT_TRUE(spinUntil([&] { return ran == 11; }));
}

} // namespace ondrel
