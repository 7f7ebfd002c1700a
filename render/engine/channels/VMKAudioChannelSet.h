#pragma once

#include "render/engine/channels/VMKAudioChannelDescription.h"

#include <QtCore/QStringList>

#include <vector>

namespace ondrel {

// A channel layout: its channels in layout order.
class VMKAudioChannelSet {
public:
    VMKAudioChannelSet(const QString& name, std::vector<VMKAudioChannelDescription> descriptions)
        : m_name(name), m_descriptions(std::move(descriptions)) {}

    // The layout's name, as "Stereo" or "5.1".
    const QString& name() const { return m_name; }
    const std::vector<VMKAudioChannelDescription>& descriptions() const { return m_descriptions; }
    size_t countOfDescriptions() const { return m_descriptions.size(); }
    const VMKAudioChannelDescription& objectInDescriptionsAtIndex(size_t index) const { return m_descriptions.at(index); }
    QStringList abbreviations() const {
        QStringList result;
        for (const auto& description : m_descriptions)
            result << description.abbreviation();
        return result;
    }

private:
    QString m_name;
    std::vector<VMKAudioChannelDescription> m_descriptions;
};

} // namespace ondrel
