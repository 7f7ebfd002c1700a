#include "cli/CommandLine.h"

#include "cli/DefaultsCommand.h"
#include "cli/InfoCommand.h"
#include "cli/LogCommand.h"
#include "cli/Output.h"
#include "cli/WorkflowCommand.h"
#include "actions/ActionClasses.h"
#include "render/engine/EngineClasses.h"
#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/files/URL.h"
#include "logging/LogController.h"
#include "process/workflow/WorkflowController.h"
#include "process/application/ApplicationDelegate.h"
#include "process/application/EventLoopApplication.h"
#include "process/application/QuitWhenDoneTerminationPrompt.h"
#include "process/interfaces/ProcessInterfaces.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ondrel {

namespace {

QString helpText() {
    return QStringLiteral(
               "Ondrel %1, batch audio processing.\n"
               "\n"
               "usage: ondrel [--home DIR] [--json] [--quiet] COMMAND [ARGS]\n"
               "\n"
               "options:\n"
               "  --home DIR     keep the catalog, histories, log, libraries, defaults and the\n"
               "                 default output folder under DIR (the same as ONDREL_HOME=DIR)\n"
               "  --json         print machine-readable JSON instead of text\n"
               "  --quiet        no progress and no per-item lines\n"
               "  --version      the version\n"
               "  --help         this text\n"
               "\n"
               "commands:\n")
               .arg(QStringLiteral(ONDREL_VERSION)) +
           DefaultsCommand::help() + InfoCommand::help() + LogCommand::help() + WorkflowCommand::help() +
           QStringLiteral(
               "\n"
               "exit status: 0 done; 1 done, but some item failed; 2 wrong usage;\n"
               "3 the catalog or a file could not be opened.\n");
}

int runCommand(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ondrel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ONDREL_VERSION));

    QStringList arguments = QCoreApplication::arguments().mid(1);
    while (!arguments.isEmpty() && arguments.first().startsWith(QLatin1String("--"))) {
        const QString option = arguments.takeFirst();
        if (option == QLatin1String("--help")) {
            Output::line(helpText().chopped(1));
            return Output::Done;
        }
        if (option == QLatin1String("--version")) {
            Output::line(QStringLiteral("ondrel ") + QStringLiteral(ONDREL_VERSION));
            return Output::Done;
        }
        if (option == QLatin1String("--json")) {
            Output::setJson(true);
        } else if (option == QLatin1String("--quiet")) {
            Output::setQuiet(true);
        } else if (option == QLatin1String("--home") || option.startsWith(QLatin1String("--home="))) {
            QString home;
            if (option == QLatin1String("--home")) {
                if (arguments.isEmpty())
                    return Output::usage(QStringLiteral("--home needs a folder"));
                home = arguments.takeFirst();
            } else {
                home = option.mid(7);
            }
            if (home.isEmpty())
                return Output::usage(QStringLiteral("--home needs a folder"));
            qputenv("ONDREL_HOME", QDir(home).absolutePath().toUtf8());
        } else {
            return Output::usage(QStringLiteral("unknown option '%1'").arg(option));
        }
    }

    if (arguments.isEmpty()) {
        Output::line(helpText().chopped(1));
        return Output::Done;
    }

    // Every class is findable by name before anything stored is read.
    registerActionClasses();
    registerEngineClasses();

    // Every command needs a writable home.
    VMKError error;
    if (URL::supportDirectory(&error).isEmpty()) {
        Output::error(error.localizedDescription());
        return Output::CannotOpen;
    }

    // Nobody is there to answer a quit during work: it waits for the work,
    // then ends the event loop of a command that runs one.
    ProcessInterfaces::setTerminationPrompt(std::make_shared<QuitWhenDoneTerminationPrompt>());
    // Its loop's end is where the command ends: nothing more to stop.
    auto terminable = std::make_shared<EventLoopApplication>([] {});
    ProcessInterfaces::setApplication(terminable);

    // The same start as the desktop program's, without windows.
    auto delegate = std::make_shared<ApplicationDelegate>();
    delegate->applicationWillFinishLaunching();
    // The controllers whose panes the desktop program shows at launch; they
    // register their default tables as they come up.
    LogController::sharedInstance();
    WorkflowController::sharedInstance();

    const QString command = arguments.takeFirst();
    int status;
    if (command == QLatin1String("defaults")) {
        status = DefaultsCommand::run(arguments);
    } else if (command == QLatin1String("info")) {
        status = InfoCommand::run(arguments);
    } else if (command == QLatin1String("log")) {
        status = LogCommand::run(arguments);
    } else if (command == QLatin1String("workflow")) {
        status = WorkflowCommand::run(arguments);
    } else if (command == QLatin1String("help")) {
        Output::line(helpText().chopped(1));
        status = Output::Done;
    } else {
        return Output::usage(QStringLiteral("unknown command '%1'").arg(command));
    }
    // Quit as the desktop program does, through the application object that
    // the delegate replies to: the delegate writes the current workflow and,
    // with work still running, the quit waits for it to end; then the
    // controllers write what they hold.
    terminable->terminateAndWait(delegate);
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    return status;
}

} // namespace

int CommandLine::run(int argc, char** argv) {
    const int status = runCommand(argc, argv);
    // Standard output is buffered: a full disk or a closed file shows here.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        Output::error(QStringLiteral("the output could not be written: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
        return Output::CannotOpen;
    }
    return status;
}

} // namespace ondrel
