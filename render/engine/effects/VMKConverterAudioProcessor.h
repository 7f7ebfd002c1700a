#pragma once

#include "render/engine/graph/CHandle.h"
#include "render/engine/graph/VMKAudioProcessor.h"

#include <cstdint>
#include <memory>
#include <vector>

struct soxr;

namespace ondrel {

// The common part of the sample-rate converters: a processor whose input runs
// at `inSampleRate` (set here, or else the rate its input connection carries)
// and whose output runs at the rate of its output connection. libsoxr does the
// conversion; subclasses only choose the filter (filterSettings).
//
// Timing. Output frame n stands for input time n x in/out: the input's frame 0
// and the output's frame 0 are the same instant, and input before frame 0 is
// silence. A pull at any sample time gives the same frames as a run from 0
// would (exactly for rates that are whole numbers of hertz; for fractional
// rates a start other than 0 may be off by up to half an output frame). With
// latency compensation off, the output is late by `latency()` frames, as a
// causal filter would be. Rendering outputFrameCount(n) frames gives the whole
// of an n-frame input: the conversion keeps pulling past the input's end for
// the filter's tail.
//
// Settings (quality, filter, rates) take effect at initializeForRender. The
// converter passes its input through untouched when both rates are equal.
class VMKConverterAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKConverterAudioProcessor, VMKAudioProcessor)

public:
    ~VMKConverterAudioProcessor() override;

    // 0 (fastest) ... 1 (best); values outside are clamped, NaN is ignored.
    float quality() const { return m_quality; }
    void setQuality(float quality);

    // The rate of what comes in; 0 means "the rate of the input connection".
    double inSampleRate() const { return m_inSampleRate; }
    bool setInSampleRate(double sampleRate, VMKError* error = nullptr);

    bool isLatencyCompensationEnabled() const { return m_latencyCompensationEnabled; }
    void setLatencyCompensationEnabled(bool enabled);

    // Output frames by which an uncompensated output trails the input: the
    // reach of the filter's response ahead of its centre. Known once
    // initialized (0 when not converting).
    int64_t latency() const { return m_latency; }

    // Frames of output that hold `inputFrames` frames of input.
    static int64_t outputFrameCount(int64_t inputFrames, double inSampleRate, double outSampleRate);

    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr) override;
    bool checkFormat(VMKError* error = nullptr) const override;
    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

    static constexpr double kMaximumSampleRate = 10'000'000.0;

protected:
    // The filter a subclass asks for: a libsoxr quality recipe (SOXR_LQ ...),
    // its phase, the precision in bits and the end of the passband as a
    // fraction of the lower Nyquist frequency.
    struct FilterSettings {
        unsigned long recipe = 0;
        bool minimumPhase = false;
        double precision = 20.0;
        double passbandEnd = 0.91;
    };

    VMKConverterAudioProcessor(float defaultQuality, bool latencyCompensationEnabled);
    virtual FilterSettings filterSettings() const = 0;

private:
    double effectiveInSampleRate() const;
    bool makeResampler(VMKError* error);
    bool measureResponse(VMKError* error);
    void seek(int64_t outputFrame);
    bool pullInput(const VMKAudioStreamRenderInfo& info);
    VMKError conversionError(const QString& reason) const;
    static void deleteResampler(soxr* resampler);

    float m_quality;
    double m_inSampleRate = 0.0;
    bool m_latencyCompensationEnabled;

    // While initialized.
    CHandle<soxr, deleteResampler> m_soxr;
    bool m_soxrFresh = true;   // nothing fed since made or cleared
    bool m_converting = false;  // false: rates equal, pass through
    double m_ratio = 1.0;       // out / in
    int64_t m_latticeIn = 0;    // in / gcd and out / gcd for whole-hertz rates, else 0
    int64_t m_latticeOut = 0;
    int64_t m_latency = 0;
    int64_t m_history = 0;  // output frames of past input an output frame depends on
    std::shared_ptr<VMKAudioBufferList> m_input;
    std::shared_ptr<VMKAudioBufferList> m_scratch;
    std::vector<const float*> m_inPointers;
    std::vector<float*> m_outPointers;
    int64_t m_inputRead = 0;
    int64_t m_inputEnd = 0;
    int64_t m_nextInputFrame = 0;
    int64_t m_nextOutputFrame = 0;
    bool m_positioned = false;
    int64_t m_discard = 0;  // output frames still to throw away after a seek
    int64_t m_silence = 0;  // output frames of silence still to give after a seek
};

} // namespace ondrel
