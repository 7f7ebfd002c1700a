#pragma once

#include "core/objects/Variant.h"

namespace ondrel {

// Runs file process commands (adding files to the catalog and the like): the
// file process controller. The commands are objects made by class name
// ("AddFilesFileProcessCommand" ...). Called on the main thread.
class FileProcessCommandExecutor {
public:
    virtual ~FileProcessCommandExecutor() = default;
    virtual void executeFileProcessCommand(const ObjectPtr& command) = 0;
};

} // namespace ondrel
