#pragma once

#include "process/interfaces/AudioProcessCommandGroupFactory.h"

#include <QtCore/QString>

#include <memory>
#include <vector>

namespace ondrel {

class Action;
class AudioProcessCommandGroup;
class FileEntity;

// Turns the file entities of a run, its enabled actions and a save action
// into one group of commands: one command per output, each with its
// sources, its output instructions, its folder and its name; and the file
// processes that follow. Pure construction: it renders nothing, and reads
// nothing from outside but bookmarks and a names file.
//
// The steps, in their order: the file process commands the actions answer
// (after the add-results command, when asked for); the group's name from the
// other actions' names; the common path of the entities; an implicit channel
// extraction when the first entity is a split file and no action deals with
// channels itself; the counter and names list of the filename components;
// then for each entity, and for each of its processes, the actions' source
// hooks, their output hooks, the destination, the subfolders, the name from
// the components, the actions' filename hooks and the clean-up of the name.
//
// One compile runs on one thread; the actions it is given hold scratch state
// between their first and last hook for a file, so two compiles must not
// share actions (a run compiles copies).
class AudioProcessCommandGroupCompiler : public AudioProcessCommandGroupFactory {
public:
    // The group. `saveAction` is the SaveAction that names and places the
    // outputs; any other action (or null) reads as one with no destination,
    // no components and every option off. Never null.
    std::shared_ptr<AudioProcessCommandGroup> initWithEntities(
        const std::vector<std::shared_ptr<FileEntity>>& entities, const std::vector<std::shared_ptr<Action>>& actions,
        const std::shared_ptr<Action>& saveAction) override;

    // The metadata key whose title, in the user's language, is `title`:
    // the first match of the metadata table; empty when none.
    static QString metadataKeyForTitle(const QString& title);

    // What the name of an output keeps of `name`: "/" becomes "-", and
    // control and format characters drop out.
    static QString cleanFilename(const QString& name);
};

} // namespace ondrel
