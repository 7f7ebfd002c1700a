#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Sets the output's gain so that a measure of the file (its analysed peak,
// RMS or loudness) comes to a target level; or, as a group, so that the
// loudest file of the run does and every file gets that one gain.
class NormalizeAction : public Action {
    ONDREL_OBJECT(NormalizeAction, Action)
public:
    // Starts at 0.0, "peak", off.
    NormalizeAction();

    // level, measurementType, isGroup.
    QStringList parameterKeys() const override;

    // The target: dB, or LUFS for "programLoudness".
    float level() const { return m_level; }
    void setLevel(float level);
    // The float property of the file that is measured: "peak", "RMS" or
    // "programLoudness" (which the catalog keeps in LU, 0 LU being -23 LUFS).
    QString measurementType() const { return m_measurementType; }
    void setMeasurementType(const QString& measurementType);
    // On: all files of the run are one group, measured by the loudest.
    bool isGroup() const { return m_isGroup; }
    void setIsGroup(bool isGroup);

    // The loudest measure of the run's files, kept by the first hook when
    // isGroup is on. Not a parameter.
    float groupLevel() const { return m_groupLevel; }

    // With isGroup on: groupLevel = "@max.<measurementType>" over all files.
    void willBeginConstructingProcessForFileEntity(
        const std::shared_ptr<FileEntity>& fileEntity,
        const std::vector<std::shared_ptr<FileEntity>>& allFileEntities) override;
    // Replaces the output's gain by t - m, in 32-bit float: t is level (plus
    // 23 for "programLoudness"), m is groupLevel, or the file's measure (t for
    // a silent file's infinite one, so that its gain is 0). The measure is the
    // stored analysis: earlier actions don't change it. A group whose loudest
    // measure is infinite gets an infinite gain. No file: nothing.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    float m_level;
    QString m_measurementType;
    bool m_isGroup;
    float m_groupLevel = 0.0f;
};

} // namespace ondrel
