#include "tests/support/TestSupport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

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

} // namespace ondrel
