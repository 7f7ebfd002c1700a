#include "process/instructions/AudioProcessCommand.h"

#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"

namespace ondrel {

const ClassInfo& AudioProcessCommand::staticClassInfo() {
    using C = AudioProcessCommand;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommand"))
            .property(QStringLiteral("replaceOriginal"), &C::replaceOriginal, &C::setReplaceOriginal)
            .property(QStringLiteral("sourceInstructionsGroup"), &C::sourceInstructionsGroup,
                      &C::setSourceInstructionsGroup)
            .property(QStringLiteral("processInstructions"), &C::processInstructions, &C::setProcessInstructions)
            .addProperty(
                QStringLiteral("destination"),
                [](const Object* o) {
                    const URL& url = static_cast<const C*>(o)->m_destination;
                    return url.isEmpty() ? QVariant() : QVariant::fromValue(url);
                },
                [](Object* o, const QVariant& v) {
                    static_cast<C*>(o)->setDestination(v.canConvert<URL>() ? v.value<URL>() : URL());
                })
            .property(QStringLiteral("filename"), &C::filename, &C::setFilename);
    return info;
}

void AudioProcessCommand::setReplaceOriginal(bool replaceOriginal) {
    setAndNotify(QStringLiteral("replaceOriginal"), m_replaceOriginal, replaceOriginal);
}

void AudioProcessCommand::setSourceInstructionsGroup(
    std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> group) {
    setAndNotify(QStringLiteral("sourceInstructionsGroup"), m_sourceInstructionsGroup, std::move(group));
}

void AudioProcessCommand::setProcessInstructions(std::shared_ptr<AudioProcessCommandInstructions> instructions) {
    setAndNotify(QStringLiteral("processInstructions"), m_processInstructions, std::move(instructions));
}

void AudioProcessCommand::setDestination(const URL& destination) {
    setAndNotify(QStringLiteral("destination"), m_destination, destination);
}

void AudioProcessCommand::setFilename(const std::optional<QString>& filename) {
    setAndNotify(QStringLiteral("filename"), m_filename, filename);
}

QString AudioProcessCommand::scriptDescription() const {
    // Every built command has both records; a command without them (the crop
    // and snip commands leave out the instructions) writes an empty one, which
    // reads back as all defaults.
    const QString sources = m_sourceInstructionsGroup ? m_sourceInstructionsGroup->scriptDescription()
                                                      : QStringLiteral("{}");
    const QString instructions = m_processInstructions ? m_processInstructions->scriptDescription()
                                                       : QStringLiteral("{}");
    QString text = QStringLiteral("set theSource to ") + sources + QLatin1Char('\n');
    text += QStringLiteral("set theInstructions to ") + instructions + QLatin1Char('\n');
    const bool hasDestination = !m_destination.isEmpty();
    if (hasDestination)
        text += QStringLiteral("set theDestination to posix file ") + ScriptText::quoted(m_destination.path()) +
                QLatin1Char('\n');
    text += QStringLiteral("process sources theSource with instructions theInstructions");
    if (hasDestination)
        text += QStringLiteral(" to folder theDestination");
    if (m_filename && !m_filename->isEmpty())
        text += QStringLiteral(" with filename ") + ScriptText::quoted(*m_filename);
    if (m_replaceOriginal)
        text += QStringLiteral(" replace original true");
    return text + QLatin1Char('\n');
}

std::shared_ptr<AudioProcessCommand> AudioProcessCommand::initWithScriptArguments(const QVariantMap& arguments,
                                                                                  VMKError* error) {
    const QString name = QStringLiteral("a process command");
    auto command = std::make_shared<AudioProcessCommand>();
    for (auto it = arguments.cbegin(); it != arguments.cend(); ++it) {
        const QString& key = it.key();
        const QVariant& value = it.value();
        bool ok = true;
        if (key == QLatin1String("destination")) {
            if (value.metaType() == QMetaType::fromType<URL>())
                command->m_destination = value.value<URL>();
            else if (Variant::isString(value) && !value.toString().isEmpty())
                command->m_destination = URL::fileURLWithPath(value.toString());
            else {
                VMKError::set(error, ScriptArguments::error(name, QStringLiteral("the destination %1 is no folder")
                                                                      .arg(Variant::describe(value))));
                ok = false;
            }
        } else if (key == QLatin1String("filename")) {
            ok = ScriptArguments::string(value, name, key, command->m_filename, error);
        } else if (key == QLatin1String("replaceOriginal")) {
            ok = ScriptArguments::boolean(value, name, key, command->m_replaceOriginal, error);
        } else if (key == QLatin1String("instructions")) {
            command->m_processInstructions = AudioProcessCommandInstructions::initWithScriptArguments(value, error);
            ok = command->m_processInstructions != nullptr;
        } else if (key == QLatin1String("sources")) {
            command->m_sourceInstructionsGroup =
                AudioProcessCommandSourceInstructionsGroup::initWithScriptArguments(value, error);
            ok = command->m_sourceInstructionsGroup != nullptr;
        }
        if (!ok)
            return nullptr;
    }
    if (!command->m_sourceInstructionsGroup) {
        VMKError::set(error, ScriptArguments::error(name, QStringLiteral("the command has no sources")));
        return nullptr;
    }
    return command;
}

} // namespace ondrel
