#include "cli/AddCommand.h"

#include "catalog/adding/AddFilesFileProcess.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/entities/GroupEntity.h"
#include "cli/AnalysisWaiter.h"
#include "cli/CatalogCommand.h"
#include "cli/InterruptPipe.h"
#include "cli/Output.h"
#include "core/dispatch/DispatchQueue.h"
#include "fileprocesses/FileProcessController.h"

#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace ondrel {

namespace {

// The progress of one add on standard error.
class ProgressShower {
public:
    explicit ProgressShower(const AddFilesFileProcess& process)
        : m_process(process), m_terminal(::isatty(STDERR_FILENO) == 1), m_quiet(Output::isQuiet()) {}

    void update() {
        if (m_quiet)
            return;
        if (m_terminal) {
            const quint64 count = m_process.fileCount();
            const quint64 done = std::min(m_process.progressCount(), count);
            const int width = 30;
            const int filled = count == 0 ? 0 : int(done * width / count);
            const QString bar = QStringLiteral("\r[%1%2] %3/%4 files  %5")
                                    .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('.')))
                                    .arg(done)
                                    .arg(count)
                                    .arg(m_process.progressDescription());
            const QByteArray bytes = bar.toUtf8() + "\033[K";
            std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
            std::fflush(stderr);
            return;
        }
        const AddFilesFileProcess::Outcome outcome = m_process.outcome();
        printNew(outcome.added, m_added, QStringLiteral("added"));
        printNew(outcome.skipped, m_skipped, QStringLiteral("skipped"));
        printNew(outcome.refused, m_refused, QStringLiteral("refused"));
    }

    void finish() {
        if (m_quiet || !m_terminal)
            return;
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }

private:
    static void printNew(const QStringList& items, qsizetype& shown, const QString& what) {
        for (; shown < items.size(); ++shown)
            Output::status(what + QLatin1Char(' ') + Output::oneLine(items[shown]));
    }

    const AddFilesFileProcess& m_process;
    const bool m_terminal;
    const bool m_quiet;
    qsizetype m_added = 0;
    qsizetype m_skipped = 0;
    qsizetype m_refused = 0;
};

// Runs the main queue until the process has ended and the work it handed
// to the main queue (the insertion of what it made) has run.
void waitForProcess(AddFilesFileProcess& process, const std::function<void()>& onInterrupt) {
    InterruptPipe interrupts;
    ProgressShower progress(process);
    QEventLoop loop;
    const auto notifier = interrupts.notifyOnInterrupt(onInterrupt);
    QTimer timer;
    timer.setInterval(100);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        progress.update();
        if (!process.isProcessing())
            loop.quit();
    });
    timer.start();
    if (process.isProcessing())
        loop.exec();
    timer.stop();
    // The process hands its insertion to the main queue before it stops
    // processing: a block posted now runs after it.
    bool inserted = false;
    dispatchMain([&inserted] { inserted = true; });
    while (!inserted)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    progress.update();
    progress.finish();
}

} // namespace

int AddCommand::run(const QStringList& arguments) {
    QStringList paths;
    QString groupName;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--group")) {
            if (++i == arguments.size())
                return Output::usage(QStringLiteral("--group needs a group ID or folder"));
            groupName = arguments[i];
        } else if (arguments[i].startsWith(QLatin1String("--group="))) {
            groupName = arguments[i].mid(8);
        } else if (arguments[i] == QLatin1String("--")) {
            paths << arguments.mid(i + 1);
            break;
        } else if (arguments[i].startsWith(QLatin1String("--"))) {
            return Output::usage(QStringLiteral("add takes only --group, not '%1'").arg(arguments[i]));
        } else {
            paths << arguments[i];
        }
    }
    if (paths.isEmpty())
        return Output::usage(QStringLiteral("add needs the files or folders to add"));
    std::shared_ptr<GroupEntity> group;
    if (!groupName.isNull()) {
        std::vector<std::shared_ptr<Entity>> found;
        if (!CatalogCommand::entitiesNamed({groupName}, found))
            return Output::WrongUsage;
        group = std::dynamic_pointer_cast<GroupEntity>(found.front());
        if (!group)
            return Output::usage(QStringLiteral("'%1' is a file, not a group").arg(groupName));
    }

    QVariantList items;
    for (const QString& path : paths)
        items << QVariant::fromValue(URL::fileURLWithPath(QDir::cleanPath(QDir::current().absoluteFilePath(path))));
    auto command = std::make_shared<AddFilesFileProcessCommand>();
    command->setItems(items);
    command->setGroup(group);
    auto process = std::dynamic_pointer_cast<AddFilesFileProcess>(
        FileProcessController::sharedInstance()->executeFileProcessCommand(command));
    if (!process) {
        Output::error(QStringLiteral("files can't be added: this build has no way to add them"));
        return Output::CannotOpen;
    }

    bool interrupted = false;
    waitForProcess(*process, [&] {
        if (interrupted)
            return;
        interrupted = true;
        if (!Output::isQuiet())
            Output::status(QStringLiteral("\nstopping (Ctrl-C again ends at once)…"));
        process->stop();
    });

    // The new files went to analysis as they went in: their measures are
    // part of adding them. After a Ctrl-C the analyses stop at once.
    if (interrupted)
        AnalysisWaiter::stopAnalyses();
    const bool analysisStopped = !AnalysisWaiter::waitForAnalyses() || interrupted;

    const AddFilesFileProcess::Outcome outcome = process->outcome();
    // A stop that came after the walk had finished keeps what was made: it
    // went in, and is reported (the measuring of it was stopped).
    if (interrupted && outcome.added.isEmpty()) {
        Output::error(QStringLiteral("stopped: nothing was added"));
        return Stopped;
    }
    if (Output::isJson()) {
        Output::printJson(QVariantMap{{QStringLiteral("added"), outcome.added},
                                      {QStringLiteral("skipped"), outcome.skipped},
                                      {QStringLiteral("refused"), outcome.refused},
                                      {QStringLiteral("analysisStopped"), analysisStopped}});
    } else {
        if (!Output::isQuiet()) {
            for (const QString& path : outcome.added)
                Output::line(QStringLiteral("added    ") + Output::oneLine(path));
            for (const QString& path : outcome.skipped)
                Output::line(QStringLiteral("skipped  ") + Output::oneLine(path) + QStringLiteral(" (already in the catalog)"));
        }
        for (const QString& refusal : outcome.refused)
            Output::line(QStringLiteral("refused  ") + Output::oneLine(refusal));
        Output::line(QStringLiteral("%1 added, %2 skipped, %3 refused")
                         .arg(outcome.added.size())
                         .arg(outcome.skipped.size())
                         .arg(outcome.refused.size()));
        if (analysisStopped && !outcome.added.isEmpty())
            Output::line(QStringLiteral("analysis stopped: files not yet measured are measured by 'ondrel analyze'"));
    }
    if (analysisStopped)
        return Stopped;
    return outcome.refused.isEmpty() ? int(Output::Done) : int(Output::SomeItemFailed);
}

} // namespace ondrel
