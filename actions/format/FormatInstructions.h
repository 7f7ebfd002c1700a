#pragma once

#include "catalog/entities/FileEntity.h"
#include "process/instructions/AudioProcessCommandEffectInstructions.h"
#include "process/instructions/AudioProcessCommandInstructions.h"

#include <memory>
#include <optional>

namespace ondrel {

// Writes shared by the format actions.
namespace FormatInstructions {

// The rule of the first depth: a source with a depth of its own keeps it, so
// that changing the container alone never reduces a 24-bit file to 16 bits.
// Only a source without one (a compressed file, whose bitDepth reads 0) gets
// `bitDepth`, and `floatingPoint` with it when given. A missing file counts
// as one without a depth.
inline void setFirstBitDepth(AudioProcessCommandInstructions& instructions, const FileEntity* fileEntity,
                             quint64 bitDepth, std::optional<bool> floatingPoint = std::nullopt) {
    Q_ASSERT(fileEntity);
    if (fileEntity && fileEntity->bitDepth() != 0)
        return;
    instructions.setBitDepth(qint64(bitDepth));
    if (floatingPoint)
        instructions.setFloatingPoint(*floatingPoint);
}

// Appends the dither processor at the end of the output's chain, so that the
// order of actions is the order of the chain.
inline void appendDither(AudioProcessCommandInstructions& instructions, quint64 bitDepth, const QString& shape,
                         const QString& amount, bool autoBlanking) {
    auto effect = std::make_shared<AudioProcessCommandEffectInstructions>();
    effect->setProcessorClassName(QStringLiteral("GHZDitherAudioProcessor"));
    effect->addParameterValue(bitDepth, QStringLiteral("bitDepth"));
    effect->addParameterValue(shape, QStringLiteral("noiseShaping"));
    effect->addParameterValue(amount, QStringLiteral("amount"));
    effect->addParameterValue(autoBlanking, QStringLiteral("autoBlankingEnabled"));
    instructions.insertObjectInEffectInstructionsAtIndex(effect, instructions.countOfEffectInstructions());
}

}  // namespace FormatInstructions

} // namespace ondrel
