#include "actions/trim/TrimEndForAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& TrimEndForAction::staticClassInfo() {
    using C = TrimEndForAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("TrimEndForAction"))
            .property(QStringLiteral("value"), &C::value, &C::setValue)
            .property(QStringLiteral("units"), &C::units, &C::setUnits)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

TrimEndForAction::TrimEndForAction()
    : m_value(10.0),
      m_units(QStringLiteral("milliseconds")),
      m_zeroCross(false) {}

QStringList TrimEndForAction::parameterKeys() const {
    return {QStringLiteral("value"), QStringLiteral("units"), QStringLiteral("zeroCross")};
}

void TrimEndForAction::setValue(double value) {
    setAndNotify(QStringLiteral("value"), m_value, value);
}

void TrimEndForAction::setUnits(const QString& units) {
    setAndNotify(QStringLiteral("units"), m_units, units);
}

void TrimEndForAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void TrimEndForAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double amount = secondsForValue(m_value, m_units, file);
    if (m_zeroCross)
        amount = file.locationOfNearestZeroCrossingTo(amount);
    reduceSourceLength(*source, amount, file.length());
}

} // namespace ondrel
