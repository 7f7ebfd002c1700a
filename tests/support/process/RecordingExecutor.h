#pragma once

#include "core/dispatch/DispatchQueue.h"
#include "process/interfaces/AudioProcessCommandGroupExecutor.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace ondrel {

// Keeps the groups handed to it, in order; they must come on the main thread.
class RecordingExecutor : public AudioProcessCommandGroupExecutor {
public:
    void executeAudioProcessCommandGroup(const std::shared_ptr<AudioProcessCommandGroup>& group) override {
        EXPECT_TRUE(isMainThread());
        groups.push_back(group);
    }
    std::vector<std::shared_ptr<AudioProcessCommandGroup>> groups;
};

} // namespace ondrel
