#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"
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

    // The script text of the run: "begin processing with name \"…\"" (with
    // " rehearse true" for a rehearsal) and a line end, the text of each audio
    // process command, the text of each file process command (empty for those
    // that have no script form, which so drop out), and "end processing" with
    // a line end. An absent name is written as the empty one.
    QString scriptDescription() const override;
    // Reads the arguments of the "begin processing" command: "name" and
    // "rehearse". Null, with the error, for a value of the wrong kind.
    static std::shared_ptr<AudioProcessCommandGroup> initWithScriptArguments(const QVariantMap& arguments,
                                                                             VMKError* error = nullptr);

private:
    bool m_rehearse = false;
    std::optional<QString> m_name;
    std::vector<std::shared_ptr<AudioProcessCommand>> m_audioProcessCommands;
    std::vector<ObjectPtr> m_fileProcessCommands;
};

} // namespace ondrel
