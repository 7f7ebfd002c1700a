#include "process/instructions/AudioProcessCommandSourceInstructions.h"

#include "process/instructions/RecordLists.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandSourceInstructions::staticClassInfo() {
    using C = AudioProcessCommandSourceInstructions;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandSourceInstructions"))
            // Read-only by key: the typed file can't be recovered from a plain object here.
            .addProperty(
                QStringLiteral("fileEntity"),
                [](const Object* o) { return Variant::fromObject(static_cast<const C*>(o)->fileEntityObject()); })
            .property(QStringLiteral("location"), &C::location, &C::setLocation)
            .property(QStringLiteral("length"), &C::length, &C::setLength)
            .property(QStringLiteral("sourceStart"), &C::sourceStart, &C::setSourceStart)
            .property(QStringLiteral("reverse"), &C::reverse, &C::setReverse)
            .property(QStringLiteral("gain"), &C::gain, &C::setGain)
            .property(QStringLiteral("fadeInLength"), &C::fadeInLength, &C::setFadeInLength)
            .property(QStringLiteral("fadeOutLength"), &C::fadeOutLength, &C::setFadeOutLength)
            .property(QStringLiteral("fadeInCurve"), &C::fadeInCurve, &C::setFadeInCurve)
            .property(QStringLiteral("fadeOutCurve"), &C::fadeOutCurve, &C::setFadeOutCurve)
            .property(QStringLiteral("includeLabels"), &C::includeLabels, &C::setIncludeLabels)
            .property(QStringLiteral("includeProperties"), &C::includeProperties, &C::setIncludeProperties)
            .property(QStringLiteral("effectInstructions"), &C::effectInstructions, &C::setEffectInstructions)
            .property(QStringLiteral("sourceTieInstructions"), &C::sourceTieInstructions, &C::setSourceTieInstructions);
    return info;
}

void AudioProcessCommandSourceInstructions::assignFileEntity(std::shared_ptr<FileEntity> fileEntity, ObjectPtr object) {
    const QString key = QStringLiteral("fileEntity");
    willChangeValueForKey(key);
    m_fileEntity = std::move(fileEntity);
    m_fileEntityObject = std::move(object);
    didChangeValueForKey(key);
}

void AudioProcessCommandSourceInstructions::setLocation(std::optional<double> location) {
    setAndNotify(QStringLiteral("location"), m_location, location);
}

void AudioProcessCommandSourceInstructions::setLength(std::optional<double> length) {
    setAndNotify(QStringLiteral("length"), m_length, length);
}

void AudioProcessCommandSourceInstructions::setSourceStart(std::optional<double> sourceStart) {
    setAndNotify(QStringLiteral("sourceStart"), m_sourceStart, sourceStart);
}

void AudioProcessCommandSourceInstructions::setReverse(std::optional<bool> reverse) {
    setAndNotify(QStringLiteral("reverse"), m_reverse, reverse);
}

void AudioProcessCommandSourceInstructions::setGain(std::optional<double> gain) {
    setAndNotify(QStringLiteral("gain"), m_gain, gain);
}

void AudioProcessCommandSourceInstructions::setFadeInLength(std::optional<double> fadeInLength) {
    setAndNotify(QStringLiteral("fadeInLength"), m_fadeInLength, fadeInLength);
}

void AudioProcessCommandSourceInstructions::setFadeOutLength(std::optional<double> fadeOutLength) {
    setAndNotify(QStringLiteral("fadeOutLength"), m_fadeOutLength, fadeOutLength);
}

void AudioProcessCommandSourceInstructions::setFadeInCurve(const std::optional<QString>& fadeInCurve) {
    setAndNotify(QStringLiteral("fadeInCurve"), m_fadeInCurve, fadeInCurve);
}

void AudioProcessCommandSourceInstructions::setFadeOutCurve(const std::optional<QString>& fadeOutCurve) {
    setAndNotify(QStringLiteral("fadeOutCurve"), m_fadeOutCurve, fadeOutCurve);
}

void AudioProcessCommandSourceInstructions::setIncludeLabels(std::optional<bool> includeLabels) {
    setAndNotify(QStringLiteral("includeLabels"), m_includeLabels, includeLabels);
}

void AudioProcessCommandSourceInstructions::setIncludeProperties(std::optional<bool> includeProperties) {
    setAndNotify(QStringLiteral("includeProperties"), m_includeProperties, includeProperties);
}

// MARK: - Effect instructions

void AudioProcessCommandSourceInstructions::setEffectInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& list) {
    setAndNotify(QStringLiteral("effectInstructions"), m_effectInstructions, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommandEffectInstructions>
AudioProcessCommandSourceInstructions::objectInEffectInstructionsAtIndex(qsizetype index) const {
    return RecordLists::objectAtIndex(m_effectInstructions, index);
}

void AudioProcessCommandSourceInstructions::insertObjectInEffectInstructionsAtIndex(
    std::shared_ptr<AudioProcessCommandEffectInstructions> object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("effectInstructions"), m_effectInstructions, std::move(object),
                        RecordLists::insertionIndex(m_effectInstructions, index));
}

void AudioProcessCommandSourceInstructions::removeObjectFromEffectInstructionsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_effectInstructions, index))
        removeAndNotify(QStringLiteral("effectInstructions"), m_effectInstructions, index);
}

// MARK: - Source tie instructions

void AudioProcessCommandSourceInstructions::setSourceTieInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandSourceTieInstructions>>& list) {
    setAndNotify(QStringLiteral("sourceTieInstructions"), m_sourceTieInstructions, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommandSourceTieInstructions>
AudioProcessCommandSourceInstructions::objectInSourceTieInstructionsAtIndex(qsizetype index) const {
    return RecordLists::objectAtIndex(m_sourceTieInstructions, index);
}

void AudioProcessCommandSourceInstructions::insertObjectInSourceTieInstructionsAtIndex(
    std::shared_ptr<AudioProcessCommandSourceTieInstructions> object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("sourceTieInstructions"), m_sourceTieInstructions, std::move(object),
                        RecordLists::insertionIndex(m_sourceTieInstructions, index));
}

void AudioProcessCommandSourceInstructions::removeObjectFromSourceTieInstructionsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_sourceTieInstructions, index))
        removeAndNotify(QStringLiteral("sourceTieInstructions"), m_sourceTieInstructions, index);
}

void AudioProcessCommandSourceInstructions::removeSourceTieInstructionsAtIndexes(const IndexSet& indexes) {
    IndexSet present;
    for (qsizetype index : indexes)
        if (RecordLists::isValidIndex(m_sourceTieInstructions, index))
            present.add(index);
    if (present.isEmpty())
        return;
    const QString key = QStringLiteral("sourceTieInstructions");
    willChange(KeyValueChange::Removal, present, key);
    for (auto it = present.indexes().rbegin(); it != present.indexes().rend(); ++it)
        m_sourceTieInstructions.erase(m_sourceTieInstructions.begin() + *it);
    didChange(KeyValueChange::Removal, present, key);
}

} // namespace ondrel
