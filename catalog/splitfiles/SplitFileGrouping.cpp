#include "catalog/splitfiles/SplitFileGrouping.h"

#include "render/engine/channels/VMKAudioChannelManager.h"

#include <QtCore/QHash>

#include <algorithm>

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
    std::vector<SplitName> names;
    names.reserve(urls.size());
    for (const URL& url : urls)
        names.push_back(splitName(url));
    // The files that may join one set (same extension, name and delimiter),
    // in their order: taking a file's set is then a look-up, not a scan of
    // every file after it, which grew with the square of a folder.
    QHash<QString, std::vector<size_t>> candidates;
    auto keyOf = [](const SplitName& name) {
        return name.extension + QLatin1Char('/') + name.filename + QLatin1Char('/') + name.delimiter;
    };
    for (size_t i = 0; i < names.size(); ++i)
        if (!names[i].delimiter.isEmpty())
            candidates[keyOf(names[i])].push_back(i);
    std::vector<bool> taken(names.size(), false);

    for (size_t i = 0; i < names.size(); ++i) {
        if (taken[i])
            continue;
        const SplitName& first = names[i];
        std::vector<SplitName> members;
        if (first.delimiter.isEmpty()) {
            members.push_back(first);
        } else {
            // The first file not taken is the first of its set: no member was
            // taken before it.
            for (size_t index : candidates.value(keyOf(first))) {
                members.push_back(names[index]);
                taken[index] = true;
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
