#include "render/engine/EngineClasses.h"

#include "core/objects/CoreClasses.h"
#include "render/engine/automation/VMKAudioAutomation.h"
#include "render/engine/automation/VMKValueMap.h"
#include "render/engine/effects/APLConverterAudioProcessor.h"
#include "render/engine/effects/APLDynamicsAudioProcessor.h"
#include "render/engine/effects/APLTimePitchAudioProcessor.h"
#include "render/engine/effects/APLVarispeedAudioProcessor.h"
#include "render/engine/effects/GHZConverterAudioProcessor.h"
#include "render/engine/effects/GHZDitherAudioProcessor.h"
#include "render/engine/effects/VMKConverterAudioProcessor.h"
#include "render/engine/effects/VMKFaderAudioProcessor.h"
#include "render/engine/effects/VMKMixerAudioProcessor.h"
#include "render/engine/effects/VMKRemoveDCAudioProcessor.h"
#include "render/engine/effects/VMKRouterAudioProcessor.h"
#include "render/engine/files/VMKAudioFileAudioGenerator.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/graph/VMKAudioProcessor.h"
#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKHeadAudioProcessor.h"
#include "render/engine/meters/VMKLoudnessMeterAudioProcessor.h"
#include "render/engine/meters/VMKPitchDetectorAudioProcessor.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"
#include "render/engine/waveforms/VMKWaveform.h"

#include <mutex>

namespace ondrel {

void registerEngineClasses() {
    registerCoreClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        VMKAudioStream::staticClassInfo();
        VMKAudioProcessor::staticClassInfo();
        VMKHeadAudioProcessor::staticClassInfo();
        VMKAudioFileAudioGenerator::staticClassInfo();
        VMKAudioFileWriterAudioProcessor::staticClassInfo();
        VMKAudioLabel::staticClassInfo();
        VMKMixerAudioProcessor::staticClassInfo();
        VMKRouterAudioProcessor::staticClassInfo();
        VMKFaderAudioProcessor::staticClassInfo();
        VMKAudioAutomation::staticClassInfo();
        VMKValueMap::staticClassInfo();
        VMKWaveform::staticClassInfo();
        VMKMinMaxWaveform::staticClassInfo();
        GHZDitherAudioProcessor::staticClassInfo();
        VMKRemoveDCAudioProcessor::staticClassInfo();
        APLVarispeedAudioProcessor::staticClassInfo();
        APLDynamicsAudioProcessor::staticClassInfo();
        APLTimePitchAudioProcessor::staticClassInfo();
        VMKLoudnessMeterAudioProcessor::staticClassInfo();
        VMKPitchDetectorAudioProcessor::staticClassInfo();
        VMKConverterAudioProcessor::staticClassInfo();
        APLConverterAudioProcessor::staticClassInfo();
        GHZConverterAudioProcessor::staticClassInfo();
    });
}

} // namespace ondrel
