#include "fileprocesses/FileProcessClasses.h"

#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessCommand.h"
#include "fileprocesses/FileProcessController.h"
#include "process/ProcessClasses.h"

#include <mutex>

namespace ondrel {

void registerFileProcessClasses() {
    registerProcessClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        FileProcessCommand::staticClassInfo();
        FileProcess::staticClassInfo();
        FileProcessController::staticClassInfo();
    });
}

} // namespace ondrel
