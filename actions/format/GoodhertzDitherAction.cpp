#include "actions/format/GoodhertzDitherAction.h"

#include "actions/format/FormatInstructions.h"

namespace ondrel {

const ClassInfo& GoodhertzDitherAction::staticClassInfo() {
    using C = GoodhertzDitherAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("GoodhertzDitherAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("shape"), &C::shape, &C::setShape)
            .property(QStringLiteral("amount"), &C::amount, &C::setAmount)
            .property(QStringLiteral("autoBlanking"), &C::isAutoBlanking, &C::setAutoBlanking);
    return info;
}

GoodhertzDitherAction::GoodhertzDitherAction()
    : m_bitDepth(16),
      m_shape(QStringLiteral("optimal")),
      m_amount(QStringLiteral("optimal")),
      m_autoBlanking(true) {}

QStringList GoodhertzDitherAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("shape"), QStringLiteral("amount"),
            QStringLiteral("autoBlanking")};
}

void GoodhertzDitherAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void GoodhertzDitherAction::setShape(const QString& shape) { setAndNotify(QStringLiteral("shape"), m_shape, shape); }

void GoodhertzDitherAction::setAmount(const QString& amount) {
    setAndNotify(QStringLiteral("amount"), m_amount, amount);
}

void GoodhertzDitherAction::setAutoBlanking(bool autoBlanking) {
    setAndNotify(QStringLiteral("autoBlanking"), m_autoBlanking, autoBlanking);
}

void GoodhertzDitherAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    FormatInstructions::appendDither(*instructions, m_bitDepth, m_shape, m_amount, m_autoBlanking);
}

} // namespace ondrel
