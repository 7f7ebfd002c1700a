#include "actions/ActionClasses.h"

#include "actions/save/SaveAction.h"
#include "actions/save/SaveActionFilenameAnalysisToken.h"
#include "actions/save/SaveActionFilenameCounterToken.h"
#include "actions/save/SaveActionFilenameDateToken.h"
#include "actions/save/SaveActionFilenameFilenameToken.h"
#include "actions/save/SaveActionFilenamePropertyToken.h"
#include "actions/save/SaveActionFilenameTextFileToken.h"
#include "actions/save/SaveActionFilenameTextToken.h"
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
        SaveActionFilenameToken::staticClassInfo();
        SaveActionFilenameFilenameToken::staticClassInfo();
        SaveActionFilenameTextToken::staticClassInfo();
        SaveActionFilenameCounterToken::staticClassInfo();
        SaveActionFilenameDateToken::staticClassInfo();
        SaveActionFilenamePropertyToken::staticClassInfo();
        SaveActionFilenameAnalysisToken::staticClassInfo();
        SaveActionFilenameTextFileToken::staticClassInfo();
    });
}

} // namespace ondrel
