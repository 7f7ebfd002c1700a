#include "analysis/operation/AnalysisOperation.h"

#include "analysis/processors/AnalyzerAudioProcessor.h"
#include "core/predicates/Predicate.h"
#include "core/storage/PropertyList.h"
#include "core/storage/UserDefaults.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "render/engine/effects/VMKRouterAudioProcessor.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/meters/VMKLoudnessMeterAudioProcessor.h"


namespace ondrel {

namespace {

void analysisLog(LogController::Level level, const QString& key, const QString& first,
                 const QString& second = QString()) {
    QString text = VMKLocalizedString(key);
    text = text.contains(QLatin1String("%2")) ? text.arg(first, second) : text.arg(first);
    LogController::sharedInstance()->logWithLevel(level, text);
}

// The analysis stream without its sources, read once from the resources.
const QVariantMap& streamDescription() {
    static const QVariantMap description =
        PropertyList::readFromFile(QStringLiteral(":/ondrel/streams/AnalysisStream.plist")).toMap();
    return description;
}

quint64 countOfLabels(const std::vector<std::shared_ptr<VMKAudioLabel>>& labels, const QString& type) {
    const auto predicate = Predicate::predicateWithFormat(QStringLiteral("type == \"%1\"").arg(type));
    return predicate ? quint64(Predicate::filteredArray(labels, *predicate).size()) : 0;
}

} // namespace

const QString AnalysisOperation::EnableTruePeakKey = QStringLiteral("AnalysisEnableTruePeak");

const ClassInfo& AnalysisOperation::staticClassInfo() {
    using C = AnalysisOperation;
    static const ClassInfo& info = ClassInfo::define<C, Operation>(QStringLiteral("AnalysisOperation"))
                                       .property(QStringLiteral("isCompleted"), &C::isCompleted)
                                       .property(QStringLiteral("entityProperties"), &C::entityProperties)
                                       .property(QStringLiteral("entityChannelProperties"), &C::entityChannelProperties)
                                       .property(QStringLiteral("entityLabels"), &C::entityLabels)
                                       .property(QStringLiteral("progress"), &C::progress);
    return info;
}

void AnalysisOperation::registerClassDefaults() {
    UserDefaults::standardUserDefaults()->registerDefaults({{EnableTruePeakKey, kEnableTruePeakDefault}});
}

// The registered value also when the defaults were opened afresh since the
// registration (a new support folder).
bool AnalysisOperation::isTruePeakEnabled() {
    const QVariant value = UserDefaults::standardUserDefaults()->objectForKey(EnableTruePeakKey);
    return value.isValid() ? value.toBool() : kEnableTruePeakDefault;
}

AnalysisOperation::AnalysisOperation() = default;
AnalysisOperation::~AnalysisOperation() = default;

std::vector<URL> AnalysisOperation::URLs() const {
    std::lock_guard lock(m_mutex);
    return m_URLs;
}

void AnalysisOperation::setURLs(const std::vector<URL>& urls) {
    std::lock_guard lock(m_mutex);
    m_URLs = urls;
}

QVariantMap AnalysisOperation::entityProperties() const {
    std::lock_guard lock(m_mutex);
    return m_entityProperties;
}

QVariantList AnalysisOperation::entityChannelProperties() const {
    std::lock_guard lock(m_mutex);
    return m_entityChannelProperties;
}

QVariantList AnalysisOperation::entityLabels() const {
    std::lock_guard lock(m_mutex);
    return m_entityLabels;
}

float AnalysisOperation::progress() const {
    std::shared_ptr<AnalyzerAudioProcessor> analyzer;
    {
        std::lock_guard lock(m_mutex);
        analyzer = m_analyzer;
    }
    return analyzer ? analyzer->progress() : 0.0f;
}

void AnalysisOperation::start() {
    if (isCancelled()) {
        setFinished(true);
        return;
    }
    setExecuting(true);
    analyze();
    setCompleted();
    setFinished(true);
    setExecuting(false);
}

void AnalysisOperation::setCompleted() {
    willChangeValueForKey(QStringLiteral("isCompleted"));
    m_completed.store(true, std::memory_order_release);
    didChangeValueForKey(QStringLiteral("isCompleted"));
}

void AnalysisOperation::analyze() {
    const std::vector<URL> urls = URLs();
    std::vector<std::shared_ptr<VMKAudioFileReader>> readers;
    quint64 totalChannels = 0;
    for (const URL& url : urls) {
        VMKError error;
        auto reader = VMKAudioFileReader::initWithURL(url, &error);
        if (!reader) {
            analysisLog(LogController::Warning, QStringLiteral("AnalysisOperation_log_warning_skipped"), url.path(),
                        error.localizedDescription());
            return;
        }
        totalChannels += reader->numberOfChannels();
        readers.push_back(std::move(reader));
    }
    if (readers.empty())
        return;
    const QString name = urls.front().lastPathComponent();
    auto initFailed = [&](const VMKError& error) {
        analysisLog(LogController::Error, QStringLiteral("AnalysisOperation_log_error_initFailed"), name,
                    error.localizedDescription());
    };

    VMKError error;
    const auto stream = VMKAudioStream::initWithDescription(streamDescription(), &error);
    if (!stream) {
        initFailed(error);
        return;
    }
    const auto analyzer =
        std::dynamic_pointer_cast<AnalyzerAudioProcessor>(stream->processorWithIdentifier(QStringLiteral("analyzer")));
    const auto mixer = stream->processorWithIdentifier(QStringLiteral("mixer"));
    if (!analyzer || !mixer) {
        initFailed(VMKError::errorWithCode(0, QStringLiteral("Reading the analysis stream"),
                                           QStringLiteral("it has no analyzer or no mixer")));
        return;
    }
    if (const auto meter = std::dynamic_pointer_cast<VMKLoudnessMeterAudioProcessor>(
            stream->processorWithIdentifier(QStringLiteral("LUMeter"))))
        meter->setEnableTruePeak(isTruePeakEnabled());
    if (!mixer->setNumberOfInputBuses(readers.size(), &error)) {
        initFailed(error);
        return;
    }

    // The files side by side: file k's channels follow those of the files
    // before it.
    uint32_t offset = 0;
    for (size_t k = 0; k < readers.size(); ++k) {
        if (!VMKRouterAudioProcessor::addFileAtChannels(*stream, readers[k], offset, uint32_t(totalChannels),
                                                        *mixer, k, &error)) {
            initFailed(error);
            return;
        }
        offset += uint32_t(readers[k]->numberOfChannels());
    }

    // Only the first file's length counts: the files of a split file are
    // taken to be of equal length.
    const auto& first = readers.front();
    analyzer->setSampleRate(first->sampleRate());
    analyzer->setFrames(first->frames());
    analyzer->setNumberOfChannels(totalChannels);
    analyzer->setOperation(std::static_pointer_cast<Operation>(self()));
    {
        std::lock_guard lock(m_mutex);
        m_analyzer = analyzer;
    }

    QVariantMap properties;
    properties.insert(QStringLiteral("metadata"), first->metadata());
    const auto labels = first->labels();
    properties.insert(QStringLiteral("countOfMarkers"), countOfLabels(labels, QStringLiteral("marker")));
    properties.insert(QStringLiteral("countOfSlices"), countOfLabels(labels, QStringLiteral("slice")));
    properties.insert(QStringLiteral("countOfRegions"), countOfLabels(labels, QStringLiteral("region")));
    properties.insert(QStringLiteral("countOfLoops"), countOfLabels(labels, QStringLiteral("loop")));
    QVariantList labelList;
    for (const auto& label : labels)
        labelList.append(Variant::fromObject(label));

    if (!stream->initialize(&error)) {
        initFailed(error);
        return;
    }
    if (!stream->start(&error)) {
        // A cancelled analysis ends here too, without an error of its own.
        const QString reason = error ? error.localizedDescription()
                                     : VMKLocalizedString(QStringLiteral("AnalysisOperation_reason_cancelled"));
        analysisLog(LogController::Error, QStringLiteral("AnalysisOperation_log_error_startFailed"), name, reason);
        stream->uninitialize();
        return;
    }
    const QVariantMap aggregate = analyzer->aggregateResults();
    for (auto it = aggregate.constBegin(); it != aggregate.constEnd(); ++it)
        properties.insert(it.key(), it.value());
    QVariantList channelProperties;
    for (quint64 c = 0; c < totalChannels; ++c)
        channelProperties.append(analyzer->resultsForChannelAtIndex(c));

    if (!stream->stop(&error)) {
        analysisLog(LogController::Error, QStringLiteral("AnalysisOperation_log_error_stopFailed"), name,
                    error.localizedDescription());
        return;
    }
    if (!stream->uninitialize(&error)) {
        analysisLog(LogController::Error, QStringLiteral("AnalysisOperation_log_error_uninitFailed"), name,
                    error.localizedDescription());
        return;
    }
    std::lock_guard lock(m_mutex);
    m_entityProperties = properties;
    m_entityChannelProperties = channelProperties;
    m_entityLabels = labelList;
}

} // namespace ondrel
