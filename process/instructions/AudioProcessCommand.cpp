#include "process/instructions/AudioProcessCommand.h"

namespace ondrel {

const ClassInfo& AudioProcessCommand::staticClassInfo() {
    using C = AudioProcessCommand;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommand"))
            .property(QStringLiteral("replaceOriginal"), &C::replaceOriginal, &C::setReplaceOriginal)
            .property(QStringLiteral("sourceInstructionsGroup"), &C::sourceInstructionsGroup,
                      &C::setSourceInstructionsGroup)
            .property(QStringLiteral("processInstructions"), &C::processInstructions, &C::setProcessInstructions)
            .addProperty(
                QStringLiteral("destination"),
                [](const Object* o) {
                    const URL& url = static_cast<const C*>(o)->m_destination;
                    return url.isEmpty() ? QVariant() : QVariant::fromValue(url);
                },
                [](Object* o, const QVariant& v) {
                    static_cast<C*>(o)->setDestination(v.canConvert<URL>() ? v.value<URL>() : URL());
                })
            .property(QStringLiteral("filename"), &C::filename, &C::setFilename);
    return info;
}

void AudioProcessCommand::setReplaceOriginal(bool replaceOriginal) {
    setAndNotify(QStringLiteral("replaceOriginal"), m_replaceOriginal, replaceOriginal);
}

void AudioProcessCommand::setSourceInstructionsGroup(
    std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> group) {
    setAndNotify(QStringLiteral("sourceInstructionsGroup"), m_sourceInstructionsGroup, std::move(group));
}

void AudioProcessCommand::setProcessInstructions(std::shared_ptr<AudioProcessCommandInstructions> instructions) {
    setAndNotify(QStringLiteral("processInstructions"), m_processInstructions, std::move(instructions));
}

void AudioProcessCommand::setDestination(const URL& destination) {
    setAndNotify(QStringLiteral("destination"), m_destination, destination);
}

void AudioProcessCommand::setFilename(const std::optional<QString>& filename) {
    setAndNotify(QStringLiteral("filename"), m_filename, filename);
}

} // namespace ondrel
