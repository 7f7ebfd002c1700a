#pragma once

#include "process/interfaces/ProcessControllerSource.h"

namespace ondrel {

// The process controllers as the command line has them: the shared
// FileProcessController on the file side; no audio process controller yet,
// so nothing on the audio side.
class FileProcessControllerSource : public ProcessControllerSource {
public:
    // Null: this program has no audio process controller.
    ObjectPtr audioProcessController() override;
    // The shared FileProcessController, made (and its history read) at the
    // first call.
    ObjectPtr fileProcessController() override;
};

} // namespace ondrel
