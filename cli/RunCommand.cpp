#include "cli/RunCommand.h"

#include "cli/AnalysisWaiter.h"
#include "cli/InterruptPipe.h"
#include "cli/Output.h"
#include "cli/RunOptions.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/OperationQueue.h"
#include "fileprocesses/FileProcessController.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/workflow/WorkflowController.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessController.h"
#include "render/controller/AudioProcessGroup.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioFileReader.h"

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <cstdio>
#include <unistd.h>

namespace ondrel {

namespace {

using Groups = std::vector<std::shared_ptr<AudioProcessGroup>>;

constexpr int kStopped = 130;

std::vector<std::shared_ptr<AudioProcess>> processesOf(const Groups& groups) {
    std::vector<std::shared_ptr<AudioProcess>> processes;
    for (const auto& group : groups)
        for (auto& process : group->enumeratorOfAudioProcesses())
            processes.push_back(std::move(process));
    return processes;
}

// The bar of a run on standard error: renders ended of all, and the mean
// progress of those under way.
class RunProgress {
public:
    explicit RunProgress(const Groups& groups)
        : m_processes(processesOf(groups)), m_terminal(::isatty(STDERR_FILENO) == 1), m_quiet(Output::isQuiet()) {}

    void update(const QString& state) {
        if (m_quiet || !m_terminal || m_processes.empty())
            return;
        double sum = 0.0;
        size_t ended = 0;
        for (const auto& process : m_processes) {
            if (!process->isProcessing()) {
                ++ended;
                sum += 1.0;
            } else {
                sum += process->progress();
            }
        }
        const int width = 30;
        const int filled = int(sum / double(m_processes.size()) * width);
        const QString bar = QStringLiteral("\r[%1%2] %3/%4 files  %5")
                                .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('.')))
                                .arg(ended)
                                .arg(m_processes.size())
                                .arg(state);
        const QByteArray bytes = bar.toUtf8() + "\033[K";
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
        std::fflush(stderr);
    }

    void finish() {
        if (m_quiet || !m_terminal || m_processes.empty())
            return;
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }

private:
    std::vector<std::shared_ptr<AudioProcess>> m_processes;
    const bool m_terminal;
    const bool m_quiet;
};

bool isRendering(const Groups& groups) {
    for (const auto& group : groups) {
        if (group->isProcessing())
            return true;
        const auto queue = group->operationQueue();
        if (queue && queue->operationCount() > 0)
            return true;
    }
    return false;
}

// Runs the main queue until every block posted to it so far has run.
void drainMainQueue(QEventLoop& loop) {
    bool drained = false;
    dispatchMain([&drained] { drained = true; });
    while (!drained)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
}

// Runs the main queue until the renders of `groups` have ended and the file
// processes they started (on the main queue) have ended too. Answers false
// when the run was stopped by Ctrl-C.
bool waitForRun(const Groups& groups, InterruptPipe& interrupts) {
    RunProgress progress(groups);
    QEventLoop loop;
    bool interrupted = false;
    const auto notifier = interrupts.notifyOnInterrupt([&] {
        if (interrupted)
            return;
        interrupted = true;
        if (!Output::isQuiet())
            Output::status(QStringLiteral("\nstopping (Ctrl-C again ends at once)…"));
        for (const auto& group : groups)
            group->stop();
    });
    const auto files = FileProcessController::sharedInstance();
    auto done = [&] { return !isRendering(groups) && !files->isProcessing(); };
    QTimer timer;
    timer.setInterval(100);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        progress.update(interrupted ? QStringLiteral("stopping") : QStringLiteral("rendering"));
        if (done())
            loop.quit();
    });
    timer.start();
    // The end of a group hands its file processes to the main queue: the
    // run is over when, after that queue has drained, nothing runs.
    for (;;) {
        if (!done())
            loop.exec();
        drainMainQueue(loop);
        if (done())
            break;
    }
    timer.stop();
    progress.finish();
    return !interrupted;
}

// The finished file still waiting for the swap of a stopped run at `url`,
// or the empty URL.
URL waitingForSwap(const AudioProcessGroup& group, const URL& url) {
    for (const QVariantMap& instructions : group.replaceInstructions())
        if (instructions.value(QStringLiteral("destinationURL")).value<URL>() == url)
            return instructions.value(QStringLiteral("resultURL")).value<URL>();
    return URL();
}

QVariantMap describeResult(const AudioProcessGroup& group, const AudioProcess& process) {
    const bool rehearse = group.isRehearse();
    QVariantMap result{{QStringLiteral("source"), process.sourceName()}};
    if (process.hasError()) {
        result.insert(QStringLiteral("error"), process.errorDescription());
        return result;
    }
    const URL url = process.resultURL();
    if (url.isEmpty()) {
        result.insert(QStringLiteral("error"), QStringLiteral("not rendered: the run was stopped"));
        return result;
    }
    if (rehearse) {
        result.insert(QStringLiteral("result"), url.path());
        return result;
    }
    // A result that replaces its original is put in place by the swap at the
    // end of the run, which a stop cancels: the original is still there.
    if (const URL kept = waitingForSwap(group, url); !kept.isEmpty()) {
        result.insert(QStringLiteral("error"),
                      QStringLiteral("the run was stopped before the result replaced %1; the finished file is kept at %2")
                          .arg(url.path(), kept.path()));
        return result;
    }
    // When the swap failed (logged), the finished file is not there.
    if (!url.existsAsFile()) {
        result.insert(QStringLiteral("error"),
                      QStringLiteral("the result could not be put at %1 (see 'ondrel log --issues')").arg(url.path()));
        return result;
    }
    result.insert(QStringLiteral("result"), url.path());
    if (const auto reader = VMKAudioFileReader::initWithURL(url)) {
        const VMKAudioFileFacts& facts = reader->facts();
        result.insert(QStringLiteral("format"), facts.format ? facts.format->name : QString());
        result.insert(QStringLiteral("channels"), facts.numberOfChannels);
        result.insert(QStringLiteral("sampleRate"), facts.sampleRate);
        result.insert(QStringLiteral("bitDepth"), facts.bitDepth);
        result.insert(QStringLiteral("length"), facts.sampleRate > 0 ? double(facts.frames) / facts.sampleRate : 0.0);
    }
    return result;
}

QString resultLine(const QVariantMap& result, bool rehearse) {
    const QString source = Output::oneLine(result.value(QStringLiteral("source")).toString());
    if (result.contains(QStringLiteral("error")))
        return QStringLiteral("failed   %1: %2").arg(source, Output::oneLine(result.value(QStringLiteral("error")).toString()));
    const QString path = Output::oneLine(result.value(QStringLiteral("result")).toString());
    if (rehearse)
        return QStringLiteral("would write  %1").arg(path);
    if (!result.contains(QStringLiteral("format")))
        return QStringLiteral("wrote    %1").arg(path);
    const int bits = result.value(QStringLiteral("bitDepth")).toInt();
    return QStringLiteral("wrote    %1  (%2, %3 ch, %4 Hz%5, %6 s)")
        .arg(path, result.value(QStringLiteral("format")).toString())
        .arg(result.value(QStringLiteral("channels")).toInt())
        .arg(result.value(QStringLiteral("sampleRate")).toDouble())
        .arg(bits > 0 ? QStringLiteral(", %1-bit").arg(bits) : QString())
        .arg(result.value(QStringLiteral("length")).toDouble(), 0, 'f', 3);
}

} // namespace

int RunCommand::run(const QStringList& arguments) {
    RunOptions options;
    if (!RunOptions::read(QStringLiteral("run"), arguments, &options))
        return Output::WrongUsage;
    // A file under analysis would be skipped by its render: the analyses
    // that the start found needed (changed files) end first.
    if (!AnalysisWaiter::waitForAnalyses())
        return kStopped;
    const auto entities = options.entities();
    if (entities.empty()) {
        Output::line(options.selected ? QStringLiteral("nothing to run: no file is selected")
                                      : QStringLiteral("nothing to run: the catalog has no files"));
        return Output::Done;
    }
    return runWorkflow(entities, options.rehearse);
}

int RunCommand::runWorkflow(const std::vector<std::shared_ptr<FileEntity>>& entities, bool rehearse) {
    const auto commandGroups = WorkflowController::sharedInstance()->commandGroups(entities, rehearse);
    const auto controller = AudioProcessController::sharedInstance();
    // Ctrl-C is caught from before the first render starts.
    InterruptPipe interrupts;
    Groups groups;
    for (const auto& commandGroup : commandGroups) {
        const qsizetype before = controller->countOfAudioProcessGroups();
        controller->executeAudioProcessCommandGroup(commandGroup);
        for (qsizetype i = before; i < controller->countOfAudioProcessGroups(); ++i)
            if (auto group = controller->objectInAudioProcessGroupsAtIndex(i))
                groups.push_back(std::move(group));
    }
    const bool finished = waitForRun(groups, interrupts);

    QVariantList results;
    bool failed = false;
    for (const auto& group : groups) {
        for (const auto& process : group->enumeratorOfAudioProcesses()) {
            const QVariantMap result = describeResult(*group, *process);
            failed = failed || result.contains(QStringLiteral("error"));
            results << result;
            if (!Output::isJson())
                Output::line(resultLine(result, group->isRehearse()));
        }
    }
    if (Output::isJson())
        Output::printJson(QVariantMap{{QStringLiteral("results"), results}, {QStringLiteral("stopped"), !finished}});
    else if (results.isEmpty())
        Output::line(QStringLiteral("nothing was rendered"));
    if (!finished) {
        Output::error(QStringLiteral("stopped: renders under way were cancelled and their files removed"));
        return kStopped;
    }
    return failed ? int(Output::SomeItemFailed) : int(Output::Done);
}

} // namespace ondrel
