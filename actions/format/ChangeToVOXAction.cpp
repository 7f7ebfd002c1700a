#include "actions/format/ChangeToVOXAction.h"

namespace ondrel {

const ClassInfo& ChangeToVOXAction::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ChangeToVOXAction, Action>(QStringLiteral("ChangeToVOXAction"));
    return info;
}

void ChangeToVOXAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setFormat(QStringLiteral("VOX Audio File"));
    instructions->setEncoding(QStringLiteral("µLaw"));
    instructions->setBitDepth(8);
    instructions->setNumberOfChannels(1);
    instructions->setSampleRate(8000.0);
}

} // namespace ondrel
