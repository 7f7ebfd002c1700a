#pragma once

#include <memory>

namespace ondrel {

class AudioProcessCommandGroup;

// Takes compiled command groups and runs them. Called on the main thread.
class AudioProcessCommandGroupExecutor {
public:
    virtual ~AudioProcessCommandGroupExecutor() = default;
    virtual void executeAudioProcessCommandGroup(const std::shared_ptr<AudioProcessCommandGroup>& group) = 0;
};

} // namespace ondrel
