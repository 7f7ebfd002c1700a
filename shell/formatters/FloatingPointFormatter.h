#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// Whether samples are floating point: true gives "Floating point", false
// "Integer" (numbers count as true when not 0); anything else gives "".
class FloatingPointFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
