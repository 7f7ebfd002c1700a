#include "process/workflow/WorkflowController.h"

#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/storage/PropertyList.h"
#include "core/dispatch/Timer.h"
#include "core/files/URL.h"
#include "core/storage/UserDefaults.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/workflow/Action.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/interfaces/AudioProcessCommandGroupExecutor.h"
#include "process/interfaces/AudioProcessCommandGroupFactory.h"
#include "process/interfaces/CurrentWorkflow.h"
#include "process/interfaces/FileEntitySource.h"
#include "process/interfaces/ProcessInterfaces.h"
#include "process/interfaces/RecordableRunner.h"

#include <algorithm>

namespace ondrel {

namespace {

constexpr double kSaveInterval = 5.0;

const QString kActionsKey = QStringLiteral("actions");
const QString kSaveActionKey = QStringLiteral("saveAction");
const QString kSaveActionClassName = QStringLiteral("SaveAction");
const QString kClassNameKey = QStringLiteral("className");
const QString kIdentifierKey = QStringLiteral("identifier");
const QString kNameKey = QStringLiteral("name");
const QString kEnabledKey = QStringLiteral("enabled");
const QString kDisclosedKey = QStringLiteral("disclosed");
const QString kParametersKey = QStringLiteral("parameters");
const QString kPreparingKey = QStringLiteral("preparing");

// What every action is observed for besides its parameter keys.
const QStringList kObservedActionKeys = {kNameKey, kEnabledKey, kDisclosedKey};

std::recursive_mutex& sharedMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// The shared instance lives for the process (never destroyed at exit).
std::shared_ptr<WorkflowController>& sharedPointer() {
    static auto* shared = new std::shared_ptr<WorkflowController>();
    return *shared;
}

std::shared_ptr<WorkflowController> currentController() {
    std::lock_guard lock(sharedMutex());
    return sharedPointer();
}

std::mutex& workflowFileMutex() {
    static std::mutex mutex;
    return mutex;
}

URL& workflowFile() {
    static URL url;
    return url;
}

URL workflowURL() {
    {
        std::lock_guard lock(workflowFileMutex());
        if (!workflowFile().isEmpty())
            return workflowFile();
    }
    return URL::supportDirectory().URLByAppendingPathComponent(QStringLiteral("Workflow"))
        .URLByAppendingPathExtension(QStringLiteral("plist"));
}

void registerClassDefaults() {
    UserDefaults::standardUserDefaults()->registerDefaults(
        {{WorkflowController::WorkflowSourceFileEntitiesKey, QStringLiteral("allFileEntities")}});
}

// The pasteboard form of an action asks whichever workflow is current.
class SharedWorkflow : public CurrentWorkflow {
public:
    qsizetype indexOfObjectInActions(const Action* action) override {
        const auto controller = currentController();
        return controller ? controller->indexOfObjectInActions(action) : -1;
    }
    std::shared_ptr<Action> objectInActionsAtIndex(qsizetype index) override {
        const auto controller = currentController();
        return controller ? controller->objectInActionsAtIndex(index) : nullptr;
    }
};

void log(unsigned level, const QString& text) { LogController::sharedInstance()->logWithLevel(level, text); }

} // namespace

const QString WorkflowController::WorkflowSourceFileEntitiesKey = QStringLiteral("WorkflowSourceFileEntitiesKey");

const ClassInfo& WorkflowController::staticClassInfo() {
    using C = WorkflowController;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("WorkflowController"))
                                       .property(kPreparingKey, &C::isPreparing)
                                       .property(QStringLiteral("needsSave"), &C::needsSave, &C::setNeedsSave)
                                       .property(kSaveActionKey, &C::saveAction)
                                       .property(kActionsKey, &C::actions);
    return info;
}

std::shared_ptr<WorkflowController> WorkflowController::sharedInstance() {
    std::lock_guard lock(sharedMutex());
    auto& shared = sharedPointer();
    if (!shared) {
        registerClassDefaults();
        ProcessInterfaces::setCurrentWorkflow(std::make_shared<SharedWorkflow>());
        // Stored before init runs: whatever init calls may ask for it again.
        shared = std::make_shared<WorkflowController>();
        shared->init();
    }
    return shared;
}

void WorkflowController::resetSharedInstance() {
    std::shared_ptr<WorkflowController> old;
    {
        std::lock_guard lock(sharedMutex());
        old = std::move(sharedPointer());
    }
}

WorkflowController::WorkflowController() = default;

WorkflowController::~WorkflowController() {
    if (m_saveTimer)
        m_saveTimer->invalidate();
    if (m_terminateObserver)
        NotificationCenter::defaultCenter().removeObserver(m_terminateObserver);
    // Ended before the fields go: no handler runs after this, on any thread.
    std::lock_guard lock(m_observationsMutex);
    m_actionObservations.clear();
    m_saveActionObservations.clear();
}

bool WorkflowController::isSaveAction(const Action& action) {
    return action.classInfo().isSubclassOf(kSaveActionClassName);
}

void WorkflowController::setWorkflowFile(const URL& url) {
    std::lock_guard lock(workflowFileMutex());
    workflowFile() = url;
}

void WorkflowController::init() {
    if (const ClassInfo* info = ClassRegistry::classNamed(kSaveActionClassName))
        m_saveAction = std::dynamic_pointer_cast<Action>(info->create());
    Q_ASSERT_X(m_saveAction, "WorkflowController", "SaveAction must be registered before the workflow is read");

    const QVariant stored = PropertyList::readFromFile(workflowURL().path());
    const QVariantMap workflow = Variant::isDictionary(stored) ? stored.toMap() : QVariantMap();

    for (const QVariant& element : workflow.value(kActionsKey).toList()) {
        if (!Variant::isDictionary(element))
            continue;
        const QVariantMap description = element.toMap();
        const QString className = description.value(kClassNameKey).toString();
        const ClassInfo* info = ClassRegistry::classNamed(className);
        std::shared_ptr<Action> action;
        if (info && info->isSubclassOf(Action::staticClassInfo()))
            action = std::dynamic_pointer_cast<Action>(info->create());
        if (!action) {
            log(LogController::Warning, VMKLocalizedString(QStringLiteral("WorkflowController_log_warning_missing"))
                                            .arg(className));
            continue;
        }
        action->setIdentifier(fromVariant<std::optional<QString>>(description.value(kIdentifierKey)));
        action->setName(fromVariant<std::optional<QString>>(description.value(kNameKey)));
        // A missing flag reads as false: disabled, panel closed.
        action->setEnabled(description.value(kEnabledKey).toBool());
        action->setDisclosed(description.value(kDisclosedKey).toBool());
        action->setParameterValues(description.value(kParametersKey).toMap());
        beginObservingAction(action.get());
        std::lock_guard lock(m_actionsMutex);
        m_actions.push_back(std::move(action));
    }

    if (m_saveAction) {
        m_saveAction->setParameterValues(workflow.value(kSaveActionKey).toMap());
        std::lock_guard lock(m_observationsMutex);
        for (const QString& key : m_saveAction->parameterKeys())
            m_saveActionObservations.push_back(
                m_saveAction->observe(key, 0, [this](const KeyValueChangeInfo&) { setNeedsSave(true); }));
    } else {
        m_unreadSaveAction = workflow.value(kSaveActionKey).toMap();
    }

    std::weak_ptr<WorkflowController> weak = std::static_pointer_cast<WorkflowController>(shared_from_this());
    m_saveTimer = Timer::scheduledTimer(kSaveInterval, true, [weak] {
        if (auto self = weak.lock())
            self->save();
    });
    // The application's delegate has written the workflow when it agreed to
    // quit; this writes only what changed after that, so that quitting
    // writes the file once.
    m_terminateObserver = NotificationCenter::defaultCenter().addObserver(
        ApplicationWillTerminateNotification, nullptr, [weak](const Notification&) {
            if (auto self = weak.lock())
                self->save();
        });
}

// MARK: - Actions

std::vector<std::shared_ptr<Action>> WorkflowController::actions() const {
    std::lock_guard lock(m_actionsMutex);
    return m_actions;
}

qsizetype WorkflowController::countOfActions() const {
    std::lock_guard lock(m_actionsMutex);
    return qsizetype(m_actions.size());
}

std::shared_ptr<Action> WorkflowController::objectInActionsAtIndex(qsizetype index) const {
    std::lock_guard lock(m_actionsMutex);
    return index >= 0 && index < qsizetype(m_actions.size()) ? m_actions[size_t(index)] : nullptr;
}

std::vector<std::shared_ptr<Action>> WorkflowController::actionsAtIndexes(const IndexSet& indexes) const {
    std::lock_guard lock(m_actionsMutex);
    std::vector<std::shared_ptr<Action>> result;
    for (qsizetype index : indexes)
        if (index >= 0 && index < qsizetype(m_actions.size()))
            result.push_back(m_actions[size_t(index)]);
    return result;
}

qsizetype WorkflowController::indexOfObjectInActions(const Action* action) const {
    std::lock_guard lock(m_actionsMutex);
    const auto it = std::find_if(m_actions.begin(), m_actions.end(),
                                 [action](const std::shared_ptr<Action>& a) { return a.get() == action; });
    return it == m_actions.end() ? -1 : qsizetype(it - m_actions.begin());
}

void WorkflowController::insertObjectInActionsAtIndex(std::shared_ptr<Action> action, qsizetype index) {
    if (!action)
        return;
    const qsizetype count = countOfActions();
    insertActionsAtIndexes({std::move(action)}, IndexSet(std::clamp<qsizetype>(index, 0, count)));
}

void WorkflowController::insertActionsAtIndexes(const std::vector<std::shared_ptr<Action>>& actions,
                                                const IndexSet& indexes) {
    // Pair each non-null action with its index; indexes beyond the end append.
    std::vector<std::shared_ptr<Action>> inserted;
    IndexSet placed;
    qsizetype count = countOfActions();
    auto it = indexes.begin();
    for (const auto& action : actions) {
        if (it == indexes.end())
            break;
        const qsizetype index = *it++;
        if (!action || index < 0)
            continue;
        const qsizetype at = std::min(index, count);
        if (placed.contains(at))
            continue;
        placed.add(at);
        inserted.push_back(action);
        ++count;
    }
    if (inserted.empty())
        return;

    for (const auto& action : inserted)
        beginObservingAction(action.get());
    willChange(KeyValueChange::Insertion, placed, kActionsKey);
    {
        std::lock_guard lock(m_actionsMutex);
        size_t i = 0;
        for (qsizetype index : placed)
            m_actions.insert(m_actions.begin() + std::min(index, qsizetype(m_actions.size())), inserted[i++]);
    }
    setNeedsSave(true);
    didChange(KeyValueChange::Insertion, placed, kActionsKey);
}

void WorkflowController::removeObjectFromActionsAtIndex(qsizetype index) { removeActionsAtIndexes(IndexSet(index)); }

void WorkflowController::removeActionsAtIndexes(const IndexSet& indexes) {
    IndexSet valid;
    const qsizetype count = countOfActions();
    for (qsizetype index : indexes)
        if (index >= 0 && index < count)
            valid.add(index);
    if (valid.isEmpty())
        return;

    const auto removed = actionsAtIndexes(valid);
    for (const auto& action : removed)
        endObservingAction(action.get());
    willChange(KeyValueChange::Removal, valid, kActionsKey);
    {
        std::lock_guard lock(m_actionsMutex);
        for (auto it = valid.indexes().rbegin(); it != valid.indexes().rend(); ++it)
            m_actions.erase(m_actions.begin() + *it);
    }
    setNeedsSave(true);
    didChange(KeyValueChange::Removal, valid, kActionsKey);
}

void WorkflowController::beginObservingAction(Action* action) {
    {
        std::lock_guard lock(m_observationsMutex);
        const auto it = m_actionObservations.find(action);
        if (it != m_actionObservations.end()) {
            ++it->second.count;
            return;
        }
    }
    std::vector<ObservationHandle> observations;
    const auto changed = [this](const KeyValueChangeInfo&) { setNeedsSave(true); };
    for (const QString& key : kObservedActionKeys)
        observations.push_back(action->observe(key, 0, changed));
    for (const QString& key : action->parameterKeys())
        observations.push_back(action->observe(key, 0, changed));
    std::lock_guard lock(m_observationsMutex);
    ActionObservation& observation = m_actionObservations[action];
    ++observation.count;
    // Begun on another thread meanwhile: its handles stand for both.
    if (observation.handles.empty())
        observation.handles = std::move(observations);
}

void WorkflowController::endObservingAction(Action* action) {
    std::vector<ObservationHandle> observations;
    {
        std::lock_guard lock(m_observationsMutex);
        const auto it = m_actionObservations.find(action);
        if (it == m_actionObservations.end())
            return;
        if (--it->second.count > 0)
            return;
        observations = std::move(it->second.handles);
        m_actionObservations.erase(it);
    }
    // Parameter keys first, as they were begun last.
    while (!observations.empty())
        observations.pop_back();
}

// MARK: - Saving

QVariantMap WorkflowController::propertyList() const {
    QVariantList actionList;
    for (const auto& action : actions()) {
        QVariantMap description{{kClassNameKey, action->className()},
                                {kEnabledKey, action->isEnabled()},
                                {kDisclosedKey, action->isDisclosed()},
                                {kParametersKey, action->parameterValues()}};
        if (const auto identifier = action->identifier())
            description.insert(kIdentifierKey, *identifier);
        if (const auto name = action->name())
            description.insert(kNameKey, *name);
        actionList.append(description);
    }
    return {{kActionsKey, actionList},
            {kSaveActionKey, m_saveAction ? m_saveAction->parameterValues() : m_unreadSaveAction}};
}

namespace {

std::atomic<bool>& savingEnabled() {
    static std::atomic<bool> enabled{true};
    return enabled;
}

} // namespace

void WorkflowController::setSavingEnabled(bool enabled) { savingEnabled().store(enabled); }

bool WorkflowController::isSavingEnabled() { return savingEnabled().load(); }

void WorkflowController::save(bool force) {
    if (!isSavingEnabled())
        return;
    // Cleared first, so that a change made while writing is written next time.
    if (!m_needsSave.exchange(false) && !force)
        return;
    VMKError error;
    if (!PropertyList::writeToFile(propertyList(), workflowURL().path(), &error)) {
        // Not written: the changes are still to be saved, by the next timer
        // tick or the write at quit, and whoever quits can tell.
        setNeedsSave(true);
        log(LogController::Error, VMKLocalizedString(QStringLiteral("WorkflowController_log_error_saveFailed"))
                                      .arg(error.localizedDescription()));
    }
}

// MARK: - Running

void WorkflowController::setNeedsSave(bool needsSave) {
    if (m_needsSave.load() == needsSave)
        return;
    willChangeValueForKey(QStringLiteral("needsSave"));
    m_needsSave.store(needsSave);
    didChangeValueForKey(QStringLiteral("needsSave"));
}

void WorkflowController::setPreparing(bool preparing) {
    willChangeValueForKey(kPreparingKey);
    m_preparing.store(preparing);
    didChangeValueForKey(kPreparingKey);
}

void WorkflowController::run(bool rehearse) {
    if (isPreparing())
        return;
    setPreparing(true);
    // The run takes the values of this moment: it compiles copies, and the
    // interface may go on editing the workflow while it does.
    std::vector<std::shared_ptr<Action>> workflow;
    for (const auto& action : actions())
        workflow.push_back(copyOf(action));
    auto self = std::static_pointer_cast<WorkflowController>(shared_from_this());
    DispatchQueue::global().async(
        [self, rehearse, workflow = std::move(workflow), saveAction = copyOf(m_saveAction)] {
            self->compile(rehearse, workflow, saveAction);
        });
}

std::vector<std::shared_ptr<AudioProcessCommandGroup>> WorkflowController::commandGroups(
    const std::vector<std::shared_ptr<FileEntity>>& entities, const std::vector<std::shared_ptr<Action>>& workflow,
    const std::shared_ptr<Action>& saveAction, bool rehearse, AudioProcessCommandGroupFactory& factory) {
    std::vector<std::shared_ptr<AudioProcessCommandGroup>> groups;
    auto isSave = [](const std::shared_ptr<Action>& action) { return isSaveAction(*action); };
    auto addGroup = [&](const std::vector<std::shared_ptr<Action>>& taking, const std::shared_ptr<Action>& save) {
        if (auto group = factory.initWithEntities(entities, taking, save)) {
            group->setRehearse(rehearse);
            groups.push_back(std::move(group));
        }
    };

    // The whole workflow, written by the workflow's own save action.
    std::vector<std::shared_ptr<Action>> taking;
    for (const auto& action : workflow)
        if (action->isEnabled() && !isSave(action))
            taking.push_back(action);
    addGroup(taking, saveAction);

    // Each save action in the list, enabled or not, writes the audio as the
    // enabled actions before it leave it, from the original sources.
    for (size_t i = 0; i < workflow.size(); ++i) {
        const auto& save = workflow[i];
        if (!isSave(save))
            continue;
        taking.clear();
        for (size_t j = 0; j < i; ++j)
            if (workflow[j]->isEnabled() && !isSave(workflow[j]))
                taking.push_back(workflow[j]);
        addGroup(taking, save);
    }
    return groups;
}

std::vector<std::shared_ptr<AudioProcessCommandGroup>> WorkflowController::commandGroups(
    const std::vector<std::shared_ptr<FileEntity>>& entities, bool rehearse) const {
    const auto factory = ProcessInterfaces::audioProcessCommandGroupFactory();
    if (!factory)
        return {};
    std::vector<std::shared_ptr<Action>> workflow;
    for (const auto& action : actions())
        workflow.push_back(copyOf(action));
    return commandGroups(entities, workflow, copyOf(m_saveAction), rehearse, *factory);
}

std::shared_ptr<Action> WorkflowController::copyOf(const std::shared_ptr<Action>& action) {
    auto copy = action ? action->copy() : nullptr;
    return copy ? copy : action;
}

void WorkflowController::compile(bool rehearse, const std::vector<std::shared_ptr<Action>>& workflow,
                                 const std::shared_ptr<Action>& saveAction) {
    const auto source = ProcessInterfaces::fileEntitySource();
    const auto factory = ProcessInterfaces::audioProcessCommandGroupFactory();
    const auto recordableRunner = ProcessInterfaces::recordableRunner();
    auto self = std::static_pointer_cast<WorkflowController>(shared_from_this());
    if (!factory) {
        log(LogController::Error, VMKLocalizedString(QStringLiteral("WorkflowController_log_error_noCompiler")));
        dispatchMain([self] { self->setPreparing(false); });
        return;
    }

    const QString listKey = UserDefaults::standardUserDefaults()->stringForKey(WorkflowSourceFileEntitiesKey);
    const std::vector<std::shared_ptr<FileEntity>> entities =
        source ? source->fileEntitiesForKey(listKey) : std::vector<std::shared_ptr<FileEntity>>();
    auto groups = commandGroups(entities, workflow, saveAction, rehearse, *factory);

    if (recordableRunner && UserDefaults::standardUserDefaults()->boolForKey(QStringLiteral("appleScriptRecordingEnabled"))) {
        VMKError error;
        if (!recordableRunner->runAudioProcessCommandGroupsAsScript(groups, &error))
            log(LogController::Error, VMKLocalizedString(QStringLiteral("WorkflowController_log_error_runFailed"))
                                          .arg(error.localizedDescription()));
        dispatchMain([self] { self->setPreparing(false); });
        return;
    }

    dispatchMain([groups = std::move(groups)] {
        const auto executor = ProcessInterfaces::audioProcessCommandGroupExecutor();
        if (!executor) {
            if (!groups.empty())
                log(LogController::Error,
                    VMKLocalizedString(QStringLiteral("WorkflowController_log_error_noAudioProcessController")));
            return;
        }
        for (const auto& group : groups)
            executor->executeAudioProcessCommandGroup(group);
    });
    dispatchMain([self] { self->setPreparing(false); });
}

} // namespace ondrel
