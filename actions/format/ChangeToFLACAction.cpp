#include "actions/format/ChangeToFLACAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToFLACAction::staticClassInfo() {
    using C = ChangeToFLACAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToFLACAction"))
            .property(QStringLiteral("compression"), &C::compression, &C::setCompression)
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth);
    return info;
}

ChangeToFLACAction::ChangeToFLACAction() : m_compression(1.0), m_bitDepth(16) {}

QStringList ChangeToFLACAction::parameterKeys() const {
    return {QStringLiteral("compression"), QStringLiteral("bitDepth")};
}

void ChangeToFLACAction::setCompression(double compression) {
    setAndNotify(QStringLiteral("compression"), m_compression, compression);
}

void ChangeToFLACAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToFLACAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("FLAC Audio File"));
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth);
    instructions->addArgumentValue(m_compression, QStringLiteral("compression"));
}

} // namespace ondrel
