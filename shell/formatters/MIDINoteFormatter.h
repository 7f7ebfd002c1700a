#pragma once

#include "core/text/VMKMIDINoteFormatter.h"
#include "shell/formatters/Formatter.h"

namespace ondrel {

// The formatter of the note keys (base, low and high note): MIDI note
// numbers from 0 to 127 as names, by VMKMIDINoteFormatter.
class MIDINoteFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;

private:
    VMKMIDINoteFormatter m_formatter;
};

} // namespace ondrel
