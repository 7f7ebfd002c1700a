#pragma once

#include "core/values/DoubleRange.h"
#include "core/objects/Object.h"
#include "core/text/VMKError.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"

#include <memory>
#include <vector>

namespace ondrel {

// The ordered sources mixed into one output. The first is the main source,
// the file the process was compiled for; sources that actions add follow it.
class AudioProcessCommandSourceInstructionsGroup : public Object {
    ONDREL_OBJECT(AudioProcessCommandSourceInstructionsGroup, Object)
public:
    AudioProcessCommandSourceInstructionsGroup() = default;

    const std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>>& sourceInstructions() const {
        return m_sourceInstructions;
    }
    void setSourceInstructions(const std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>>& list);
    qsizetype countOfSourceInstructions() const { return qsizetype(m_sourceInstructions.size()); }
    std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>> enumeratorOfSourceInstructions() const {
        return m_sourceInstructions;
    }
    std::shared_ptr<AudioProcessCommandSourceInstructions> objectInSourceInstructionsAtIndex(qsizetype index) const;
    void insertObjectInSourceInstructionsAtIndex(std::shared_ptr<AudioProcessCommandSourceInstructions> object,
                                                 qsizetype index);
    void removeObjectFromSourceInstructionsAtIndex(qsizetype index);

    // The first source, or null when there is none.
    std::shared_ptr<AudioProcessCommandSourceInstructions> mainSourceInstructions() const;

    // The span of the output's timeline that the sources occupy. A source's
    // length is its `length`, or, when that reads 0 (absent included), the
    // `length` of its file, whatever its `sourceStart`; it starts at its
    // `location` (absent: 0). An empty group answers the largest finite double
    // as location and its negative as length.
    DoubleRange range() const;

    // The list of the sources' records: "{{|entity|:…},{|entity|:…}}".
    QString scriptDescription() const override;
    // Reads a list of source records, each through the source reader, in
    // order. Null, with the error, for a value that isn't a list or when a
    // source can't be read.
    static std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> initWithScriptArguments(
        const QVariant& arguments, VMKError* error = nullptr);

private:
    std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>> m_sourceInstructions;
};

} // namespace ondrel
