#pragma once

#include "core/values/DoubleRange.h"

namespace ondrel {

class FileEntity;
class VMKWaveformBuffer;

// Draws a time range of a loaded file into the columns of a waveform buffer:
// one upper and one lower value per channel and column. Wide columns come
// from the analysis overview (no audio is read), narrow ones from the
// samples, and columns narrower than a sample show the sample they fall on.
class WaveformDrawer {
public:
    explicit WaveformDrawer(FileEntity& fileEntity);

    // Fills the buffer's columns with `range` (seconds). Does nothing for an
    // empty range, one that ends before 0, a buffer without columns or a file
    // without channel details.
    void draw(VMKWaveformBuffer& buffer, DoubleRange range);

private:
    void drawFromOverview(VMKWaveformBuffer& buffer, DoubleRange range, double rangeFrames);
    void drawFromAudio(VMKWaveformBuffer& buffer, DoubleRange range, float framesPerColumn);
    void drawSamples(VMKWaveformBuffer& buffer, DoubleRange range);

    FileEntity& m_fileEntity;
    double m_sampleRate;
};

} // namespace ondrel
