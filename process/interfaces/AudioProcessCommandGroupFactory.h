#pragma once

#include <memory>
#include <vector>

namespace ondrel {

class Action;
class AudioProcessCommandGroup;
class FileEntity;

// Compiles one command group of a run from the run's file entities, the
// actions that take part (enabled ones, in workflow order) and the save
// action (a "SaveAction") that places and names the outputs. Called on a background queue.
class AudioProcessCommandGroupFactory {
public:
    virtual ~AudioProcessCommandGroupFactory() = default;
    // The group, or null when nothing could be compiled.
    virtual std::shared_ptr<AudioProcessCommandGroup> initWithEntities(
        const std::vector<std::shared_ptr<FileEntity>>& entities, const std::vector<std::shared_ptr<Action>>& actions,
        const std::shared_ptr<Action>& saveAction) = 0;
};

} // namespace ondrel
