#include "actions/ActionClasses.h"

#include "actions/save/SaveAction.h"
#include "catalog/CatalogClasses.h"
#include "process/ProcessClasses.h"

#include <mutex>

namespace ondrel {

void registerActionClasses() {
    registerProcessClasses();
    registerCatalogClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        SaveAction::staticClassInfo();
    });
}

} // namespace ondrel
