#pragma once

#include "core/files/URL.h"
#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/graph/VMKHeadAudioProcessor.h"
#include "render/engine/graph/VMKTimeRange.h"

#include <QtCore/QVariantMap>

#include <atomic>
#include <memory>
#include <vector>

namespace ondrel {

// The head of a render: pulls its input over `range` (in seconds of stream
// time) in blocks, encodes into a temporary file, writes metadata and labels
// into it and hands it over. With `retainTail` it goes on past the range
// while the signal stays at or above `minimumTailLevel`, for at most
// `maximumTailLength` seconds; the file ends after the last frame that loud.
//
// The output format is the input connection's channels and rate (the
// writer's own `numberOfChannels` and `sampleRate` decide them when set),
// the container `format` (a display name of the format table), `encoding`,
// `bitDepth`, `floatingPoint` and `bitrate`, and the encoder settings of
// `fileContentProperties`.
//
// Hooks for subclasses: isCancelled() is asked before every block;
// createResultURLWithExtension() names the result (the base: baseDirectory /
// baseFilename.extension, the Ondrel folder and "Untitled" standing in for
// what is missing); replaceResultWithFileAtTemporaryURL() takes the finished
// file (the base puts it in place of resultURL by one rename, copying it into
// resultURL's folder first when it lies on another file system, so that an
// old file there stays whole until the new one replaces it). When that hook
// fails, the finished file is kept at temporaryURL() and the error names it.
class VMKAudioFileWriterAudioProcessor : public VMKHeadAudioProcessor {
    ONDREL_OBJECT(VMKAudioFileWriterAudioProcessor, VMKHeadAudioProcessor)

public:
    VMKAudioFileWriterAudioProcessor();
    ~VMKAudioFileWriterAudioProcessor() override;

    bool isRenderHead() const { return m_isRenderHead; }
    void setIsRenderHead(bool isRenderHead) { m_isRenderHead = isRenderHead; }
    ObjectPtr operation() const { return m_operation.lock(); }
    void setOperation(const ObjectPtr& operation) { m_operation = operation; }

    const URL& baseDirectory() const { return m_baseDirectory; }
    void setBaseDirectory(const URL& directory) { m_baseDirectory = directory; }
    const QString& baseFilename() const { return m_baseFilename; }
    void setBaseFilename(const QString& filename) {
        setAndNotify(QStringLiteral("baseFilename"), m_baseFilename, filename);
    }

    const QString& format() const { return m_format; }
    void setFormat(const QString& format) { setAndNotify(QStringLiteral("format"), m_format, format); }
    quint32 encoding() const { return m_encoding; }
    void setEncoding(quint32 encoding) { setAndNotify(QStringLiteral("encoding"), m_encoding, encoding); }
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate) { setAndNotify(QStringLiteral("sampleRate"), m_sampleRate, sampleRate); }
    quint32 numberOfChannels() const { return m_numberOfChannels; }
    void setNumberOfChannels(quint32 channels) {
        setAndNotify(QStringLiteral("numberOfChannels"), m_numberOfChannels, channels);
    }
    quint32 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint32 bitDepth) { setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth); }
    bool isFloatingPoint() const { return m_floatingPoint; }
    void setFloatingPoint(bool floatingPoint) {
        setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
    }
    quint32 bitrate() const { return m_bitrate; }
    void setBitrate(quint32 bitrate) { setAndNotify(QStringLiteral("bitrate"), m_bitrate, bitrate); }

    const VMKTimeRange& range() const { return m_range; }
    void setRange(const VMKTimeRange& range) { m_range = range; }
    bool isRetainTail() const { return m_retainTail; }
    void setRetainTail(bool retainTail) { setAndNotify(QStringLiteral("retainTail"), m_retainTail, retainTail); }
    float minimumTailLevel() const { return m_minimumTailLevel; }
    void setMinimumTailLevel(float level) {
        setAndNotify(QStringLiteral("minimumTailLevel"), m_minimumTailLevel, level);
    }
    double maximumTailLength() const { return m_maximumTailLength; }
    void setMaximumTailLength(double seconds) {
        setAndNotify(QStringLiteral("maximumTailLength"), m_maximumTailLength, seconds);
    }

    const QVariantMap& fileContentProperties() const { return m_fileContentProperties; }
    void setFileContentProperties(const QVariantMap& properties) {
        setAndNotify(QStringLiteral("fileContentProperties"), m_fileContentProperties, properties);
    }

    // Written into the file, by the keys of the metadata table.
    QVariantMap& metadata() { return m_metadata; }
    const QVariantMap& metadata() const { return m_metadata; }
    void setMetadata(const QVariantMap& metadata) { m_metadata = metadata; }

    // Written into the file where its format holds labels.
    const std::vector<std::shared_ptr<VMKAudioLabel>>& labels() const { return m_labels; }
    qsizetype countOfLabels() const { return qsizetype(m_labels.size()); }
    std::shared_ptr<VMKAudioLabel> objectInLabelsAtIndex(qsizetype index) const { return m_labels.at(size_t(index)); }
    // `labels` go to `indexes` (ascending, one per label) of the new list.
    void insertLabels(const std::vector<std::shared_ptr<VMKAudioLabel>>& labels, const IndexSet& indexes);

    const URL& resultURL() const { return m_resultURL; }
    void setResultURL(const URL& url) { m_resultURL = url; }
    // The file being written during a run.
    const URL& temporaryURL() const { return m_temporaryURL; }
    float progress() const { return m_progress.load(std::memory_order_relaxed); }

    virtual URL createResultURLWithExtension(const QString& extension);
    virtual bool replaceResultWithFileAtTemporaryURL(const URL& temporaryURL, VMKError* error);
    virtual bool isCancelled() const { return isStopRequested(); }

protected:
    // Where the file is written while it is made, for the container's
    // `extension`: the base answers a new name in the system's temporary
    // folder. Empty (with `error`) when there is no such place.
    virtual URL temporaryURLWithExtension(const QString& extension, VMKError* error);

public:

    // Puts the finished file `from` in place of `to` (whose folder exists) by
    // one rename(2), so that `to` names either the old complete file or the
    // new one, never nothing. Across file systems `from` is first copied
    // beside `to` and the copy renamed, then `from` removed. On failure
    // `from` is left as it was and the error names it.
    static bool installFile(const URL& from, const URL& to, VMKError* error = nullptr);

    // The settings the encoder gets from this writer and its input connection.
    bool encoderSettings(VMKAudioFileEncoderSettings* settings, VMKError* error) const;

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool start(VMKError* error = nullptr) override;

private:
    bool run(VMKAudioFileEncoder& encoder, VMKError* error);
    bool pull(int64_t frames, VMKError* error);
    bool writeBlock(VMKAudioFileEncoder& encoder, const VMKAudioBufferList& block, int64_t from, int64_t count,
                    VMKError* error);

    bool m_isRenderHead = false;
    std::weak_ptr<Object> m_operation;
    URL m_baseDirectory;
    QString m_baseFilename;
    QString m_format;
    quint32 m_encoding = 0;
    double m_sampleRate = 0.0;
    quint32 m_numberOfChannels = 0;
    quint32 m_bitDepth = 0;
    bool m_floatingPoint = false;
    quint32 m_bitrate = 0;
    VMKTimeRange m_range;
    bool m_retainTail = false;
    float m_minimumTailLevel = 1.5848926e-05f;  // -96 dB
    double m_maximumTailLength = 10.0;
    QVariantMap m_fileContentProperties;
    QVariantMap m_metadata;
    std::vector<std::shared_ptr<VMKAudioLabel>> m_labels;
    URL m_resultURL;
    URL m_temporaryURL;
    std::atomic<float> m_progress{0.0f};
    std::shared_ptr<VMKAudioBufferList> m_pending;  // quiet frames of the tail not yet written
    std::vector<const float*> m_pointers;
};

} // namespace ondrel
