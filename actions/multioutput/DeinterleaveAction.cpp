#include "actions/multioutput/DeinterleaveAction.h"

#include "actions/multioutput/ChannelExtraction.h"

namespace ondrel {

const ClassInfo& DeinterleaveAction::staticClassInfo() {
    using C = DeinterleaveAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("DeinterleaveAction"))
            .property(QStringLiteral("suffixDelimiter"), &C::suffixDelimiter, &C::setSuffixDelimiter);
    return info;
}

DeinterleaveAction::DeinterleaveAction() : m_suffixDelimiter(QStringLiteral("-")) {}

QStringList DeinterleaveAction::parameterKeys() const { return {QStringLiteral("suffixDelimiter")}; }

void DeinterleaveAction::setSuffixDelimiter(const QString& suffixDelimiter) {
    setAndNotify(QStringLiteral("suffixDelimiter"), m_suffixDelimiter, suffixDelimiter);
}

qsizetype DeinterleaveAction::numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>& fileEntity) {
    return ChannelExtraction::numberOfProcesses(fileEntity.get());
}

void DeinterleaveAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype process) {
    ChannelExtraction::tieChannel(*sourceInstructions, process);
}

void DeinterleaveAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>&,
    qsizetype) {
    instructions->setNumberOfChannels(1);
}

std::optional<QString> DeinterleaveAction::filenameForProposedFilename(
    const QString& proposedFilename, const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) {
    return ChannelExtraction::filename(proposedFilename, m_suffixDelimiter, fileEntity.get(), process);
}

} // namespace ondrel
