#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <memory>

namespace ondrel {

// A head: the processor that drives a stream, started by VMKAudioStream::start.
// It owns the render info it passes upstream (`info`).
//
// The default start() runs to completion on the calling thread: it pulls its
// input in blocks of up to the input connection's maxFrames, from the info's
// sample time on, until `frameCount` frames are pulled or stop() is called
// (a stop that comes between initializeForRender and start counts too)
// (from any thread), handing each block to didPullBlock(). Subclasses that
// measure or write override didPullBlock, or start() and stop() altogether;
// a device head answers runsToCompletion() false and starts its device.
class VMKHeadAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKHeadAudioProcessor, VMKAudioProcessor)

public:
    VMKHeadAudioProcessor();
    ~VMKHeadAudioProcessor() override;

    virtual bool start(VMKError* error = nullptr);
    virtual bool stop(VMKError* error = nullptr);
    virtual bool runsToCompletion() const { return true; }

    VMKAudioStreamRenderInfo& info() { return m_info; }
    const VMKAudioStreamRenderInfo& info() const { return m_info; }

    // Frames the default start() pulls.
    int64_t frameCount() const { return m_frameCount; }
    void setFrameCount(int64_t frameCount) { setAndNotify(QStringLiteral("frameCount"), m_frameCount, frameCount); }

    // Makes the block buffer: the input connection's channels by its maxFrames.
    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    const std::shared_ptr<VMKAudioBufferList>& buffer() const { return m_buffer; }

    bool isStopRequested() const { return m_stopRequested.load(std::memory_order_acquire); }

protected:
    // Called by the default start() with each block just pulled; the info's
    // sample time is that of the block's first frame. Returning false ends
    // the run with that error. The default does nothing.
    virtual bool didPullBlock(const VMKAudioBufferList& block, VMKError* error);

private:
    VMKAudioStreamRenderInfo m_info;
    std::shared_ptr<VMKAudioBufferList> m_buffer;
    int64_t m_frameCount = 0;
    std::atomic<bool> m_stopRequested{false};
};

} // namespace ondrel
