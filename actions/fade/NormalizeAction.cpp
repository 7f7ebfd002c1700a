#include "actions/fade/NormalizeAction.h"

#include "catalog/entities/FileEntity.h"
#include "core/objects/Variant.h"

#include <QtCore/QVariantList>

#include <cmath>

namespace ondrel {

const ClassInfo& NormalizeAction::staticClassInfo() {
    using C = NormalizeAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("NormalizeAction"))
            .property(QStringLiteral("level"), &C::level, &C::setLevel)
            .property(QStringLiteral("measurementType"), &C::measurementType, &C::setMeasurementType)
            .property(QStringLiteral("isGroup"), &C::isGroup, &C::setIsGroup);
    return info;
}

NormalizeAction::NormalizeAction() : m_level(0.0f), m_measurementType(QStringLiteral("peak")), m_isGroup(false) {}

QStringList NormalizeAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("measurementType"), QStringLiteral("isGroup")};
}

void NormalizeAction::setLevel(float level) { setAndNotify(QStringLiteral("level"), m_level, level); }

void NormalizeAction::setMeasurementType(const QString& measurementType) {
    setAndNotify(QStringLiteral("measurementType"), m_measurementType, measurementType);
}

void NormalizeAction::setIsGroup(bool isGroup) { setAndNotify(QStringLiteral("isGroup"), m_isGroup, isGroup); }

void NormalizeAction::willBeginConstructingProcessForFileEntity(
    const std::shared_ptr<FileEntity>&, const std::vector<std::shared_ptr<FileEntity>>& allFileEntities) {
    if (!m_isGroup)
        return;
    QVariantList files;
    files.reserve(qsizetype(allFileEntities.size()));
    for (const auto& file : allFileEntities)
        files.append(Variant::fromObject(file));
    m_groupLevel = Object::valueForKeyPath(QVariant(files), QStringLiteral("@max.%1").arg(m_measurementType)).toFloat();
}

void NormalizeAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>& fileEntity,
    qsizetype) {
    if (!fileEntity)
        return;
    const bool loudness = m_measurementType == QLatin1String("programLoudness");
    // The catalog keeps loudness in LU, 0 LU being -23 LUFS.
    const float target = loudness ? m_level + 23.0f : m_level;
    float measure = m_groupLevel;
    if (!m_isGroup) {
        measure = fileEntity->valueForKey(m_measurementType).toFloat();
        // A silent file measures minus infinity: it keeps its level.
        if (std::isinf(measure))
            measure = target;
    }
    instructions->setGain(double(target - measure));
}

} // namespace ondrel
