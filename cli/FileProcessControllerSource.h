#pragma once

#include "process/interfaces/ProcessControllerSource.h"

namespace ondrel {

// The process controllers as the command line has them: the shared
// AudioProcessController on the audio side, the shared FileProcessController
// on the file side.
class FileProcessControllerSource : public ProcessControllerSource {
public:
    // The shared AudioProcessController, made (and its history read) at the
    // first call.
    ObjectPtr audioProcessController() override;
    // The shared FileProcessController, made (and its history read) at the
    // first call.
    ObjectPtr fileProcessController() override;
};

} // namespace ondrel
