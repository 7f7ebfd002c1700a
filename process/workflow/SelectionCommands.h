#pragma once

#include "core/values/DoubleRange.h"
#include "core/files/URL.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"

#include <memory>
#include <vector>

namespace ondrel {

class AudioProcessCommandGroup;

// The commands on the selected part of one file, outside any workflow: crop
// keeps the selection, snip cuts it out. Each builds one command group by
// hand (one audio command with no actions and default output instructions,
// then one add-files command that puts the result into the catalog) and
// hands it straight to the installed command group executor.
//
// The selection is in seconds. A selection of length 0 or less does
// nothing and answers null; so does an empty chosen URL (a cancelled save
// panel). The entity is any FileEntity; its "length" is read by key. Each
// command answers the group it handed on.
class SelectionCommands {
public:
    // The add-files command is made by this class name through the class
    // registry, as file process commands are run.
    static const QString AddFilesFileProcessCommandClassName;

    // The selection alone, written to the chosen file (its folder and its
    // name without extension).
    template <class E>
    static std::shared_ptr<AudioProcessCommandGroup> crop(const std::shared_ptr<E>& fileEntity,
                                                          const DoubleRange& selection, const URL& chosenURL) {
        return perform(Crop, fileEntity, selection, chosenURL);
    }
    // The selection alone, in place of the file.
    template <class E>
    static std::shared_ptr<AudioProcessCommandGroup> cropInPlace(const std::shared_ptr<E>& fileEntity,
                                                                 const DoubleRange& selection) {
        return perform(CropInPlace, fileEntity, selection, URL());
    }
    // The file without the selection, written to the chosen file, replacing
    // it when it exists already.
    template <class E>
    static std::shared_ptr<AudioProcessCommandGroup> snip(const std::shared_ptr<E>& fileEntity,
                                                          const DoubleRange& selection, const URL& chosenURL) {
        return perform(Snip, fileEntity, selection, chosenURL);
    }
    // The file without the selection, in place of the file.
    template <class E>
    static std::shared_ptr<AudioProcessCommandGroup> snipInPlace(const std::shared_ptr<E>& fileEntity,
                                                                 const DoubleRange& selection) {
        return perform(SnipInPlace, fileEntity, selection, URL());
    }

private:
    enum Kind { Crop, CropInPlace, Snip, SnipInPlace };

    static bool isPossible(Kind kind, const DoubleRange& selection, const URL& chosenURL);
    static bool isSnip(Kind kind) { return kind == Snip || kind == SnipInPlace; }

    template <class E>
    static std::shared_ptr<AudioProcessCommandGroup> perform(Kind kind, const std::shared_ptr<E>& fileEntity,
                                                             const DoubleRange& selection, const URL& chosenURL) {
        if (!fileEntity || !isPossible(kind, selection, chosenURL))
            return nullptr;
        // Every source is of the same file.
        std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>> sources(isSnip(kind) ? 2 : 1);
        for (auto& source : sources) {
            source = std::make_shared<AudioProcessCommandSourceInstructions>();
            source->setFileEntity(fileEntity);
        }
        return build(kind, std::move(sources), selection, chosenURL);
    }

    static std::shared_ptr<AudioProcessCommandGroup> build(
        Kind kind, std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>> sources,
        const DoubleRange& selection, const URL& chosenURL);
};

} // namespace ondrel
