#include "actions/fade/FadeOutForAction.h"

#include "actions/trim/TrimRules.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& FadeOutForAction::staticClassInfo() {
    using C = FadeOutForAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("FadeOutForAction"))
                                       .property(QStringLiteral("value"), &C::value, &C::setValue)
                                       .property(QStringLiteral("units"), &C::units, &C::setUnits)
                                       .property(QStringLiteral("curve"), &C::curve, &C::setCurve);
    return info;
}

FadeOutForAction::FadeOutForAction()
    : m_value(10.0), m_units(QStringLiteral("milliseconds")), m_curve(QStringLiteral("linear")) {}

QStringList FadeOutForAction::parameterKeys() const {
    return {QStringLiteral("value"), QStringLiteral("units"), QStringLiteral("curve")};
}

void FadeOutForAction::setValue(double value) { setAndNotify(QStringLiteral("value"), m_value, value); }

void FadeOutForAction::setUnits(const QString& units) { setAndNotify(QStringLiteral("units"), m_units, units); }

void FadeOutForAction::setCurve(const QString& curve) { setAndNotify(QStringLiteral("curve"), m_curve, curve); }

void FadeOutForAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>& fileEntity,
    qsizetype) {
    if (!fileEntity)
        return;
    instructions->setFadeOutLength(secondsForValue(m_value, m_units, *fileEntity));
    instructions->setFadeOutCurve(m_curve);
}

} // namespace ondrel
