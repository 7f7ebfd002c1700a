#include "actions/format/ChangeToAUAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToAUAction::staticClassInfo() {
    using C = ChangeToAUAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToAUAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint, &C::setFloatingPoint)
            .property(QStringLiteral("encoding"), &C::encoding, &C::setEncoding);
    return info;
}

ChangeToAUAction::ChangeToAUAction() : m_bitDepth(16), m_floatingPoint(false), m_encoding(QStringLiteral("PCM")) {}

QStringList ChangeToAUAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("floatingPoint"), QStringLiteral("encoding")};
}

void ChangeToAUAction::setBitDepth(quint64 bitDepth) { setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth); }

void ChangeToAUAction::setFloatingPoint(bool floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void ChangeToAUAction::setEncoding(const QString& encoding) {
    setAndNotify(QStringLiteral("encoding"), m_encoding, encoding);
}

void ChangeToAUAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("AU File"));
    instructions->setEncoding(m_encoding);
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth, m_floatingPoint);
}

} // namespace ondrel
