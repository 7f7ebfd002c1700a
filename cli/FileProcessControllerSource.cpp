#include "cli/FileProcessControllerSource.h"

#include "fileprocesses/FileProcessController.h"

namespace ondrel {

ObjectPtr FileProcessControllerSource::audioProcessController() { return nullptr; }

ObjectPtr FileProcessControllerSource::fileProcessController() { return FileProcessController::sharedInstance(); }

} // namespace ondrel
