#include "actions/format/ChangeToVorbisAction.h"

namespace ondrel {

const ClassInfo& ChangeToVorbisAction::staticClassInfo() {
    using C = ChangeToVorbisAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToVorbisAction"))
            .property(QStringLiteral("quality"), &C::quality, &C::setQuality);
    return info;
}

ChangeToVorbisAction::ChangeToVorbisAction() : m_quality(0.4) {}

QStringList ChangeToVorbisAction::parameterKeys() const { return {QStringLiteral("quality")}; }

void ChangeToVorbisAction::setQuality(double quality) { setAndNotify(QStringLiteral("quality"), m_quality, quality); }

void ChangeToVorbisAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setFormat(QStringLiteral("Ogg Vorbis Audio File"));
    instructions->addArgumentValue(m_quality, QStringLiteral("quality"));
}

} // namespace ondrel
