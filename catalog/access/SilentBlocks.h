#pragma once

namespace ondrel {

// Where a detector's block walk may start when it is given a location far
// outside the file. Blocks that lie wholly before the start or past the end
// read as silence and find nothing, but walking through them one at a time
// takes for ever (and a location so large that adding a block doesn't change
// it, truly for ever). These skip all but the last of them, keeping the
// walk's alignment to its blocks wherever the location is exact enough.
class SilentBlocks {
public:
    // For a walk forwards in steps of `step` seconds (each block at most a
    // step long): `location` itself, or the location of the last whole block
    // before 0 on the walk from it. One silent block is kept, so that a
    // detector comparing a block with the one before sees the file's start
    // as it would have. NaN stays NaN.
    static double skipBeforeStart(double location, double step);
    // For a walk backwards from `location`, each block ending where the one
    // after it starts: `location` itself, or the location on the walk from
    // which the first block read is the last whole one past `length`.
    static double skipPastEnd(double location, double step, double length);
};

} // namespace ondrel
