#include "analysis/fileprocess/AnalysisFileProcess.h"

#include "analysis/operation/AnalysisOperation.h"
#include "catalog/entities/FileEntity.h"
#include "core/dispatch/OperationQueue.h"
#include "core/text/VMKLocalizedString.h"

namespace ondrel {

namespace {

QString progressText(const QString& name, quint64 count = 0) {
    const QString text = VMKLocalizedString(QStringLiteral("AnalysisFileProcess_progressDescription_") + name);
    return text.contains(QLatin1String("%1")) ? text.arg(count) : text;
}

} // namespace

const QString AnalysisFileProcess::QueueName = QStringLiteral("com.velmark-works.ondrel.analysis-queue");

const ClassInfo& AnalysisFileProcess::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<AnalysisFileProcess, FileProcess>(QStringLiteral("AnalysisFileProcess"))
            .property(QStringLiteral("completedCount"), &AnalysisFileProcess::completedCount);
    return info;
}

AnalysisFileProcess::AnalysisFileProcess() = default;

AnalysisFileProcess::~AnalysisFileProcess() {
    ObservationHandle queueObservation;
    std::unordered_map<const Operation*, ObservationHandle> operationObservations;
    {
        std::lock_guard lock(m_observationsMutex);
        queueObservation.swap(m_queueObservation);
        operationObservations.swap(m_operationObservations);
    }
}

void AnalysisFileProcess::execute() {
    AnalysisOperation::registerClassDefaults();
    setProcessing(true);
    m_queue = std::make_shared<OperationQueue>();
    m_queue->setName(QueueName);
    m_queue->setMaxConcurrentOperationCount(kMaxConcurrentAnalyses);
    m_queue->setSuspended(true);
    const std::weak_ptr<AnalysisFileProcess> weak = std::static_pointer_cast<AnalysisFileProcess>(self());
    {
        auto observation = m_queue->observe(QStringLiteral("operationCount"), 0, [weak](const KeyValueChangeInfo&) {
            if (const auto process = weak.lock())
                process->operationCountDidChange();
        });
        std::lock_guard lock(m_observationsMutex);
        m_queueObservation = std::move(observation);
    }

    for (const QVariant& item : items()) {
        const auto entity = Variant::object<FileEntity>(item);
        if (!entity)
            continue;
        auto operation = std::make_shared<AnalysisOperation>();
        operation->setURLs(entity->URLs());
        entity->setAnalysisOperation(operation);
        const Operation* observed = operation.get();
        auto observation = operation->observe(QStringLiteral("isCompleted"), 0, [weak, observed](const KeyValueChangeInfo&) {
            if (const auto process = weak.lock())
                process->operationDidComplete(observed);
        });
        {
            std::lock_guard lock(m_observationsMutex);
            m_operationObservations.emplace(observed, std::move(observation));
        }
        m_queue->addOperation(operation);
    }
    m_queue->setSuspended(false);
}

void AnalysisFileProcess::operationDidComplete(const Operation* operation) {
    // Counted and no longer observed in one step: progress() adds the
    // analyzer's part of exactly the operations not counted yet.
    willChangeValueForKey(QStringLiteral("progress"));
    quint64 completed;
    ObservationHandle observation;
    {
        std::lock_guard lock(m_observationsMutex);
        completed = ++m_completedCount;
        if (auto it = m_operationObservations.find(operation); it != m_operationObservations.end()) {
            observation = std::move(it->second);
            m_operationObservations.erase(it);
        }
    }
    didChangeValueForKey(QStringLiteral("progress"));
    if (!m_stopped.load())
        setProgressDescription(progressText(QStringLiteral("analyzing"), completed));
    // Ends this very observation: allowed from within its own call.
    observation.reset();
}

void AnalysisFileProcess::operationCountDidChange() {
    if (!m_queue || m_queue->operationCount() != 0 || m_ended.exchange(true))
        return;
    // A stopped process keeps the description and state stop() gave it.
    if (!m_stopped.load()) {
        setProgressDescription(progressText(QStringLiteral("completed"), m_completedCount.load()));
        setProcessing(false);
    }
    setItems({});
}

void AnalysisFileProcess::stop() {
    m_stopped.store(true);
    if (m_queue)
        m_queue->cancelAllOperations();
    setProgressDescription(progressText(QStringLiteral("stopped")));
    setProcessing(false);
}

double AnalysisFileProcess::progress() const {
    const quint64 count = countOfItems();
    if (count == 0)
        return 0.0;
    // A completed operation stays in the queue until it has finished: it is
    // in the count then, not among those still observed.
    const auto operations = m_queue ? m_queue->operations() : std::vector<std::shared_ptr<Operation>>();
    std::lock_guard lock(m_observationsMutex);
    double sum = double(m_completedCount.load());
    for (const auto& operation : operations)
        if (m_operationObservations.count(operation.get()))
            if (const auto analysis = std::dynamic_pointer_cast<AnalysisOperation>(operation))
                sum += double(analysis->progress());
    return double(float(sum / double(count)));
}

} // namespace ondrel
