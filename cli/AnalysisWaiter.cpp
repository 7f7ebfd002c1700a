#include "cli/AnalysisWaiter.h"

#include "cli/InterruptPipe.h"
#include "cli/Output.h"
#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessController.h"

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <unistd.h>

namespace ondrel {

namespace {

const QString AnalysisClassName = QStringLiteral("AnalysisFileProcess");

std::vector<std::shared_ptr<FileProcess>> analysesUnderWay() {
    std::vector<std::shared_ptr<FileProcess>> found;
    for (auto& process : FileProcessController::sharedInstance()->fileProcesses())
        if (process->fileProcessClassName() == AnalysisClassName && process->isProcessing())
            found.push_back(std::move(process));
    return found;
}

// "[#####.....] 12/20 files  Analyzing 12 files" over every analysis under way.
void showProgress(const std::vector<std::shared_ptr<FileProcess>>& analyses) {
    double done = 0.0;
    quint64 count = 0;
    QString description;
    for (const auto& process : analyses) {
        const double progress = process->progress();
        const quint64 items = process->countOfItems();
        if (progress == progress)  // not a number before the first file starts
            done += std::clamp(progress, 0.0, 1.0) * double(items);
        count += items;
        description = process->progressDescription();
    }
    const int width = 30;
    const int filled = count == 0 ? 0 : int(done * width / double(count));
    const QByteArray bar = QStringLiteral("\r[%1%2] %3/%4 files  %5")
                               .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('.')))
                               .arg(quint64(done))
                               .arg(count)
                               .arg(description)
                               .toUtf8() +
                           "\033[K";
    std::fwrite(bar.constData(), 1, size_t(bar.size()), stderr);
    std::fflush(stderr);
}

} // namespace

void AnalysisWaiter::stopAnalyses() {
    for (const auto& process : analysesUnderWay())
        process->stop();
}

bool AnalysisWaiter::isAnalyzing() { return !analysesUnderWay().empty(); }

bool AnalysisWaiter::waitForAnalyses() {
    if (!isAnalyzing())
        return true;
    const bool showsBar = !Output::isQuiet() && ::isatty(STDERR_FILENO) == 1;
    InterruptPipe interrupts;
    bool stopped = false;
    QEventLoop loop;
    const auto notifier = interrupts.notifyOnInterrupt([&] {
        if (stopped)
            return;
        stopped = true;
        if (!Output::isQuiet())
            Output::status(QStringLiteral("\nstopping the analysis…"));
        stopAnalyses();
    });
    QTimer timer;
    timer.setInterval(100);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const auto analyses = analysesUnderWay();
        if (analyses.empty()) {
            loop.quit();
            return;
        }
        if (showsBar)
            showProgress(analyses);
    });
    timer.start();
    loop.exec();
    if (showsBar) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }
    return !stopped;
}

} // namespace ondrel
