#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// A detected semitone (a MIDI note number) as its name, "C3" for 60. Only
// 1 to 127 have names: 0 means nothing was detected, and it, like any other
// value, gives "".
class SemitoneFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
