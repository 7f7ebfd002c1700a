#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel log [--issues]`: the log, oldest first: time, level, message.
class LogCommand {
public:
    static int run(const QStringList& arguments);
};

} // namespace ondrel
