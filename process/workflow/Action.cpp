#include "process/workflow/Action.h"

#include "process/interfaces/CurrentWorkflow.h"
#include "process/interfaces/ProcessInterfaces.h"

namespace ondrel {

namespace {

const QString indexKey = QStringLiteral("index");

}  // namespace

const ClassInfo& Action::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<Action, Object>(QStringLiteral("Action"))
            .property(QStringLiteral("enabled"), &Action::isEnabled, &Action::setEnabled)
            .property(QStringLiteral("disclosed"), &Action::isDisclosed, &Action::setDisclosed)
            .property(QStringLiteral("identifier"), &Action::identifier, &Action::setIdentifier)
            .property(QStringLiteral("name"), &Action::name, &Action::setName);
    return info;
}

void Action::setEnabled(bool enabled) { setAndNotify(QStringLiteral("enabled"), m_enabled, enabled); }

void Action::setDisclosed(bool disclosed) { setAndNotify(QStringLiteral("disclosed"), m_disclosed, disclosed); }

void Action::setIdentifier(const std::optional<QString>& identifier) {
    setAndNotify(QStringLiteral("identifier"), m_identifier, identifier);
}

void Action::setName(const std::optional<QString>& name) { setAndNotify(QStringLiteral("name"), m_name, name); }

QString Action::identifierForClassName(const QString& className) {
    static const QString ending = QStringLiteral("Action");
    QString identifier = className.endsWith(ending) ? className.chopped(ending.size()) : className;
    if (!identifier.isEmpty())
        identifier[0] = identifier[0].toLower();
    return identifier;
}

// MARK: - Parameters

QVariantMap Action::parameterValues() const {
    QVariantMap values;
    for (const QString& key : parameterKeys()) {
        const QVariant value = valueForKey(key);
        if (!Variant::isAbsent(value))
            values.insert(key, value);
    }
    return values;
}

void Action::setParameterValues(const QVariantMap& values) {
    for (const QString& key : parameterKeys()) {
        auto it = values.constFind(key);
        if (it != values.cend())
            setValueForKey(it.value(), key);
    }
}

void Action::setValueForUndefinedKey(const QVariant&, const QString&) {}

std::shared_ptr<Action> Action::copy() const {
    auto action = std::dynamic_pointer_cast<Action>(ClassRegistry::create(className()));
    if (!action)
        return nullptr;
    action->m_enabled = m_enabled;
    action->m_disclosed = m_disclosed;
    action->m_identifier = m_identifier;
    action->m_name = m_name;
    action->setParameterValues(parameterValues());
    return action;
}

// MARK: - Compile hooks

ObjectPtr Action::fileProcessCommand() { return nullptr; }

void Action::willBeginConstructingProcessForFileEntity(const std::shared_ptr<FileEntity>&,
                                                       const std::vector<std::shared_ptr<FileEntity>>&) {}

qsizetype Action::numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>&) { return 1; }

void Action::compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>&, qsizetype) {}

void Action::compileInstructions(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                 const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                 qsizetype process) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    compileInstructionsForFileEntity(instructions, main ? main->fileEntity() : nullptr, process);
}

void Action::compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>&,
                                              const std::shared_ptr<FileEntity>&, qsizetype) {}

std::optional<QString> Action::filenameForProposedFilename(const QString&, const std::shared_ptr<FileEntity>&,
                                                           qsizetype) {
    return std::nullopt;
}

void Action::didEndConstructingProcess() {}

// MARK: - Pasteboard form

QString Action::actionIndexPasteboardType() { return QStringLiteral("com.velmark.ondrel.action.index"); }

QStringList Action::writableTypesForPasteboard() { return {actionIndexPasteboardType()}; }

QStringList Action::readableTypesForPasteboard() { return {actionIndexPasteboardType()}; }

int Action::readingOptionsForType(const QString&) { return 2; }

QVariant Action::pasteboardPropertyListForType(const QString& type) const {
    if (type != actionIndexPasteboardType())
        return QVariant();
    const auto workflow = ProcessInterfaces::currentWorkflow();
    const qsizetype index = workflow ? workflow->indexOfObjectInActions(this) : -1;
    if (index < 0)
        return QVariant();
    return QVariantMap{{indexKey, QVariant::fromValue(quint64(index))}};
}

std::shared_ptr<Action> Action::initWithPasteboardPropertyList(const QVariant& propertyList, const QString& type) {
    if (type != actionIndexPasteboardType() || !Variant::isDictionary(propertyList))
        return nullptr;
    const QVariant value = propertyList.toMap().value(indexKey);
    if (!Variant::isInteger(value))
        return nullptr;
    const qint64 index = value.toLongLong();
    const auto workflow = ProcessInterfaces::currentWorkflow();
    return index >= 0 && workflow ? workflow->objectInActionsAtIndex(qsizetype(index)) : nullptr;
}

} // namespace ondrel
