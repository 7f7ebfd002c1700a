#include "actions/format/ChangeToAIFFAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToAIFFAction::staticClassInfo() {
    using C = ChangeToAIFFAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToAIFFAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint, &C::setFloatingPoint);
    return info;
}

ChangeToAIFFAction::ChangeToAIFFAction() : m_bitDepth(16), m_floatingPoint(false) {}

QStringList ChangeToAIFFAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("floatingPoint")};
}

void ChangeToAIFFAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToAIFFAction::setFloatingPoint(bool floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void ChangeToAIFFAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("AIFF File"));
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth, m_floatingPoint);
}

} // namespace ondrel
