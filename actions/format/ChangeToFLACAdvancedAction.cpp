#include "actions/format/ChangeToFLACAdvancedAction.h"

#include "actions/format/FormatInstructions.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& ChangeToFLACAdvancedAction::staticClassInfo() {
    using C = ChangeToFLACAdvancedAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToFLACAdvancedAction"))
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("encoding"), &C::encoding, &C::setEncoding)
            .property(QStringLiteral("QLP"), &C::QLP, &C::setQLP)
            .property(QStringLiteral("orderModels"), &C::orderModels, &C::setOrderModels)
            .property(QStringLiteral("maxOrder"), &C::maxOrder, &C::setMaxOrder);
    return info;
}

ChangeToFLACAdvancedAction::ChangeToFLACAdvancedAction()
    : m_bitDepth(16),
      m_encoding(QStringLiteral("enabled")),
      m_QLP(QStringLiteral("default")),
      m_orderModels(QStringLiteral("estimate")),
      m_maxOrder(5) {}

QStringList ChangeToFLACAdvancedAction::parameterKeys() const {
    return {QStringLiteral("bitDepth"), QStringLiteral("encoding"), QStringLiteral("QLP"),
            QStringLiteral("orderModels"), QStringLiteral("maxOrder")};
}

void ChangeToFLACAdvancedAction::setBitDepth(quint64 bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void ChangeToFLACAdvancedAction::setEncoding(const QString& encoding) {
    setAndNotify(QStringLiteral("encoding"), m_encoding, encoding);
}

void ChangeToFLACAdvancedAction::setQLP(const QString& QLP) { setAndNotify(QStringLiteral("QLP"), m_QLP, QLP); }

void ChangeToFLACAdvancedAction::setOrderModels(const QString& orderModels) {
    setAndNotify(QStringLiteral("orderModels"), m_orderModels, orderModels);
}

void ChangeToFLACAdvancedAction::setMaxOrder(quint64 maxOrder) {
    setAndNotify(QStringLiteral("maxOrder"), m_maxOrder, maxOrder);
}

void ChangeToFLACAdvancedAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    instructions->setFormat(QStringLiteral("FLAC Audio File"));
    FormatInstructions::setFirstBitDepth(*instructions, fileEntity.get(), m_bitDepth);
    instructions->addArgumentValue(m_encoding, QStringLiteral("mid side encoding"));
    instructions->addArgumentValue(m_QLP, QStringLiteral("QLP precision"));
    instructions->addArgumentValue(m_orderModels, QStringLiteral("order models"));
    instructions->addArgumentValue(m_maxOrder, QStringLiteral("max order"));
}

} // namespace ondrel
