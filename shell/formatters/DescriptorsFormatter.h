#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// A list of descriptors joined with ", " (elements that aren't text by their
// description); a single text stands as it is; anything else gives "".
class DescriptorsFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    // Splits at commas into a list of trimmed, non-empty texts.
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
