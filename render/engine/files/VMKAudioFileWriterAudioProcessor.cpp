#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"

#include "render/engine/files/VMKAudioFileLabels.h"
#include "render/engine/files/VMKAudioFileTags.h"
#include "render/engine/graph/VMKEngineError.h"

#include <QtCore/QFile>
#include <QtCore/QUuid>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace ondrel {

namespace {

QByteArray nativePath(const URL& url) { return QFile::encodeName(url.path()); }

// Forces a file's (or folder's) contents to disk; true when they are there.
bool synchronize(const URL& url) {
    const int descriptor = ::open(nativePath(url).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool ok = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return ok;
}

// Copies `from` to the new file `to` and forces the copy to disk; errno
// tells why when it fails.
bool copyFile(const URL& from, const URL& to) {
    QFile source(from.path());
    QFile copy(to.path());
    if (!source.open(QIODevice::ReadOnly) || !copy.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    std::vector<char> block(1 << 20);
    for (qint64 got; (got = source.read(block.data(), qint64(block.size()))) != 0;) {
        if (got < 0 || copy.write(block.data(), got) != got)
            return false;
    }
    return copy.flush() && ::fsync(copy.handle()) == 0;
}

// Moving `from` to `to` failed for `reason`: the error says where the
// finished file is, as nothing else leads the user to it.
VMKError installError(const URL& from, const URL& to, const QString& reason) {
    return VMKError::errorWithCode(VMKAudioFileErrorWrite, QStringLiteral("Moving %1 to %2").arg(from.path(), to.path()),
                                   QStringLiteral("%1; the finished file stays at %2").arg(reason, from.path()));
}

} // namespace

const ClassInfo& VMKAudioFileWriterAudioProcessor::staticClassInfo() {
    using W = VMKAudioFileWriterAudioProcessor;
    static const ClassInfo& info =
        ClassInfo::define<W, VMKHeadAudioProcessor>(QStringLiteral("VMKAudioFileWriterAudioProcessor"))
            .property(QStringLiteral("format"), &W::format, &W::setFormat)
            .property(QStringLiteral("encoding"), &W::encoding, &W::setEncoding)
            .property(QStringLiteral("sampleRate"), &W::sampleRate, &W::setSampleRate)
            .property(QStringLiteral("numberOfChannels"), &W::numberOfChannels, &W::setNumberOfChannels)
            .property(QStringLiteral("bitDepth"), &W::bitDepth, &W::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &W::isFloatingPoint, &W::setFloatingPoint)
            .property(QStringLiteral("bitrate"), &W::bitrate, &W::setBitrate)
            .property(QStringLiteral("baseFilename"), &W::baseFilename, &W::setBaseFilename)
            .property(QStringLiteral("retainTail"), &W::isRetainTail, &W::setRetainTail)
            .property(QStringLiteral("minimumTailLevel"), &W::minimumTailLevel, &W::setMinimumTailLevel)
            .property(QStringLiteral("maximumTailLength"), &W::maximumTailLength, &W::setMaximumTailLength)
            .property(QStringLiteral("fileContentProperties"), &W::fileContentProperties,
                      &W::setFileContentProperties)
            .property(QStringLiteral("progress"), &W::progress);
    return info;
}

VMKAudioFileWriterAudioProcessor::VMKAudioFileWriterAudioProcessor() = default;
VMKAudioFileWriterAudioProcessor::~VMKAudioFileWriterAudioProcessor() = default;

void VMKAudioFileWriterAudioProcessor::insertLabels(const std::vector<std::shared_ptr<VMKAudioLabel>>& labels,
                                                    const IndexSet& indexes) {
    size_t i = 0;
    for (qsizetype index : indexes) {
        if (i >= labels.size())
            break;
        const size_t at = std::min(size_t(std::max<qsizetype>(index, 0)), m_labels.size());
        m_labels.insert(m_labels.begin() + qsizetype(at), labels[i++]);
    }
}

bool VMKAudioFileWriterAudioProcessor::encoderSettings(VMKAudioFileEncoderSettings* settings, VMKError* error) const {
    const VMKAudioFileFormat* format = VMKAudioFileFormat::formatNamed(m_format);
    if (!format) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorUnsupported,
                                                     QStringLiteral("Choosing the output format"),
                                                     QStringLiteral("“%1” is no audio file format that can be written")
                                                         .arg(m_format)));
        return false;
    }
    const VMKAudioConnection* input = inputConnection();
    settings->format = format;
    settings->encoding = m_encoding;
    settings->sampleRate = m_sampleRate > 0 ? m_sampleRate : input ? input->sampleRate() : 0.0;
    settings->numberOfChannels = int(m_numberOfChannels > 0 ? m_numberOfChannels : input ? input->numberOfChannels() : 0);
    settings->bitDepth = int(m_bitDepth);
    settings->isFloatingPoint = m_floatingPoint;
    settings->bitrate = m_bitrate;
    settings->properties = m_fileContentProperties;
    settings->expectedFrames = std::llround(std::max(0.0, m_range.length) * settings->sampleRate);
    return VMKAudioFileEncoder::resolveSettings(*settings, error);
}

bool VMKAudioFileWriterAudioProcessor::initializeForRender(VMKError* error) {
    VMKAudioConnection* input = inputConnection();
    if (input) {
        auto settle = [&](auto own, auto current, auto set, const QString& what) {
            if (own > 0 && current == 0)
                set(own);
            else if (own > 0 && current != own) {
                VMKError::set(error, formatError(QStringLiteral("%1 writes %2 %3 but receives %4")
                                                     .arg(displayName())
                                                     .arg(own)
                                                     .arg(what)
                                                     .arg(current)));
                return false;
            }
            return true;
        };
        if (!settle(m_numberOfChannels, input->numberOfChannels(),
                    [input](quint32 v) { input->setNumberOfChannels(v); }, QStringLiteral("channels")) ||
            !settle(m_sampleRate, input->sampleRate(), [input](double v) { input->setSampleRate(v); },
                    QStringLiteral("Hz")))
            return false;
    }
    VMKAudioFileEncoderSettings settings;
    if (!encoderSettings(&settings, error))
        return false;
    if (!VMKHeadAudioProcessor::initializeForRender(error))
        return false;
    m_pending = VMKAudioBufferList::initWithChannels(buffer()->numberOfChannels(), buffer()->frameCapacity(), error);
    m_pointers.assign(buffer()->numberOfChannels(), nullptr);
    return bool(m_pending);
}

bool VMKAudioFileWriterAudioProcessor::uninitialize(VMKError* error) {
    m_pending.reset();
    return VMKHeadAudioProcessor::uninitialize(error);
}

bool VMKAudioFileWriterAudioProcessor::pull(int64_t frames, VMKError* error) {
    VMKAudioBufferList& block = *buffer();
    block.setFrames(frames);
    VMKAudioBus* bus = inputBus();
    if (!bus->render(block, info())) {
        const VMKError* reported = info().errorSlot();
        if (reported && reported->isError())
            VMKError::set(error, *reported);
        else
            VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorRender, QStringLiteral("Rendering audio"),
                                                         QStringLiteral("%1 could not pull frames %2 to %3")
                                                             .arg(displayName())
                                                             .arg(info().sampleTime())
                                                             .arg(info().sampleTime() + frames)));
        return false;
    }
    return true;
}

bool VMKAudioFileWriterAudioProcessor::writeBlock(VMKAudioFileEncoder& encoder, const VMKAudioBufferList& block,
                                                  int64_t from, int64_t count, VMKError* error) {
    if (count <= 0)
        return true;
    for (uint32_t c = 0; c < block.numberOfChannels(); ++c)
        m_pointers[c] = block.channel(c) + from;
    return encoder.write(m_pointers.data(), count, error);
}

bool VMKAudioFileWriterAudioProcessor::run(VMKAudioFileEncoder& encoder, VMKError* error) {
    const double rate = encoder.settings().sampleRate;
    const int64_t first = std::llround(m_range.location * rate);
    const int64_t total = std::max<int64_t>(0, std::llround(m_range.length * rate));
    const int64_t capacity = buffer()->frameCapacity();
    auto cancelled = [&] {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorCancelled,
                                                     VMKAudioFileEncoder::writingAction(m_temporaryURL.path()),
                                                     QStringLiteral("the render was cancelled")));
        return false;
    };
    info().setSampleTime(first);
    for (int64_t done = 0; done < total;) {
        if (isCancelled())
            return cancelled();
        const int64_t n = std::min(capacity, total - done);
        if (!pull(n, error) || !writeBlock(encoder, *buffer(), 0, n, error))
            return false;
        done += n;
        info().setSampleTime(first + done);
        m_progress.store(float(double(done) / double(total)), std::memory_order_relaxed);
    }
    if (!m_retainTail)
        return true;
    // The tail: blocks go on while they hold a frame at or above the minimum
    // level; the quiet frames behind the last loud one wait until a later
    // block proves they lie inside the tail.
    const int64_t maximum = std::max<int64_t>(0, std::llround(m_maximumTailLength * rate));
    const float level = m_minimumTailLevel;
    int64_t pending = 0;
    for (int64_t pulled = 0; pulled < maximum;) {
        if (isCancelled())
            return cancelled();
        const int64_t n = std::min(capacity, maximum - pulled);
        if (!pull(n, error))
            return false;
        const VMKAudioBufferList& block = *buffer();
        int64_t lastLoud = -1;
        for (uint32_t c = 0; c < block.numberOfChannels(); ++c) {
            const float* samples = block.channel(c);
            for (int64_t i = n - 1; i > lastLoud; --i)
                if (std::abs(samples[i]) >= level) {
                    lastLoud = i;
                    break;
                }
        }
        if (lastLoud < 0)
            break;
        if (!writeBlock(encoder, *m_pending, 0, pending, error) || !writeBlock(encoder, block, 0, lastLoud + 1, error))
            return false;
        pending = n - lastLoud - 1;
        for (uint32_t c = 0; c < block.numberOfChannels(); ++c)
            std::copy(block.channel(c) + lastLoud + 1, block.channel(c) + n, m_pending->channel(c));
        pulled += n;
        info().setSampleTime(first + total + pulled);
    }
    return true;
}

bool VMKAudioFileWriterAudioProcessor::start(VMKError* error) {
    if (!buffer() || !inputBus()) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorState, QStringLiteral("Starting an audio stream"),
                                                     QStringLiteral("%1 is not initialized").arg(displayName())));
        return false;
    }
    VMKAudioFileEncoderSettings settings;
    if (!encoderSettings(&settings, error))
        return false;
    const QString extension = settings.format->extension();
    m_temporaryURL = temporaryURLWithExtension(extension, error);
    if (m_temporaryURL.isEmpty())
        return false;
    m_progress.store(0.0f);
    auto discard = [this] { QFile::remove(m_temporaryURL.path()); };

    auto encoder = VMKAudioFileEncoder::encoderWithSettings(settings, m_temporaryURL.path(), error);
    if (!encoder) {
        discard();
        return false;
    }
    VMKError renderError;
    info().setErrorSlot(&renderError);
    info().setRunning(true);
    bool ok = run(*encoder, error);
    info().setRunning(false);
    info().setErrorSlot(nullptr);
    ok = ok && encoder->finish(error);
    encoder.reset();
    // A WAVE file past 4 GB is an RF64 file, which holds neither tags nor labels here.
    const bool isRF64 = [this] {
        QFile file(m_temporaryURL.path());
        return file.open(QIODevice::ReadOnly) && file.read(4) == "RF64";
    }();
    ok = ok && (isRF64 || VMKAudioFileTags::writeMetadata(m_temporaryURL.path(), *settings.format, m_metadata, error));
    ok = ok && (isRF64 || VMKAudioFileLabels::writeLabels(m_temporaryURL.path(), *settings.format,
                                                          settings.sampleRate, m_labels, error));
    if (!ok) {
        discard();
        return false;
    }
    m_resultURL = createResultURLWithExtension(extension);
    // A finished file that could not be put in place stays where it is:
    // it may be the only complete copy of the result.
    if (!replaceResultWithFileAtTemporaryURL(m_temporaryURL, error))
        return false;
    m_progress.store(1.0f);
    return true;
}

URL VMKAudioFileWriterAudioProcessor::temporaryURLWithExtension(const QString& extension, VMKError* error) {
    const URL folder = URL::temporaryDirectory(error);
    if (folder.isEmpty())
        return URL();
    return folder.URLByAppendingPathComponent(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
                                              QLatin1Char('.') + extension);
}

URL VMKAudioFileWriterAudioProcessor::createResultURLWithExtension(const QString& extension) {
    const URL folder = m_baseDirectory.isEmpty() ? URL::ondrelDirectory() : m_baseDirectory;
    const QString stem = m_baseFilename.isEmpty() ? QStringLiteral("Untitled") : m_baseFilename;
    URL url = folder.URLByAppendingPathComponent(stem);
    return extension.isEmpty() ? url : url.URLByAppendingPathExtension(extension);
}

bool VMKAudioFileWriterAudioProcessor::installFile(const URL& from, const URL& to, VMKError* error) {
    auto fail = [&](int code) {
        VMKError::set(error, installError(from, to, QString::fromLocal8Bit(std::strerror(code))));
        return false;
    };
    const URL folder = to.URLByDeletingLastPathComponent();
    synchronize(from);
    if (std::rename(nativePath(from).constData(), nativePath(to).constData()) == 0) {
        synchronize(folder);
        return true;
    }
    if (errno != EXDEV)
        return fail(errno);
    // The staged name adds 39 bytes to the result's: shortened so that it
    // stays within the longest name a folder allows (255 bytes).
    QString name = to.lastPathComponent();
    while (QFile::encodeName(name).size() > 216)
        name.chop(name.size() > 1 && name.at(name.size() - 1).isLowSurrogate() ? 2 : 1);
    const URL staged = folder.URLByAppendingPathComponent(
        QStringLiteral(".%1.%2.part").arg(name, QUuid::createUuid().toString(QUuid::Id128)));
    errno = 0;
    if (!copyFile(from, staged) || std::rename(nativePath(staged).constData(), nativePath(to).constData()) != 0) {
        const int code = errno ? errno : EIO;
        QFile::remove(staged.path());
        return fail(code);
    }
    synchronize(folder);
    QFile::remove(from.path());
    return true;
}

bool VMKAudioFileWriterAudioProcessor::replaceResultWithFileAtTemporaryURL(const URL& temporaryURL, VMKError* error) {
    const URL folder = m_resultURL.URLByDeletingLastPathComponent();
    VMKError folderError;
    if (!folder.existsAsDirectory() && !folder.createDirectory(&folderError)) {
        VMKError::set(error, installError(temporaryURL, m_resultURL,
                                          QStringLiteral("its folder can't be made (%1)").arg(folderError.reason())));
        return false;
    }
    return installFile(temporaryURL, m_resultURL, error);
}

} // namespace ondrel
