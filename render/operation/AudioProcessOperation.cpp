#include "render/operation/AudioProcessOperation.h"

#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommandInstructions.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessGroup.h"
#include "render/processors/AudioProcessAudioFileWriterAudioProcessor.h"

namespace ondrel {

const ClassInfo& AudioProcessOperation::staticClassInfo() {
    using C = AudioProcessOperation;
    static const ClassInfo& info = ClassInfo::define<C, Operation>(QStringLiteral("AudioProcessOperation"))
                                       .property(QStringLiteral("hasError"), &C::hasError)
                                       .property(QStringLiteral("progress"), &C::progress);
    return info;
}

AudioProcessOperation::AudioProcessOperation() = default;
AudioProcessOperation::~AudioProcessOperation() = default;

void AudioProcessOperation::start() {
    const auto log = LogController::sharedInstance();
    if (isCancelled()) {
        log->logWithLevel(LogController::Notice, VMKLocalizedString(QStringLiteral("AudioProcessOperation_log_notice_cancelled")));
        setFinished(true);
        return;
    }
    setExecuting(true);
    VMKError failure;
    if (!process(&failure)) {
        m_hasError.store(true, std::memory_order_release);
        const QString source = m_sources.empty() || m_sources.front().URLs.empty()
                                   ? QString()
                                   : m_sources.front().URLs.front().lastPathComponent();
        {
            std::lock_guard lock(m_mutex);
            m_error = failure;
        }
        log->logWithLevel(LogController::Error,
                          VMKLocalizedString(QStringLiteral("AudioProcessOperation_log_error_failed"))
                              .arg(source, failure.localizedDescription()));
    }
    setFinished(true);
    setExecuting(false);
}

std::shared_ptr<AudioProcessAudioFileWriterAudioProcessor> AudioProcessOperation::writer() const {
    std::lock_guard lock(m_mutex);
    return m_writer;
}

double AudioProcessOperation::progress() const {
    const auto current = writer();
    return current ? double(current->progress()) : 0.0;
}

URL AudioProcessOperation::resultURL() const {
    std::lock_guard lock(m_mutex);
    return m_resultURL;
}

VMKError AudioProcessOperation::error() const {
    std::lock_guard lock(m_mutex);
    return m_error;
}

bool AudioProcessOperation::process(VMKError* error) {
    // The graph is built in the next commit.
    VMKError::set(error, VMKError::errorWithCode(1, QStringLiteral("Rendering"), QStringLiteral("not available")));
    return false;
}

} // namespace ondrel
