#pragma once

#include "render/engine/automation/VMKAudioAutomation.h"

namespace ondrel {

// The automation of renders and previews: its value map is a ValueMap, so
// that it takes a fade shape by name.
class AudioAutomation : public VMKAudioAutomation {
    ONDREL_OBJECT(AudioAutomation, VMKAudioAutomation)

public:
    AudioAutomation();
    ~AudioAutomation() override;

    const ClassInfo& valueMapClass() const override;
};

} // namespace ondrel
