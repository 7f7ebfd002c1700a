#pragma once

#include <cstdint>

namespace ondrel {

// Codes of the errors the engine's graph and buffers report (as VMKError).
enum VMKEngineErrorCode : int64_t {
    VMKEngineErrorInvalidArgument = 1,   // a value out of range (frames, channels, indexes)
    VMKEngineErrorFormat = 2,            // connections that disagree on channels, rate or block size
    VMKEngineErrorGraph = 3,             // a graph that can't run: no head, a loose bus, a cycle
    VMKEngineErrorState = 4,             // an operation out of order (start before initialize ...)
    VMKEngineErrorRender = 5,            // a pull that failed without saying why
    VMKEngineErrorDescription = 6,       // a stream description that can't be built
};

} // namespace ondrel
