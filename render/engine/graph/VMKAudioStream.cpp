#include "render/engine/graph/VMKAudioStream.h"


#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/graph/VMKHeadAudioProcessor.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace ondrel {

namespace {
VMKError graphError(const QString& reason) {
    return VMKError::errorWithCode(VMKEngineErrorGraph, QStringLiteral("Initializing an audio stream"), reason);
}
VMKError descriptionError(const QString& reason) {
    return VMKError::errorWithCode(VMKEngineErrorDescription, QStringLiteral("Building an audio stream"), reason);
}
} // namespace

const ClassInfo& VMKAudioStream::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<VMKAudioStream, Object>(QStringLiteral("VMKAudioStream"))
                                       .property(QStringLiteral("running"), &VMKAudioStream::isRunning);
    return info;
}

VMKAudioStream::VMKAudioStream() = default;

VMKAudioStream::~VMKAudioStream() {
    if (m_initialized)
        uninitialize(nullptr);
    for (const auto& processor : m_processors)
        processor->m_stream.reset();
}

// MARK: Processors

void VMKAudioStream::addProcessorsObject(const std::shared_ptr<VMKAudioProcessor>& processor) {
    if (!processor)
        return;
    // A processor's stream is the one that holds it: the check costs nothing
    // in a graph of many thousand processors.
    if (auto owner = processor->stream(); owner.get() == this)
        return;
    else if (owner)
        owner->removeProcessorsObject(processor);
    m_processors.push_back(processor);
    processor->m_stream = std::static_pointer_cast<VMKAudioStream>(weak_from_this().lock());
}

void VMKAudioStream::removeProcessorsObject(const std::shared_ptr<VMKAudioProcessor>& processor) {
    auto it = std::find(m_processors.begin(), m_processors.end(), processor);
    if (it == m_processors.end())
        return;
    // The graph changes: a run in progress ends and the stream negotiates
    // again, so it never reaches for a processor it no longer holds.
    if (m_initialized)
        uninitialize(nullptr);
    std::vector<std::shared_ptr<VMKAudioConnection>> touched;
    for (const auto& bus : processor->inputBuses())
        if (bus->connection())
            touched.push_back(bus->connection());
    if (processor->outputBus()->connection())
        touched.push_back(processor->outputBus()->connection());
    for (const auto& connection : touched) {
        if (m_connectionSet.count(connection.get())) {
            removeConnectionsObject(connection);
        } else {
            if (connection->inputBus())
                connection->inputBus()->attach(nullptr);
            if (connection->outputBus())
                connection->outputBus()->attach(nullptr);
        }
    }
    processor->m_stream.reset();
    m_processors.erase(std::find(m_processors.begin(), m_processors.end(), processor));
}

std::shared_ptr<VMKAudioProcessor> VMKAudioStream::processorWithIdentifier(const QString& identifier) const {
    for (const auto& processor : m_processors)
        if (processor->identifier() == identifier)
            return processor;
    return nullptr;
}

// MARK: Connections

void VMKAudioStream::addConnectionsObject(const std::shared_ptr<VMKAudioConnection>& connection) {
    if (connection && m_connectionSet.insert(connection.get()).second)
        m_connections.push_back(connection);
}

void VMKAudioStream::removeConnectionsObject(const std::shared_ptr<VMKAudioConnection>& connection) {
    if (!connection || !m_connectionSet.count(connection.get()))
        return;
    const std::shared_ptr<VMKAudioConnection> keep = connection;  // alive while its ends let go
    if (keep->inputBus())
        keep->inputBus()->attach(nullptr);
    if (keep->outputBus())
        keep->outputBus()->attach(nullptr);
    m_connections.erase(std::find(m_connections.begin(), m_connections.end(), keep));
    m_connectionSet.erase(keep.get());
}

void VMKAudioStream::connectOutputBus(VMKAudioBus* bus, const std::shared_ptr<VMKAudioConnection>& connection) {
    if (!bus || bus->isInput() || !connection)
        return;
    bus->attach(connection);
    addConnectionsObject(connection);
}

void VMKAudioStream::connectInputBus(VMKAudioBus* bus, const std::shared_ptr<VMKAudioConnection>& connection) {
    if (!bus || !bus->isInput() || !connection)
        return;
    bus->attach(connection);
    addConnectionsObject(connection);
}

void VMKAudioStream::disconnectInputBus(VMKAudioBus* bus) {
    if (bus && bus->isInput())
        bus->attach(nullptr);
}

void VMKAudioStream::disconnectOutputBus(VMKAudioBus* bus) {
    if (bus && !bus->isInput())
        bus->attach(nullptr);
}

std::shared_ptr<VMKAudioConnection> VMKAudioStream::connectProcessor(VMKAudioProcessor* source,
                                                                     VMKAudioProcessor* destination,
                                                                     uint64_t inputBusIndex, VMKError* error) {
    VMKAudioBus* input = destination ? destination->inputBusAtIndex(inputBusIndex) : nullptr;
    if (!source || !input) {
        VMKError::set(error, graphError(QStringLiteral("%1 has no input bus %2")
                                            .arg(destination ? destination->displayName() : QStringLiteral("nothing"))
                                            .arg(inputBusIndex)));
        return nullptr;
    }
    auto connection = std::make_shared<VMKAudioConnection>();
    connectOutputBus(source->outputBus(), connection);
    connectInputBus(input, connection);
    return connection;
}

// MARK: Negotiation

bool VMKAudioStream::orderProcessors(std::vector<VMKAudioProcessor*>& upstreamFirst, VMKError* error) {
    for (const auto& processor : m_processors)
        for (const auto& bus : processor->inputBuses()) {
            VMKAudioConnection* connection = bus->connection().get();
            if (!connection || !connection->inputBus() || !connection->inputBus()->processor()) {
                VMKError::set(error, graphError(QStringLiteral("input bus %1 of %2 is not connected to a processor")
                                                    .arg(bus->index())
                                                    .arg(processor->displayName())));
                return false;
            }
        }
    std::vector<VMKAudioProcessor*> heads;
    for (const auto& processor : m_processors)
        if (!processor->outputConnection() || !processor->outputConnection()->outputBus())
            heads.push_back(processor.get());
    if (heads.size() != 1) {
        QStringList names;
        for (auto* processor : heads)
            names << processor->displayName();
        VMKError::set(error, graphError(heads.empty()
                                            ? QStringLiteral("no processor is the head: every output is connected")
                                            : QStringLiteral("several processors have an unconnected output (%1); "
                                                             "only the head may")
                                                  .arg(names.join(QStringLiteral(", ")))));
        return false;
    }
    std::unordered_set<const VMKAudioProcessor*> members;
    for (const auto& processor : m_processors)
        members.insert(processor.get());

    // Walk upstream from the head; post-order puts every processor after the
    // processors that feed it.
    std::unordered_set<const VMKAudioProcessor*> visited;
    struct Frame {
        VMKAudioProcessor* processor;
        size_t nextBus;
    };
    std::vector<Frame> stack{{heads.front(), 0}};
    visited.insert(heads.front());
    while (!stack.empty()) {
        Frame& frame = stack.back();
        const auto& buses = frame.processor->inputBuses();
        if (frame.nextBus == buses.size()) {
            upstreamFirst.push_back(frame.processor);
            stack.pop_back();
            continue;
        }
        VMKAudioProcessor* source = buses[frame.nextBus++]->connection()->inputBus()->processor();
        if (!members.count(source)) {
            VMKError::set(error, graphError(QStringLiteral("%1 is fed by %2, which is not a processor of this stream")
                                                .arg(frame.processor->displayName(), source->displayName())));
            return false;
        }
        if (visited.insert(source).second)
            stack.push_back({source, 0});
    }
    for (const auto& processor : m_processors)
        if (!visited.count(processor.get())) {
            VMKError::set(error, graphError(QStringLiteral("%1 doesn't lead to the head %2")
                                                .arg(processor->displayName(), heads.front()->displayName())));
            return false;
        }
    return true;
}

bool VMKAudioStream::negotiate(const std::vector<VMKAudioProcessor*>& upstreamFirst, VMKError* error) {
    VMKAudioProcessor* head = upstreamFirst.back();
    // Sources to head: output formats.
    for (VMKAudioProcessor* processor : upstreamFirst)
        if (processor != head && !processor->proposeOutputFormat(*processor->outputConnection(), error))
            return false;
    // Head to sources: input formats, then the processor's own preparation.
    for (auto it = upstreamFirst.rbegin(); it != upstreamFirst.rend(); ++it) {
        VMKAudioProcessor* processor = *it;
        const VMKAudioConnection* output = processor == head ? nullptr : processor->outputConnection();
        for (const auto& bus : processor->inputBuses()) {
            VMKAudioConnection& input = *bus->connection();
            if (!output) {
                if (input.maxFrames() <= 0)
                    input.setMaxFrames(kDefaultMaxFrames);
                continue;
            }
            if (input.numberOfChannels() == 0)
                input.setNumberOfChannels(output->numberOfChannels());
            if (input.sampleRate() <= 0.0)
                input.setSampleRate(output->sampleRate());
            input.setMaxFrames(std::max(input.maxFrames(), output->maxFrames()));
        }
        if (!processor->initializeForRender(error))
            return false;
        processor->m_initialized = true;
    }
    // Every connection complete, every processor content with its formats.
    for (VMKAudioProcessor* processor : upstreamFirst) {
        if (processor != head) {
            const VMKAudioConnection& output = *processor->outputConnection();
            if (!output.isFormatComplete()) {
                VMKError::set(error, processor->formatError(
                                         QStringLiteral("the output of %1 has no decided %2")
                                             .arg(processor->displayName())
                                             .arg(output.numberOfChannels() == 0 ? QStringLiteral("channel count")
                                                  : output.sampleRate() <= 0.0   ? QStringLiteral("sample rate")
                                                                                 : QStringLiteral("block size"))));
                return false;
            }
        }
        if (!processor->checkFormat(error))
            return false;
    }
    return true;
}

bool VMKAudioStream::initialize(VMKError* error) {
    if (m_initialized)
        return true;
    std::vector<VMKAudioProcessor*> order;
    if (!orderProcessors(order, error))
        return false;
    m_snapshot.clear();
    for (VMKAudioProcessor* processor : order)
        for (const auto& bus : processor->inputBuses()) {
            const auto& connection = bus->connection();
            m_snapshot.push_back({connection, connection->numberOfChannels(), connection->sampleRate(),
                                  connection->maxFrames()});
        }
    m_order = order;
    if (!negotiate(order, error)) {
        uninitializeProcessors();
        restoreFormats();
        m_order.clear();
        return false;
    }
    m_head = order.back();
    m_initialized = true;
    return true;
}

void VMKAudioStream::uninitializeProcessors() {
    for (VMKAudioProcessor* processor : m_order)
        if (processor->m_initialized) {
            processor->uninitialize(nullptr);
            processor->m_initialized = false;
        }
}

void VMKAudioStream::restoreFormats() {
    for (const auto& saved : m_snapshot) {
        saved.connection->setNumberOfChannels(saved.numberOfChannels);
        saved.connection->setSampleRate(saved.sampleRate);
        saved.connection->setMaxFrames(saved.maxFrames);
    }
    m_snapshot.clear();
}

// MARK: Running

bool VMKAudioStream::start(VMKError* error) {
    if (!m_initialized) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorState, QStringLiteral("Starting an audio stream"),
                                                     QStringLiteral("the stream must be initialized first")));
        return false;
    }
    auto* head = dynamic_cast<VMKHeadAudioProcessor*>(m_head);
    if (!head) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorGraph, QStringLiteral("Starting an audio stream"),
                                                     QStringLiteral("its head %1 is not a processor that can drive it")
                                                         .arg(m_head->displayName())));
        return false;
    }
    if (isRunning())
        return true;
    setRunning(true);
    const bool ok = head->start(error);
    if (!ok || head->runsToCompletion())
        setRunning(false);
    return ok;
}

bool VMKAudioStream::stop(VMKError* error) {
    bool ok = true;
    if (auto* head = dynamic_cast<VMKHeadAudioProcessor*>(m_head))
        ok = head->stop(error);
    setRunning(false);
    return ok;
}

void VMKAudioStream::setRunning(bool running) {
    if (isRunning() == running)
        return;
    willChangeValueForKey(QStringLiteral("running"));
    m_running.store(running, std::memory_order_release);
    didChangeValueForKey(QStringLiteral("running"));
}

bool VMKAudioStream::uninitialize(VMKError* error) {
    if (!m_initialized)
        return true;
    if (isRunning())
        stop(nullptr);
    bool ok = true;
    for (VMKAudioProcessor* processor : m_order) {
        VMKError processorError;
        if (!processor->uninitialize(&processorError) && ok) {
            ok = false;
            VMKError::set(error, processorError);
        }
        processor->m_initialized = false;
    }
    restoreFormats();
    m_order.clear();
    m_head = nullptr;
    m_initialized = false;
    return ok;
}

// MARK: Descriptions

std::shared_ptr<VMKAudioStream> VMKAudioStream::initWithDescription(const QVariantMap& description, VMKError* error) {
    auto stream = std::make_shared<VMKAudioStream>();
    if (!stream->loadDescription(description, error))
        return nullptr;
    return stream;
}

bool VMKAudioStream::loadDescription(const QVariantMap& description, VMKError* error) {
    std::vector<std::shared_ptr<VMKAudioProcessor>> made;
    const QVariantList processors = description.value(QStringLiteral("processors")).toList();
    for (qsizetype i = 0; i < processors.size(); ++i) {
        const QVariantMap entry = processors[i].toMap();
        const QString className = entry.value(QStringLiteral("className")).toString();
        auto processor = std::dynamic_pointer_cast<VMKAudioProcessor>(ClassRegistry::create(className));
        if (!processor) {
            VMKError::set(error, descriptionError(QStringLiteral("processor %1 names \"%2\", which is no processor class")
                                                      .arg(i)
                                                      .arg(className)));
            return false;
        }
        processor->setIdentifier(entry.value(QStringLiteral("identifier")).toString());
        if (entry.contains(QStringLiteral("numberOfInputBuses")) &&
            !processor->setNumberOfInputBuses(entry.value(QStringLiteral("numberOfInputBuses")).toULongLong(), error))
            return false;
        const QVariantMap parameters = entry.value(QStringLiteral("parameters")).toMap();
        for (auto it = parameters.cbegin(); it != parameters.cend(); ++it)
            processor->setValueForParameterKey(it.value(), it.key());
        made.push_back(processor);
    }
    auto find = [&](const QString& identifier) -> VMKAudioProcessor* {
        for (const auto& processor : made)
            if (processor->identifier() == identifier)
                return processor.get();
        return nullptr;
    };
    struct Link {
        QString source, destination;
        uint64_t bus;
        QVariantMap format;
    };
    std::vector<Link> links;
    const QStringList chain = description.value(QStringLiteral("chain")).toStringList();
    for (qsizetype i = 0; i + 1 < chain.size(); ++i)
        links.push_back({chain[i], chain[i + 1], 0, {}});
    for (const QVariant& value : description.value(QStringLiteral("connections")).toList()) {
        const QVariantMap entry = value.toMap();
        links.push_back({entry.value(QStringLiteral("source")).toString(),
                         entry.value(QStringLiteral("destination")).toString(),
                         entry.value(QStringLiteral("bus"), 0).toULongLong(), entry});
    }
    std::vector<std::pair<Link, std::pair<VMKAudioProcessor*, VMKAudioProcessor*>>> resolved;
    for (const Link& link : links) {
        VMKAudioProcessor* source = find(link.source);
        VMKAudioProcessor* destination = find(link.destination);
        if (!source || !destination) {
            VMKError::set(error, descriptionError(QStringLiteral("the connection from \"%1\" to \"%2\" names an "
                                                                 "unknown processor")
                                                      .arg(link.source, link.destination)));
            return false;
        }
        if (link.bus >= destination->numberOfInputBuses()) {
            VMKError::set(error, descriptionError(QStringLiteral("\"%1\" has no input bus %2")
                                                      .arg(link.destination)
                                                      .arg(link.bus)));
            return false;
        }
        resolved.push_back({link, {source, destination}});
    }
    for (const auto& processor : made)
        addProcessorsObject(processor);
    for (const auto& [link, ends] : resolved) {
        auto connection = connectProcessor(ends.first, ends.second, link.bus, error);
        if (link.format.contains(QStringLiteral("numberOfChannels")))
            connection->setNumberOfChannels(link.format.value(QStringLiteral("numberOfChannels")).toUInt());
        if (link.format.contains(QStringLiteral("sampleRate")))
            connection->setSampleRate(link.format.value(QStringLiteral("sampleRate")).toDouble());
        if (link.format.contains(QStringLiteral("maxFrames")))
            connection->setMaxFrames(link.format.value(QStringLiteral("maxFrames")).toLongLong());
    }
    return true;
}


} // namespace ondrel
