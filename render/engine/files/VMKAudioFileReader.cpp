#include "render/engine/files/VMKAudioFileReader.h"

#include "render/engine/files/VMKAudioFileLabels.h"
#include "render/engine/files/VMKAudioFileTags.h"

#include <algorithm>
#include <cstring>

namespace ondrel {

std::shared_ptr<VMKAudioFileReader> VMKAudioFileReader::initWithURL(const URL& url, VMKError* error) {
    auto decoder = VMKAudioFileDecoder::decoderWithURL(url, error);
    if (!decoder)
        return nullptr;
    auto reader = std::make_shared<VMKAudioFileReader>();
    reader->m_url = url;
    reader->m_decoder = std::move(decoder);
    reader->m_pointers.resize(size_t(reader->m_decoder->facts().numberOfChannels));
    return reader;
}

QVariantMap VMKAudioFileReader::metadata() const {
    if (!m_hasMetadata) {
        m_metadata = VMKAudioFileTags::metadataOfFile(m_url.path(), *facts().format);
        m_hasMetadata = true;
    }
    return m_metadata;
}

std::vector<std::shared_ptr<VMKAudioLabel>> VMKAudioFileReader::labels() const {
    if (!m_hasLabels) {
        if (facts().format->holdsLabels)
            m_labels = VMKAudioFileLabels::labelsOfFile(m_url.path(), sampleRate());
        m_hasLabels = true;
    }
    return m_labels;
}

bool VMKAudioFileReader::getAudio(VMKAudioBufferList& bufferList, qint64 fromFrame, VMKError* error) {
    if (m_bufferPointers.size() < bufferList.numberOfChannels())
        m_bufferPointers.resize(bufferList.numberOfChannels());
    for (uint32_t c = 0; c < bufferList.numberOfChannels(); ++c)
        m_bufferPointers[c] = bufferList.channel(c);
    return readFrames(m_bufferPointers.data(), int(bufferList.numberOfChannels()), bufferList.frames(), fromFrame, error);
}

bool VMKAudioFileReader::readFrames(float* const* channels, int channelCount, qint64 frames, qint64 fromFrame,
                                    VMKError* error) {
    if (frames <= 0)
        return true;
    const qint64 fileFrames = m_decoder->facts().frames;
    const int fileChannels = m_decoder->facts().numberOfChannels;
    // Silence before the start and past the end.
    const qint64 lead = std::clamp<qint64>(-fromFrame, 0, frames);
    const qint64 first = fromFrame + lead;
    const qint64 available = std::clamp<qint64>(fileFrames - first, 0, frames - lead);
    for (int c = 0; c < channelCount; ++c) {
        if (lead > 0)
            std::memset(channels[c], 0, size_t(lead) * sizeof(float));
        if (c >= fileChannels)
            std::memset(channels[c] + lead, 0, size_t(frames - lead) * sizeof(float));
    }
    // Damaged data: what was asked for is silence, and the error says why.
    auto silence = [&] {
        for (int c = 0; c < channelCount; ++c)
            std::memset(channels[c], 0, size_t(frames) * sizeof(float));
        return false;
    };
    qint64 got = 0;
    if (available > 0) {
        if (!m_decoder->seek(first, error))
            return silence();
        if (channelCount < fileChannels) {
            if (m_spare.size() < size_t(fileChannels - channelCount))
                m_spare.resize(size_t(fileChannels - channelCount));
            for (auto& spare : m_spare)
                if (spare.size() < size_t(available))
                    spare.resize(size_t(available));
        }
        for (int c = 0; c < fileChannels; ++c)
            m_pointers[size_t(c)] = c < channelCount ? channels[c] + lead : m_spare[size_t(c - channelCount)].data();
        got = m_decoder->read(m_pointers.data(), available, error);
        if (got < 0)
            return silence();
    }
    const qint64 tail = frames - lead - got;
    if (tail > 0)
        for (int c = 0; c < std::min(channelCount, fileChannels); ++c)
            std::memset(channels[c] + lead + got, 0, size_t(tail) * sizeof(float));
    return true;
}

} // namespace ondrel
