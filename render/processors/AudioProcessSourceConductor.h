#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <algorithm>
#include <memory>

namespace ondrel {

// Places one source on the timeline of the mix: the stretch of the source
// from `sourceStart` on plays over [location, location + length) of the
// mix, forwards or backwards, and the rest of the mix is silence from it.
// Frames are counted at the rate of the output connection, also when a rate
// converter lies upstream; when none does and the source's rate differs, its
// frames simply play at the output rate (the operation then leaves the rate
// of the conductor's input connection at the source's rate).
class AudioProcessSourceConductor : public VMKAudioProcessor {
    ONDREL_OBJECT(AudioProcessSourceConductor, VMKAudioProcessor)

public:
    AudioProcessSourceConductor();
    ~AudioProcessSourceConductor() override;

    // Seconds. Set before the stream is initialized.
    double location() const { return m_location; }
    void setLocation(double location) { m_location = location; }
    double length() const { return m_length; }
    void setLength(double length) { m_length = length; }
    double sourceStart() const { return m_sourceStart; }
    void setSourceStart(double sourceStart) { m_sourceStart = sourceStart; }
    bool isReverse() const { return m_reverse; }
    void setReverse(bool reverse) { m_reverse = reverse; }

    // Frames of the mix, set by initializeForRender (rounded half away from zero).
    int64_t startFrame() const { return m_startFrame; }
    int64_t endFrame() const { return m_endFrame; }
    int64_t sourceStartFrame() const { return m_sourceStartFrame; }

    // Whether some frame of the block of `frames` frames at mix sample time
    // `sampleTime` lies in [startFrame, endFrame): outside it the conductor
    // renders silence and pulls nothing. Meaningful once initialized.
    bool playsWithin(int64_t sampleTime, int64_t frames) const {
        return std::min(sampleTime + frames, m_endFrame) > std::max(sampleTime, m_startFrame);
    }

    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr) override;
    bool checkFormat(VMKError* error = nullptr) const override;
    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    double m_location = 0.0;
    double m_length = 0.0;
    double m_sourceStart = 0.0;
    bool m_reverse = false;
    int64_t m_startFrame = 0;
    int64_t m_endFrame = 0;
    int64_t m_sourceStartFrame = 0;
    VMKAudioStreamRenderInfo m_info;
    std::shared_ptr<VMKAudioBufferList> m_buffer;
};

} // namespace ondrel
