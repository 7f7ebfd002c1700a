#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace ondrel {

// Tells ThreadSanitizer that what a thread did before handing work over
// happens before that work runs. Qt's thread pool and event queue
// synchronise inside an uninstrumented library, so without this the
// sanitizer sees no order between posting a block and running it and
// reports every captured value as a race.
//
// A channel is the address of a static object that names one hand-over
// route (a pool, the main event queue). It has to be a fixed address: the
// work's own captures can't be read on the receiving side before the
// hand-over is announced. send() before posting, receive() first thing in
// the work. Outside a ThreadSanitizer build both do nothing.
class ThreadHandOff {
public:
    static void send(const void* channel) {
#if defined(__SANITIZE_THREAD__)
        __tsan_release(const_cast<void*>(channel));
#else
        (void)channel;
#endif
    }
    static void receive(const void* channel) {
#if defined(__SANITIZE_THREAD__)
        __tsan_acquire(const_cast<void*>(channel));
#else
        (void)channel;
#endif
    }
};

} // namespace ondrel
