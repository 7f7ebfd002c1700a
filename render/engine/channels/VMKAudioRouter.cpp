#include "render/engine/channels/VMKAudioRouter.h"

#include "render/engine/graph/VMKEngineError.h"

#include <algorithm>

namespace ondrel {

namespace {
const QString kTies = QStringLiteral("ties");
const QString kInputChannel = QStringLiteral("inputChannel");
const QString kOutputChannel = QStringLiteral("outputChannel");

bool channelValue(const QVariantMap& tie, const QString& key, uint32_t& channel) {
    bool ok = false;
    const qint64 value = tie.value(key).toLongLong(&ok);
    if (!ok || value < 0 || value > qint64(UINT32_MAX))
        return false;
    channel = uint32_t(value);
    return true;
}
} // namespace

std::shared_ptr<VMKAudioRouter> VMKAudioRouter::router() {
    // Made on first use and kept for the process (never destroyed at exit).
    static auto* shared = new std::shared_ptr<VMKAudioRouter>(std::make_shared<VMKAudioRouter>());
    return *shared;
}

std::shared_ptr<VMKAudioRouter> VMKAudioRouter::routerWithProperties(const QVariantMap& properties, VMKError* error) {
    auto result = std::make_shared<VMKAudioRouter>();
    const QVariant ties = properties.value(kTies);
    if (ties.isValid() && ties.typeId() != QMetaType::QVariantList) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorInvalidArgument, QStringLiteral("Reading a router"),
                                                     QStringLiteral("\"ties\" is not a list")));
        return nullptr;
    }
    const QVariantList list = ties.toList();
    for (qsizetype i = 0; i < list.size(); ++i) {
        const QVariantMap tie = list[i].toMap();
        uint32_t input = 0;
        uint32_t output = 0;
        if (!channelValue(tie, kInputChannel, input) || !channelValue(tie, kOutputChannel, output)) {
            VMKError::set(error, VMKError::errorWithCode(
                                     VMKEngineErrorInvalidArgument, QStringLiteral("Reading a router"),
                                     QStringLiteral("tie %1 lacks a channel number as \"inputChannel\" or \"outputChannel\"")
                                         .arg(i)));
            return nullptr;
        }
        result->tieInputChannel(input, output);
    }
    return result;
}

QVariantMap VMKAudioRouter::properties() const {
    QVariantList ties;
    for (const VMKAudioRouterTie& tie : m_ties)
        ties.append(QVariantMap{{kInputChannel, qint64(tie.inputChannel())}, {kOutputChannel, qint64(tie.outputChannel())}});
    return QVariantMap{{kTies, ties}};
}

void VMKAudioRouter::tieInputChannel(uint32_t inputChannel, uint32_t outputChannel) {
    const VMKAudioRouterTie tie(inputChannel, outputChannel);
    auto it = std::lower_bound(m_ties.begin(), m_ties.end(), tie);
    if (it == m_ties.end() || !(*it == tie))
        m_ties.insert(it, tie);
}

void VMKAudioRouter::untieInputChannel(uint32_t inputChannel, uint32_t outputChannel) {
    const VMKAudioRouterTie tie(inputChannel, outputChannel);
    auto it = std::lower_bound(m_ties.begin(), m_ties.end(), tie);
    if (it != m_ties.end() && *it == tie)
        m_ties.erase(it);
}

IndexSet VMKAudioRouter::outputChannelsTiedToInputChannel(uint32_t inputChannel) const {
    IndexSet outputs;
    for (const VMKAudioRouterTie& tie : m_ties)
        if (tie.inputChannel() == inputChannel)
            outputs.add(qsizetype(tie.outputChannel()));
    return outputs;
}

std::optional<VMKAudioRouterTie> VMKAudioRouter::tieForInputChannel(uint32_t inputChannel,
                                                                    uint32_t outputChannel) const {
    if (isInputChannel(inputChannel, outputChannel))
        return VMKAudioRouterTie(inputChannel, outputChannel);
    return std::nullopt;
}

bool VMKAudioRouter::isInputChannel(uint32_t inputChannel, uint32_t tiedToOutputChannel) const {
    return std::binary_search(m_ties.begin(), m_ties.end(), VMKAudioRouterTie(inputChannel, tiedToOutputChannel));
}

} // namespace ondrel
