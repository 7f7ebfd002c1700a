#include "actions/fade/ExtendAction.h"

#include "catalog/entities/FileEntity.h"

namespace ondrel {

namespace {

// The main source and the length it plays (its own, else its file's); null
// when there is no main source or file.
std::shared_ptr<AudioProcessCommandSourceInstructions> mainOf(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, double* length) {
    auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    const auto file = main ? main->fileEntity() : nullptr;
    if (!file)
        return nullptr;
    *length = main->length().value_or(file->length());
    return main;
}

} // namespace

const ClassInfo& ExtendAction::staticClassInfo() {
    using C = ExtendAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ExtendAction"))
            .property(QStringLiteral("resultLength"), &C::resultLength, &C::setResultLength)
            .property(QStringLiteral("balance"), &C::balance, &C::setBalance);
    return info;
}

ExtendAction::ExtendAction() : m_resultLength(2.0), m_balance(0.5f) {}

QStringList ExtendAction::parameterKeys() const { return {QStringLiteral("resultLength"), QStringLiteral("balance")}; }

void ExtendAction::setResultLength(double resultLength) {
    setAndNotify(QStringLiteral("resultLength"), m_resultLength, resultLength);
}

void ExtendAction::setBalance(float balance) { setAndNotify(QStringLiteral("balance"), m_balance, balance); }

void ExtendAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    double length = 0.0;
    const auto main = mainOf(sourceInstructions, &length);
    if (main && length < m_resultLength)
        main->setLocation((m_resultLength - length) * (1.0 - double(m_balance)));
}

void ExtendAction::compileInstructions(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    double length = 0.0;
    if (mainOf(sourceInstructions, &length) && length < m_resultLength)
        instructions->setLength(m_resultLength);
}

} // namespace ondrel
