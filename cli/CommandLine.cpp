#include "cli/CommandLine.h"

#include "analysis/AnalysisClasses.h"
#include "catalog/CatalogClasses.h"
#include "catalog/controller/CatalogFileEntitySource.h"
#include "catalog/controller/EntityController.h"
#include "actions/compiler/AudioProcessCommandGroupCompiler.h"
#include "cli/ActionsCommand.h"
#include "cli/AddCommand.h"
#include "cli/AnalyzeCommand.h"
#include "cli/CatalogCommand.h"
#include "cli/Command.h"
#include "cli/CompileCommand.h"
#include "cli/DefaultsCommand.h"
#include "cli/DetectCommand.h"
#include "cli/FileProcessControllerSource.h"
#include "cli/HistoryCommand.h"
#include "cli/InfoCommand.h"
#include "cli/LogCommand.h"
#include "cli/Output.h"
#include "cli/PrintingUserNotifier.h"
#include "cli/ProcessCommand.h"
#include "cli/RunCommand.h"
#include "cli/WorkflowCommand.h"
#include "actions/ActionClasses.h"
#include "render/engine/EngineClasses.h"
#include "render/RenderClasses.h"
#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/files/URL.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "fileprocesses/FileProcessController.h"
#include "fileprocesses/notifications/UserNotificationCenter.h"
#include "logging/LogController.h"
#include "process/workflow/WorkflowController.h"
#include "process/application/ApplicationDelegate.h"
#include "process/application/EventLoopApplication.h"
#include "process/application/QuitWhenDoneTerminationPrompt.h"
#include "process/interfaces/ProcessInterfaces.h"
#include "render/controller/AudioProcessController.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ondrel {

namespace {

using Access = Command::Access;

QString helpText();

// Every command, in the order the help lists them. A new command is one
// more entry here.
const std::vector<Command>& commands() {
    static const std::vector<Command> table = {
        {QStringLiteral("add"), QStringLiteral("PATH... [--group ID]"),
         {QStringLiteral("adds files and folders (folders become groups,"),
          QStringLiteral("split files one entity) and waits for them to be measured")},
         &AddCommand::run, Access::WritesOwnFiles, true},
        {QStringLiteral("list"), QStringLiteral("[--tree]"),
         {QStringLiteral("the catalog: ID, kind, name, files, format facts,"),
          QStringLiteral("peak, loudness and true peak")}, &CatalogCommand::list, Access::ReadOnly, true},
        {QStringLiteral("show"), QStringLiteral("ID|PATH"),
         {QStringLiteral("every value the catalog holds of one entity")}, &CatalogCommand::show, Access::ReadOnly, true},
        {QStringLiteral("analyze"), QStringLiteral("ID|PATH..."),
         {QStringLiteral("measures files again (a group: every file beneath)"),
          QStringLiteral("and prints their peak, loudness and true peak")},
         &AnalyzeCommand::run, Access::WritesOwnFiles, true},
        {QStringLiteral("detect"), QStringLiteral("tempo|zero-crossings|thresholds|beats ID|PATH"),
         {QStringLiteral("[--from S] [--to S] [--threshold DB] [--sensitivity 0..1]"),
          QStringLiteral("[--method magnitude|energy|energyBands]: the file's"),
          QStringLiteral("tempo, or the times found, one per line")},
         &DetectCommand::run, Access::ReadOnly, true},
        {QStringLiteral("remove"), QStringLiteral("ID|PATH..."),
         {QStringLiteral("removes entities from the catalog; the files stay")},
         &CatalogCommand::remove, Access::WritesOwnFiles, true},
        {QStringLiteral("group create"), QStringLiteral("NAME [--in ID]"), {QStringLiteral("makes a group (prints its ID)")},
         &CatalogCommand::groupCreate, Access::WritesOwnFiles, true},
        {QStringLiteral("group rename"), QStringLiteral("ID NAME"), {QStringLiteral("renames a group")},
         &CatalogCommand::groupRename, Access::WritesOwnFiles, true},
        {QStringLiteral("group disconnect"), QStringLiteral("ID"),
         {QStringLiteral("a group that follows a folder keeps its files and"), QStringLiteral("name but no longer follows it")},
         &CatalogCommand::groupDisconnect, Access::WritesOwnFiles, true},
        {QStringLiteral("move"), QStringLiteral("ID... --to ID"), {QStringLiteral("moves entities into a group")},
         &CatalogCommand::move, Access::WritesOwnFiles, true},
        {QStringLiteral("select"), QStringLiteral("[ID|PATH...]"),
         {QStringLiteral("sets the selection that --selected runs use"), QStringLiteral("(none clears it)")},
         &CatalogCommand::select, Access::WritesOwnFiles, true},
        {QStringLiteral("history"), QString(),
         {QStringLiteral("runs (name, dates, renders, errors, unfinished), then"),
          QStringLiteral("file processes (class, items, start, end, state)")}, &HistoryCommand::run, Access::ReadOnly},
        {QStringLiteral("defaults read"), QStringLiteral("[KEY]"),
         {QStringLiteral("the stored user defaults, or one of them")}, &DefaultsCommand::read, Access::ReadOnly},
        {QStringLiteral("defaults write"), QStringLiteral("KEY [TYPE] VALUE"),
         {QStringLiteral("stores a default; VALUE is read as a boolean"),
          QStringLiteral("(true/false/on/off), number, JSON list or"),
          QStringLiteral("dictionary, or text; TYPE (string, int, float,"),
          QStringLiteral("bool, json) forces the reading")},
         &DefaultsCommand::write, Access::WritesOwnFiles},
        {QStringLiteral("defaults delete"), QStringLiteral("KEY"), {QStringLiteral("removes a stored default")},
         &DefaultsCommand::remove, Access::WritesOwnFiles},
        {QStringLiteral("info"), QStringLiteral("FILE..."),
         {QStringLiteral("format, encoding, channels, rate, depth, length,"),
          QStringLiteral("bit rate, metadata and labels of audio files")},
         &InfoCommand::run, Access::ReadOnly},
        {QStringLiteral("log"), QStringLiteral("[--issues]"),
         {QStringLiteral("the log, oldest first (--issues: warnings and errors)")}, &LogCommand::run, Access::ReadOnly},
        {QStringLiteral("workflow show"), QString(),
         {QStringLiteral("the current workflow: actions in order with their"),
          QStringLiteral("parameters, and the save options")},
         &WorkflowCommand::show, Access::ReadOnly},
        {QStringLiteral("workflow enable"), QStringLiteral("N"), {QStringLiteral("enables action N (counting from 1)")},
         &WorkflowCommand::enable, Access::ChangesWorkflow},
        {QStringLiteral("workflow disable"), QStringLiteral("N"), {QStringLiteral("disables action N")},
         &WorkflowCommand::disable, Access::ChangesWorkflow},
        {QStringLiteral("workflow remove"), QStringLiteral("N"), {QStringLiteral("removes action N")},
         &WorkflowCommand::remove, Access::ChangesWorkflow},
        {QStringLiteral("workflow move"), QStringLiteral("N M"), {QStringLiteral("moves action N to place M")},
         &WorkflowCommand::move, Access::ChangesWorkflow},
        {QStringLiteral("workflow clear"), QString(), {QStringLiteral("removes every action; the save options stay")},
         &WorkflowCommand::clear, Access::ChangesWorkflow},
        {QStringLiteral("workflow add"), QStringLiteral("CLASS|IDENTIFIER [KEY=VALUE...] [--at N] [--disabled] [--name TEXT]"),
         {QStringLiteral("inserts an action with typed parameters (N counts from 1)")}, &WorkflowCommand::add,
         Access::ChangesWorkflow},
        {QStringLiteral("workflow set"), QStringLiteral("N KEY=VALUE..."), {QStringLiteral("sets parameters of action N")},
         &WorkflowCommand::set, Access::ChangesWorkflow},
        {QStringLiteral("workflow save-options"), QStringLiteral("KEY=VALUE..."),
         {QStringLiteral("destinationBookmark=PATH|\"\", filenameComponents='[\"[F]\",\"[T]_\",\"[C]1:1\"]',"),
          QStringLiteral("replaceOriginal, addResults, preserveHierarchy")},
         &WorkflowCommand::saveOptions, Access::ChangesWorkflow},
        {QStringLiteral("actions"), QString(), {QStringLiteral("every action class: identifier, parameters, types, defaults")},
         &ActionsCommand::run, Access::ReadOnly},
        {QStringLiteral("compile"), QStringLiteral("[--selected] [--rehearse]"),
         {QStringLiteral("the script text of a run of the workflow over all (or the selected) files")}, &CompileCommand::run,
         Access::ReadOnly, true},
        {QStringLiteral("run"), QStringLiteral("[--selected] [--rehearse]"),
         {QStringLiteral("runs the workflow over all (or the selected) files,"),
          QStringLiteral("waits for it and prints each result or error")},
         &RunCommand::run, Access::WritesOwnFiles, true},
        {QStringLiteral("process"), QStringLiteral("[--workflow FILE] [--to DIR] PATH..."),
         {QStringLiteral("one shot: adds the files to a temporary catalog,"),
          QStringLiteral("runs the workflow of FILE (or the current one) over"),
          QStringLiteral("them into DIR (or the workflow's folder), prints the results")},
         &ProcessCommand::run, Access::WritesOwnFiles, true, &ProcessCommand::prepare},
        {QStringLiteral("help"), QString(), {},
         [](const QStringList&) {
             Output::line(helpText().chopped(1));
             return int(Output::Done);
         },
         Access::ReadOnly},
    };
    return table;
}

QString helpText() {
    QString list;
    for (const Command& command : commands()) {
        if (command.help.isEmpty())
            continue;
        const QString usage = command.arguments.isEmpty() ? command.name : command.name + QLatin1Char(' ') + command.arguments;
        for (qsizetype i = 0; i < command.help.size(); ++i)
            list += QStringLiteral("  %1 %2\n").arg((i == 0 ? usage : QString()).leftJustified(35), command.help[i]);
    }
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
           list +
           QStringLiteral(
               "\n"
               "exit status: 0 done; 1 done, but some item failed; 2 wrong usage;\n"
               "3 the catalog or a file could not be opened.\n");
}

// The command the arguments name (the longest name that begins them), with
// its own arguments left in `arguments`; null, with the usage message
// printed, when they name none.
const Command* findCommand(QStringList& arguments) {
    const Command* found = nullptr;
    qsizetype foundWords = 0;
    QStringList subcommands;
    for (const Command& command : commands()) {
        const QStringList words = command.name.split(QLatin1Char(' '));
        if (words.size() > 1 && words.first() == arguments.first())
            subcommands << words.mid(1).join(QLatin1Char(' '));
        if (words.size() > foundWords && arguments.mid(0, words.size()) == words) {
            found = &command;
            foundWords = words.size();
        }
    }
    if (found) {
        arguments = arguments.mid(foundWords);
        return found;
    }
    if (subcommands.isEmpty())
        Output::usage(QStringLiteral("unknown command '%1'").arg(arguments.first()));
    else if (arguments.size() == 1)
        Output::usage(QStringLiteral("%1 needs a subcommand: %2").arg(arguments.first(), subcommands.join(QStringLiteral(", "))));
    else
        Output::usage(QStringLiteral("unknown %1 subcommand '%2'").arg(arguments.first(), arguments[1]));
    return nullptr;
}

// Opens and loads the catalog; false, with the reason printed, when its
// file can't be read.
bool openCatalog() {
    auto controller = EntityController::sharedInstance();
    bool readable = false;
    controller->executeStatement(QStringLiteral("SELECT version FROM Global"), nullptr,
                                 [&readable](VMKDatabaseQuery& query) { readable = query.evaluateNextRow(); });
    if (!readable)
        Output::error(QStringLiteral("the catalog %1 could not be opened")
                          .arg(URL::supportDirectory().path() + QStringLiteral("/Entities.db")));
    return readable;
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

    const Command* command = findCommand(arguments);
    if (!command)
        return Output::WrongUsage;
    // The stored workflow is written only by a command that has changed it,
    // once, as the program quits (below). Any other leaves the file as it
    // is, even when another process is writing it.
    WorkflowController::setSavingEnabled(false);
    if (command->prepare) {
        const int status = command->prepare(arguments);
        if (status >= 0)
            return status;
    }

    // Every class is findable by name before anything stored is read.
    registerActionClasses();
    registerCatalogClasses();
    registerAnalysisClasses();
    registerEngineClasses();
    registerRenderClasses();
    // Runs compile with the one compiler of the program.
    ProcessInterfaces::setAudioProcessCommandGroupFactory(std::make_shared<AudioProcessCommandGroupCompiler>());

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

    if (command->opensCatalog) {
        // Files are added through the file process controller, whose work
        // the quit waits for; what either controller has to tell is one
        // printed line.
        ProcessInterfaces::setFileProcessCommandExecutor(FileProcessController::sharedInstance());
        // Compiled runs render through the audio process controller, whose
        // groups the quit waits for like the file processes.
        ProcessInterfaces::setAudioProcessCommandGroupExecutor(AudioProcessController::sharedInstance());
        ProcessInterfaces::setProcessControllerSource(std::make_shared<FileProcessControllerSource>());
        ProcessInterfaces::setFileEntitySource(std::make_shared<CatalogFileEntitySource>());
        UserNotificationCenter::setNotifier(std::make_shared<PrintingUserNotifier>());
    }

    // The same start as the desktop program's, without windows.
    auto delegate = std::make_shared<ApplicationDelegate>();
    delegate->applicationWillFinishLaunching();
    // The controllers whose panes the desktop program shows at launch; they
    // register their default tables as they come up.
    LogController::sharedInstance();
    WorkflowController::sharedInstance();
    if (command->opensCatalog && !openCatalog())
        return Output::CannotOpen;

    const int status = command->run(arguments);
    if (command->access == Access::ChangesWorkflow && WorkflowController::sharedInstance()->needsSave())
        WorkflowController::setSavingEnabled(true);
    // Quit as the desktop program does, through the application object that
    // the delegate replies to: the delegate writes the current workflow (when
    // saving is on) and, with work still running, the quit waits for it to
    // end; then the controllers write what they hold.
    terminable->terminateAndWait(delegate);
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    if (command->access == Access::ChangesWorkflow && WorkflowController::sharedInstance()->needsSave()) {
        Output::error(QStringLiteral("the workflow could not be saved to %1; it is unchanged there")
                          .arg(URL::supportDirectory().path() + QStringLiteral("/Workflow.plist")));
        return Output::CannotOpen;
    }
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
