#pragma once

#include "render/engine/graph/VMKHeadAudioProcessor.h"

#include <QtCore/QByteArray>
#include <QtCore/QVariantList>
#include <QtCore/QVariantMap>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace ondrel {

class Operation;

// The head of the analysis stream: pulls a whole file through the stream in
// blocks of 256 frames and measures each channel as it goes (levels, DC
// offset, clip events, a min-max overview), and for a stereo pair the sign
// correlation and the mid and side peaks. Loudness, true peak and pitch come
// from the "LUMeter" and "pitchDetector" processors upstream of it, which it
// reads after each block and at the end.
//
// The caller sets sampleRate, numberOfChannels, frames and operation before
// the stream is initialized; start() runs on the caller's thread to the end
// of the file, then aggregateResults() and channelResults() hold the
// measures. They outlive uninitialize().
class AnalyzerAudioProcessor : public VMKHeadAudioProcessor {
    ONDREL_OBJECT(AnalyzerAudioProcessor, VMKHeadAudioProcessor)

public:
    // The analysis block, which is also the step of the overview table.
    static constexpr int64_t kBlockFrames = 256;

    AnalyzerAudioProcessor();
    ~AnalyzerAudioProcessor() override;

    // The rate of the audio pulled; given to the input connection.
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate) { m_sampleRate = sampleRate; }
    // The channels pulled; given to the input connection. At least 1.
    quint64 numberOfChannels() const { return m_numberOfChannels; }
    void setNumberOfChannels(quint64 numberOfChannels) { m_numberOfChannels = numberOfChannels; }
    // The frames to read from sample time 0; every division by the length
    // uses this count.
    quint64 frames() const { return m_frames; }
    void setFrames(quint64 frames) { m_frames = frames; }
    // The operation asked after each block whether it was cancelled (held weakly).
    std::shared_ptr<Operation> operation() const { return m_operation.lock(); }
    void setOperation(const std::shared_ptr<Operation>& operation) { m_operation = operation; }

    // Makes the zeroed channel records, the 256-frame block buffer and the
    // zero-filled overview tables, and sets the input connection to the
    // rate, channels and block. False when the buffer can't be made.
    bool initializeForRender(VMKError* error = nullptr) override;
    // Measures the whole file. False, with no results set, when a pull fails
    // (the error says why) or when the operation is cancelled (no error).
    bool start(VMKError* error = nullptr) override;
    // Does nothing: start() ends by itself, or by cancellation of the operation.
    bool stop(VMKError* error = nullptr) override;
    // Drops the buffer, the tables and the channel records; the results stay.
    bool uninitialize(VMKError* error = nullptr) override;

    // Frames read over frames to read; NaN for a file of 0 frames. Any thread.
    float progress() const;

    // The measures of the whole file (see the keys in the source file);
    // empty until a start() has succeeded.
    QVariantMap aggregateResults() const { return m_aggregateResults; }
    // One dictionary per channel, with its "waveform" overview.
    QVariantList channelResults() const { return m_channelResults; }
    // Entry `index` of channelResults(); empty for an index out of range.
    QVariantMap resultsForChannelAtIndex(quint64 index) const;

private:
    // What is summed for one channel while running; all zero at the start.
    struct ChannelRecord {
        double sumOfSquares;
        double sum;
        double sumOfMagnitudes;
        float maximum;
        float minimum;
        bool inClip;
        quint64 clipEvents;
    };

    static QVariantMap measures(double sumOfSquares, double sum, double sumOfMagnitudes, float maximum, float minimum,
                                quint64 clipEvents, double count);

    double m_sampleRate = 0.0;
    quint64 m_numberOfChannels = 0;
    quint64 m_frames = 0;
    std::weak_ptr<Operation> m_operation;

    std::unique_ptr<ChannelRecord[]> m_channels;
    std::vector<QByteArray> m_wavetables;
    double m_signProductSum = 0.0;
    float m_midMaximum = 0.0f;
    float m_sideMaximum = 0.0f;
    std::shared_ptr<VMKAudioBufferList> m_buffer;
    std::atomic<int64_t> m_progressSampleTime{0};

    QVariantMap m_aggregateResults;
    QVariantList m_channelResults;
};

} // namespace ondrel
