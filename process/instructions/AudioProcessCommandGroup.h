#pragma once

#include "core/objects/Object.h"
#include "process/instructions/AudioProcessCommand.h"

#include <memory>
#include <optional>
#include <vector>

namespace ondrel {

// One run: its audio commands, one per output file in order of execution, and
// the file process commands that run after them on their results.
//
// File process commands are held as plain objects: they are made and run by
// class name, and this model only carries them.
class AudioProcessCommandGroup : public Object {
    ONDREL_OBJECT(AudioProcessCommandGroup, Object)
public:
    AudioProcessCommandGroup() = default;

    // A rehearsal renders everything but installs no file.
    bool rehearse() const { return m_rehearse; }
    void setRehearse(bool rehearse);

    // Shown in the activity pane and the log.
    std::optional<QString> name() const { return m_name; }
    void setName(const std::optional<QString>& name);

    const std::vector<std::shared_ptr<AudioProcessCommand>>& audioProcessCommands() const {
        return m_audioProcessCommands;
    }
    void setAudioProcessCommands(const std::vector<std::shared_ptr<AudioProcessCommand>>& list);
    qsizetype countOfAudioProcessCommands() const { return qsizetype(m_audioProcessCommands.size()); }
    std::vector<std::shared_ptr<AudioProcessCommand>> enumeratorOfAudioProcessCommands() const {
        return m_audioProcessCommands;
    }
    std::shared_ptr<AudioProcessCommand> objectInAudioProcessCommandsAtIndex(qsizetype index) const;
    void insertObjectInAudioProcessCommandsAtIndex(std::shared_ptr<AudioProcessCommand> object, qsizetype index);
    void removeObjectFromAudioProcessCommandsAtIndex(qsizetype index);

    const std::vector<ObjectPtr>& fileProcessCommands() const { return m_fileProcessCommands; }
    void setFileProcessCommands(const std::vector<ObjectPtr>& list);
    qsizetype countOfFileProcessCommands() const { return qsizetype(m_fileProcessCommands.size()); }
    std::vector<ObjectPtr> enumeratorOfFileProcessCommands() const { return m_fileProcessCommands; }
    ObjectPtr objectInFileProcessCommandsAtIndex(qsizetype index) const;
    void insertObjectInFileProcessCommandsAtIndex(ObjectPtr object, qsizetype index);
    void removeObjectFromFileProcessCommandsAtIndex(qsizetype index);

private:
    bool m_rehearse = false;
    std::optional<QString> m_name;
    std::vector<std::shared_ptr<AudioProcessCommand>> m_audioProcessCommands;
    std::vector<ObjectPtr> m_fileProcessCommands;
};

} // namespace ondrel
