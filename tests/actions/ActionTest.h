#pragma once

#include "catalog/entities/FileEntity.h"
#include "process/instructions/AudioProcessCommandInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "process/workflow/Action.h"

#include "tests/support/catalog/CatalogTestSupport.h"

#include <memory>
#include <vector>

namespace ondrel {

// Actions compiled against real cataloged files, as a run compiles them.
class ActionTest : public CatalogTest {
protected:
    // A PCM WAVE file of `frames` at 48 kHz (0.1 s by default), as an entity.
    std::shared_ptr<FileEntity> waveFile(const QString& name, int channels, int bits, qint64 frames = 4800);
    // A stereo Ogg Vorbis file made by oggenc, whose bitDepth reads 0.
    std::shared_ptr<FileEntity> oggFile();

    // The action of that class, made by name as a stored workflow makes it.
    static std::shared_ptr<Action> make(const QString& className);
    // A source group whose main source is the file.
    static std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> sourcesOf(const std::shared_ptr<FileEntity>& file);
    // Runs compileInstructions of each action in order on `instructions` (new
    // ones when null) for the file's process `process`, and answers them.
    static std::shared_ptr<AudioProcessCommandInstructions> compile(
        const std::vector<std::shared_ptr<Action>>& actions, const std::shared_ptr<FileEntity>& file,
        std::shared_ptr<AudioProcessCommandInstructions> instructions = nullptr, qsizetype process = 0);

    // One file's first process compiled as a run compiles it: every hook of
    // every action in the run's order, with `allFiles` (the file alone when
    // empty) as the run's files.
    struct Compiled {
        std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> sources;
        std::shared_ptr<AudioProcessCommandInstructions> instructions;
    };
    static Compiled compileRun(const std::vector<std::shared_ptr<Action>>& actions,
                               const std::shared_ptr<FileEntity>& file,
                               std::vector<std::shared_ptr<FileEntity>> allFiles = {});
};

} // namespace ondrel
