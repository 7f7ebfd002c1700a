// 24-bit stereo WAVE to FLAC: a reader, a file generator and a FLAC writer on
// the engine's graph, against the reference encoder `flac -5` on the same file
// in the same run. Both run on one thread; the ratio is what matters.
#include "render/engine/files/VMKAudioFileAudioGenerator.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"
#include "render/engine/graph/VMKAudioStream.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace ondrel {

namespace {

constexpr int kSeconds = 60;
constexpr int kRuns = 3;

bool run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(600000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

bool transcodeWithGraph(const QString& input, const QString& folder) {
    VMKError error;
    auto reader = VMKAudioFileReader::initWithURL(URL::fileURLWithPath(input), &error);
    if (!reader)
        return false;
    auto stream = std::make_shared<VMKAudioStream>();
    auto generator = std::make_shared<VMKAudioFileAudioGenerator>();
    generator->setAudioFile(reader);
    auto writer = std::make_shared<VMKAudioFileWriterAudioProcessor>();
    writer->setIsRenderHead(true);
    writer->setFormat(QStringLiteral("FLAC Audio File"));
    writer->setBitDepth(24);
    writer->setRange({0.0, double(reader->frames()) / reader->sampleRate()});
    writer->setBaseDirectory(URL::fileURLWithPath(folder));
    writer->setBaseFilename(QStringLiteral("graph"));
    stream->addProcessorsObject(generator);
    stream->addProcessorsObject(writer);
    if (!stream->connectProcessor(generator.get(), writer.get(), 0, &error))
        return false;
    const bool ok = stream->initialize(&error) && stream->start(&error);
    stream->stop();
    stream->uninitialize();
    if (!ok)
        std::fprintf(stderr, "graph: %s\n", qPrintable(error.localizedDescription()));
    return ok;
}

template <class F>
double bestSeconds(F&& job) {
    double best = 1e30;
    for (int i = 0; i < kRuns; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (!job())
            return -1.0;
        best = std::min(best, double(timer.nsecsElapsed()) / 1e9);
    }
    return best;
}

} // namespace

} // namespace ondrel

using namespace ondrel;

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.wav"));
    if (!run(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("48000"), QStringLiteral("-b"),
                                     QStringLiteral("24"), QStringLiteral("-c"), QStringLiteral("2"), input,
                                     QStringLiteral("synth"), QString::number(kSeconds), QStringLiteral("pinknoise"),
                                     QStringLiteral("sine"), QStringLiteral("440"), QStringLiteral("vol"),
                                     QStringLiteral("0.5")})) {
        std::fprintf(stderr, "sox could not make the input\n");
        return 1;
    }
    const double graph = bestSeconds([&] { return transcodeWithGraph(input, dir.path()); });
    const QString reference = dir.filePath(QStringLiteral("reference.flac"));
    const double flac = bestSeconds([&] {
        return run(QStringLiteral("flac"), {QStringLiteral("-5"), QStringLiteral("-s"), QStringLiteral("-f"),
                                            QStringLiteral("-o"), reference, input});
    });
    if (graph < 0 || flac < 0) {
        std::fprintf(stderr, "a transcode failed\n");
        return 1;
    }
    const qint64 graphSize = QFileInfo(dir.filePath(QStringLiteral("graph.flac"))).size();
    const qint64 flacSize = QFileInfo(reference).size();
    std::printf("%d s of 24-bit stereo 48 kHz WAVE to FLAC, best of %d:\n", kSeconds, kRuns);
    std::printf("  engine graph  %7.3f s  (%6.1fx realtime, %lld bytes)\n", graph, kSeconds / graph, graphSize);
    std::printf("  flac -5       %7.3f s  (%6.1fx realtime, %lld bytes)\n", flac, kSeconds / flac, flacSize);
    std::printf("  ratio %.3f (goal at most 1.15)\n", graph / flac);
    return 0;
}
