#include "render/processors/AudioProcessAudioFileWriterAudioProcessor.h"

#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessGroup.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/operation/AudioProcessOperation.h"

#include <QtCore/QUuid>
#include <QtCore/QVariantList>

#include <mutex>
#include <set>

namespace ondrel {

namespace {

// Guards making destination folders among concurrent renders. Made at first
// use and never destroyed: a writer whose folder can't be made keeps it
// locked for good (see replaceResultWithFileAtTemporaryURL).
std::mutex& directoryLock() {
    static std::mutex* lock = new std::mutex;
    return *lock;
}

// The results that renders under way have named but not yet moved in. A
// name in here is taken, as if its file existed already: renders run side
// by side, and two of one name would otherwise both choose it and the later
// move would delete the other's result.
struct Claims {
    std::mutex mutex;
    std::set<URL> urls;
};

Claims& claims() {
    static Claims* claims = new Claims;
    return *claims;
}

// "aif" becomes "aiff" when the source was an "aiff" file.
QString extensionForSource(const std::vector<URL>& sourceURLs, const QString& extension) {
    if (extension == QLatin1String("aif") && !sourceURLs.empty() &&
        sourceURLs.front().pathExtension() == QLatin1String("aiff"))
        return QStringLiteral("aiff");
    return extension;
}

VMKError movingError(const URL& from, const URL& to, const QString& reason) {
    return VMKError::errorWithCode(VMKAudioFileErrorWrite, QStringLiteral("Moving %1 to %2").arg(from.path(), to.path()),
                                   QStringLiteral("%1; the finished file stays at %2").arg(reason, from.path()));
}

} // namespace

const ClassInfo& AudioProcessAudioFileWriterAudioProcessor::staticClassInfo() {
    using W = AudioProcessAudioFileWriterAudioProcessor;
    static const ClassInfo& info =
        ClassInfo::define<W, VMKAudioFileWriterAudioProcessor>(QStringLiteral("AudioProcessAudioFileWriterAudioProcessor"))
            .property(QStringLiteral("replaceOriginal"), &W::isReplaceOriginal, &W::setReplaceOriginal)
            .property(QStringLiteral("rehearse"), &W::isRehearse, &W::setRehearse);
    return info;
}

AudioProcessAudioFileWriterAudioProcessor::AudioProcessAudioFileWriterAudioProcessor() = default;

AudioProcessAudioFileWriterAudioProcessor::~AudioProcessAudioFileWriterAudioProcessor() { releaseClaim(); }

void AudioProcessAudioFileWriterAudioProcessor::releaseClaim() {
    if (m_claimedURL.isEmpty())
        return;
    std::lock_guard lock(claims().mutex);
    claims().urls.erase(m_claimedURL);
    m_claimedURL = URL();
}

std::shared_ptr<AudioProcessOperation> AudioProcessAudioFileWriterAudioProcessor::audioProcessOperation() const {
    return std::dynamic_pointer_cast<AudioProcessOperation>(operation());
}

bool AudioProcessAudioFileWriterAudioProcessor::isCancelled() const {
    if (VMKAudioFileWriterAudioProcessor::isCancelled())
        return true;
    const auto owner = audioProcessOperation();
    return owner && owner->isCancelled();
}

URL AudioProcessAudioFileWriterAudioProcessor::resultDirectory() const {
    if (!baseDirectory().isEmpty())
        return baseDirectory();
    if (!m_sourceURLs.empty())
        return m_sourceURLs.front().URLByDeletingLastPathComponent();
    return URL::ondrelDirectory();
}

URL AudioProcessAudioFileWriterAudioProcessor::temporaryURLWithExtension(const QString& extension, VMKError* error) {
    // A rehearsal leaves the destination alone: its file goes to the
    // system's temporary folder and is deleted there.
    if (m_rehearse)
        return VMKAudioFileWriterAudioProcessor::temporaryURLWithExtension(extension, error);
    // Beside the result, so that putting it in place is one rename; hidden,
    // so that whoever watches the folder passes it over.
    const URL folder = resultDirectory();
    bool exists;
    {
        std::lock_guard lock(directoryLock());
        exists = folder.existsAsDirectory() || folder.createDirectory();
    }
    if (!exists)
        return VMKAudioFileWriterAudioProcessor::temporaryURLWithExtension(extension, error);
    QString name = QLatin1Char('.') + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    if (!extension.isEmpty())
        name += QLatin1Char('.') + extension;
    return folder.URLByAppendingPathComponent(name);
}

URL AudioProcessAudioFileWriterAudioProcessor::createResultURLWithExtension(const QString& requestedExtension) {
    const URL folder = resultDirectory();
    const QString stem = !baseFilename().isEmpty() ? baseFilename()
                         : !m_sourceURLs.empty()   ? m_sourceURLs.front().filename()
                                                   : QStringLiteral("Untitled");
    const QString extension = extensionForSource(m_sourceURLs, requestedExtension);
    auto inFolder = [&](const QString& name) {
        const URL url = folder.URLByAppendingPathComponent(name);
        return extension.isEmpty() ? url : url.URLByAppendingPathExtension(extension);
    };
    const URL url = inFolder(stem);
    // A replaced original takes its own place, whatever is there.
    if (m_replaceOriginal)
        return url;

    releaseClaim();
    std::lock_guard lock(claims().mutex);
    auto taken = [](const URL& candidate) { return candidate.exists() || claims().urls.count(candidate) != 0; };
    auto claim = [this](const URL& result) {
        claims().urls.insert(result);
        m_claimedURL = result;
        return result;
    };
    if (!taken(url))
        return claim(url);

    // The next free number, checked against what exists now and what other
    // renders have named; a channel suffix stays at the end of the name
    // ("Take 1_L.wav").
    const QString delimiter = url.audioChannelSuffixDelimiter();
    for (qint64 n = 1;; ++n) {
        // One arg() call each: a "%2" in a file's name is text, not a place for the number.
        const QString number = QString::number(n);
        const QString name = !delimiter.isEmpty() ? QStringLiteral("%1 %2%3%4").arg(url.audioFilename(), number,
                                                                                   delimiter, url.audioChannelSuffix())
                                                  : QStringLiteral("%1 %2").arg(url.filename(), number);
        const URL candidate = inFolder(name);
        if (taken(candidate))
            continue;
        LogController::sharedInstance()->logWithLevel(
            LogController::Notice,
            VMKLocalizedString(QStringLiteral("AudioProcessAudioFileWriterAudioProcessor_log_notice_renamed"))
                .arg(url.lastPathComponent(), candidate.lastPathComponent()));
        return claim(candidate);
    }
}

bool AudioProcessAudioFileWriterAudioProcessor::replaceResultWithFileAtTemporaryURL(const URL& temporaryURL,
                                                                                    VMKError* error) {
    // The name is given back however this ends: moved in, the file itself
    // holds it; not moved, nothing does.
    struct ReleaseClaim {
        AudioProcessAudioFileWriterAudioProcessor* writer;
        ~ReleaseClaim() { writer->releaseClaim(); }
    } giveBack{this};

    // 1. A rehearsal keeps nothing.
    if (m_rehearse)
        return temporaryURL.deleteItem(error);

    // 2. The result's folder, made under the class lock.
    directoryLock().lock();
    const URL folder = resultURL().URLByDeletingLastPathComponent();
    if (!folder.existsAsDirectory()) {
        VMKError folderError;
        if (!folder.createDirectory(&folderError)) {
            // The lock is deliberately not given back: once a destination
            // folder can't be made, every later writer waits here for good
            // rather than go on making folders. Required as it stands; do not
            // add an unlock.
            VMKError::set(error, movingError(temporaryURL, resultURL(),
                                             QStringLiteral("its folder can't be made (%1)")
                                                 .arg(folderError.localizedDescription())));
            return false;
        }
    }
    directoryLock().unlock();

    // 3. In place now, over whatever took the name since it was chosen.
    if (!m_replaceOriginal) {
        const URL destination = resultURL();
        VMKError moveError;
        bool moved = false;
        if (destination.existsAsFile() && !destination.deleteItem(&moveError)) {
            moveError = movingError(temporaryURL, destination, moveError.localizedDescription());
        } else {
            moved = installFile(temporaryURL, destination, &moveError);
            if (!moved)
                LogController::sharedInstance()->logWithLevel(
                    LogController::Error,
                    VMKLocalizedString(QStringLiteral("AudioProcessAudioFileWriterAudioProcessor_log_error_notMovable"))
                        .arg(moveError.localizedDescription()));
        }
        // The finished file stays where it is on failure: it may be the only
        // complete copy of the result.
        if (!moved)
            VMKError::set(error, moveError);
        return moved;
    }

    // 4. Replacing the original: the group swaps the files in when all its
    // renders have ended; until then the finished file waits beside it.
    if (resultURL().pathExtension() == QLatin1String("aif") &&
        extensionForSource(m_sourceURLs, QStringLiteral("aif")) == QLatin1String("aiff"))
        setResultURL(resultURL().URLByDeletingPathExtension().URLByAppendingPathExtension(QStringLiteral("aiff")));
    const auto owner = audioProcessOperation();
    const auto process = owner ? owner->audioProcess() : nullptr;
    const auto group = process ? process->audioProcessGroup() : nullptr;
    if (group) {
        QVariantList sources;
        for (const URL& url : m_sourceURLs)
            sources.append(QVariant::fromValue(url));
        group->queueReplaceInstructions({
            {QStringLiteral("sourceURLs"), sources},
            {QStringLiteral("resultURL"), QVariant::fromValue(temporaryURL)},
            {QStringLiteral("destinationURL"), QVariant::fromValue(resultURL())},
        });
    }
    return true;
}

} // namespace ondrel
