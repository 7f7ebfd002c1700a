#pragma once

namespace ondrel {

// The application object as its delegate sees it when quitting: after the
// delegate answered that termination comes later, it replies here once the
// work has ended. A reply of true goes on with the pending termination, false
// cancels it; a reply with no termination pending is ignored. Replies may
// come from any thread.
class TerminableApplication {
public:
    virtual ~TerminableApplication() = default;
    virtual void replyToApplicationShouldTerminate(bool shouldTerminate) = 0;
};

} // namespace ondrel
