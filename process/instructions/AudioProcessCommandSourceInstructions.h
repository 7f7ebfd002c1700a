#pragma once

#include "core/objects/IndexSet.h"
#include "core/objects/Object.h"
#include "core/text/VMKError.h"
#include "process/instructions/AudioProcessCommandEffectInstructions.h"
#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace ondrel {

class FileEntity;

// One source placed on the output's timeline: which file, which part of it,
// where, and with what processing of its own. Absent optional fields take
// their defaults at render time; absent is not the same as 0.
//
// List accessors forgive bad indexes: reading out of range answers null,
// inserting past the end appends, removing out of range does nothing, and a
// null object is never inserted.
class AudioProcessCommandSourceInstructions : public Object {
    ONDREL_OBJECT(AudioProcessCommandSourceInstructions, Object)
public:
    AudioProcessCommandSourceInstructions() = default;

    // The source file, held strongly and shared with the catalog; the only
    // required field. The key "fileEntity" answers the same object.
    std::shared_ptr<FileEntity> fileEntity() const { return m_fileEntity; }
    ObjectPtr fileEntityObject() const { return m_fileEntityObject; }
    // Takes a FileEntity (or a subclass); called where that class is defined.
    template <class E>
    void setFileEntity(const std::shared_ptr<E>& fileEntity) {
        assignFileEntity(fileEntity, fileEntity);
    }
    void setFileEntity(std::nullptr_t) { assignFileEntity(nullptr, nullptr); }

    // Where this source begins on the output's timeline, in seconds. Absent: 0.
    std::optional<double> location() const { return m_location; }
    void setLocation(std::optional<double> location);
    // How much of the source to use, in seconds. Absent: all of it, from sourceStart.
    std::optional<double> length() const { return m_length; }
    void setLength(std::optional<double> length);
    // Offset into the source file, in seconds. Absent: 0.
    std::optional<double> sourceStart() const { return m_sourceStart; }
    void setSourceStart(std::optional<double> sourceStart);
    // Play the source backwards.
    std::optional<bool> reverse() const { return m_reverse; }
    void setReverse(std::optional<bool> reverse);
    // Gain of this source in decibels.
    std::optional<double> gain() const { return m_gain; }
    void setGain(std::optional<double> gain);
    // Fades of this source in seconds.
    std::optional<double> fadeInLength() const { return m_fadeInLength; }
    void setFadeInLength(std::optional<double> fadeInLength);
    std::optional<double> fadeOutLength() const { return m_fadeOutLength; }
    void setFadeOutLength(std::optional<double> fadeOutLength);
    // Fade curves, as on the output side.
    std::optional<QString> fadeInCurve() const { return m_fadeInCurve; }
    void setFadeInCurve(const std::optional<QString>& fadeInCurve);
    std::optional<QString> fadeOutCurve() const { return m_fadeOutCurve; }
    void setFadeOutCurve(const std::optional<QString>& fadeOutCurve);
    // Carry the source's labels into the output (true from init).
    std::optional<bool> includeLabels() const { return m_includeLabels; }
    void setIncludeLabels(std::optional<bool> includeLabels);
    // Carry the source's metadata into the output (true from init).
    std::optional<bool> includeProperties() const { return m_includeProperties; }
    void setIncludeProperties(std::optional<bool> includeProperties);

    // The chain on this source alone, in order.
    const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& effectInstructions() const {
        return m_effectInstructions;
    }
    void setEffectInstructions(const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& list);
    qsizetype countOfEffectInstructions() const { return qsizetype(m_effectInstructions.size()); }
    std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>> enumeratorOfEffectInstructions() const {
        return m_effectInstructions;
    }
    std::shared_ptr<AudioProcessCommandEffectInstructions> objectInEffectInstructionsAtIndex(qsizetype index) const;
    void insertObjectInEffectInstructionsAtIndex(std::shared_ptr<AudioProcessCommandEffectInstructions> object,
                                                 qsizetype index);
    void removeObjectFromEffectInstructionsAtIndex(qsizetype index);

    // The channel map of this source into the mix; empty is the identity map.
    const std::vector<std::shared_ptr<AudioProcessCommandSourceTieInstructions>>& sourceTieInstructions() const {
        return m_sourceTieInstructions;
    }
    void setSourceTieInstructions(const std::vector<std::shared_ptr<AudioProcessCommandSourceTieInstructions>>& list);
    qsizetype countOfSourceTieInstructions() const { return qsizetype(m_sourceTieInstructions.size()); }
    std::vector<std::shared_ptr<AudioProcessCommandSourceTieInstructions>> enumeratorOfSourceTieInstructions() const {
        return m_sourceTieInstructions;
    }
    std::shared_ptr<AudioProcessCommandSourceTieInstructions> objectInSourceTieInstructionsAtIndex(
        qsizetype index) const;
    void insertObjectInSourceTieInstructionsAtIndex(std::shared_ptr<AudioProcessCommandSourceTieInstructions> object,
                                                    qsizetype index);
    void removeObjectFromSourceTieInstructionsAtIndex(qsizetype index);
    // Removes several at once, as one change; indexes past the end are ignored.
    void removeSourceTieInstructionsAtIndexes(const IndexSet& indexes);

    // The source record: "{|entity|:entity id \"…\" of …" and then, in this
    // order and each only when present, "location", "length", "source start",
    // "reverse", "gain", "fade in length", "fade in curve", "fade out length",
    // "fade out curve", "include labels", "include properties", "effects" and
    // "ties" (the lists when not empty).
    QString scriptDescription() const override;
    // Reads a source record. "entity" must hold a std::shared_ptr<FileEntity>
    // (the script reader, which knows the catalog, makes one of an entity
    // specifier, and registers its conversion to Object); the other keys of
    // the record above go to their fields, "effects" and "ties" through their
    // records' readers; unknown keys are ignored. Null, with the error, for a
    // value that isn't a record, a missing or wrong entity, or a bad value.
    static std::shared_ptr<AudioProcessCommandSourceInstructions> initWithScriptArguments(const QVariant& arguments,
                                                                                          VMKError* error = nullptr);

private:
    void assignFileEntity(std::shared_ptr<FileEntity> fileEntity, ObjectPtr object);

    std::shared_ptr<FileEntity> m_fileEntity;
    ObjectPtr m_fileEntityObject;
    std::optional<double> m_location;
    std::optional<double> m_length;
    std::optional<double> m_sourceStart;
    std::optional<bool> m_reverse;
    std::optional<double> m_gain;
    std::optional<double> m_fadeInLength;
    std::optional<double> m_fadeOutLength;
    std::optional<QString> m_fadeInCurve;
    std::optional<QString> m_fadeOutCurve;
    std::optional<bool> m_includeLabels = true;
    std::optional<bool> m_includeProperties = true;
    std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>> m_effectInstructions;
    std::vector<std::shared_ptr<AudioProcessCommandSourceTieInstructions>> m_sourceTieInstructions;
};

} // namespace ondrel

// The form in which a script's entity specifier reaches the source reader.
Q_DECLARE_METATYPE(std::shared_ptr<ondrel::FileEntity>)
