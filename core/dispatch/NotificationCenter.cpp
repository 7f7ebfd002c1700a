#include "core/dispatch/NotificationCenter.h"

#include <QtCore/QDebug>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <thread>

namespace ondrel {

struct NotificationCenter::Registration {
    ObserverToken token = 0;
    QString name;
    const void* object = nullptr;
    std::function<void(const Notification&)> block;

    // Calls under way, by thread, so that removal can wait for the others.
    std::mutex mutex;
    std::condition_variable idle;
    std::vector<std::thread::id> callers;
    bool removed = false;

    void call(const Notification& notification) {
        const auto self = std::this_thread::get_id();
        {
            std::lock_guard lock(mutex);
            if (removed)
                return;
            callers.push_back(self);
        }
        try {
            block(notification);
        } catch (const std::exception& e) {
            qWarning().noquote() << "Uncaught exception in an observer of" << notification.name() << ":" << e.what();
        } catch (...) {
            qWarning().noquote() << "Uncaught exception in an observer of" << notification.name();
        }
        {
            std::lock_guard lock(mutex);
            callers.erase(std::find(callers.begin(), callers.end(), self));
        }
        idle.notify_all();
    }

    // Marks the registration removed and waits for calls on other threads.
    void remove() {
        const auto self = std::this_thread::get_id();
        std::unique_lock lock(mutex);
        removed = true;
        idle.wait(lock, [&] { return std::all_of(callers.begin(), callers.end(), [&](auto id) { return id == self; }); });
    }
};

NotificationCenter& NotificationCenter::defaultCenter() {
    // Never destroyed: observers may unregister from static destructors.
    static NotificationCenter* center = new NotificationCenter;
    return *center;
}

NotificationCenter::NotificationCenter() = default;

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::ObserverToken NotificationCenter::addObserver(const QString& name, const void* object,
                                                                  std::function<void(const Notification&)> block) {
    Q_ASSERT(block);
    auto registration = std::make_shared<Registration>();
    registration->name = name;
    registration->object = object;
    registration->block = std::move(block);
    std::lock_guard lock(m_mutex);
    registration->token = m_nextToken++;
    m_byName[name].push_back(registration);
    m_byToken.insert(registration->token, registration);
    return registration->token;
}

void NotificationCenter::removeObserver(ObserverToken token) {
    std::shared_ptr<Registration> registration;
    {
        std::lock_guard lock(m_mutex);
        registration = m_byToken.take(token);
        if (!registration)
            return;
        auto it = m_byName.find(registration->name);
        if (it != m_byName.end()) {
            auto& list = it.value();
            list.erase(std::find(list.begin(), list.end(), registration));
            if (list.empty())
                m_byName.erase(it);
        }
    }
    registration->remove();
}

void NotificationCenter::postNotification(const Notification& notification) {
    std::vector<std::shared_ptr<Registration>> targets;
    {
        std::lock_guard lock(m_mutex);
        const auto collect = [&](const QString& name) {
            const auto it = m_byName.constFind(name);
            if (it == m_byName.constEnd())
                return;
            for (const auto& r : it.value())
                if (!r->object || r->object == notification.object())
                    targets.push_back(r);
        };
        collect(notification.name());
        if (!notification.name().isEmpty())
            collect(QString());
    }
    // Both lists are in order of addition; merged, observers hear in that order.
    std::sort(targets.begin(), targets.end(), [](const auto& a, const auto& b) { return a->token < b->token; });
    for (const auto& r : targets)
        r->call(notification);
}

void NotificationCenter::postNotification(const QString& name, const void* object, const QVariantMap& userInfo) {
    postNotification(Notification(name, object, userInfo));
}

} // namespace ondrel
