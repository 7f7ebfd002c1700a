#include "actions/format/ChangeBitDepthAction.h"

#include "actions/format/FormatInstructions.h"

namespace ondrel {

const ClassInfo& ChangeBitDepthAction::staticClassInfo() {
    using C = ChangeBitDepthAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeBitDepthAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint, &C::setFloatingPoint)
            .property(QStringLiteral("applyDither"), &C::applyDither, &C::setApplyDither)
            .property(QStringLiteral("shape"), &C::shape, &C::setShape)
            .property(QStringLiteral("amount"), &C::amount, &C::setAmount)
            .property(QStringLiteral("autoBlanking"), &C::isAutoBlanking, &C::setAutoBlanking);
    return info;
}

ChangeBitDepthAction::ChangeBitDepthAction()
    : m_bitDepth(16),
      m_floatingPoint(false),
      m_applyDither(true),
      m_shape(QStringLiteral("optimal")),
      m_amount(QStringLiteral("optimal")),
      m_autoBlanking(true) {}

QStringList ChangeBitDepthAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("floatingPoint"), QStringLiteral("applyDither"),
            QStringLiteral("shape"), QStringLiteral("amount"), QStringLiteral("autoBlanking")};
}

void ChangeBitDepthAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeBitDepthAction::setFloatingPoint(bool floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void ChangeBitDepthAction::setApplyDither(bool applyDither) {
    setAndNotify(QStringLiteral("applyDither"), m_applyDither, applyDither);
}

void ChangeBitDepthAction::setShape(const QString& shape) { setAndNotify(QStringLiteral("shape"), m_shape, shape); }

void ChangeBitDepthAction::setAmount(const QString& amount) {
    setAndNotify(QStringLiteral("amount"), m_amount, amount);
}

void ChangeBitDepthAction::setAutoBlanking(bool autoBlanking) {
    setAndNotify(QStringLiteral("autoBlanking"), m_autoBlanking, autoBlanking);
}

void ChangeBitDepthAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setBitDepth(qint64(m_bitDepth));
    instructions->setFloatingPoint(m_floatingPoint);
    if (m_applyDither)
        FormatInstructions::appendDither(*instructions, m_bitDepth, m_shape, m_amount, m_autoBlanking);
}

} // namespace ondrel
