#pragma once

#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <memory>

namespace ondrel {

// A source: the samples of one audio file. It has no input bus; its output
// carries the file's channels at the file's rate. The sample time of a pull
// is the frame of the file (frames outside the file are silence).
// With anti-click on start, the first frames after a run begins or after
// prepareForPlaybackFromLocation() fade in over kAntiClickFrames. (Fading
// out on stop belongs to whoever stops playback: the conductor.)
class VMKAudioFileAudioGenerator : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKAudioFileAudioGenerator, VMKAudioProcessor)

public:
    VMKAudioFileAudioGenerator();
    ~VMKAudioFileAudioGenerator() override;

    const std::shared_ptr<VMKAudioFileReader>& audioFile() const { return m_audioFile; }
    void setAudioFile(const std::shared_ptr<VMKAudioFileReader>& audioFile) { m_audioFile = audioFile; }

    static constexpr int64_t kAntiClickFrames = 256;

    bool isAntiClickOnStart() const { return m_antiClickOnStart; }
    void setAntiClickOnStart(bool enabled) {
        setAndNotify(QStringLiteral("antiClickOnStart"), m_antiClickOnStart, enabled);
    }
    bool isAntiClickOnStop() const { return m_antiClickOnStop; }
    void setAntiClickOnStop(bool enabled) {
        setAndNotify(QStringLiteral("antiClickOnStop"), m_antiClickOnStop, enabled);
    }
    // Where playback starts, in seconds of the file.
    void prepareForPlaybackFromLocation(double location);
    double playbackLocation() const { return m_playbackLocation; }

    uint64_t maximumNumberOfInputBuses() const override { return 0; }
    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr) override;
    bool initializeForRender(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    std::shared_ptr<VMKAudioFileReader> m_audioFile;
    bool m_antiClickOnStart = false;
    bool m_antiClickOnStop = false;
    double m_playbackLocation = 0.0;
    std::atomic<int64_t> m_fadeInDone{kAntiClickFrames};  // frames of the fade-in already played
};

} // namespace ondrel
