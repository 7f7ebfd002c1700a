#include "actions/multioutput/ExtractChannelsAction.h"

#include "actions/multioutput/ChannelExtraction.h"

namespace ondrel {

const ClassInfo& ExtractChannelsAction::staticClassInfo() {
    using C = ExtractChannelsAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ExtractChannelsAction"))
            .property(QStringLiteral("suffixDelimiter"), &C::suffixDelimiter, &C::setSuffixDelimiter);
    return info;
}

ExtractChannelsAction::ExtractChannelsAction() : m_suffixDelimiter(QStringLiteral("-")) {}

QStringList ExtractChannelsAction::parameterKeys() const { return {QStringLiteral("suffixDelimiter")}; }

void ExtractChannelsAction::setSuffixDelimiter(const QString& suffixDelimiter) {
    setAndNotify(QStringLiteral("suffixDelimiter"), m_suffixDelimiter, suffixDelimiter);
}

qsizetype ExtractChannelsAction::numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>& fileEntity) {
    return ChannelExtraction::numberOfProcesses(fileEntity.get());
}

void ExtractChannelsAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype process) {
    ChannelExtraction::tieChannel(*sourceInstructions, process);
}

void ExtractChannelsAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>&,
    qsizetype) {
    instructions->setNumberOfChannels(1);
}

std::optional<QString> ExtractChannelsAction::filenameForProposedFilename(
    const QString& proposedFilename, const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) {
    return ChannelExtraction::filename(proposedFilename, m_suffixDelimiter, fileEntity.get(), process);
}

} // namespace ondrel
