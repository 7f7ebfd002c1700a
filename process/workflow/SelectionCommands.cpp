#include "process/workflow/SelectionCommands.h"

#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommand.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/interfaces/AudioProcessCommandGroupExecutor.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "process/interfaces/ProcessInterfaces.h"

namespace ondrel {

const QString SelectionCommands::AddFilesFileProcessCommandClassName = QStringLiteral("AddFilesFileProcessCommand");

namespace {

QString groupNameKey(int kind) {
    static const QString keys[] = {QStringLiteral("Controller_crop"), QStringLiteral("Controller_cropInPlace"),
                                   QStringLiteral("Controller_snip"), QStringLiteral("Controller_snipInPlace")};
    return keys[kind];
}

} // namespace

bool SelectionCommands::isPossible(Kind kind, const DoubleRange& selection, const URL& chosenURL) {
    if (!(selection.length > 0.0))
        return false;
    const bool inPlace = kind == CropInPlace || kind == SnipInPlace;
    return inPlace || !chosenURL.isEmpty();
}

std::shared_ptr<AudioProcessCommandGroup> SelectionCommands::build(
    Kind kind, std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>> sources,
    const DoubleRange& selection, const URL& chosenURL) {
    if (isSnip(kind)) {
        // Before the selection, then after it, closing the gap.
        const ObjectPtr file = sources[0]->fileEntityObject();
        const double fileLength = file ? file->valueForKey(QStringLiteral("length")).toDouble() : 0.0;
        sources[0]->setLength(selection.location);
        sources[1]->setLocation(selection.location);
        sources[1]->setSourceStart(selection.end());
        sources[1]->setLength(fileLength - selection.end());
    } else {
        sources[0]->setSourceStart(selection.location);
        sources[0]->setLength(selection.length);
    }
    auto sourceGroup = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
    sourceGroup->setSourceInstructions(sources);

    auto command = std::make_shared<AudioProcessCommand>();
    command->setSourceInstructionsGroup(std::move(sourceGroup));
    switch (kind) {
    case Crop:
    case Snip:
        command->setDestination(chosenURL.URLByDeletingLastPathComponent());
        command->setFilename(chosenURL.filename());
        // Snipping onto an existing file replaces it.
        if (kind == Snip && chosenURL.exists())
            command->setReplaceOriginal(true);
        break;
    case CropInPlace:
    case SnipInPlace:
        command->setReplaceOriginal(true);
        break;
    }

    auto group = std::make_shared<AudioProcessCommandGroup>();
    group->setName(VMKLocalizedString(groupNameKey(kind)));
    if (ObjectPtr addFiles = ClassRegistry::create(AddFilesFileProcessCommandClassName))
        group->insertObjectInFileProcessCommandsAtIndex(std::move(addFiles), group->countOfFileProcessCommands());
    else
        LogController::sharedInstance()->logWithLevel(
            LogController::Error, VMKLocalizedString(QStringLiteral("SelectionCommands_log_error_noAddFilesCommand")));
    group->insertObjectInAudioProcessCommandsAtIndex(std::move(command), 0);

    if (const auto executor = ProcessInterfaces::audioProcessCommandGroupExecutor())
        executor->executeAudioProcessCommandGroup(group);
    else
        LogController::sharedInstance()->logWithLevel(
            LogController::Error,
            VMKLocalizedString(QStringLiteral("SelectionCommands_log_error_noAudioProcessController")));
    return group;
}

} // namespace ondrel
