#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// The playback type of a sample: "oneShot" gives "One shot", "loop" gives
// "Loop"; anything else "".
class PlaybackTypeFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
