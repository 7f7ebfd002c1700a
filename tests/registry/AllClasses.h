#pragma once

#include "actions/ActionClasses.h"
#include "catalog/CatalogClasses.h"

namespace ondrel {

// Every library's classes, for the sweep: the actions and the catalog sit
// side by side above the file processes.
inline void registerAllClasses() {
    registerActionClasses();
    registerCatalogClasses();
}

} // namespace ondrel
