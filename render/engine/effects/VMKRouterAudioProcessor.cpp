#include "render/engine/effects/VMKRouterAudioProcessor.h"

#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/dsp/VectorOps.h"
#include "render/engine/files/VMKAudioFileAudioGenerator.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/graph/VMKAudioStream.h"

#include <algorithm>

namespace ondrel {

const ClassInfo& VMKRouterAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKRouterAudioProcessor, VMKAudioProcessor>(QStringLiteral("VMKRouterAudioProcessor"))
            .addProperty(
                QStringLiteral("numberOfInputChannels"),
                [](const Object* o) {
                    return QVariant(static_cast<const VMKRouterAudioProcessor*>(o)->numberOfInputChannels());
                },
                [](Object* o, const QVariant& v) {
                    static_cast<VMKRouterAudioProcessor*>(o)->setNumberOfInputChannels(v.toUInt());
                })
            .addProperty(
                QStringLiteral("numberOfOutputChannels"),
                [](const Object* o) {
                    return QVariant(static_cast<const VMKRouterAudioProcessor*>(o)->numberOfOutputChannels());
                },
                [](Object* o, const QVariant& v) {
                    static_cast<VMKRouterAudioProcessor*>(o)->setNumberOfOutputChannels(v.toUInt());
                })
            .addProperty(
                QStringLiteral("router"),
                [](const Object* o) { return QVariant(static_cast<const VMKRouterAudioProcessor*>(o)->router()->properties()); },
                [](Object* o, const QVariant& v) {
                    if (auto router = VMKAudioRouter::routerWithProperties(v.toMap()))
                        static_cast<VMKRouterAudioProcessor*>(o)->setRouter(router);
                });
    return info;
}

VMKRouterAudioProcessor::VMKRouterAudioProcessor() : m_router(std::make_shared<VMKAudioRouter>()) {}

VMKRouterAudioProcessor::~VMKRouterAudioProcessor() = default;

namespace {
bool checkChannelCount(uint32_t channels, VMKError* error) {
    if (channels == 0) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorInvalidArgument,
                                                     QStringLiteral("Setting the channels of a router"),
                                                     QStringLiteral("a router needs at least one channel")));
        return false;
    }
    return true;
}
} // namespace

bool VMKRouterAudioProcessor::setNumberOfInputChannels(uint32_t channels, VMKError* error) {
    if (!checkChannelCount(channels, error))
        return false;
    setAndNotify(QStringLiteral("numberOfInputChannels"), m_numberOfInputChannels, channels);
    return true;
}

bool VMKRouterAudioProcessor::addFileAtChannels(VMKAudioStream& stream,
                                                const std::shared_ptr<VMKAudioFileReader>& reader,
                                                uint32_t firstChannel, uint32_t totalChannels,
                                                VMKAudioProcessor& mixer, uint64_t bus, VMKError* error) {
    Q_ASSERT(reader);
    const uint32_t fileChannels = uint32_t(reader->numberOfChannels());
    // A file changed on disk since it was cataloged may have more channels
    // than its place holds.
    if (quint64(firstChannel) + fileChannels > totalChannels) {
        VMKError::set(error, VMKError::errorWithCode(
                                 VMKEngineErrorInvalidArgument, QStringLiteral("Placing the channels of a file"),
                                 QStringLiteral("the file has %1 channels where %2 were expected")
                                     .arg(fileChannels)
                                     .arg(totalChannels - std::min(firstChannel, totalChannels))));
        return false;
    }
    auto generator = std::make_shared<VMKAudioFileAudioGenerator>();
    stream.addProcessorsObject(generator);
    generator->setAudioFile(reader);
    auto router = std::make_shared<VMKRouterAudioProcessor>();
    stream.addProcessorsObject(router);
    if (!router->setNumberOfInputChannels(fileChannels, error) ||
        !router->setNumberOfOutputChannels(totalChannels, error))
        return false;
    for (uint32_t c = 0; c < fileChannels; ++c)
        router->router()->tieInputChannel(c, firstChannel + c);
    return stream.connectProcessor(generator.get(), router.get(), 0, error) &&
           stream.connectProcessor(router.get(), &mixer, bus, error);
}

bool VMKRouterAudioProcessor::setNumberOfOutputChannels(uint32_t channels, VMKError* error) {
    if (!checkChannelCount(channels, error))
        return false;
    setAndNotify(QStringLiteral("numberOfOutputChannels"), m_numberOfOutputChannels, channels);
    return true;
}

void VMKRouterAudioProcessor::setRouter(const std::shared_ptr<VMKAudioRouter>& router) {
    setAndNotify(QStringLiteral("router"), m_router, router ? router : std::make_shared<VMKAudioRouter>());
}

bool VMKRouterAudioProcessor::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    const VMKAudioConnection* input = inputConnection();
    if (output.maxFrames() <= 0 && input->maxFrames() > 0)
        output.setMaxFrames(input->maxFrames());
    return proposeNumberOfChannels(output, m_numberOfOutputChannels, error) &&
           proposeSampleRate(output, input->sampleRate(), error);
}

bool VMKRouterAudioProcessor::checkFormat(VMKError* error) const {
    const VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    QString problem;
    if (m_numberOfInputChannels && input->numberOfChannels() != m_numberOfInputChannels)
        problem = QStringLiteral("%1 routes %2 input channels but is given %3")
                      .arg(displayName())
                      .arg(m_numberOfInputChannels)
                      .arg(input->numberOfChannels());
    else if (m_numberOfOutputChannels && output->numberOfChannels() != m_numberOfOutputChannels)
        problem = QStringLiteral("%1 routes to %2 output channels but its output carries %3")
                      .arg(displayName())
                      .arg(m_numberOfOutputChannels)
                      .arg(output->numberOfChannels());
    else if (input->sampleRate() != output->sampleRate())
        problem = QStringLiteral("%1 receives %2 Hz but delivers %3 Hz")
                      .arg(displayName())
                      .arg(input->sampleRate())
                      .arg(output->sampleRate());
    else if (input->maxFrames() < output->maxFrames())
        problem = QStringLiteral("%1 takes blocks of %2 frames, smaller than the %3 it must deliver")
                      .arg(displayName())
                      .arg(input->maxFrames())
                      .arg(output->maxFrames());
    if (problem.isEmpty())
        return true;
    VMKError::set(error, formatError(problem));
    return false;
}

bool VMKRouterAudioProcessor::initializeForRender(VMKError* error) {
    VMKAudioConnection* input = inputConnection();
    if (m_numberOfInputChannels && input->numberOfChannels() == 0)
        input->setNumberOfChannels(m_numberOfInputChannels);
    const uint32_t channels = input->numberOfChannels() ? input->numberOfChannels() : 1;
    m_scratch = VMKAudioBufferList::initWithChannels(channels, outputConnection()->maxFrames(), error);
    m_activeTies = m_router->ties();
    return bool(m_scratch);
}

bool VMKRouterAudioProcessor::uninitialize(VMKError*) {
    m_scratch.reset();
    m_activeTies.clear();
    return true;
}

bool VMKRouterAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus&,
                                     const VMKAudioStreamRenderInfo& info) {
    const int64_t frames = destination.frames();
    destination.clear();
    if (!m_scratch || !m_scratch->setFrames(frames))
        return false;
    const bool ok = inputBus()->render(*m_scratch, info);
    for (const VMKAudioRouterTie& tie : m_activeTies)
        if (tie.inputChannel() < m_scratch->numberOfChannels() && tie.outputChannel() < destination.numberOfChannels())
            dsp::add(destination.channel(tie.outputChannel()), m_scratch->channel(tie.inputChannel()), frames);
    return ok;
}

} // namespace ondrel
