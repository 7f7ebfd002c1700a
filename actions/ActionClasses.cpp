#include "actions/ActionClasses.h"

#include "actions/save/SaveAction.h"
#include "process/ProcessClasses.h"

#include <mutex>

namespace ondrel {

void registerActionClasses() {
    registerProcessClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        SaveAction::staticClassInfo();
    });
}

} // namespace ondrel
