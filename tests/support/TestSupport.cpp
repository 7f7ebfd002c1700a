#include "tests/support/TestSupport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <mutex>

namespace ondrel {

bool spinUntil(const std::function<bool()>& condition, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(200);
    }
    return true;
}

void spinFor(int ms) {
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(200);
    }
}

TemporaryHome::TemporaryHome() : m_previous(qgetenv("ONDREL_HOME")), m_hadPrevious(qEnvironmentVariableIsSet("ONDREL_HOME")) {
    qputenv("ONDREL_HOME", m_dir.path().toUtf8());
}

TemporaryHome::~TemporaryHome() {
    if (m_hadPrevious)
        qputenv("ONDREL_HOME", m_previous);
    else
        qunsetenv("ONDREL_HOME");
}

ScopedEnvironment::ScopedEnvironment(const char* name, const QString& value)
    : m_name(name), m_previous(qgetenv(name)), m_hadPrevious(qEnvironmentVariableIsSet(name)) {
    if (value.isNull())
        qunsetenv(name);
    else
        qputenv(name, value.toUtf8());
}

ScopedEnvironment::~ScopedEnvironment() {
    if (m_hadPrevious)
        qputenv(m_name, m_previous);
    else
        qunsetenv(m_name);
}

namespace {
std::mutex g_warningsMutex;
QStringList g_warnings;

void collectWarning(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type != QtWarningMsg)
        return;
    std::lock_guard lock(g_warningsMutex);
    g_warnings.append(message);
}
} // namespace

WarningCollector::WarningCollector() {
    {
        std::lock_guard lock(g_warningsMutex);
        g_warnings.clear();
    }
    m_previous = qInstallMessageHandler(&collectWarning);
}

WarningCollector::~WarningCollector() { qInstallMessageHandler(m_previous); }

QStringList WarningCollector::messages() const {
    std::lock_guard lock(g_warningsMutex);
    return g_warnings;
}

void writeFile(const QString& path, const QByteArray& contents) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(contents), contents.size()) << path.toStdString();
}

} // namespace ondrel
