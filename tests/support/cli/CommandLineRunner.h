#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ondrel {

// Runs the `ondrel` binary with a private home and collects what it printed.
struct CommandResult {
    int exitCode = -1;
    QString out;
    QString err;
};

CommandResult runOndrel(const QString& home, const QStringList& arguments, int timeoutMs = 60000);

} // namespace ondrel
