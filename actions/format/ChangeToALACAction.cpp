#include "actions/format/ChangeToALACAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToALACAction::staticClassInfo() {
    using C = ChangeToALACAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToALACAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth);
    return info;
}

ChangeToALACAction::ChangeToALACAction() : m_bitDepth(16) {}

QStringList ChangeToALACAction::parameterKeys() const { return {QStringLiteral("bitDepth")}; }

void ChangeToALACAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToALACAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("M4A Audio File"));
    instructions->setEncoding(QStringLiteral("ALAC"));
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth);
}

} // namespace ondrel
