#pragma once

#include "core/text/VMKError.h"

#include <cstdint>

namespace ondrel {

// What travels with a pull: the sample time of its first frame, whether the
// pull runs on a realtime thread (false: it may block on a file), whether the
// stream is running, and where a processor that fails reports why.
class VMKAudioStreamRenderInfo {
public:
    bool isRealtime() const { return m_realtime; }
    void setRealtime(bool realtime) { m_realtime = realtime; }
    bool isRunning() const { return m_running; }
    void setRunning(bool running) { m_running = running; }
    int64_t sampleTime() const { return m_sampleTime; }
    void setSampleTime(int64_t sampleTime) { m_sampleTime = sampleTime; }

    // The slot a failing render fills (the first report wins); may be null.
    VMKError* errorSlot() const { return m_errorSlot; }
    void setErrorSlot(VMKError* slot) { m_errorSlot = slot; }
    void reportError(const VMKError& error) const {
        if (m_errorSlot && !m_errorSlot->isError())
            *m_errorSlot = error;
    }

private:
    int64_t m_sampleTime = 0;
    VMKError* m_errorSlot = nullptr;
    bool m_realtime = false;
    bool m_running = false;
};

} // namespace ondrel
