#pragma once

#include <QtCore/QString>

#include <functional>
#include <memory>

namespace ondrel {

// Where work runs.
//  - main(): the Qt event loop of the main thread (the interface, timers).
//  - global(priority): concurrent pools sized for blocking work (compiles,
//    uploads, adding files), not only for cores; background runs at low
//    thread priority.
//  - createSerial(label): one worker, first in first out.
class DispatchQueue {
public:
    enum class Priority { Default, Background };

    virtual ~DispatchQueue() = default;

    static DispatchQueue& main();
    static DispatchQueue& global(Priority priority = Priority::Default);
    static std::shared_ptr<DispatchQueue> createSerial(const QString& label);

    // Every block given to a queue is callable (not empty).
    virtual void async(std::function<void()> block) = 0;
    // Runs the block and waits for it. On the queue's own thread (or main
    // from the main thread) the block runs at once, without deadlock.
    virtual void sync(std::function<void()> block) = 0;
    // Runs the block after `seconds`.
    virtual void asyncAfter(double seconds, std::function<void()> block) = 0;
    // True when the calling thread is running this queue's work.
    virtual bool isCurrent() const = 0;

    const QString& label() const { return m_label; }

protected:
    explicit DispatchQueue(QString label) : m_label(std::move(label)) {}

private:
    QString m_label;
};

// Posts a block to the main queue.
void dispatchMain(std::function<void()> block);
bool isMainThread();

} // namespace ondrel
