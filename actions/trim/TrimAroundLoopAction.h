#pragma once

#include "process/workflow/Action.h"

#include <memory>
#include <vector>

namespace ondrel {

class Label;

// Removes the part of a file before its loop, after it, or both, by the
// file's first loop label.
class TrimAroundLoopAction : public Action {
    ONDREL_OBJECT(TrimAroundLoopAction, Action)
public:
    // Starts at off, off.
    TrimAroundLoopAction();

    // beforeLoop, afterLoop.
    QStringList parameterKeys() const override;

    // Removes the part before the loop.
    bool beforeLoop() const { return m_beforeLoop; }
    void setBeforeLoop(bool beforeLoop);
    // Removes the part after the loop.
    bool afterLoop() const { return m_afterLoop; }
    void setAfterLoop(bool afterLoop);

    // Takes the first loop label the file answers as the loop of this file.
    void willBeginConstructingProcessForFileEntity(
        const std::shared_ptr<FileEntity>& fileEntity,
        const std::vector<std::shared_ptr<FileEntity>>& allFileEntities) override;
    // Both switches: sourceStart and length of the loop. beforeLoop alone:
    // the loop's start, and the file's length minus it. afterLoop alone:
    // sourceStart cleared and the length the loop's end. Neither: nothing. A
    // file without a loop label reads as a loop at 0 of length 0.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

    // Forgets the loop.
    void didEndConstructingProcess() override;

private:
    bool m_beforeLoop;
    bool m_afterLoop;
    // The loop of the file being compiled; scratch data of one run.
    std::shared_ptr<Label> m_loop;
};

} // namespace ondrel
