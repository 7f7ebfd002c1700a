#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"
#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/graph/VMKAudioBus.h"
#include "render/engine/graph/VMKAudioConnection.h"
#include "render/engine/graph/VMKAudioStreamRenderInfo.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace ondrel {

class VMKAudioStream;

// A node of the pull graph. It has input buses (one by default) and one
// output bus; a stream owns it and connects its buses. Subclasses override
// render() and, when they need scratch memory or must set the format of their
// input connections, initializeForRender() / uninitialize().
//
// Processors are made by class name from the class registry, and their
// settings are reached by key (setValueForParameterKey goes to the key-value
// coding of the class unless a subclass answers it itself).
class VMKAudioProcessor : public Object {
    ONDREL_OBJECT(VMKAudioProcessor, Object)

public:
    static constexpr uint64_t kUnlimitedInputBuses = std::numeric_limits<uint64_t>::max();

    VMKAudioProcessor();
    ~VMKAudioProcessor() override;

    // How many input buses the class accepts (kUnlimitedInputBuses: no limit). Default 1.
    virtual uint64_t maximumNumberOfInputBuses() const { return 1; }

    const QString& identifier() const { return m_identifier; }
    void setIdentifier(const QString& identifier) {
        setAndNotify(QStringLiteral("identifier"), m_identifier, identifier);
    }

    virtual void setValueForParameterKey(const QVariant& value, const QString& key);

    // Buses. Dropping buses disconnects them.
    bool setNumberOfInputBuses(uint64_t count, VMKError* error = nullptr);
    uint64_t numberOfInputBuses() const { return m_inputBuses.size(); }
    const std::vector<std::unique_ptr<VMKAudioBus>>& inputBuses() const { return m_inputBuses; }
    VMKAudioBus* inputBus() const { return m_inputBuses.empty() ? nullptr : m_inputBuses.front().get(); }
    VMKAudioBus* inputBusAtIndex(uint64_t index) const {
        return index < m_inputBuses.size() ? m_inputBuses[index].get() : nullptr;
    }
    VMKAudioBus* outputBus() const { return m_outputBus.get(); }
    VMKAudioConnection* inputConnection() const;
    VMKAudioConnection* outputConnection() const;

    std::shared_ptr<VMKAudioStream> stream() const { return m_stream.lock(); }

    // Lifecycle of a run (called by the stream): initializeForRender once the
    // output connection carries its final format; the processor may set the
    // format of its input connections here and allocates what render needs.
    virtual bool initializeForRender(VMKError* error = nullptr);
    virtual bool uninitialize(VMKError* error = nullptr);
    bool isInitialized() const { return m_initialized; }

    // Fills all frames of `destination` for the sample time in `info`. Runs on
    // the render thread: no allocation, no lock. Returns false when a pull
    // failed (the reason goes to info.reportError); the destination then holds
    // silence or what could be made. The default passes the first input bus
    // through.
    virtual bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info);

    // Negotiation hooks (see VMKAudioStream.h). proposeOutputFormat fills the
    // undecided fields of the output connection before anything is
    // initialized, going from sources to the head; the default passes channels,
    // rate and block size on from the first input connection and fails when a
    // decided field disagrees. checkFormat runs after initializeForRender; the
    // default wants every input connection to carry the output's channels and
    // rate.
    virtual bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr);
    virtual bool checkFormat(VMKError* error = nullptr) const;

    // "identifier" or else the class name, for messages.
    QString displayName() const;

protected:
    // Helper for subclasses' proposeOutputFormat: fills or checks one field.
    bool proposeNumberOfChannels(VMKAudioConnection& output, uint32_t channels, VMKError* error) const;
    bool proposeSampleRate(VMKAudioConnection& output, double sampleRate, VMKError* error) const;
    VMKError formatError(const QString& reason) const;

private:
    friend class VMKAudioStream;

    QString m_identifier;
    std::weak_ptr<VMKAudioStream> m_stream;
    std::vector<std::unique_ptr<VMKAudioBus>> m_inputBuses;
    std::unique_ptr<VMKAudioBus> m_outputBus;
    bool m_initialized = false;
};

} // namespace ondrel
