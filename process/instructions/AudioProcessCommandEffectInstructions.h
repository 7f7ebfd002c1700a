#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"

#include <QtCore/QVariantMap>

#include <optional>

namespace ondrel {

// One effect in a chain: either a plug-in component named by its three
// four-character codes, or, when the processor class name is set, an
// instance of that processor class.
//
// The keys "className" and "classInfo" name two fields here; in C++ they are
// processorClassName() and componentClassInfo(), since Object already has
// className() and classInfo() for the record's own class.
class AudioProcessCommandEffectInstructions : public Object {
    ONDREL_OBJECT(AudioProcessCommandEffectInstructions, Object)
public:
    AudioProcessCommandEffectInstructions() = default;

    quint32 type() const { return m_type; }
    void setType(quint32 type);
    quint32 subtype() const { return m_subtype; }
    void setSubtype(quint32 subtype);
    quint32 manufacturer() const { return m_manufacturer; }
    void setManufacturer(quint32 manufacturer);

    // Key "className": a processor class to make instead of the component.
    QString processorClassName() const { return m_processorClassName; }
    void setProcessorClassName(const QString& className);

    // Parameter values by name ("Rate", "Pitch" ...).
    QVariantMap parameters() const { return m_parameters; }
    void setParameters(const QVariantMap& parameters);
    // Sets one parameter; an absent value removes it.
    void addParameterValue(const QVariant& value, const QString& key);

    // Key "classInfo": the component's saved settings. When present they are
    // applied and the parameters aren't used.
    std::optional<QVariantMap> componentClassInfo() const { return m_componentClassInfo; }
    void setComponentClassInfo(const std::optional<QVariantMap>& classInfo);

    // "{|class|:\"…\"" when the processor class name is set, otherwise
    // "{|type|:\"aufx\",|subtype|:\"…\",|manufacturer|:\"…\"" with the
    // codes as text; then ",|name|:value" for each parameter, in key order,
    // and "}". The class info isn't written, so it doesn't survive the text.
    QString scriptDescription() const override;
    // Reads an effect record: "class" to the processor class name, "type",
    // "subtype" and "manufacturer" from their four-character text, any other
    // key to the parameters. Null, with the error, for a value that isn't a
    // record (such as a bare string).
    static std::shared_ptr<AudioProcessCommandEffectInstructions> initWithScriptArguments(const QVariant& arguments,
                                                                                          VMKError* error = nullptr);

private:
    quint32 m_type = 0;
    quint32 m_subtype = 0;
    quint32 m_manufacturer = 0;
    QString m_processorClassName;
    QVariantMap m_parameters;
    std::optional<QVariantMap> m_componentClassInfo;
};

} // namespace ondrel
