#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes one mono output file per channel of each source, named with the
// channel's abbreviation behind a delimiter ("Take-L", "Take-R"). The
// user's own choice of what ExtractChannelsAction does; the two behave
// alike.
class DeinterleaveAction : public Action {
    ONDREL_OBJECT(DeinterleaveAction, Action)
public:
    // The delimiter starts as "-".
    DeinterleaveAction();

    // suffixDelimiter.
    QStringList parameterKeys() const override;
    // True: the action splits the channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Text between the proposed name and the channel's abbreviation.
    QString suffixDelimiter() const { return m_suffixDelimiter; }
    void setSuffixDelimiter(const QString& suffixDelimiter);

    // The file's channel count.
    qsizetype numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>& fileEntity) override;
    // Adds to the main source one route of its channel `process` to the
    // output's channel 0.
    void compileSourceInstructions(
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
        qsizetype process) override;
    // Writes one output channel.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;
    // The proposed name, the delimiter and the abbreviation of channel
    // `process` in the usual layout of the file's channel count; the
    // channel's number from 1 where the count has no usual layout.
    std::optional<QString> filenameForProposedFilename(const QString& proposedFilename,
                                                       const std::shared_ptr<FileEntity>& fileEntity,
                                                       qsizetype process) override;

private:
    QString m_suffixDelimiter;
};

} // namespace ondrel
