#pragma once

#include "core/files/URL.h"
#include "core/text/VMKError.h"
#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/codecs/VMKAudioFileDecoder.h"

#include <QtCore/QVariantMap>

#include <memory>
#include <vector>

namespace ondrel {

class VMKAudioLabel;

// Random access to the samples of one audio file, plus its metadata and
// labels. Frames before 0 and past the end read as silence. Not thread safe:
// one reader per thread, or a lock around it.
class VMKAudioFileReader {
public:
    // Empty, with the reason in `error`, for a file that can't be read.
    static std::shared_ptr<VMKAudioFileReader> initWithURL(const URL& url, VMKError* error = nullptr);

    const URL& url() const { return m_url; }
    quint64 numberOfChannels() const { return quint64(m_decoder->facts().numberOfChannels); }
    double sampleRate() const { return m_decoder->facts().sampleRate; }
    quint64 frames() const { return quint64(m_decoder->facts().frames); }
    const VMKAudioFileFacts& facts() const { return m_decoder->facts(); }
    // Whether reads at any frame give the samples a read from the start
    // gives there, whatever was read before; only then may several users
    // that read at different places share this reader.
    bool seeksToTheSameSamples() const { return m_decoder->seeksToTheSameSamples(); }

    // The file's tags by the engine's metadata keys, read on first use.
    QVariantMap metadata() const;
    // The file's markers, regions and loops, read on first use.
    std::vector<std::shared_ptr<VMKAudioLabel>> labels() const;

    // Fills the valid frames of `bufferList` from `fromFrame` on.
    bool getAudio(VMKAudioBufferList& bufferList, qint64 fromFrame, VMKError* error = nullptr);

    // Fills `frames` frames of `channelCount` channels from `fromFrame` on.
    // Channels the file lacks are zeroed; channels the caller lacks are
    // skipped. When the file's data is damaged the frames are silence and
    // the answer is false with the reason.
    bool readFrames(float* const* channels, int channelCount, qint64 frames, qint64 fromFrame, VMKError* error = nullptr);

private:
    URL m_url;
    std::unique_ptr<VMKAudioFileDecoder> m_decoder;
    std::vector<std::vector<float>> m_spare;  // for file channels the caller doesn't take
    std::vector<float*> m_pointers;
    std::vector<float*> m_bufferPointers;
    mutable bool m_hasMetadata = false;
    mutable QVariantMap m_metadata;
    mutable bool m_hasLabels = false;
    mutable std::vector<std::shared_ptr<VMKAudioLabel>> m_labels;
};

} // namespace ondrel
