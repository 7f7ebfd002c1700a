#include "process/instructions/AudioProcessCommandSourceInstructions.h"

#include "process/instructions/RecordLists.h"
#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"

#include <QtCore/QStringList>

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

// MARK: - Script form

namespace {

template <class T>
void appendOptional(QStringList& items, const char* key, const std::optional<T>& value) {
    if (value)
        items.append(ScriptText::itemText(QLatin1String(key), QVariant::fromValue(*value)));
}

template <class T>
QString listText(const std::vector<std::shared_ptr<T>>& list) {
    QStringList texts;
    for (const auto& record : list)
        texts.append(record->scriptDescription());
    return QLatin1Char('{') + texts.join(QLatin1Char(',')) + QLatin1Char('}');
}

} // namespace

QString AudioProcessCommandSourceInstructions::scriptDescription() const {
    QStringList items;
    items.append(QStringLiteral("|entity|:") + (m_fileEntityObject ? m_fileEntityObject->scriptDescription() : QString()));
    appendOptional(items, "location", m_location);
    appendOptional(items, "length", m_length);
    appendOptional(items, "source start", m_sourceStart);
    appendOptional(items, "reverse", m_reverse);
    appendOptional(items, "gain", m_gain);
    appendOptional(items, "fade in length", m_fadeInLength);
    appendOptional(items, "fade in curve", m_fadeInCurve);
    appendOptional(items, "fade out length", m_fadeOutLength);
    appendOptional(items, "fade out curve", m_fadeOutCurve);
    appendOptional(items, "include labels", m_includeLabels);
    appendOptional(items, "include properties", m_includeProperties);
    if (!m_effectInstructions.empty())
        items.append(QStringLiteral("|effects|:") + listText(m_effectInstructions));
    if (!m_sourceTieInstructions.empty())
        items.append(QStringLiteral("|ties|:") + listText(m_sourceTieInstructions));
    return QLatin1Char('{') + items.join(QLatin1Char(',')) + QLatin1Char('}');
}

std::shared_ptr<AudioProcessCommandSourceInstructions> AudioProcessCommandSourceInstructions::initWithScriptArguments(
    const QVariant& arguments, VMKError* error) {
    const QString name = QStringLiteral("a source");
    QVariantMap record;
    if (!ScriptArguments::record(arguments, name, record, error))
        return nullptr;
    auto source = std::make_shared<AudioProcessCommandSourceInstructions>();
    const auto number = [&](const QString& key, std::optional<double>& field) {
        return ScriptArguments::number(record.value(key), name, key, field, error);
    };
    const auto boolean = [&](const QString& key, std::optional<bool>& field) {
        return ScriptArguments::boolean(record.value(key), name, key, field, error);
    };
    const auto string = [&](const QString& key, std::optional<QString>& field) {
        return ScriptArguments::string(record.value(key), name, key, field, error);
    };
    for (auto it = record.cbegin(); it != record.cend(); ++it) {
        const QString& key = it.key();
        bool ok = true;
        if (key == QLatin1String("entity")) {
            const QMetaType fileEntityType = QMetaType::fromType<std::shared_ptr<FileEntity>>();
            const auto fileEntity = it.value().metaType() == fileEntityType
                                        ? it.value().value<std::shared_ptr<FileEntity>>()
                                        : nullptr;
            ObjectPtr object;
            if (fileEntity)
                QMetaType::convert(fileEntityType, &fileEntity, QMetaType::fromType<ObjectPtr>(), &object);
            if (!object) {
                VMKError::set(error, ScriptArguments::error(
                                         name, QStringLiteral("the entity %1 is no file entity of the catalog")
                                                   .arg(Variant::describe(it.value()))));
                return nullptr;
            }
            source->assignFileEntity(fileEntity, object);
        } else if (key == QLatin1String("location")) {
            ok = number(key, source->m_location);
        } else if (key == QLatin1String("length")) {
            ok = number(key, source->m_length);
        } else if (key == QLatin1String("source start")) {
            ok = number(key, source->m_sourceStart);
        } else if (key == QLatin1String("reverse")) {
            ok = boolean(key, source->m_reverse);
        } else if (key == QLatin1String("gain")) {
            ok = number(key, source->m_gain);
        } else if (key == QLatin1String("fade in length")) {
            ok = number(key, source->m_fadeInLength);
        } else if (key == QLatin1String("fade in curve")) {
            ok = string(key, source->m_fadeInCurve);
        } else if (key == QLatin1String("fade out length")) {
            ok = number(key, source->m_fadeOutLength);
        } else if (key == QLatin1String("fade out curve")) {
            ok = string(key, source->m_fadeOutCurve);
        } else if (key == QLatin1String("include labels")) {
            ok = boolean(key, source->m_includeLabels);
        } else if (key == QLatin1String("include properties")) {
            ok = boolean(key, source->m_includeProperties);
        } else if (key == QLatin1String("effects")) {
            QVariantList list;
            ok = ScriptArguments::list(it.value(), name, key, list, error);
            for (qsizetype i = 0; ok && i < list.size(); ++i) {
                auto effect = AudioProcessCommandEffectInstructions::initWithScriptArguments(list[i], error);
                ok = effect != nullptr;
                if (ok)
                    source->m_effectInstructions.push_back(std::move(effect));
            }
        } else if (key == QLatin1String("ties")) {
            QVariantList list;
            ok = ScriptArguments::list(it.value(), name, key, list, error);
            for (qsizetype i = 0; ok && i < list.size(); ++i) {
                auto tie = AudioProcessCommandSourceTieInstructions::initWithScriptArguments(list[i], error);
                ok = tie != nullptr;
                if (ok)
                    source->m_sourceTieInstructions.push_back(std::move(tie));
            }
        }
        if (!ok)
            return nullptr;
    }
    if (!source->m_fileEntity) {
        VMKError::set(error, ScriptArguments::error(name, QStringLiteral("the record has no entity")));
        return nullptr;
    }
    return source;
}

} // namespace ondrel
