#include "core/dispatch/BlockOperation.h"

#include <QtCore/QDebug>

namespace ondrel {

const ClassInfo& BlockOperation::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<BlockOperation, Operation>(QStringLiteral("BlockOperation"));
    return info;
}

BlockOperation::BlockOperation() = default;

BlockOperation::~BlockOperation() = default;

std::shared_ptr<BlockOperation> BlockOperation::blockOperationWithBlock(std::function<void()> block) {
    auto operation = std::make_shared<BlockOperation>();
    operation->addExecutionBlock(std::move(block));
    return operation;
}

void BlockOperation::addExecutionBlock(std::function<void()> block) {
    if (!block)
        return;
    std::lock_guard lock(m_blocksMutex);
    if (m_running || isFinished()) {
        qWarning().noquote() << description() << "has started; a further block is not added";
        return;
    }
    m_blocks.push_back(std::move(block));
}

std::vector<std::function<void()>> BlockOperation::executionBlocks() const {
    std::lock_guard lock(m_blocksMutex);
    return m_blocks;
}

void BlockOperation::main() {
    std::vector<std::function<void()>> blocks;
    {
        std::lock_guard lock(m_blocksMutex);
        m_running = true;
        blocks.swap(m_blocks);  // what the blocks hold goes when they have run
    }
    for (const auto& block : blocks)
        block();
}

} // namespace ondrel
