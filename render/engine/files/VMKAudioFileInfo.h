#pragma once

#include "core/files/URL.h"
#include "core/text/VMKError.h"
#include "render/engine/codecs/VMKAudioFileDecoder.h"

#include <memory>

namespace ondrel {

// The format facts of one audio file, read once when made.
class VMKAudioFileInfo {
public:
    // Empty, with the reason in `error`, for a file that can't be read.
    static std::shared_ptr<VMKAudioFileInfo> initWithURL(const URL& url, VMKError* error = nullptr);

    const URL& url() const { return m_url; }
    QString format() const { return m_facts.format ? m_facts.format->name : QString(); }
    quint64 fileSize() const { return m_facts.fileSize; }
    quint64 frames() const { return quint64(m_facts.frames); }
    quint64 numberOfChannels() const { return quint64(m_facts.numberOfChannels); }
    quint64 bitDepth() const { return quint64(m_facts.bitDepth); }
    bool isFloatingPoint() const { return m_facts.isFloatingPoint; }
    quint64 bitrate() const { return m_facts.bitrate; }
    double sampleRate() const { return m_facts.sampleRate; }
    quint32 encoding() const { return m_facts.encoding; }
    const VMKAudioFileFacts& facts() const { return m_facts; }

private:
    URL m_url;
    VMKAudioFileFacts m_facts;
};

} // namespace ondrel
