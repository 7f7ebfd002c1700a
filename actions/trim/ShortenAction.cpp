#include "actions/trim/ShortenAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& ShortenAction::staticClassInfo() {
    using C = ShortenAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ShortenAction"))
            .property(QStringLiteral("resultLength"), &C::resultLength, &C::setResultLength)
            .property(QStringLiteral("balance"), &C::balance, &C::setBalance)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

ShortenAction::ShortenAction()
    : m_resultLength(2.0),
      m_balance(0.5f),
      m_zeroCross(false) {}

QStringList ShortenAction::parameterKeys() const {
    return {QStringLiteral("resultLength"), QStringLiteral("balance"), QStringLiteral("zeroCross")};
}

void ShortenAction::setResultLength(double resultLength) {
    setAndNotify(QStringLiteral("resultLength"), m_resultLength, resultLength);
}

void ShortenAction::setBalance(float balance) {
    setAndNotify(QStringLiteral("balance"), m_balance, balance);
}

void ShortenAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void ShortenAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    const double fileLength = file.length();
    if (m_resultLength >= fileLength)
        return;
    double length = source->length().value_or(0.0);
    if (length == 0.0)
        length = fileLength;
    const double excess = length - m_resultLength;
    source->setSourceStart(source->sourceStart().value_or(0.0) + (1.0 - double(m_balance)) * excess);
    if (m_zeroCross)
        source->setSourceStart(file.locationOfNearestZeroCrossingTo(*source->sourceStart()));
}

void ShortenAction::compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                                     const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    if (fileEntity && m_resultLength < fileEntity->length())
        instructions->setLength(m_resultLength);
}

} // namespace ondrel
