#include "render/engine/files/VMKAudioFileInfo.h"

namespace ondrel {

std::shared_ptr<VMKAudioFileInfo> VMKAudioFileInfo::initWithURL(const URL& url, VMKError* error) {
    const auto decoder = VMKAudioFileDecoder::decoderWithURL(url, error);
    if (!decoder)
        return nullptr;
    auto info = std::make_shared<VMKAudioFileInfo>();
    info->m_url = url;
    info->m_facts = decoder->facts();
    return info;
}

} // namespace ondrel
