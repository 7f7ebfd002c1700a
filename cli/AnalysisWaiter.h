#pragma once

namespace ondrel {

// Waits, on the main queue, for the analyses under way in this process: those
// that adding files, a changed file or `analyze` started. On a terminal it
// shows their progress on standard error; --quiet shows nothing.
class AnalysisWaiter {
public:
    // Runs the main queue until no analysis is under way. Ctrl-C stops them:
    // files measured so far keep their results, the others keep what they
    // had. Answers false when stopped that way.
    static bool waitForAnalyses();
    // Stops every analysis under way (as Ctrl-C does while waiting).
    static void stopAnalyses();
    // True while an analysis is under way.
    static bool isAnalyzing();
};

} // namespace ondrel
