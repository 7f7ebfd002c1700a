#pragma once

#include "core/objects/Variant.h"

namespace ondrel {

// Runs file process commands (adding files to the catalog and the like): the
// file process controller. The commands are objects made by class name
// ("AddFilesFileProcessCommand" ...). Any thread may call it.
class FileProcessCommandExecutor {
public:
    virtual ~FileProcessCommandExecutor() = default;
    // Makes the process the command names, keeps it and starts it. Answers
    // the process, or null when there is no process class for the command.
    virtual ObjectPtr executeFileProcessCommand(const ObjectPtr& command) = 0;
};

} // namespace ondrel
