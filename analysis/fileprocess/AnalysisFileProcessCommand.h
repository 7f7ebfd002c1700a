#pragma once

#include "fileprocesses/FileProcessCommand.h"

namespace ondrel {

// Measures file entities in the background: "items" are the FileEntity
// objects to analyse. Adds nothing to its base.
class AnalysisFileProcessCommand : public FileProcessCommand {
    ONDREL_OBJECT(AnalysisFileProcessCommand, FileProcessCommand)

public:
    AnalysisFileProcessCommand();
    ~AnalysisFileProcessCommand() override;
};

} // namespace ondrel
