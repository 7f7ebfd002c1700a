#pragma once

#include "core/dispatch/Operation.h"
#include "core/files/URL.h"

#include <QtCore/QVariantList>
#include <QtCore/QVariantMap>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

class AnalyzerAudioProcessor;

// Measures one file entity: builds its own analysis stream (the files of the
// entity side by side into one mixer, through the loudness meter and the
// pitch detector into an AnalyzerAudioProcessor), reads the first file's
// metadata and labels, and leaves the results for the entity, which observes
// "isCompleted" and writes them.
//
// Asynchronous in form: "isExecuting", "isFinished" and "isCompleted" are
// announced as they change. An operation that ran always ends completed, with
// its results unset when the file could not be measured (logged); one
// cancelled before it started only finishes.
class AnalysisOperation : public Operation {
    ONDREL_OBJECT(AnalysisOperation, Operation)

public:
    // Whether "LUMeter" measures the true peak; registered as false.
    static const QString EnableTruePeakKey;  // "AnalysisEnableTruePeak"
    static constexpr bool kEnableTruePeakDefault = false;
    // Registers the default of EnableTruePeakKey. Safe to call again.
    static void registerClassDefaults();
    // The user's EnableTruePeakKey, or kEnableTruePeakDefault when unset.
    static bool isTruePeakEnabled();

    AnalysisOperation();
    ~AnalysisOperation() override;

    // The files of the entity, in channel order. Set before the queue starts it.
    std::vector<URL> URLs() const;
    void setURLs(const std::vector<URL>& urls);

    // Runs the analysis on the calling thread, then announces completed,
    // finished and not executing, in that order.
    void start() override;
    bool isAsynchronous() const override { return true; }
    // True once the analysis has run (whether or not it measured anything).
    bool isCompleted() const { return m_completed.load(std::memory_order_acquire); }

    // Results, set together at the end of a successful analysis: the
    // analyzer's aggregate plus "metadata" and the four label counts; one
    // dictionary per channel; the labels of the first file (VMKAudioLabel).
    QVariantMap entityProperties() const;
    QVariantList entityChannelProperties() const;
    QVariantList entityLabels() const;

    // How far the analyzer has read, 0 to 1; 0 before it has started. Any thread.
    float progress() const;

private:
    void analyze();
    void setCompleted();

    mutable std::mutex m_mutex;  // guards the fields below
    std::vector<URL> m_URLs;
    QVariantMap m_entityProperties;
    QVariantList m_entityChannelProperties;
    QVariantList m_entityLabels;
    std::shared_ptr<AnalyzerAudioProcessor> m_analyzer;
    std::atomic<bool> m_completed{false};
};

} // namespace ondrel
