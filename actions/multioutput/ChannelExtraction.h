#pragma once

#include "catalog/entities/FileEntity.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"
#include "render/engine/channels/VMKAudioChannelManager.h"

#include <limits>
#include <memory>

namespace ondrel {

// The work of the actions that make one output file per channel of a source
// (ExtractChannelsAction, DeinterleaveAction), which behave alike.
namespace ChannelExtraction {

// One output per channel of the file.
inline qsizetype numberOfProcesses(const FileEntity* fileEntity) {
    Q_ASSERT(fileEntity);
    return fileEntity ? qsizetype(fileEntity->channels()) : 0;
}

// Routes channel `process` of the main source alone to the output's first
// channel.
inline void tieChannel(AudioProcessCommandSourceInstructionsGroup& sourceInstructions, qsizetype process) {
    Q_ASSERT(process >= 0);
    const auto main = sourceInstructions.mainSourceInstructions();
    Q_ASSERT(main);
    if (!main)
        return;
    auto tie = std::make_shared<AudioProcessCommandSourceTieInstructions>();
    tie->setInputChannelIndex(quint64(process));
    tie->setOutputChannelIndex(0);
    main->insertObjectInSourceTieInstructionsAtIndex(tie, main->countOfSourceTieInstructions());
}

// The proposed name, the delimiter and the abbreviation of channel `process`
// in the usual layout of the file's channel count ("Take-L", "Take-R").
// A count with no usual layout (none, or more than eight channels) has no
// abbreviations: the channel's number from 1 stands in for it ("Take-9").
inline QString filename(const QString& proposedFilename, const QString& delimiter, const FileEntity* fileEntity,
                        qsizetype process) {
    const quint64 channels = fileEntity ? fileEntity->channels() : 0;
    std::shared_ptr<VMKAudioChannelSet> set;
    if (channels <= std::numeric_limits<uint32_t>::max())
        set = VMKAudioChannelManager::manager().setForNumberOfChannels(uint32_t(channels));
    if (set && process >= 0 && size_t(process) < set->countOfDescriptions())
        return proposedFilename + delimiter + set->objectInDescriptionsAtIndex(size_t(process)).abbreviation();
    return proposedFilename + delimiter + QString::number(process + 1);
}

}  // namespace ChannelExtraction

} // namespace ondrel
