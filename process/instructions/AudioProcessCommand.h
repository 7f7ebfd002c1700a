#pragma once

#include "core/objects/Object.h"
#include "core/files/URL.h"
#include "core/text/VMKError.h"
#include "process/instructions/AudioProcessCommandInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"

#include <memory>
#include <optional>

namespace ondrel {

// One output file: its sources, its output side, and where it goes. Nothing
// is filled in on creation.
class AudioProcessCommand : public Object {
    ONDREL_OBJECT(AudioProcessCommand, Object)
public:
    AudioProcessCommand() = default;

    // The output takes the place of the source file.
    bool replaceOriginal() const { return m_replaceOriginal; }
    void setReplaceOriginal(bool replaceOriginal);

    // The sources; every built command has one.
    std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> sourceInstructionsGroup() const {
        return m_sourceInstructionsGroup;
    }
    void setSourceInstructionsGroup(std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> group);

    // The output side; absent means all defaults.
    std::shared_ptr<AudioProcessCommandInstructions> processInstructions() const { return m_processInstructions; }
    void setProcessInstructions(std::shared_ptr<AudioProcessCommandInstructions> instructions);

    // Folder of the output; the empty URL is absent (as with replaceOriginal,
    // where the source's folder applies). By key, absent reads as absent.
    URL destination() const { return m_destination; }
    void setDestination(const URL& destination);

    // Output base name without extension; the writer adds the format's.
    std::optional<QString> filename() const { return m_filename; }
    void setFilename(const std::optional<QString>& filename);

    // At most five lines: "set theSource to {…}", "set theInstructions to
    // {…}", "set theDestination to posix file \"…\"" with a destination, and
    // "process sources theSource with instructions theInstructions", with
    // " to folder theDestination", " with filename \"…\"" and " replace
    // original true" as they apply; each line ends with a line end.
    QString scriptDescription() const override;
    // Reads the arguments of the "process sources" command: "sources" (a list
    // of source records, required), "instructions" (an instructions record),
    // "destination" (a URL, or a path), "filename" and "replaceOriginal".
    // Null, with the error, when a record in them can't be read.
    static std::shared_ptr<AudioProcessCommand> initWithScriptArguments(const QVariantMap& arguments,
                                                                        VMKError* error = nullptr);

private:
    bool m_replaceOriginal = false;
    std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> m_sourceInstructionsGroup;
    std::shared_ptr<AudioProcessCommandInstructions> m_processInstructions;
    URL m_destination;
    std::optional<QString> m_filename;
};

} // namespace ondrel
