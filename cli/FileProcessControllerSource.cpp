#include "cli/FileProcessControllerSource.h"

#include "fileprocesses/FileProcessController.h"
#include "render/controller/AudioProcessController.h"

namespace ondrel {

ObjectPtr FileProcessControllerSource::audioProcessController() { return AudioProcessController::sharedInstance(); }

ObjectPtr FileProcessControllerSource::fileProcessController() { return FileProcessController::sharedInstance(); }

} // namespace ondrel
