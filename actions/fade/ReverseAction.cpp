#include "actions/fade/ReverseAction.h"

namespace ondrel {

const ClassInfo& ReverseAction::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ReverseAction, Action>(QStringLiteral("ReverseAction"));
    return info;
}

void ReverseAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    if (main && main->fileEntity())
        main->setReverse(true);
}

} // namespace ondrel
