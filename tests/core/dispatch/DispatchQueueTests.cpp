#include "core/dispatch/DispatchQueue.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace ondrel {

TEST(DispatchQueueMain, AsyncBlocksRunInOrderThroughTheEventLoop) {
    std::vector<int> order;
    std::atomic<bool> ranOnMain{true};
    for (int i = 0; i < 5; ++i)
        dispatchMain([&order, &ranOnMain, i] {
            ranOnMain = ranOnMain && isMainThread() && DispatchQueue::main().isCurrent();
            order.push_back(i);
        });
    EXPECT_TRUE(order.empty());  // nothing runs before the event loop does
    ASSERT_TRUE(spinUntil([&] { return order.size() == 5; }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_TRUE(ranOnMain);
}

TEST(DispatchQueueMain, SyncFromWorkerWaitsForTheMainThreadAndFromMainRunsAtOnce) {
    bool inline_ = false;
    DispatchQueue::main().sync([&] { inline_ = true; });
    EXPECT_TRUE(inline_);

    std::atomic<bool> workerDone{false};
    std::atomic<bool> blockOnMain{false};
    DispatchQueue::global().async([&] {
        DispatchQueue::main().sync([&] { blockOnMain = isMainThread(); });
        workerDone = true;
    });
    ASSERT_TRUE(spinUntil([&] { return workerDone.load(); }));
    EXPECT_TRUE(blockOnMain);
    EXPECT_FALSE(DispatchQueue::global().isCurrent());
}

TEST(DispatchQueueMain, AsyncAfterWaitsAtLeastTheDelay) {
    QElapsedTimer clock;
    clock.start();
    std::atomic<qint64> firedAt{-1};
    DispatchQueue::main().asyncAfter(0.15, [&] { firedAt = clock.elapsed(); });
    std::atomic<bool> fromWorker{false};
    DispatchQueue::global().async(
        [&] { DispatchQueue::main().asyncAfter(0.05, [&] { fromWorker = isMainThread(); }); });
    ASSERT_TRUE(spinUntil([&] { return firedAt >= 0 && fromWorker; }));
    EXPECT_GE(firedAt.load(), 140);
}

TEST(DispatchQueueSerial, KeepsEachSendersOrderAndRunsOneBlockAtATime) {
    auto queue = DispatchQueue::createSerial("test.serial");
    std::mutex mutex;
    std::vector<int> order;
    std::atomic<int> inside{0}, overlap{0};
    // Two senders enqueue at once; each one's order must survive, and no two blocks may overlap.
    const auto send = [&](int first) {
        for (int i = first; i < first + 100; ++i)
            queue->async([&, i] {
                overlap += inside.fetch_add(1) != 0;
                QThread::usleep(50);
                inside.fetch_sub(1);
                std::lock_guard lock(mutex);
                order.push_back(i);
            });
    };
    std::thread other([&] { send(1000); });
    send(0);
    other.join();
    queue->sync([] {});
    EXPECT_EQ(overlap.load(), 0);
    ASSERT_EQ(order.size(), 200u);
    std::vector<int> fromEach[2];
    for (int value : order)
        fromEach[value / 1000].push_back(value % 1000);
    EXPECT_TRUE(std::is_sorted(fromEach[0].begin(), fromEach[0].end()));
    EXPECT_EQ(fromEach[0], fromEach[1]);
}

TEST(DispatchQueueSerial, SyncWaitsBehindEarlierBlocksAndRunsInlineOnItsOwnQueue) {
    auto queue = DispatchQueue::createSerial("test.sync");
    std::vector<int> order;
    std::atomic<bool> release{false};
    queue->async([&] {
        while (!release)
            QThread::msleep(1);
        order.push_back(1);
    });
    DispatchQueue::global().async([&] {
        QThread::msleep(30);
        release = true;
    });
    queue->sync([&] { order.push_back(2); });  // must wait for the first block
    EXPECT_EQ(order, (std::vector<int>{1, 2}));

    // sync from a block already on the queue, nested through another queue.
    auto other = DispatchQueue::createSerial("test.other");
    std::atomic<bool> nestedRan{false};
    std::atomic<bool> wasCurrent{false};
    queue->async([&] {
        other->sync([&] {
            queue->sync([&] {
                wasCurrent = queue->isCurrent() && other->isCurrent();
                nestedRan = true;
            });
        });
    });
    ASSERT_TRUE(spinUntil([&] { return nestedRan.load(); }, 5000));
    EXPECT_TRUE(wasCurrent);
    EXPECT_FALSE(queue->isCurrent());
}

TEST(DispatchQueueSerial, BlocksStillRunAfterTheQueueIsReleased) {
    std::atomic<int> ran{0};
    {
        auto queue = DispatchQueue::createSerial("test.released");
        for (int i = 0; i < 10; ++i)
            queue->async([&] { ++ran; });
        queue->asyncAfter(0.05, [&] { ++ran; });
    }
    EXPECT_TRUE(spinUntil([&] { return ran == 11; }));
}

TEST(DispatchQueueGlobal, RunsBlockingWorkConcurrentlyBeyondTheCoreCount) {
    // Blocks that wait on each other need the pool to be wider than the cores.
    constexpr int width = 16;
    std::atomic<int> arrived{0};
    std::atomic<int> finished{0};
    for (int i = 0; i < width; ++i)
        DispatchQueue::global().async([&] {
            ++arrived;
            QDeadlineTimer deadline(5000);
            while (arrived < width && !deadline.hasExpired())
                QThread::msleep(1);
            ++finished;
        });
    ASSERT_TRUE(spinUntil([&] { return finished == width; }));
    EXPECT_EQ(arrived.load(), width);
}

TEST(DispatchQueueGlobal, BackgroundQueueRunsAtLowPriorityAndSyncRunsOnTheCaller) {
    std::atomic<int> priority{-1};
    std::atomic<bool> current{false};
    DispatchQueue::global(DispatchQueue::Priority::Background).async([&] {
        current = DispatchQueue::global(DispatchQueue::Priority::Background).isCurrent() &&
                  !DispatchQueue::global().isCurrent();
        priority = int(QThread::currentThread()->priority());
    });
    ASSERT_TRUE(spinUntil([&] { return priority >= 0; }));
    EXPECT_EQ(priority.load(), int(QThread::LowestPriority));
    EXPECT_TRUE(current);

    Qt::HANDLE thread = nullptr;
    bool wasCurrent = false;
    DispatchQueue::global().sync([&] {
        thread = QThread::currentThreadId();
        wasCurrent = DispatchQueue::global().isCurrent();
    });
    EXPECT_EQ(thread, QThread::currentThreadId());
    EXPECT_TRUE(wasCurrent);
}

TEST(DispatchQueueGlobal, AsyncAfterHandsTheBlockToItsQueue) {
    QElapsedTimer clock;
    clock.start();
    std::atomic<qint64> firedAt{-1};
    std::atomic<bool> onQueue{false};
    auto serial = DispatchQueue::createSerial("test.after");
    std::vector<int> order;
    std::atomic<int> count{0};
    // Later deadlines scheduled first still run after earlier ones.
    serial->asyncAfter(0.12, [&] {
        order.push_back(2);
        ++count;
    });
    serial->asyncAfter(0.04, [&] {
        order.push_back(1);
        ++count;
    });
    DispatchQueue::global().asyncAfter(0.1, [&] {
        onQueue = DispatchQueue::global().isCurrent() && !isMainThread();
        firedAt = clock.elapsed();
    });
    ASSERT_TRUE(spinUntil([&] { return firedAt >= 0 && count == 2; }));
    EXPECT_GE(firedAt.load(), 95);
    EXPECT_TRUE(onQueue);
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

} // namespace ondrel
