#include "actions/format/ChangeToWAVEAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToWAVEAction::staticClassInfo() {
    using C = ChangeToWAVEAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToWAVEAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint, &C::setFloatingPoint)
            .property(QStringLiteral("encoding"), &C::encoding, &C::setEncoding);
    return info;
}

ChangeToWAVEAction::ChangeToWAVEAction() : m_bitDepth(16), m_floatingPoint(false), m_encoding(QStringLiteral("PCM")) {}

QStringList ChangeToWAVEAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("floatingPoint"), QStringLiteral("encoding")};
}

void ChangeToWAVEAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToWAVEAction::setFloatingPoint(bool floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void ChangeToWAVEAction::setEncoding(const QString& encoding) {
    setAndNotify(QStringLiteral("encoding"), m_encoding, encoding);
}

void ChangeToWAVEAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("WAVE File"));
    instructions->setEncoding(m_encoding);
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth, m_floatingPoint);
}

} // namespace ondrel
