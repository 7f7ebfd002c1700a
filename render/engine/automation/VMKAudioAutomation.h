#pragma once

#include "core/objects/Object.h"
#include "render/engine/automation/VMKValueMap.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace ondrel {

// A parameter driven over a stretch of stream time. Over [location, location
// + length) seconds the parameter named by `parameterKey` takes minimum +
// (maximum - minimum) x map(progress), progress running from 0.0 to 1.0 over
// the stretch; outside it the automation has no effect. Subclasses choose the
// class of their value map with valueMapClass(). The numbers and `enabled` may
// change while audio reads them; the key is set before a run.
class VMKAudioAutomation : public Object {
    ONDREL_OBJECT(VMKAudioAutomation, Object)

public:
    VMKAudioAutomation();
    ~VMKAudioAutomation() override;

    virtual const ClassInfo& valueMapClass() const;

    const QString& parameterKey() const { return m_parameterKey; }
    void setParameterKey(const QString& key);
    float minimum() const { return m_minimum.load(std::memory_order_relaxed); }
    void setMinimum(float minimum);
    float maximum() const { return m_maximum.load(std::memory_order_relaxed); }
    void setMaximum(float maximum);
    double location() const { return m_location.load(std::memory_order_relaxed); }
    void setLocation(double location);
    double length() const { return m_length.load(std::memory_order_relaxed); }
    void setLength(double length);
    bool isEnabled() const { return m_enabled.load(std::memory_order_relaxed); }
    void setEnabled(bool enabled);

    // Made on first use, of valueMapClass().
    const std::shared_ptr<VMKValueMap>& valueMap() const;

    // Whether `time` (seconds) lies in the stretch, and the value there.
    bool coversTime(double time) const;
    float valueAtTime(double time) const;

private:
    QString m_parameterKey;
    std::atomic<float> m_minimum{0.0f};
    std::atomic<float> m_maximum{1.0f};
    std::atomic<double> m_location{0.0};
    std::atomic<double> m_length{0.0};
    std::atomic<bool> m_enabled{true};
    mutable std::once_flag m_valueMapOnce;
    mutable std::shared_ptr<VMKValueMap> m_valueMap;
};

} // namespace ondrel
