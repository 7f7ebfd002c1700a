#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// A size in bytes for people, in decimal units: "Zero KB", "1 byte",
// "512 bytes", "12 KB", "1.2 MB", "3.46 GB". Kilobytes show no decimals,
// megabytes one, larger units two; trailing zeros are dropped, and a value
// that rounds up to 1000 of a unit shows in the next one. A value that isn't
// a number gives "".
class ByteCountFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    std::shared_ptr<Formatter> copy() const override;

    static QString stringFromByteCount(double bytes);
};

} // namespace ondrel
