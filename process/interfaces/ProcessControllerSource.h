#pragma once

#include "core/objects/Variant.h"

namespace ondrel {

// The two process controllers, the audio one and the file one, as the
// application delegate sees them: objects whose "processing" (a boolean) and
// "operationCount" are observable. Asking for one makes the shared controller
// (and opens its database) when it doesn't exist yet. Observation of either
// key may be told on any thread.
class ProcessControllerSource {
public:
    virtual ~ProcessControllerSource() = default;
    virtual ObjectPtr audioProcessController() = 0;
    virtual ObjectPtr fileProcessController() = 0;
};

} // namespace ondrel
