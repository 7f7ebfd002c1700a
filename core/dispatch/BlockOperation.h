#pragma once

#include "core/dispatch/Operation.h"

#include <functional>
#include <memory>
#include <vector>

namespace ondrel {

// An operation that runs one or more blocks, in the order they were added,
// on its worker thread. Blocks may be added until the operation starts.
class BlockOperation : public Operation {
    ONDREL_OBJECT(BlockOperation, Operation)

public:
    BlockOperation();
    ~BlockOperation() override;

    static std::shared_ptr<BlockOperation> blockOperationWithBlock(std::function<void()> block);

    void addExecutionBlock(std::function<void()> block);
    std::vector<std::function<void()>> executionBlocks() const;

    void main() override;

private:
    mutable std::mutex m_blocksMutex;
    std::vector<std::function<void()>> m_blocks;
    bool m_running = false;
};

} // namespace ondrel
