#include "actions/format/ChangeToCAFAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToCAFAction::staticClassInfo() {
    using C = ChangeToCAFAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToCAFAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint, &C::setFloatingPoint)
            .property(QStringLiteral("encoding"), &C::encoding, &C::setEncoding)
            .property(QStringLiteral("bitrate"), &C::bitrate, &C::setBitrate);
    return info;
}

ChangeToCAFAction::ChangeToCAFAction()
    : m_bitDepth(16),
      m_floatingPoint(false),
      m_encoding(QStringLiteral("PCM")),
      m_bitrate(160000) {}

QStringList ChangeToCAFAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("floatingPoint"), QStringLiteral("encoding"),
            QStringLiteral("bitrate")};
}

void ChangeToCAFAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToCAFAction::setFloatingPoint(bool floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void ChangeToCAFAction::setEncoding(const QString& encoding) {
    setAndNotify(QStringLiteral("encoding"), m_encoding, encoding);
}

void ChangeToCAFAction::setBitrate(quint64 bitrate) { setAndNotify(QStringLiteral("bitrate"), m_bitrate, bitrate); }

void ChangeToCAFAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("CAF File"));
    instructions->setEncoding(m_encoding);
    if (m_encoding == QStringLiteral("AAC"))
        instructions->setBitrate(qint64(m_bitrate));
    else
        FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth, m_floatingPoint);
}

} // namespace ondrel
