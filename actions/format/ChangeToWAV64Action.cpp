#include "actions/format/ChangeToWAV64Action.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToWAV64Action::staticClassInfo() {
    using C = ChangeToWAV64Action;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToWAV64Action"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint, &C::setFloatingPoint);
    return info;
}

ChangeToWAV64Action::ChangeToWAV64Action() : m_bitDepth(16), m_floatingPoint(false) {}

QStringList ChangeToWAV64Action::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("floatingPoint")};
}

void ChangeToWAV64Action::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToWAV64Action::setFloatingPoint(bool floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void ChangeToWAV64Action::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("Wave64 File"));
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth, m_floatingPoint);
}

} // namespace ondrel
