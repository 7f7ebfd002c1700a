#pragma once

#include "core/objects/Object.h"
#include "process/instructions/AudioProcessCommandInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <memory>
#include <optional>
#include <vector>

namespace ondrel {

class ActionViewController;
class FileEntity;
class VMKAudioProcessor;

// One step of a workflow. An action holds the user's parameters and knows how
// to change compiled instructions; it does no audio work itself.
//
// Parameters are key-value coding properties of the subclass, named by
// parameterKeys(); they are the action's whole persistent state. Unknown keys
// are ignored both ways, so stored workflows survive changes of a class.
//
// The compiler calls the hooks on every action of a run, in workflow order:
// fileProcessCommand once; then for each file entity
// willBeginConstructingProcessForFileEntity, numberOfProcessesForFileEntity,
// and for each process index p (from 0): compileSourceInstructions,
// compileInstructions (which by default forwards to
// compileInstructionsForFileEntity), filenameForProposedFilename; and last
// didEndConstructingProcess. State kept between the first and the last of
// these is scratch data of one run.
class Action : public Object {
    ONDREL_OBJECT(Action, Object)
public:
    Action() = default;

    // A disabled action takes no part in a run.
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);
    // The action's panel is open.
    bool isDisclosed() const { return m_disclosed; }
    void setDisclosed(bool disclosed);
    // Identity of the library entry the action came from.
    std::optional<QString> identifier() const { return m_identifier; }
    void setIdentifier(const std::optional<QString>& identifier);
    // Name shown to the user; also the word used in a group's name.
    std::optional<QString> name() const { return m_name; }
    void setName(const std::optional<QString>& name);

    // The action's panel, when there is an interface.
    std::shared_ptr<ActionViewController> viewController() const { return m_viewController; }
    void setViewController(std::shared_ptr<ActionViewController> viewController) {
        m_viewController = std::move(viewController);
    }
    // Scratch slot for an action that needs a live processor; not saved.
    std::shared_ptr<VMKAudioProcessor> audioProcessor() const { return m_audioProcessor; }
    void setAudioProcessor(std::shared_ptr<VMKAudioProcessor> audioProcessor) {
        m_audioProcessor = std::move(audioProcessor);
    }

    // The identifier of a class: its name without the "Action" ending, with
    // the first letter in lower case ("TrimBeginningAction" -> "trimBeginning").
    static QString identifierForClassName(const QString& className);

    // MARK: Parameters

    // The keys of the action's parameters. The base class has none.
    virtual QStringList parameterKeys() const { return {}; }
    // True when the action deals with channels or format itself, so the
    // compiler adds no implicit channel extraction.
    virtual bool preventInherentChannelSuffixDelimiter() const { return false; }

    // The value of each parameter key; absent values are left out.
    QVariantMap parameterValues() const;
    // Sets each parameter key the dictionary has; other keys are ignored and
    // missing keys keep their value.
    void setParameterValues(const QVariantMap& values);
    // A key the class doesn't have is ignored.
    void setValueForUndefinedKey(const QVariant& value, const QString& key) override;

    // A new action of the same class with the same identifier, name, state
    // and parameters, and no panel or processor: what a run compiles, so the
    // interface may go on editing the original meanwhile. Null when the class
    // can't be made by name. Call where the original is edited (the main
    // thread).
    virtual std::shared_ptr<Action> copy() const;

    // MARK: Compile hooks

    // Once, before any file. An action that answers a command is no audio
    // step; the command joins the group's file process commands. Base: null.
    virtual ObjectPtr fileProcessCommand();
    // Once per file entity, before the count is asked. Base: nothing.
    virtual void willBeginConstructingProcessForFileEntity(
        const std::shared_ptr<FileEntity>& fileEntity, const std::vector<std::shared_ptr<FileEntity>>& allFileEntities);
    // How many output files the action wants for the entity. Base: 1.
    virtual qsizetype numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>& fileEntity);
    // Changes sources or adds others. Base: nothing.
    virtual void compileSourceInstructions(
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype process);
    // Base: compileInstructionsForFileEntity with the file of the group's main
    // source (null when the group has none).
    virtual void compileInstructions(
        const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype process);
    // The usual place of an action's work. Base: nothing.
    virtual void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                                  const std::shared_ptr<FileEntity>& fileEntity, qsizetype process);
    // Receives the output name so far; a non-empty answer replaces it. Base: absent.
    virtual std::optional<QString> filenameForProposedFilename(const QString& proposedFilename,
                                                               const std::shared_ptr<FileEntity>& fileEntity,
                                                               qsizetype process);
    // Once per file entity, after its last process. Base: nothing.
    virtual void didEndConstructingProcess();

    // MARK: Pasteboard form

    // An action on a pasteboard is its index in the current workflow (the one
    // installed in ProcessInterfaces): a place, not a copy, so the form lives
    // only within one process.
    static QString actionIndexPasteboardType();  // "com.velmark.ondrel.action.index"
    static QStringList writableTypesForPasteboard();
    static QStringList readableTypesForPasteboard();
    // Read as a property list (2).
    static int readingOptionsForType(const QString& type);
    // {"index": the action's index in the current workflow}; absent for
    // another type, or when the action isn't in the current workflow.
    QVariant pasteboardPropertyListForType(const QString& type) const;
    // The existing action at the index in the current workflow; null when
    // the form is wrong or the index is out of range.
    static std::shared_ptr<Action> initWithPasteboardPropertyList(const QVariant& propertyList, const QString& type);

private:
    bool m_enabled = true;
    bool m_disclosed = true;
    std::optional<QString> m_identifier;
    std::optional<QString> m_name;
    std::shared_ptr<ActionViewController> m_viewController;
    std::shared_ptr<VMKAudioProcessor> m_audioProcessor;
};

} // namespace ondrel
