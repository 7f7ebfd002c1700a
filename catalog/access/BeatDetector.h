#pragma once

#include "core/values/DoubleRange.h"

#include <QtCore/QString>

#include <cstdint>

namespace ondrel {

class FileEntity;
class VMKAudioBufferList;

// Finds beats and sounds in a file: the system's own onset detectors. Block
// sizes, thresholds and sensitivity curves are fixed, since they decide
// where users' files are cut. A sensitivity runs from 0 to 1; the higher,
// the more beats are found. Locations are seconds; a search that finds
// nothing answers the file's length. One detector serves one search.
class BeatDetector {
public:
    explicit BeatDetector(FileEntity& fileEntity);

    // Loads the file, runs the method named "magnitude", "energy" or
    // "energyBands" and unloads it again; any other name gives 0.
    double locationOfNextDetectedBeatUsing(const QString& method, float sensitivity, double location);

    // These three need the file loaded. They read blocks of 512 frames of
    // the channels' average.
    // The peak of a block against the previous one, as a ratio of their
    // logarithms: a beat where it exceeds 3 ^ (1 - sensitivity). Answers
    // the location of the peak.
    double locationOfNextDetectedBeatUsingMagnitude(float sensitivity, double location);
    // A block's energy against the previous one: a beat where the ratio
    // exceeds 20 - 18.5 sensitivity. Answers the block's location.
    double locationOfNextDetectedBeatUsingEnergy(float sensitivity, double location);
    // The same over a low band (100 Hz low-pass, beat above 30 - 25
    // sensitivity) and then a high band (8 kHz high-pass, beat above
    // 200 - 199 sensitivity).
    double locationOfNextDetectedBeatUsingEnergyBands(float sensitivity, double location);

    // The next sound between silences, loading the file for the search: it
    // starts at the first frame whose largest channel value reaches
    // `attackThreshold`, and ends where the values have stayed at or below
    // `releaseThreshold` for `releaseLength` seconds (a louder frame starts
    // the count again), or at the file's end. Negative half-waves are not
    // seen. Location FileEntity::NotFoundLocation and length 0 when there
    // is no sound.
    DoubleRange rangeOfNextDetectedBeatUsingThresholds(float attackThreshold, float releaseThreshold,
                                                       double releaseLength, double location);

    // Beats a minute of `beats` over `length` seconds, doubled or halved
    // into 60 .. 240 and rounded to two decimals; 0 without beats or length.
    static float estimatedTempo(int64_t beats, double length);

private:
    // A two-pole filter whose state runs on from block to block.
    struct Biquad {
        float coefficients[5] = {};  // b0, b1, b2, a1, a2 over a0
        float state[4] = {};         // x1, x2, y1, y2
    };
    static Biquad highPass(float w0, float alpha);
    static Biquad lowPass(float w0, float alpha);

    // Reads the block at `location` and puts the channels' average in `mix`.
    void readMix(VMKAudioBufferList& block, float* mix, double location);

    FileEntity& m_fileEntity;
    double m_sampleRate;
    double m_length;  // frames / sampleRate
    double m_step;    // one block, in seconds
};

} // namespace ondrel
