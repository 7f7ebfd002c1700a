#include "render/RenderClasses.h"

#include "catalog/CatalogClasses.h"
#include "render/engine/EngineClasses.h"
#include "render/processors/AudioProcessAudioFileWriterAudioProcessor.h"
#include "render/processors/AudioProcessMixerAudioProcessor.h"
#include "render/processors/AudioProcessSourceConductor.h"

#include <mutex>

namespace ondrel {

void registerRenderClasses() {
    registerEngineClasses();
    registerCatalogClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        AudioProcessSourceConductor::staticClassInfo();
        AudioProcessMixerAudioProcessor::staticClassInfo();
        AudioProcessAudioFileWriterAudioProcessor::staticClassInfo();
    });
}

} // namespace ondrel
