#include "catalog/controller/CatalogFileEntitySource.h"

#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "core/dispatch/DispatchQueue.h"

namespace ondrel {

std::vector<std::shared_ptr<FileEntity>> CatalogFileEntitySource::fileEntitiesForKey(const QString& key) {
    if (key == QLatin1String("allFileEntities"))
        return EntityController::sharedInstance()->allFileEntities();
    if (key != QLatin1String("selectedFileEntities"))
        return {};
    std::vector<std::shared_ptr<FileEntity>> selected;
    // The selection is the tree controller's, which only the main thread touches.
    DispatchQueue::main().sync([&selected] { selected = EntityController::sharedInstance()->selectedFileEntities(); });
    return selected;
}

} // namespace ondrel
