#include "render/RenderClasses.h"

#include "catalog/CatalogClasses.h"
#include "render/automation/AudioAutomation.h"
#include "render/automation/ValueMap.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessController.h"
#include "render/controller/AudioProcessGroup.h"
#include "render/engine/EngineClasses.h"
#include "render/operation/AudioProcessOperation.h"
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
        ValueMap::staticClassInfo();
        AudioAutomation::staticClassInfo();
        AudioProcessOperation::staticClassInfo();
        AudioProcessController::staticClassInfo();
        AudioProcessGroup::staticClassInfo();
        AudioProcess::staticClassInfo();
        AudioProcessSourceConductor::staticClassInfo();
        AudioProcessMixerAudioProcessor::staticClassInfo();
        AudioProcessAudioFileWriterAudioProcessor::staticClassInfo();
    });
}

} // namespace ondrel
