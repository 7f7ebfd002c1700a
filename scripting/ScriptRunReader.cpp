#include "scripting/ScriptRunReader.h"

#include "process/instructions/AudioProcessCommandGroup.h"
#include "scripting/ScriptError.h"

namespace ondrel {

ScriptRunReader::ScriptRunReader(ScriptValueReader::EntityResolver resolver) : m_resolver(std::move(resolver)) {}

bool ScriptRunReader::read(const QString& text, VMKError* error) {
    ScriptValueReader reader(text, m_resolver);
    for (;;) {
        reader.skipBlanks(true);
        if (reader.atEnd())
            return true;
        const qsizetype start = reader.position();
        if (!readStatement(reader, error))
            return false;
        Q_ASSERT(reader.position() > start);  // every statement reads at least its first word
    }
}

std::shared_ptr<AudioProcessCommandGroup> ScriptRunReader::groupWithScriptText(
    const QString& text, ScriptValueReader::EntityResolver resolver, VMKError* error) {
    ScriptRunReader runReader(std::move(resolver));
    if (!runReader.read(text, error))
        return nullptr;
    if (runReader.groups().empty()) {
        VMKError::set(error, ScriptError::errorWithCode(1, QStringLiteral("Reading the script text"),
                                                        QStringLiteral("the text ends no processing")));
        return nullptr;
    }
    return runReader.groups().back();
}

bool ScriptRunReader::readStatement(ScriptValueReader& reader, VMKError* error) {
    const qsizetype start = reader.position();
    const QString word = reader.readWord();
    const auto failed = [&]() {
        VMKError::set(error, reader.error());
        return false;
    };

    if (word == QLatin1String("begin")) {
        if (!expectWords(reader, {QLatin1String("processing")}))
            return failed();
        QVariantMap arguments;
        for (;;) {
            QVariant value;
            if (reader.readWord(QLatin1String("with"))) {
                if (!expectWords(reader, {QLatin1String("name")}) || !readArgument(reader, value))
                    return failed();
                arguments.insert(QStringLiteral("name"), value);
            } else if (reader.readWord(QLatin1String("rehearse"))) {
                if (!readArgument(reader, value))
                    return failed();
                arguments.insert(QStringLiteral("rehearse"), value);
            } else {
                break;
            }
        }
        if (!expectLineEnd(reader))
            return failed();
        VMKError cause;
        auto group = AudioProcessCommandGroup::initWithScriptArguments(arguments, &cause);
        if (!group) {
            VMKError::set(error, commandError(reader, start, cause));
            return false;
        }
        m_openGroup = std::move(group);  // a group left open is dropped
        return true;
    }

    if (word == QLatin1String("set")) {
        const QString name = reader.readWord();
        if (name.isEmpty()) {
            reader.fail(QStringLiteral("\"set\" must be followed by a variable name"));
            return failed();
        }
        QVariant value;
        if (!expectWords(reader, {QLatin1String("to")}) || !readArgument(reader, value) || !expectLineEnd(reader))
            return failed();
        m_variables.insert(name, value);
        return true;
    }

    if (word == QLatin1String("process")) {
        QVariantMap arguments;
        QVariant value;
        if (!expectWords(reader, {QLatin1String("sources")}) || !readArgument(reader, value))
            return failed();
        arguments.insert(QStringLiteral("sources"), value);
        if (!expectWords(reader, {QLatin1String("with"), QLatin1String("instructions")}) ||
            !readArgument(reader, value))
            return failed();
        arguments.insert(QStringLiteral("instructions"), value);
        if (reader.readWord(QLatin1String("to"))) {
            if (!expectWords(reader, {QLatin1String("folder")}) || !readArgument(reader, value))
                return failed();
            arguments.insert(QStringLiteral("destination"), value);
        }
        if (reader.readWord(QLatin1String("with"))) {
            if (!expectWords(reader, {QLatin1String("filename")}) || !readArgument(reader, value))
                return failed();
            arguments.insert(QStringLiteral("filename"), value);
        }
        if (reader.readWord(QLatin1String("replace"))) {
            if (!expectWords(reader, {QLatin1String("original")}) || !readArgument(reader, value))
                return failed();
            arguments.insert(QStringLiteral("replaceOriginal"), value);
        }
        if (!expectLineEnd(reader))
            return failed();
        if (!m_openGroup)
            return true;  // with no open group the command is lost, without an error
        VMKError cause;
        auto command = AudioProcessCommand::initWithScriptArguments(arguments, &cause);
        if (!command) {
            VMKError::set(error, commandError(reader, start, cause));
            return false;
        }
        m_openGroup->insertObjectInAudioProcessCommandsAtIndex(command, m_openGroup->countOfAudioProcessCommands());
        return true;
    }

    if (word == QLatin1String("end")) {
        if (!expectWords(reader, {QLatin1String("processing")}) || !expectLineEnd(reader))
            return failed();
        if (m_openGroup)
            m_groups.push_back(std::move(m_openGroup));
        m_openGroup.reset();
        return true;
    }

    if (word.isEmpty())
        reader.fail(QStringLiteral("a statement was expected"), start);
    else
        reader.fail(QStringLiteral("\"%1\" begins no statement that a run is made of").arg(word), start);
    return failed();
}

bool ScriptRunReader::readArgument(ScriptValueReader& reader, QVariant& value) {
    const QString word = reader.peekWord();
    if (word.isEmpty() || ScriptValueReader::isValueWord(word))
        return reader.readValue(value);
    const qsizetype start = reader.position();
    reader.readWord();
    if (!m_variables.contains(word))
        return reader.fail(QStringLiteral("the variable \"%1\" isn't set").arg(word), start);
    value = m_variables.value(word);
    return true;
}

bool ScriptRunReader::expectWords(ScriptValueReader& reader, std::initializer_list<QLatin1String> words) {
    for (const QLatin1String& word : words)
        if (!reader.readWord(word))
            return reader.fail(QStringLiteral("\"%1\" was expected").arg(word));
    return true;
}

bool ScriptRunReader::expectLineEnd(ScriptValueReader& reader) {
    if (reader.atLineEnd())
        return true;
    return reader.fail(QStringLiteral("the line goes on where it should end"));
}

VMKError ScriptRunReader::commandError(const ScriptValueReader& reader, qsizetype position,
                                       const VMKError& cause) const {
    qsizetype line = 0;
    qsizetype column = 0;
    reader.lineAndColumn(position, line, column);
    VMKError error = ScriptError::errorWithCode(
        2, QStringLiteral("Reading the script text"),
        QStringLiteral("line %1, column %2: %3").arg(line).arg(column).arg(cause.localizedDescription()));
    error.setUserInfoValue(QStringLiteral("line"), line);
    error.setUserInfoValue(QStringLiteral("column"), column);
    return error;
}

} // namespace ondrel
