#pragma once

#include <cstdint>
#include <memory>

namespace ondrel {

class VMKAudioBufferList;
class VMKAudioBus;
class VMKAudioStreamRenderInfo;

// The edge between two processors: fed by an upstream processor's output bus
// (`inputBus`), feeding a downstream processor's input bus (`outputBus`). It
// carries the format both sides agree on. A field of 0 is not yet decided;
// VMKAudioStream::initialize fills it in (see VMKAudioStream.h).
class VMKAudioConnection {
public:
    VMKAudioConnection() = default;
    ~VMKAudioConnection();
    VMKAudioConnection(const VMKAudioConnection&) = delete;
    VMKAudioConnection& operator=(const VMKAudioConnection&) = delete;

    uint32_t numberOfChannels() const { return m_numberOfChannels; }
    void setNumberOfChannels(uint32_t numberOfChannels) { m_numberOfChannels = numberOfChannels; }
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate) { m_sampleRate = sampleRate; }
    int64_t maxFrames() const { return m_maxFrames; }
    void setMaxFrames(int64_t maxFrames) { m_maxFrames = maxFrames; }
    // Takes over channels, rate and block size of `other`.
    void conformToConnection(const VMKAudioConnection& other);
    bool isFormatComplete() const { return m_numberOfChannels > 0 && m_sampleRate > 0.0 && m_maxFrames > 0; }

    VMKAudioBus* inputBus() const { return m_inputBus; }    // the upstream output bus
    VMKAudioBus* outputBus() const { return m_outputBus; }  // the downstream input bus

    // Pulls the upstream processor into `destination` for all its frames,
    // which must not exceed maxFrames() once that is decided. Without an
    // upstream processor the destination is silenced and the pull fails.
    bool render(VMKAudioBufferList& destination, const VMKAudioStreamRenderInfo& info);

private:
    friend class VMKAudioBus;
    friend class VMKAudioStream;

    uint32_t m_numberOfChannels = 0;
    double m_sampleRate = 0.0;
    int64_t m_maxFrames = 0;
    VMKAudioBus* m_inputBus = nullptr;
    VMKAudioBus* m_outputBus = nullptr;
};

} // namespace ondrel
