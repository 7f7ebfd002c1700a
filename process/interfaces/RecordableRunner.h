#pragma once

#include "core/text/VMKError.h"

#include <memory>
#include <vector>

namespace ondrel {

class AudioProcessCommandGroup;

// Runs compiled groups through script text, so that a script recorder sees
// the commands a run sends: the text of each group in order becomes one
// recordable script, which is then executed. Installed by the scripting
// library; called on the run's background queue. False with the error when
// the script fails.
class RecordableRunner {
public:
    virtual ~RecordableRunner() = default;
    virtual bool runAudioProcessCommandGroupsAsScript(const std::vector<std::shared_ptr<AudioProcessCommandGroup>>& groups,
                                                      VMKError* error) = 0;
};

} // namespace ondrel
