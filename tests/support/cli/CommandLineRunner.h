#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace ondrel {

// Runs the `ondrel` binary with a private home and collects what it printed.
struct CommandResult {
    int exitCode = -1;
    QString out;
    QString err;
};

CommandResult runOndrel(const QString& home, const QStringList& arguments, int timeoutMs = 60000);

// Starts `ondrel` with a private home and returns at once (for tests that end it themselves).
std::unique_ptr<QProcess> startOndrel(const QString& home, const QStringList& arguments);

// Runs any program (sox, ffprobe, flac) and collects what it printed.
CommandResult runTool(const QString& program, const QStringList& arguments, int timeoutMs = 120000);

// Writes a short 16-bit sine WAV with `sox`; false when sox fails.
bool writeTone(const QString& path, int channels = 1, double seconds = 0.05);

// Writes a sine (half scale, 440 Hz) of exactly round(seconds x rate) frames with `sox`, in the format
// of the extension (WAV, FLAC, ...).
bool makeWav(const QString& path, double seconds, int rate = 48000, int bits = 16, int channels = 2);

// Makes the current workflow of `home` the given actions (each `CLASS KEY=VALUE...`) with the save
// options (`KEY=VALUE...`), then runs `ondrel run` with `runArguments`. A failed edit comes back as
// its own result.
CommandResult runWorkflow(const QString& home, const QList<QStringList>& actions, const QStringList& saveOptions,
                          const QStringList& runArguments = {});

// What `sox --i` tells of a file; channels 0 when sox can't read it.
struct SoxInfo {
    int channels = 0;
    double sampleRate = 0.0;
    int precision = 0;
    qint64 frames = -1;
    QString encoding;
};
SoxInfo soxInfo(const QString& path);

// The first value that `ffprobe` shows for `entries` (e.g. "format_tags=title:stream_tags=title").
QString ffprobeValue(const QString& path, const QString& entries);

// The samples of a file as sox decodes them (`type` tells it the format of a headerless file), or
// FFmpeg where sox can't, interleaved floats; empty when both fail.
std::vector<float> samplesOf(const QString& path, const QStringList& type = {});

// A digest of a file's bytes; empty when it can't be read.
QByteArray fileHash(const QString& path);

// The names in `folder`, hidden ones too, sorted.
QStringList namesIn(const QString& folder);

} // namespace ondrel
