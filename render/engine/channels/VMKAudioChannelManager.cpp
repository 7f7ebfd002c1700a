#include "render/engine/channels/VMKAudioChannelManager.h"

#include <algorithm>

namespace ondrel {

namespace {
struct Channel {
    const char* key;           // lower case, as matched
    const char* abbreviation;  // as shown
    const char* name;
};

const Channel kChannels[] = {
    {"l", "L", "Left"},
    {"r", "R", "Right"},
    {"c", "C", "Center"},
    {"lfe", "LFE", "Low Frequency Effects"},
    {"ls", "Ls", "Left Surround"},
    {"rs", "Rs", "Right Surround"},
    {"lsb", "Lsb", "Left Surround Back"},
    {"rsb", "Rsb", "Right Surround Back"},
    {"rl", "Rl", "Rear Left"},
    {"rr", "Rr", "Rear Right"},
    {"lc", "Lc", "Left Center"},
    {"rc", "Rc", "Right Center"},
    {"lw", "Lw", "Left Wide"},
    {"rw", "Rw", "Right Wide"},
    {"lh", "Lh", "Left Height"},
    {"rh", "Rh", "Right Height"},
    {"cs", "Cs", "Center Surround"},
};

struct Layout {
    const char* name;
    QStringList keys;  // layout order
};

const std::vector<Layout>& layouts() {
    static const std::vector<Layout> table = {
        {"Mono", {"c"}},
        {"Stereo", {"l", "r"}},
        {"2.1", {"l", "r", "lfe"}},
        {"3.0", {"l", "r", "c"}},
        {"3.1", {"l", "r", "c", "lfe"}},
        {"Quadraphonic", {"l", "r", "ls", "rs"}},
        {"Quadraphonic (rear)", {"l", "r", "rl", "rr"}},
        {"LCRS", {"l", "r", "c", "cs"}},
        {"4.1", {"l", "r", "lfe", "ls", "rs"}},
        {"LCRS with LFE", {"l", "r", "c", "lfe", "cs"}},
        {"5.0", {"l", "r", "c", "ls", "rs"}},
        {"5.0 (rear)", {"l", "r", "c", "rl", "rr"}},
        {"5.1", {"l", "r", "c", "lfe", "ls", "rs"}},
        {"5.1 (rear)", {"l", "r", "c", "lfe", "rl", "rr"}},
        {"6.0", {"l", "r", "c", "ls", "rs", "cs"}},
        {"6.1", {"l", "r", "c", "lfe", "ls", "rs", "cs"}},
        {"6.1 (rear)", {"l", "r", "c", "lfe", "rl", "rr", "cs"}},
        {"7.0", {"l", "r", "c", "ls", "rs", "lsb", "rsb"}},
        {"7.0 (rear)", {"l", "r", "c", "ls", "rs", "rl", "rr"}},
        {"7.0 (front)", {"l", "r", "c", "lc", "rc", "ls", "rs"}},
        {"7.0 (wide)", {"l", "r", "c", "ls", "rs", "lw", "rw"}},
        {"7.1", {"l", "r", "c", "lfe", "ls", "rs", "lsb", "rsb"}},
        {"7.1 (rear)", {"l", "r", "c", "lfe", "ls", "rs", "rl", "rr"}},
        {"7.1 (front)", {"l", "r", "c", "lfe", "ls", "rs", "lc", "rc"}},
        {"7.1 (wide)", {"l", "r", "c", "lfe", "ls", "rs", "lw", "rw"}},
        {"5.1.2", {"l", "r", "c", "lfe", "ls", "rs", "lh", "rh"}},
        {"Octagonal", {"l", "r", "c", "ls", "rs", "lsb", "rsb", "cs"}},
        {"7.1.2", {"l", "r", "c", "lfe", "ls", "rs", "lsb", "rsb", "lh", "rh"}},
    };
    return table;
}

const Channel* channelForKey(const QString& key) {
    for (const Channel& channel : kChannels)
        if (key == QLatin1String(channel.key))
            return &channel;
    return nullptr;
}

// Lower case, with the short spelling of the LFE channel taken as the long.
QString matchKey(const QString& abbreviation) {
    const QString key = abbreviation.toLower();
    return key == QLatin1String("lf") ? QStringLiteral("lfe") : key;
}

std::shared_ptr<VMKAudioChannelSet> makeSet(const Layout& layout, const QStringList& shown) {
    std::vector<VMKAudioChannelDescription> descriptions;
    for (qsizetype i = 0; i < layout.keys.size(); ++i)
        descriptions.emplace_back(shown[i], QString::fromLatin1(channelForKey(layout.keys[i])->name));
    return std::make_shared<VMKAudioChannelSet>(QString::fromLatin1(layout.name), std::move(descriptions));
}
} // namespace

VMKAudioChannelManager& VMKAudioChannelManager::manager() {
    static VMKAudioChannelManager shared;
    return shared;
}

std::shared_ptr<VMKAudioChannelSet> VMKAudioChannelManager::setForNumberOfChannels(uint32_t numberOfChannels) const {
    static const char* const kUsual[] = {nullptr, "Mono", "Stereo", "3.0", "Quadraphonic", "5.0", "5.1", "6.1", "7.1"};
    if (numberOfChannels == 0 || numberOfChannels > 8)
        return nullptr;
    for (const Layout& layout : layouts())
        if (qstrcmp(layout.name, kUsual[numberOfChannels]) == 0) {
            QStringList shown;
            for (const QString& key : layout.keys)
                shown << QString::fromLatin1(channelForKey(key)->abbreviation);
            return makeSet(layout, shown);
        }
    return nullptr;
}

std::shared_ptr<VMKAudioChannelSet> VMKAudioChannelManager::setForChannelAbbreviations(
    const QStringList& abbreviations) const {
    QStringList keys;
    for (const QString& abbreviation : abbreviations) {
        const QString key = matchKey(abbreviation);
        if (keys.contains(key))
            return nullptr;
        keys << key;
    }
    for (const Layout& layout : layouts()) {
        if (layout.keys.size() != keys.size())
            continue;
        QStringList shown;
        for (const QString& key : layout.keys) {
            const qsizetype index = keys.indexOf(key);
            if (index < 0)
                break;
            shown << abbreviations[index];
        }
        if (shown.size() == layout.keys.size())
            return makeSet(layout, shown);
    }
    return nullptr;
}

} // namespace ondrel
