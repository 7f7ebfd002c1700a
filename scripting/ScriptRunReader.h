#pragma once

#include "core/text/VMKError.h"
#include "scripting/ScriptValueReader.h"

#include <QtCore/QString>
#include <QtCore/QVariantMap>

#include <memory>
#include <vector>

namespace ondrel {

class AudioProcessCommandGroup;

// Reads the script text of a run back into its command groups. The text is
// made of these statements, one to a line:
//   begin processing with name "…" [rehearse true]
//   set NAME to VALUE
//   process sources ARG with instructions ARG [to folder ARG]
//       [with filename ARG] [replace original ARG]
//   end processing
// where an ARG is a variable set before or a value (ScriptValueReader).
// They act as the script commands do: "begin processing" opens a group made
// by the group's script reader, dropping a group left open; "process
// sources" makes a command by the command's reader and appends it to the open
// group, or is lost when none is open; "end processing" closes the group.
//
// Reading stops at the first statement that doesn't parse or whose command
// can't be made, with a ScriptError naming its line and column.
class ScriptRunReader {
public:
    explicit ScriptRunReader(ScriptValueReader::EntityResolver resolver = {});

    // Reads the statements of `text`. The groups that "end processing"
    // closed are in groups(), also those before a failure. False, with the
    // error, when a statement fails.
    bool read(const QString& text, VMKError* error = nullptr);

    // The closed groups, in order.
    const std::vector<std::shared_ptr<AudioProcessCommandGroup>>& groups() const { return m_groups; }

    // The one group of a run's text, as the group writes it. Null, with the
    // error, when the text doesn't read or closes no group.
    static std::shared_ptr<AudioProcessCommandGroup> groupWithScriptText(
        const QString& text, ScriptValueReader::EntityResolver resolver = {}, VMKError* error = nullptr);

private:
    bool readStatement(ScriptValueReader& reader, VMKError* error);
    bool readArgument(ScriptValueReader& reader, QVariant& value);
    bool expectWords(ScriptValueReader& reader, std::initializer_list<QLatin1String> words);
    bool expectLineEnd(ScriptValueReader& reader);
    // A command's record failed: a ScriptError 2 at the statement's place,
    // over the record's own error.
    VMKError commandError(const ScriptValueReader& reader, qsizetype position, const VMKError& cause) const;

    ScriptValueReader::EntityResolver m_resolver;
    QVariantMap m_variables;
    std::shared_ptr<AudioProcessCommandGroup> m_openGroup;
    std::vector<std::shared_ptr<AudioProcessCommandGroup>> m_groups;
};

} // namespace ondrel
