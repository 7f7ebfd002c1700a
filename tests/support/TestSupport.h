#pragma once

#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <functional>
#include <memory>

namespace ondrel {

// Runs the main queue (the Qt event loop of this thread) until `condition`
// holds or `timeoutMs` passes; answers whether the condition held.
bool spinUntil(const std::function<bool()>& condition, int timeoutMs = 10000);

// Runs the main queue for about `ms` milliseconds.
void spinFor(int ms);

// A private ONDREL_HOME for one test: set on construction, restored and
// removed on destruction.
class TemporaryHome {
public:
    TemporaryHome();
    ~TemporaryHome();
    QString path() const { return m_dir.path(); }
    QString filePath(const QString& name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
    QByteArray m_previous;
    bool m_hadPrevious;
};

} // namespace ondrel
