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

// Writes a short 16-bit sine WAV with `sox`; false when sox fails.
bool writeTone(const QString& path, int channels = 1, double seconds = 0.05);

} // namespace ondrel
