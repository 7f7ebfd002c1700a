#include "process/ProcessClasses.h"

#include "logging/LoggingClasses.h"
#include "render/engine/EngineClasses.h"
#include "process/application/ApplicationDelegate.h"
#include "process/instructions/AudioProcessCommand.h"
#include "process/instructions/AudioProcessCommandEffectInstructions.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/instructions/AudioProcessCommandInstructions.h"
#include "process/instructions/AudioProcessCommandLabelInstructions.h"
#include "process/instructions/AudioProcessCommandPropertyInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"
#include "process/workflow/Action.h"
#include "process/workflow/WorkflowController.h"

#include <mutex>

namespace ondrel {

void registerProcessClasses() {
    registerLoggingClasses();
    registerEngineClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        AudioProcessCommand::staticClassInfo();
        AudioProcessCommandEffectInstructions::staticClassInfo();
        AudioProcessCommandGroup::staticClassInfo();
        AudioProcessCommandInstructions::staticClassInfo();
        AudioProcessCommandLabelInstructions::staticClassInfo();
        AudioProcessCommandPropertyInstructions::staticClassInfo();
        AudioProcessCommandSourceInstructions::staticClassInfo();
        AudioProcessCommandSourceInstructionsGroup::staticClassInfo();
        AudioProcessCommandSourceTieInstructions::staticClassInfo();
        Action::staticClassInfo();
        WorkflowController::staticClassInfo();
        ApplicationDelegate::staticClassInfo();
    });
}

} // namespace ondrel
