#include "core/dispatch/NotificationCenter.h"

#include "core/dispatch/DispatchQueue.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace ondrel {

TEST(NotificationCenter, DeliversByNameAndObjectInOrderOfRegistration) {
    NotificationCenter center;
    int senderA = 0;
    int senderB = 0;
    std::vector<QString> heard;
    center.addObserver("Changed", &senderA,
                       [&](const Notification& n) { heard.push_back("A:" + n.userInfo().value("value").toString()); });
    center.addObserver("Changed", nullptr, [&](const Notification& n) {
        heard.push_back(QString("any:") + (n.object() == &senderA ? "a" : "b"));
    });
    center.addObserver(QString(), nullptr, [&](const Notification& n) { heard.push_back("all:" + n.name()); });
    center.addObserver("Other", &senderB, [&](const Notification&) { heard.push_back("otherB"); });

    center.postNotification("Changed", &senderA, {{"value", 1}});
    EXPECT_EQ(heard, (std::vector<QString>{"A:1", "any:a", "all:Changed"}));
    heard.clear();
    center.postNotification("Changed", &senderB);
    EXPECT_EQ(heard, (std::vector<QString>{"any:b", "all:Changed"}));
    heard.clear();
    center.postNotification("Other", &senderA);
    center.postNotification(Notification("Other", &senderB));
    EXPECT_EQ(heard, (std::vector<QString>{"all:Other", "all:Other", "otherB"}));
}

TEST(NotificationCenter, DeliversOnThePostingThreadAndTheDefaultCenterIsShared) {
    EXPECT_EQ(&NotificationCenter::defaultCenter(), &NotificationCenter::defaultCenter());
    NotificationCenter& center = NotificationCenter::defaultCenter();
    std::atomic<Qt::HANDLE> deliveredOn{nullptr};
    const auto token = center.addObserver("WaveformPreviewsDidChange", nullptr,
                                          [&](const Notification&) { deliveredOn = QThread::currentThreadId(); });
    std::atomic<Qt::HANDLE> postedOn{nullptr};
    DispatchQueue::global().async([&] {
        postedOn = QThread::currentThreadId();
        NotificationCenter::defaultCenter().postNotification("WaveformPreviewsDidChange");
    });
    ASSERT_TRUE(spinUntil([&] { return deliveredOn.load() != nullptr; }));
    EXPECT_EQ(deliveredOn.load(), postedOn.load());
    center.removeObserver(token);
}

TEST(NotificationCenter, ObserversMayPostAddAndRemoveFromTheirBlocks) {
    NotificationCenter center;
    int outer = 0;
    int inner = 0;
    int late = 0;
    NotificationCenter::ObserverToken self = 0;
    self = center.addObserver("Outer", nullptr, [&](const Notification&) {
        ++outer;
        center.postNotification("Inner");
        center.addObserver("Outer", nullptr, [&](const Notification&) { ++late; });
        center.removeObserver(self);  // removing itself does not wait for itself
    });
    center.addObserver("Inner", nullptr, [&](const Notification&) { ++inner; });
    center.postNotification("Outer");
    center.postNotification("Outer");
    EXPECT_EQ(outer, 1);
    EXPECT_EQ(inner, 1);
    EXPECT_EQ(late, 1);  // added during the first post, heard from the second on
}

TEST(NotificationCenter, RemovalWaitsForACallUnderWayOnAnotherThread) {
    NotificationCenter center;
    std::atomic<bool> entered{false};
    std::atomic<bool> left{false};
    std::atomic<int> calls{0};
    const auto token = center.addObserver("Slow", nullptr, [&](const Notification&) {
        ++calls;
        entered = true;
        QThread::msleep(60);
        left = true;
    });
    std::thread poster([&] { center.postNotification("Slow"); });
    QDeadlineTimer deadline(5000);
    while (!entered && !deadline.hasExpired())
        QThread::msleep(1);
    ASSERT_TRUE(entered);
    center.removeObserver(token);
    EXPECT_TRUE(left);  // removeObserver returned only after the call ended
    poster.join();
    center.postNotification("Slow");
    EXPECT_EQ(calls.load(), 1);
}

} // namespace ondrel
