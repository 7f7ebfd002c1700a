#include "actions/format/ChangeToAACAction.h"

namespace ondrel {

const ClassInfo& ChangeToAACAction::staticClassInfo() {
    using C = ChangeToAACAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToAACAction"))
            .property(QStringLiteral("bitrate"), &C::bitrate, &C::setBitrate)
            .property(QStringLiteral("useVariableBitrate"), &C::useVariableBitrate, &C::setUseVariableBitrate);
    return info;
}

ChangeToAACAction::ChangeToAACAction() : m_bitrate(320000), m_useVariableBitrate(false) {}

QStringList ChangeToAACAction::parameterKeys() const {
    return {QStringLiteral("bitrate"), QStringLiteral("useVariableBitrate")};
}

void ChangeToAACAction::setBitrate(quint64 bitrate) { setAndNotify(QStringLiteral("bitrate"), m_bitrate, bitrate); }

void ChangeToAACAction::setUseVariableBitrate(bool useVariableBitrate) {
    setAndNotify(QStringLiteral("useVariableBitrate"), m_useVariableBitrate, useVariableBitrate);
}

void ChangeToAACAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setFormat(QStringLiteral("M4A Audio File"));
    instructions->setEncoding(QStringLiteral("AAC"));
    instructions->setBitrate(qint64(m_bitrate));
    instructions->addArgumentValue(m_useVariableBitrate, QStringLiteral("use vbr"));
}

} // namespace ondrel
