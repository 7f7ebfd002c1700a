#include "logging/LoggingClasses.h"

#include "core/objects/CoreClasses.h"
#include "logging/LogController.h"

#include <mutex>

namespace ondrel {

void registerLoggingClasses() {
    registerCoreClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        LogController::staticClassInfo();
    });
}

} // namespace ondrel
