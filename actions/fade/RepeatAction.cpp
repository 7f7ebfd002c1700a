#include "actions/fade/RepeatAction.h"

#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& RepeatAction::staticClassInfo() {
    using C = RepeatAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("RepeatAction"))
                                       .property(QStringLiteral("count"), &C::count, &C::setCount);
    return info;
}

RepeatAction::RepeatAction() : m_count(2) {}

QStringList RepeatAction::parameterKeys() const { return {QStringLiteral("count")}; }

void RepeatAction::setCount(quint64 count) { setAndNotify(QStringLiteral("count"), m_count, count); }

void RepeatAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    const auto file = main ? main->fileEntity() : nullptr;
    if (!file || m_count < 2)
        return;
    double location = file->length();
    for (quint64 i = 1; i < m_count; ++i) {
        auto copy = std::make_shared<AudioProcessCommandSourceInstructions>();
        copy->setFileEntity(file);
        copy->setLocation(location);
        copy->setLength(file->length());
        sourceInstructions->insertObjectInSourceInstructionsAtIndex(copy,
                                                                    sourceInstructions->countOfSourceInstructions());
        location += file->length();
    }
}

} // namespace ondrel
