#pragma once

#include "core/objects/Object.h"

#include <QtCore/QString>

#include <memory>

namespace ondrel {

// A label of an audio file: a marker or slice (a point), a region or a loop
// (a stretch), with an optional name. Times are seconds from the start of the
// file. Keys: "type", "location", "length", "name" (writable), "start", "end".
class VMKAudioLabel : public Object {
    ONDREL_OBJECT(VMKAudioLabel, Object)

public:
    static const QString marker;  // "marker"
    static const QString slice;   // "slice"
    static const QString region;  // "region"
    static const QString loop;    // "loop"

    VMKAudioLabel();
    ~VMKAudioLabel() override;

    // A new label of `type`, made as an instance of `labelClass` (this class
    // by default), so that a subclass's own factory makes labels of its kind:
    //   static std::shared_ptr<Label> labelOfType(const QString& type) {
    //       return std::static_pointer_cast<Label>(VMKAudioLabel::labelOfType(type, staticClassInfo()));
    //   }
    static std::shared_ptr<VMKAudioLabel> labelOfType(const QString& type,
                                                      const ClassInfo& labelClass = staticClassInfo());

    const QString& type() const { return m_type; }
    double location() const { return m_location; }
    void setLocation(double location);
    double length() const { return m_length; }
    void setLength(double length);
    const QString& name() const { return m_name; }
    void setName(const QString& name);
    double start() const { return m_location; }
    double end() const { return m_location + m_length; }
    // A new label of the same class with the same values.
    std::shared_ptr<VMKAudioLabel> copy() const;
    bool isEqual(const Object& other) const override;
    QString description() const override;

protected:
    // Subclasses that add fields copy them here (calling the base).
    virtual void copyValuesTo(VMKAudioLabel& other) const;

private:
    QString m_type;
    double m_location = 0.0;
    double m_length = 0.0;
    QString m_name;
};

} // namespace ondrel
