#include "render/RenderClasses.h"

#include "catalog/CatalogClasses.h"
#include "render/engine/EngineClasses.h"

#include <mutex>

namespace ondrel {

void registerRenderClasses() {
    registerEngineClasses();
    registerCatalogClasses();
    static std::once_flag once;
    std::call_once(once, [] {
    });
}

} // namespace ondrel
