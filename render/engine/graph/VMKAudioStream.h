#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"
#include "render/engine/graph/VMKAudioConnection.h"
#include "render/engine/graph/VMKAudioProcessor.h"

#include <QtCore/QVariantMap>

#include <atomic>
#include <memory>
#include <unordered_set>
#include <vector>

namespace ondrel {

class VMKHeadAudioProcessor;

// A pull graph: processors and the connections between their buses. One
// processor, the head, pulls; every other one fills the buffer it is handed.
//
// initialize() negotiates the graph before a run:
//  1. The head is the one processor whose output bus feeds no connection.
//     Every other processor must lead to it, every input bus must be fed by a
//     processor of this stream; otherwise the graph is refused.
//  2. Channels, rate and block size (maxFrames) flow from the sources to the
//     head: going upstream-first, each processor's proposeOutputFormat fills
//     the fields of its output connection that are still 0. A source states
//     its own format; a pass-through processor hands on that of its input; a
//     field already decided (by whoever built the graph) that disagrees with
//     the proposal is an error.
//  3. Going from the head upstream, each processor's input connections take
//     the fields still undecided from its output connection, and the block
//     size of an input never stays below that of the output (the pulls a
//     processor passes on are no larger than those it gets); the head's input
//     block size defaults to kDefaultMaxFrames. Then the processor's
//     initializeForRender runs, and may set the format of its inputs itself.
//  4. Every connection must now carry a complete format, and every processor's
//     checkFormat must accept its connections (by default: inputs with the
//     output's channels and rate).
// Any failure leaves the stream uninitialized, with a VMKError saying which
// processor or connection is at fault. uninitialize() gives the connections
// back the format they had before initialize().
//
// start() needs an initialized stream whose head is a VMKHeadAudioProcessor
// (file writers and analyzers are such heads): a head that runs to
// completion does so on the calling thread before start returns; a device
// head starts its device and returns, the stream then running until stop().
class VMKAudioStream : public Object {
    ONDREL_OBJECT(VMKAudioStream, Object)

public:
    static constexpr int64_t kDefaultMaxFrames = 4096;

    VMKAudioStream();
    ~VMKAudioStream() override;

    // A stream made from a description (a property-list dictionary):
    //   "processors":  array of {"className", "identifier", "numberOfInputBuses",
    //                  "parameters": {key: value}} (only "className" is required)
    //   "chain":       array of identifiers, each connected to input bus 0 of the next
    //   "connections": array of {"source", "destination" (identifiers), "bus"
    //                  (input bus index, default 0), and optionally
    //                  "numberOfChannels", "sampleRate", "maxFrames"}
    static std::shared_ptr<VMKAudioStream> initWithDescription(const QVariantMap& description,
                                                               VMKError* error = nullptr);
    // Adds what a description names to this stream (for subclasses that load
    // their own description).
    bool loadDescription(const QVariantMap& description, VMKError* error = nullptr);

    // Processors.
    const std::vector<std::shared_ptr<VMKAudioProcessor>>& processors() const { return m_processors; }
    void addProcessorsObject(const std::shared_ptr<VMKAudioProcessor>& processor);
    // Removing a processor removes the connections of its buses as well; an
    // initialized stream is uninitialized first.
    void removeProcessorsObject(const std::shared_ptr<VMKAudioProcessor>& processor);
    std::shared_ptr<VMKAudioProcessor> processorWithIdentifier(const QString& identifier) const;

    // Connections.
    const std::vector<std::shared_ptr<VMKAudioConnection>>& connections() const { return m_connections; }
    void addConnectionsObject(const std::shared_ptr<VMKAudioConnection>& connection);
    void removeConnectionsObject(const std::shared_ptr<VMKAudioConnection>& connection);  // detaches both ends
    void connectOutputBus(VMKAudioBus* bus, const std::shared_ptr<VMKAudioConnection>& connection);
    void connectInputBus(VMKAudioBus* bus, const std::shared_ptr<VMKAudioConnection>& connection);
    void disconnectInputBus(VMKAudioBus* bus);
    void disconnectOutputBus(VMKAudioBus* bus);
    // Convenience: a new connection from `source`'s output bus to input bus
    // `inputBusIndex` of `destination`. Fails (null) for a missing bus.
    std::shared_ptr<VMKAudioConnection> connectProcessor(VMKAudioProcessor* source, VMKAudioProcessor* destination,
                                                         uint64_t inputBusIndex = 0, VMKError* error = nullptr);

    // Running.
    bool initialize(VMKError* error = nullptr);
    bool start(VMKError* error = nullptr);
    bool stop(VMKError* error = nullptr);
    bool uninitialize(VMKError* error = nullptr);
    bool isInitialized() const { return m_initialized; }
    // Observable as "running"; changes are announced on the thread of start / stop.
    bool isRunning() const { return m_running.load(std::memory_order_acquire); }
    // The head found by the last initialize (null when not initialized).
    VMKAudioProcessor* head() const { return m_head; }

private:
    struct FormatSnapshot {
        std::shared_ptr<VMKAudioConnection> connection;
        uint32_t numberOfChannels;
        double sampleRate;
        int64_t maxFrames;
    };

    bool orderProcessors(std::vector<VMKAudioProcessor*>& upstreamFirst, VMKError* error);
    bool negotiate(const std::vector<VMKAudioProcessor*>& upstreamFirst, VMKError* error);
    void uninitializeProcessors();
    void setRunning(bool running);  // announces "running" on the calling thread
    void restoreFormats();

    std::vector<std::shared_ptr<VMKAudioProcessor>> m_processors;
    std::vector<std::shared_ptr<VMKAudioConnection>> m_connections;
    std::unordered_set<const VMKAudioConnection*> m_connectionSet;  // those of m_connections
    std::vector<FormatSnapshot> m_snapshot;
    std::vector<VMKAudioProcessor*> m_order;  // upstream-first, while initialized
    VMKAudioProcessor* m_head = nullptr;
    bool m_initialized = false;
    std::atomic<bool> m_running{false};
};

} // namespace ondrel
