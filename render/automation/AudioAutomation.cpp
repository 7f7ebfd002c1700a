#include "render/automation/AudioAutomation.h"

#include "render/automation/ValueMap.h"

namespace ondrel {

const ClassInfo& AudioAutomation::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<AudioAutomation, VMKAudioAutomation>(QStringLiteral("AudioAutomation"));
    return info;
}

AudioAutomation::AudioAutomation() = default;
AudioAutomation::~AudioAutomation() = default;

const ClassInfo& AudioAutomation::valueMapClass() const { return ValueMap::staticClassInfo(); }

} // namespace ondrel
