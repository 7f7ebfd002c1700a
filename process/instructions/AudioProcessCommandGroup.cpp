#include "process/instructions/AudioProcessCommandGroup.h"

#include "process/instructions/RecordLists.h"
#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandGroup::staticClassInfo() {
    using C = AudioProcessCommandGroup;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandGroup"))
            .property(QStringLiteral("rehearse"), &C::rehearse, &C::setRehearse)
            .property(QStringLiteral("name"), &C::name, &C::setName)
            .property(QStringLiteral("audioProcessCommands"), &C::audioProcessCommands, &C::setAudioProcessCommands)
            .property(QStringLiteral("fileProcessCommands"), &C::fileProcessCommands, &C::setFileProcessCommands);
    return info;
}

void AudioProcessCommandGroup::setRehearse(bool rehearse) {
    setAndNotify(QStringLiteral("rehearse"), m_rehearse, rehearse);
}

void AudioProcessCommandGroup::setName(const std::optional<QString>& name) {
    setAndNotify(QStringLiteral("name"), m_name, name);
}

// MARK: - Audio process commands

void AudioProcessCommandGroup::setAudioProcessCommands(const std::vector<std::shared_ptr<AudioProcessCommand>>& list) {
    setAndNotify(QStringLiteral("audioProcessCommands"), m_audioProcessCommands, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommand> AudioProcessCommandGroup::objectInAudioProcessCommandsAtIndex(
    qsizetype index) const {
    return RecordLists::objectAtIndex(m_audioProcessCommands, index);
}

void AudioProcessCommandGroup::insertObjectInAudioProcessCommandsAtIndex(std::shared_ptr<AudioProcessCommand> object,
                                                                         qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("audioProcessCommands"), m_audioProcessCommands, std::move(object),
                        RecordLists::insertionIndex(m_audioProcessCommands, index));
}

void AudioProcessCommandGroup::removeObjectFromAudioProcessCommandsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_audioProcessCommands, index))
        removeAndNotify(QStringLiteral("audioProcessCommands"), m_audioProcessCommands, index);
}

// MARK: - File process commands

void AudioProcessCommandGroup::setFileProcessCommands(const std::vector<ObjectPtr>& list) {
    setAndNotify(QStringLiteral("fileProcessCommands"), m_fileProcessCommands, RecordLists::withoutNulls(list));
}

ObjectPtr AudioProcessCommandGroup::objectInFileProcessCommandsAtIndex(qsizetype index) const {
    return RecordLists::objectAtIndex(m_fileProcessCommands, index);
}

void AudioProcessCommandGroup::insertObjectInFileProcessCommandsAtIndex(ObjectPtr object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("fileProcessCommands"), m_fileProcessCommands, std::move(object),
                        RecordLists::insertionIndex(m_fileProcessCommands, index));
}

void AudioProcessCommandGroup::removeObjectFromFileProcessCommandsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_fileProcessCommands, index))
        removeAndNotify(QStringLiteral("fileProcessCommands"), m_fileProcessCommands, index);
}

QString AudioProcessCommandGroup::scriptDescription() const {
    QString text = QStringLiteral("begin processing with name ") + ScriptText::quoted(m_name.value_or(QString()));
    if (m_rehearse)
        text += QStringLiteral(" rehearse true");
    text += QLatin1Char('\n');
    for (const auto& command : m_audioProcessCommands)
        text += command->scriptDescription();
    for (const auto& command : m_fileProcessCommands)
        text += command->scriptDescription();
    return text + QStringLiteral("end processing\n");
}

std::shared_ptr<AudioProcessCommandGroup> AudioProcessCommandGroup::initWithScriptArguments(
    const QVariantMap& arguments, VMKError* error) {
    const QString name = QStringLiteral("a processing group");
    auto group = std::make_shared<AudioProcessCommandGroup>();
    if (arguments.contains(QStringLiteral("name")) &&
        !ScriptArguments::string(arguments.value(QStringLiteral("name")), name, QStringLiteral("name"), group->m_name,
                                 error))
        return nullptr;
    if (arguments.contains(QStringLiteral("rehearse")) &&
        !ScriptArguments::boolean(arguments.value(QStringLiteral("rehearse")), name, QStringLiteral("rehearse"),
                                  group->m_rehearse, error))
        return nullptr;
    return group;
}

} // namespace ondrel
