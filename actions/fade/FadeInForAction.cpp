#include "actions/fade/FadeInForAction.h"

#include "actions/trim/TrimRules.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& FadeInForAction::staticClassInfo() {
    using C = FadeInForAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("FadeInForAction"))
                                       .property(QStringLiteral("value"), &C::value, &C::setValue)
                                       .property(QStringLiteral("units"), &C::units, &C::setUnits)
                                       .property(QStringLiteral("curve"), &C::curve, &C::setCurve);
    return info;
}

FadeInForAction::FadeInForAction()
    : m_value(10.0), m_units(QStringLiteral("milliseconds")), m_curve(QStringLiteral("linear")) {}

QStringList FadeInForAction::parameterKeys() const {
    return {QStringLiteral("value"), QStringLiteral("units"), QStringLiteral("curve")};
}

void FadeInForAction::setValue(double value) { setAndNotify(QStringLiteral("value"), m_value, value); }

void FadeInForAction::setUnits(const QString& units) { setAndNotify(QStringLiteral("units"), m_units, units); }

void FadeInForAction::setCurve(const QString& curve) { setAndNotify(QStringLiteral("curve"), m_curve, curve); }

void FadeInForAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>& fileEntity,
    qsizetype) {
    if (!fileEntity)
        return;
    instructions->setFadeInLength(secondsForValue(m_value, m_units, *fileEntity));
    instructions->setFadeInCurve(m_curve);
}

} // namespace ondrel
