#include "actions/trim/TrimAroundLoopAction.h"

#include "actions/trim/TrimRules.h"
#include "catalog/entities/Label.h"
#include "core/predicates/Predicate.h"

namespace ondrel {

const ClassInfo& TrimAroundLoopAction::staticClassInfo() {
    using C = TrimAroundLoopAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("TrimAroundLoopAction"))
            .property(QStringLiteral("beforeLoop"), &C::beforeLoop, &C::setBeforeLoop)
            .property(QStringLiteral("afterLoop"), &C::afterLoop, &C::setAfterLoop);
    return info;
}

TrimAroundLoopAction::TrimAroundLoopAction()
    : m_beforeLoop(false),
      m_afterLoop(false) {}

QStringList TrimAroundLoopAction::parameterKeys() const {
    return {QStringLiteral("beforeLoop"), QStringLiteral("afterLoop")};
}

void TrimAroundLoopAction::setBeforeLoop(bool beforeLoop) {
    setAndNotify(QStringLiteral("beforeLoop"), m_beforeLoop, beforeLoop);
}

void TrimAroundLoopAction::setAfterLoop(bool afterLoop) {
    setAndNotify(QStringLiteral("afterLoop"), m_afterLoop, afterLoop);
}

void TrimAroundLoopAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    const double start = m_loop ? m_loop->start() : 0.0;
    const double end = m_loop ? m_loop->end() : 0.0;
    const double length = m_loop ? m_loop->length() : 0.0;
    if (m_beforeLoop && m_afterLoop) {
        source->setSourceStart(start);
        source->setLength(length);
    } else if (m_beforeLoop) {
        source->setSourceStart(start);
        source->setLength(file.length() - start);
    } else if (m_afterLoop) {
        source->setSourceStart(std::nullopt);
        source->setLength(end);
    }
}

void TrimAroundLoopAction::willBeginConstructingProcessForFileEntity(
    const std::shared_ptr<FileEntity>& fileEntity, const std::vector<std::shared_ptr<FileEntity>>&) {
    m_loop.reset();
    if (!fileEntity)
        return;
    const auto isLoop = Predicate::predicateWithFormat(QStringLiteral("type == \"loop\""));
    Q_ASSERT(isLoop);
    const auto loops = fileEntity->labelsWithPredicate(*isLoop);
    if (!loops.empty())
        m_loop = loops.front();
}

void TrimAroundLoopAction::didEndConstructingProcess() { m_loop.reset(); }

} // namespace ondrel
