#pragma once

#include <memory>
#include <vector>

class Action;
class AudioProcessCommandGroup;
class FileEntity;
class SaveAction;

// Compiles one command group of a run from the run's file entities, the
// actions that take part (enabled ones, in workflow order) and the save
// action that places and names the outputs. Called on a background queue.
class AudioProcessCommandGroupFactory {
public:
    virtual ~AudioProcessCommandGroupFactory() = default;
    // The group, or null when nothing could be compiled.
    virtual std::shared_ptr<AudioProcessCommandGroup> initWithEntities(
        const std::vector<std::shared_ptr<FileEntity>>& entities, const std::vector<std::shared_ptr<Action>>& actions,
        const std::shared_ptr<SaveAction>& saveAction) = 0;
};
