#pragma once

#include "core/text/VMKError.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioLabel.h"

#include <memory>
#include <vector>

namespace ondrel {

class VMKAudioChunkFile;

using VMKAudioLabelList = std::vector<std::shared_ptr<VMKAudioLabel>>;

// Labels in the chunks of audio files, read and written by our own code:
//
//   WAVE   `cue ` points with names (`labl` of `LIST adtl`); a region is a
//          cue point with an `ltxt` of its length (purpose 'rgn '), a slice
//          one with an `ltxt` of purpose 'slic' and no length; loops are the
//          loops of `smpl`, named by the `labl` of their cue point.
//   AIFF   `MARK` markers; loops are the sustain and release loops of `INST`
//          (two at most), their ends being markers too. Slices are written
//          as markers and regions are dropped: the format has no place for them.
//   CAF    `mark` markers (slices of type 'indx'), regions and loops in `regn`
//          (loops with the loop flag), names in `strg`.
//
// Other formats hold no labels: writing drops them without an error.
class VMKAudioFileLabels {
public:
    // The labels of the file, sorted by location; none for damaged chunks.
    static VMKAudioLabelList labelsOfFile(const QString& path, double sampleRate);

    // Replaces the labels of a finished file of `format` with `labels`.
    static bool writeLabels(const QString& path, const VMKAudioFileFormat& format, double sampleRate,
                            const VMKAudioLabelList& labels, VMKError* error);

    // The chunks alone (for tests and tools): parse or make chunk data.
    static VMKAudioLabelList labelsOfWaveChunks(const VMKAudioChunkFile& file, double sampleRate);
    static VMKAudioLabelList labelsOfAIFFChunks(const VMKAudioChunkFile& file, double sampleRate);
    static VMKAudioLabelList labelsOfCAFChunks(const VMKAudioChunkFile& file, double sampleRate);
};

} // namespace ondrel
