#pragma once

namespace ondrel {

class FileEntity;

// Finds where a file's samples cross zero or a level, for cut points that
// don't click. Each search loads the file for its own duration, so it works
// on any entity. Locations are seconds.
class CrossingFinder {
public:
    explicit CrossingFinder(FileEntity& fileEntity);

    // The first sign change at or after `location`, searched in blocks of
    // 1024 frames: a change between the last frame of one block and the
    // first of the next is not seen. The length when there is none.
    double locationOfZeroCrossingAfter(double location);
    // The last sign change before `location`, searched back in blocks of
    // 1024 frames; a block may start before the file (silence). 0 when
    // there is none.
    double locationOfZeroCrossingBefore(double location);
    // The nearer of the two above; the one before on a tie.
    double locationOfNearestZeroCrossingTo(double location);

    // The first frame at or after `location` whose magnitude reaches
    // `threshold`, searched one second at a time and channel after channel:
    // a hit on the first channel wins over an earlier one on the second in
    // the same second. The length when there is none.
    double locationOfThresholdCrossingAfter(double location, float threshold);
    // The same backwards over the second before `location`, from its last
    // frame (which reports `location` itself) to its first. 0 when there is
    // none.
    double locationOfThresholdCrossingBefore(double location, float threshold);

private:
    FileEntity& m_fileEntity;
};

} // namespace ondrel
