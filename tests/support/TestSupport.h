#pragma once

#include "core/files/URL.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <functional>
#include <memory>
#include <ostream>

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

// Sets (or, with a null value, unsets) an environment variable for one scope.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const QString& value);
    ~ScopedEnvironment();

private:
    const char* m_name;
    QByteArray m_previous;
    bool m_hadPrevious;
};

// Collects the warnings logged while it lives (one at a time).
class WarningCollector {
public:
    WarningCollector();
    ~WarningCollector();
    QStringList messages() const;
    qsizetype count() const { return messages().size(); }

private:
    QtMessageHandler m_previous;
};

// Writes `contents` to the file at `path`, replacing it; fails the test when it can't.
void writeFile(const QString& path, const QByteArray& contents = "data");

// Readable URLs in failure messages.
inline void PrintTo(const URL& url, std::ostream* os) { *os << '"' << url.path().toStdString() << '"'; }

} // namespace ondrel
