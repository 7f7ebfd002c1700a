#pragma once

#include "shell/formatters/Formatter.h"

namespace ondrel {

// Instruments are stored as paths of a category and a name ("Keys>Piano");
// shows the text after the last ">", the whole text when it has none, and ""
// for a value that isn't text.
class InstrumentFormatter : public Formatter {
public:
    QString stringForObjectValue(const QVariant& value) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
