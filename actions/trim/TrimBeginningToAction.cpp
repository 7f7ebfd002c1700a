#include "actions/trim/TrimBeginningToAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& TrimBeginningToAction::staticClassInfo() {
    using C = TrimBeginningToAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("TrimBeginningToAction"))
            .property(QStringLiteral("value"), &C::value, &C::setValue)
            .property(QStringLiteral("units"), &C::units, &C::setUnits)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

TrimBeginningToAction::TrimBeginningToAction()
    : m_value(10.0),
      m_units(QStringLiteral("milliseconds")),
      m_zeroCross(false) {}

QStringList TrimBeginningToAction::parameterKeys() const {
    return {QStringLiteral("value"), QStringLiteral("units"), QStringLiteral("zeroCross")};
}

void TrimBeginningToAction::setValue(double value) {
    setAndNotify(QStringLiteral("value"), m_value, value);
}

void TrimBeginningToAction::setUnits(const QString& units) {
    setAndNotify(QStringLiteral("units"), m_units, units);
}

void TrimBeginningToAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void TrimBeginningToAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double amount = secondsForValue(m_value, m_units, file);
    if (m_zeroCross)
        amount = file.locationOfNearestZeroCrossingTo(amount);
    source->setSourceStart(source->sourceStart().value_or(0.0) + amount);
    reduceSourceLength(*source, amount, file.length());
}

} // namespace ondrel
