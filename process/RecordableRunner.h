#pragma once

#include "core/VMKError.h"

#include <memory>
#include <vector>

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
