#include "actions/fade/PadAction.h"

#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& PadAction::staticClassInfo() {
    using C = PadAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("PadAction"))
                                       .property(QStringLiteral("units"), &C::units, &C::setUnits)
                                       .property(QStringLiteral("startValue"), &C::startValue, &C::setStartValue)
                                       .property(QStringLiteral("endValue"), &C::endValue, &C::setEndValue);
    return info;
}

PadAction::PadAction() : m_units(QStringLiteral("milliseconds")), m_startValue(10.0), m_endValue(10.0) {}

QStringList PadAction::parameterKeys() const {
    return {QStringLiteral("units"), QStringLiteral("startValue"), QStringLiteral("endValue")};
}

void PadAction::setUnits(const QString& units) { setAndNotify(QStringLiteral("units"), m_units, units); }

void PadAction::setStartValue(double startValue) {
    setAndNotify(QStringLiteral("startValue"), m_startValue, startValue);
}

void PadAction::setEndValue(double endValue) { setAndNotify(QStringLiteral("endValue"), m_endValue, endValue); }

double PadAction::lengthForValue(double value, const QString& units, const FileEntity& fileEntity) {
    if (units == QLatin1String("milliseconds"))
        return value / 1000.0;
    if (units == QLatin1String("seconds"))
        return value;
    if (units == QLatin1String("frames"))
        return value / fileEntity.sampleRate();
    return 0.0;
}

void PadAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    const auto file = main ? main->fileEntity() : nullptr;
    if (!file)
        return;
    main->setLocation(main->location().value_or(0.0) + lengthForValue(m_startValue, m_units, *file));
}

void PadAction::compileInstructions(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    const auto file = main ? main->fileEntity() : nullptr;
    if (!file)
        return;
    if (!instructions->length())
        instructions->setLength(sourceInstructions->range().end());
    instructions->setLength(*instructions->length() + lengthForValue(m_endValue, m_units, *file));
}

} // namespace ondrel
