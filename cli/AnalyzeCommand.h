#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel analyze ID|PATH...`: measures files of the catalog again (a group
// stands for every file beneath it), waits, and prints the main measures of
// each, or that it could not be measured.
class AnalyzeCommand {
public:
    static int run(const QStringList& arguments);
    // "peak -0.3 dBFS, loudness -23.0 LUFS, true peak -0.1 dBTP", each value
    // formatted as the desktop program shows it; "not analysed" for a file
    // without measures.
    static QString mainMeasures(const class FileEntity& file);
};

} // namespace ondrel
