#pragma once

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <functional>
#include <memory>

#include <unistd.h>

namespace ondrel {

// Ctrl-C and SIGTERM during long work, as a readable pipe: the handler only
// writes a byte, the main thread reads it. The first signal asks for a stop
// and puts the default handling back, so that a second one ends the program.
class InterruptPipe {
public:
    // Installs the handlers of SIGINT and SIGTERM; the destructor puts the
    // previous ones back.
    InterruptPipe() {
        if (::pipe(s_fds) != 0) {
            s_fds[0] = s_fds[1] = -1;
            return;
        }
        struct sigaction action {};
        action.sa_handler = &InterruptPipe::handle;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART | SA_RESETHAND;
        ::sigaction(SIGINT, &action, &m_previousInt);
        ::sigaction(SIGTERM, &action, &m_previousTerm);
    }
    ~InterruptPipe() {
        ::sigaction(SIGINT, &m_previousInt, nullptr);
        ::sigaction(SIGTERM, &m_previousTerm, nullptr);
        for (int& fd : s_fds) {
            if (fd >= 0)
                ::close(fd);
            fd = -1;
        }
    }
    InterruptPipe(const InterruptPipe&) = delete;
    InterruptPipe& operator=(const InterruptPipe&) = delete;

    int readEnd() const { return s_fds[0]; }
    void drain() const {
        char byte;
        (void)!::read(s_fds[0], &byte, 1);
    }
    // Calls `onInterrupt` on the main thread for each signal while the
    // returned notifier lives; null when the pipe could not be made.
    std::unique_ptr<QSocketNotifier> notifyOnInterrupt(std::function<void()> onInterrupt) const {
        if (readEnd() < 0)
            return nullptr;
        auto notifier = std::make_unique<QSocketNotifier>(readEnd(), QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, [this, onInterrupt = std::move(onInterrupt)] {
            drain();
            onInterrupt();
        });
        return notifier;
    }

private:
    static void handle(int) {
        const int saved = errno;
        const char byte = 1;
        if (s_fds[1] >= 0)
            (void)!::write(s_fds[1], &byte, 1);
        // The other signal too goes back to its default: one more ends the program.
        ::signal(SIGINT, SIG_DFL);
        ::signal(SIGTERM, SIG_DFL);
        errno = saved;
    }

    static inline int s_fds[2] = {-1, -1};
    struct sigaction m_previousInt {};
    struct sigaction m_previousTerm {};
};

} // namespace ondrel
