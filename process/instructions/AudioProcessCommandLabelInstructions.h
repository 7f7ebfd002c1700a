#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"

namespace ondrel {

// One label to write into the output: a marker, slice, region or loop at a
// place on the output's timeline.
class AudioProcessCommandLabelInstructions : public Object {
    ONDREL_OBJECT(AudioProcessCommandLabelInstructions, Object)
public:
    // The label kind, as the catalog stores it ("marker", "slice", "region", "loop").
    QString type() const { return m_type; }
    void setType(const QString& type);
    double location() const { return m_location; }  // seconds
    void setLocation(double location);
    double length() const { return m_length; }  // seconds
    void setLength(double length);

    // "{|type|:\"marker\",|location|:1.5,|length|:0}".
    QString scriptDescription() const override;
    // Reads a label record: "type" as a string, "location" and "length" as
    // doubles; other keys are ignored. Null, with the error, for a value that
    // isn't such a record.
    static std::shared_ptr<AudioProcessCommandLabelInstructions> initWithScriptArguments(const QVariant& arguments,
                                                                                         VMKError* error = nullptr);

private:
    QString m_type;
    double m_location = 0.0;
    double m_length = 0.0;
};

} // namespace ondrel
