#pragma once

#include "core/files/URL.h"

#include <functional>
#include <vector>

namespace ondrel {

// Sorts a list of audio files into plain files and split-file sets: files
// that differ only in a channel suffix (Take.L.wav, Take.R.wav) and share
// their extension, base name and delimiter. A set whose suffixes make a
// known channel layout is put in the layout's channel order. A set whose
// suffixes make none is kept unsorted, and its members are also listed as
// plain files: each is cataloged alone, and a split file of them is tried
// too.
class SplitFileGrouping {
public:
    struct Result {
        std::vector<URL> singles;
        std::vector<std::vector<URL>> sets;
    };

    // Groups `urls` in their order. `shouldStop`, asked after each file,
    // ends the grouping early; the answer is then false.
    static bool groupURLs(const std::vector<URL>& urls, Result& result,
                          const std::function<bool()>& shouldStop = {});
};

} // namespace ondrel
