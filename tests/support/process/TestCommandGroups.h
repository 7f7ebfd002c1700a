#pragma once

#include "catalog/entities/FileEntity.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "tests/support/process/TestFileEntities.h"

#include <memory>

namespace ondrel {

// A run named `name` with one command for each of `count` real file entities
// (each file 10 ms long), in order. With `failing` every render fails, as a
// real render does: it needs a rate converter that doesn't exist.
inline std::shared_ptr<AudioProcessCommandGroup> testCommandGroup(const QString& name, int count, bool rehearse = true,
                                                                  bool failing = true) {
    auto group = std::make_shared<AudioProcessCommandGroup>();
    group->setName(name);
    group->setRehearse(rehearse);
    std::vector<std::shared_ptr<AudioProcessCommand>> commands;
    for (int i = 0; i < count; ++i) {
        auto source = std::make_shared<AudioProcessCommandSourceInstructions>();
        source->setFileEntity(testFileEntity(0.01));
        auto sources = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
        sources->setSourceInstructions({source});
        auto command = std::make_shared<AudioProcessCommand>();
        command->setSourceInstructionsGroup(sources);
        if (failing) {
            auto instructions = std::make_shared<AudioProcessCommandInstructions>();
            instructions->setSampleRate(48000.0);
            instructions->setConverterName(QStringLiteral("No Such Converter"));
            command->setProcessInstructions(instructions);
        }
        commands.push_back(std::move(command));
    }
    group->setAudioProcessCommands(commands);
    return group;
}

} // namespace ondrel
