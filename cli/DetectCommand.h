#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel detect tempo|zero-crossings|thresholds|beats ID|PATH [--from S]
// [--to S] [--threshold DB] [--sensitivity X] [--method M]`: the catalog's
// detectors over one file, their answers one per line (seconds; beats a
// minute for the tempo), or a JSON list.
//
//  - tempo: the estimate from the file's beat count.
//  - zero-crossings: every zero crossing from --from to --to.
//  - thresholds: where the sound first reaches --threshold after --from, and
//    where it last does before --to (what trimming silence cuts at).
//  - beats: every beat the method finds from --from to --to, at most one a
//    block of 512 frames.
class DetectCommand {
public:
    static int run(const QStringList& arguments);
};

} // namespace ondrel
