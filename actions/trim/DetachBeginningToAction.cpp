#include "actions/trim/DetachBeginningToAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& DetachBeginningToAction::staticClassInfo() {
    using C = DetachBeginningToAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("DetachBeginningToAction"))
            .property(QStringLiteral("value"), &C::value, &C::setValue)
            .property(QStringLiteral("units"), &C::units, &C::setUnits)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

DetachBeginningToAction::DetachBeginningToAction()
    : m_value(10.0),
      m_units(QStringLiteral("milliseconds")),
      m_zeroCross(false) {}

QStringList DetachBeginningToAction::parameterKeys() const {
    return {QStringLiteral("value"), QStringLiteral("units"), QStringLiteral("zeroCross")};
}

void DetachBeginningToAction::setValue(double value) {
    setAndNotify(QStringLiteral("value"), m_value, value);
}

void DetachBeginningToAction::setUnits(const QString& units) {
    setAndNotify(QStringLiteral("units"), m_units, units);
}

void DetachBeginningToAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void DetachBeginningToAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double kept = secondsForValue(m_value, m_units, file);
    if (m_zeroCross)
        kept = file.locationOfNearestZeroCrossingTo(kept);
    source->setLength(kept);
}

} // namespace ondrel
