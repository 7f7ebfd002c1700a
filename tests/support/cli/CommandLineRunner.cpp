#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstring>

namespace ondrel {

#ifndef ONDREL_CLI_PATH
#define ONDREL_CLI_PATH "ondrel"
#endif

namespace {

QStringList withHome(const QString& home, const QStringList& arguments) {
    QStringList all;
    if (!home.isEmpty())
        all << QStringLiteral("--home") << home;
    return all << arguments;
}

} // namespace

CommandResult runTool(const QString& program, const QStringList& arguments, int timeoutMs) {
    QProcess process;
    process.start(program, arguments);
    CommandResult result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.err = QStringLiteral("timed out");
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

CommandResult runOndrel(const QString& home, const QStringList& arguments, int timeoutMs) {
    return runTool(QStringLiteral(ONDREL_CLI_PATH), withHome(home, arguments), timeoutMs);
}

std::unique_ptr<QProcess> startOndrel(const QString& home, const QStringList& arguments) {
    auto process = std::make_unique<QProcess>();
    process->start(QStringLiteral(ONDREL_CLI_PATH), withHome(home, arguments));
    process->waitForStarted();
    return process;
}

bool writeTone(const QString& path, int channels, double seconds) {
    return runTool(QStringLiteral("sox"), {"-n", "-r", "48000", "-b", "16", "-c", QString::number(channels), path, "synth",
                                           QString::number(seconds), "sine", "440"})
               .exitCode == 0;
}

bool makeWav(const QString& path, double seconds, int rate, int bits, int channels) {
    const QString frames = QStringLiteral("%1s").arg(qRound64(seconds * rate));
    return runTool(QStringLiteral("sox"), {"-n", "-r", QString::number(rate), "-b", QString::number(bits), "-c",
                                           QString::number(channels), path, "synth", frames, "sine", "440", "vol", "0.5"})
               .exitCode == 0;
}

CommandResult runWorkflow(const QString& home, const QList<QStringList>& actions, const QStringList& saveOptions,
                          const QStringList& runArguments) {
    QList<QStringList> edits{{"workflow", "clear"}};
    for (const QStringList& action : actions)
        edits << QStringList{"workflow", "add"} + action;
    edits << QStringList{"workflow", "save-options"} + saveOptions;
    for (const QStringList& edit : edits) {
        CommandResult result = runOndrel(home, edit);
        if (result.exitCode != 0) {
            result.err.prepend(edit.join(' ') + QStringLiteral(": "));
            return result;
        }
    }
    return runOndrel(home, QStringList{"run"} + runArguments, 300000);
}

SoxInfo soxInfo(const QString& path) {
    SoxInfo info;
    const CommandResult result = runTool(QStringLiteral("sox"), {"--i", path});
    if (result.exitCode != 0)
        return info;
    for (const QString& line : result.out.split('\n')) {
        const QString key = line.section(':', 0, 0).trimmed();
        const QString value = line.section(':', 1, -1).trimmed();
        if (key == QLatin1String("Channels"))
            info.channels = value.toInt();
        else if (key == QLatin1String("Sample Rate"))
            info.sampleRate = value.toDouble();
        else if (key == QLatin1String("Precision"))
            info.precision = value.section('-', 0, 0).toInt();
        else if (key == QLatin1String("Duration"))
            info.frames = value.section('=', 1).section(' ', 1, 1).toLongLong();
        else if (key == QLatin1String("Sample Encoding"))
            info.encoding = value;
    }
    return info;
}

QString ffprobeValue(const QString& path, const QString& entries) {
    const QString out = runTool(QStringLiteral("ffprobe"), {"-v", "error", "-show_entries", entries, "-of",
                                                            "default=noprint_wrappers=1:nokey=1", path})
                            .out;
    for (const QString& line : out.split('\n'))
        if (!line.trimmed().isEmpty())
            return line.trimmed();
    return {};
}

std::vector<float> samplesOf(const QString& path, const QStringList& type) {
    QProcess decoder;
    decoder.start(QStringLiteral("sox"), type + QStringList{path, "-t", "f32", "-"});
    if (!decoder.waitForFinished(120000) || decoder.exitStatus() != QProcess::NormalExit || decoder.exitCode() != 0) {
        // sox reads no MP4 and no AAC in CAF
        decoder.start(QStringLiteral("ffmpeg"), {"-v", "error", "-i", path, "-f", "f32le", "-"});
        if (!decoder.waitForFinished(120000) || decoder.exitStatus() != QProcess::NormalExit || decoder.exitCode() != 0)
            return {};
    }
    const QByteArray bytes = decoder.readAllStandardOutput();
    std::vector<float> samples(size_t(bytes.size()) / sizeof(float));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(float));
    return samples;
}

QByteArray fileHash(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(&file);
    return hash.result();
}

QStringList namesIn(const QString& folder) {
    return QDir(folder).entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

} // namespace ondrel
