#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// True peak levels in dB as "-0.31 dBTP". The largest 32-bit float
// (3.4028235e38), which marks a file whose true peak wasn't measured, gives
// "", as does a value that isn't a number; not-a-number and infinities give
// "-∞ dBTP".
class TruePeakFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
