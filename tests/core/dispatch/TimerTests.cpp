#include "core/dispatch/Timer.h"

#include "core/dispatch/DispatchQueue.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>

namespace ondrel {

TEST(Timer, OneShotFiresOnceOnTheMainThreadAndBecomesInvalid) {
    QElapsedTimer clock;
    clock.start();
    int fired = 0;
    qint64 firedAt = -1;
    bool onMain = false;
    auto timer = Timer::scheduledTimer(0.08, false, [&] {
        ++fired;
        firedAt = clock.elapsed();
        onMain = isMainThread();
    });
    EXPECT_TRUE(timer->isValid());
    ASSERT_TRUE(spinUntil([&] { return fired > 0; }));
    spinFor(200);
    EXPECT_EQ(fired, 1);
    EXPECT_GE(firedAt, 75);
    EXPECT_TRUE(onMain);
    EXPECT_FALSE(timer->isValid());
}

TEST(Timer, RepeatsUntilInvalidatedFromItsOwnBlock) {
    int fired = 0;
    std::weak_ptr<Timer> weak;
    {
        // The caller keeps no reference: the scheduled timer keeps itself.
        auto timer = Timer::scheduledTimer(0.02, true, [&] {
            if (++fired == 4)
                weak.lock()->invalidate();
        });
        weak = timer;
    }
    ASSERT_TRUE(spinUntil([&] { return fired >= 4; }));
    spinFor(150);
    EXPECT_EQ(fired, 4);
    EXPECT_TRUE(weak.expired());  // released once invalidated
}

TEST(Timer, ScheduledFromAWorkerRunsOnMainAndStopsWhenInvalidatedFromAWorker) {
    std::atomic<int> fired{0};
    std::atomic<bool> allOnMain{true};
    std::shared_ptr<Timer> timer;
    std::atomic<bool> scheduled{false};
    DispatchQueue::global().async([&] {
        timer = Timer::scheduledTimer(0.02, true, [&] {
            allOnMain = allOnMain && isMainThread();
            ++fired;
        });
        scheduled = true;
    });
    ASSERT_TRUE(spinUntil([&] { return scheduled && fired >= 3; }));
    std::atomic<bool> invalidated{false};
    DispatchQueue::global().async([&] {
        timer->invalidate();
        invalidated = true;
    });
    ASSERT_TRUE(spinUntil([&] { return invalidated.load(); }));
    EXPECT_FALSE(timer->isValid());
    spinFor(30);  // lets the main thread take the invalidation in
    const int afterInvalidate = fired;
    spinFor(150);
    EXPECT_EQ(fired.load(), afterInvalidate);
    EXPECT_TRUE(allOnMain);
}

TEST(Timer, InvalidatedBeforeItFiresNeverRuns) {
    bool fired = false;
    auto timer = Timer::scheduledTimer(0.03, false, [&] { fired = true; });
    timer->invalidate();
    spinFor(120);
    EXPECT_FALSE(fired);
    EXPECT_FALSE(timer->isValid());
}

} // namespace ondrel
