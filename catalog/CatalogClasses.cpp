#include "catalog/CatalogClasses.h"

#include "catalog/adding/AddFilesFileProcess.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/entities/Label.h"
#include "fileprocesses/FileProcessClasses.h"

#include <mutex>

namespace ondrel {

void registerCatalogClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        registerFileProcessClasses();
        Entity::staticClassInfo();
        FileEntity::staticClassInfo();
        GroupEntity::staticClassInfo();
        ChannelDetails::staticClassInfo();
        Label::staticClassInfo();
        EntityController::staticClassInfo();
        AddFilesFileProcessCommand::staticClassInfo();
        AddFilesFileProcess::staticClassInfo();
    });
}

} // namespace ondrel
