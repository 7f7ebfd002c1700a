#pragma once

#include "fileprocesses/FileProcess.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace ondrel {

class Operation;
class OperationQueue;

// Measures each file entity of its items with one AnalysisOperation, up to
// kMaxConcurrentAnalyses at once on a queue of its own. Each operation is
// attached to its entity, which writes the results when it completes. The
// process ends when its queue has emptied.
class AnalysisFileProcess : public FileProcess {
    ONDREL_OBJECT(AnalysisFileProcess, FileProcess)

public:
    static constexpr int kMaxConcurrentAnalyses = 8;
    static const QString QueueName;  // "com.velmark-works.ondrel.analysis-queue"

    AnalysisFileProcess();
    ~AnalysisFileProcess() override;

    // Queues one analysis per file entity among the items, each attached to
    // its entity, then lets the queue run. Items that are not file entities
    // are passed over. With no items the process stays as this leaves it.
    void execute() override;
    // Cancels every analysis: those not yet begun write nothing, the running
    // ones stop at their next block; files analysed already keep their
    // results.
    void stop() override;
    // (The progress of the running analyses + those completed) / items.
    double progress() const override;

    // Analyses that ran to their end (whether they measured or not).
    quint64 completedCount() const { return m_completedCount.load(); }

private:
    void operationDidComplete(const Operation* operation);
    void operationCountDidChange();

    std::shared_ptr<OperationQueue> m_queue;
    std::atomic<quint64> m_completedCount{0};
    std::atomic<bool> m_stopped{false};
    std::atomic<bool> m_ended{false};
    // Guards the observations; an operation leaves them as it is counted.
    mutable std::mutex m_observationsMutex;
    ObservationHandle m_queueObservation;
    std::unordered_map<const Operation*, ObservationHandle> m_operationObservations;
};

} // namespace ondrel
