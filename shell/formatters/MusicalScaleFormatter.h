#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// A musical scale ("minor", "harmonic minor") with each word capitalized
// ("Harmonic Minor"): its first letter upper case, the rest lower case.
// A value that isn't text gives "".
class MusicalScaleFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    // Reads the text back in lower case.
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
