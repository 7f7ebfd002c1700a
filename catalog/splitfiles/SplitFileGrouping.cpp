#include "catalog/splitfiles/SplitFileGrouping.h"

#include "render/engine/channels/VMKAudioChannelManager.h"

#include <algorithm>
#include <list>

namespace ondrel {

namespace {

// The parts of a name that decide whether two files belong to one set.
struct SplitName {
    URL url;
    QString extension;
    QString filename;
    QString delimiter;  // null when the name has no channel suffix
    QString suffix;
};

SplitName splitName(const URL& url) {
    const QVariantMap parts = url.audioFilenameComponents();
    return {url, url.pathExtension(), parts.value(QStringLiteral("filename")).toString(),
            parts.value(QStringLiteral("channelSuffixDelimiter")).toString(),
            parts.value(QStringLiteral("channelSuffix")).toString()};
}

} // namespace

bool SplitFileGrouping::groupURLs(const std::vector<URL>& urls, Result& result, const std::function<bool()>& shouldStop) {
    std::list<SplitName> pending;
    for (const URL& url : urls)
        pending.push_back(splitName(url));

    while (!pending.empty()) {
        const SplitName first = pending.front();
        pending.pop_front();
        std::vector<SplitName> members{first};
        if (!first.delimiter.isEmpty()) {
            for (auto it = pending.begin(); it != pending.end();) {
                if (!it->delimiter.isEmpty() && it->extension == first.extension && it->filename == first.filename &&
                    it->delimiter == first.delimiter) {
                    members.push_back(*it);
                    it = pending.erase(it);
                } else {
                    ++it;
                }
            }
        }
        if (members.size() == 1) {
            result.singles.push_back(first.url);
        } else {
            QStringList suffixes;
            for (const SplitName& member : members)
                suffixes.append(member.suffix);
            std::vector<URL> set;
            if (auto layout = VMKAudioChannelManager::manager().setForChannelAbbreviations(suffixes)) {
                const QStringList order = layout->abbreviations();
                std::stable_sort(members.begin(), members.end(), [&](const SplitName& a, const SplitName& b) {
                    return order.indexOf(a.suffix) < order.indexOf(b.suffix);
                });
                for (const SplitName& member : members)
                    set.push_back(member.url);
            } else {
                for (const SplitName& member : members) {
                    result.singles.push_back(member.url);
                    set.push_back(member.url);
                }
            }
            result.sets.push_back(std::move(set));
        }
        if (shouldStop && shouldStop())
            return false;
    }
    return true;
}

} // namespace ondrel
