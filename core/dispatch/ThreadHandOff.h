#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>

#include <memory>
#endif

namespace ondrel {

// Tells ThreadSanitizer that what one thread did before handing work to
// another happens before that work runs. Qt's thread pool and event queue
// synchronise inside an uninstrumented library, so without this the
// sanitizer sees no order between posting a block and running it and
// reports every captured value as a race.
//
// Make one where the work is handed over, carry it with the work, and call
// received() where the work starts. Outside a ThreadSanitizer build it is
// empty and costs nothing.
class ThreadHandOff {
public:
#if defined(__SANITIZE_THREAD__)
    ThreadHandOff() : m_token(std::make_shared<char>()) { __tsan_release(m_token.get()); }
    void received() const { __tsan_acquire(m_token.get()); }

private:
    std::shared_ptr<char> m_token;
#else
    void received() const {}
#endif
};

} // namespace ondrel
