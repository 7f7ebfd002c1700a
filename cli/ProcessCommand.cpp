#include "cli/ProcessCommand.h"

#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "cli/ActionParameters.h"
#include "cli/AddCommand.h"
#include "cli/Output.h"
#include "cli/RunCommand.h"
#include "core/files/URL.h"
#include "core/objects/Variant.h"
#include "core/storage/PropertyList.h"
#include "process/workflow/Action.h"
#include "process/workflow/WorkflowController.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <memory>

namespace ondrel {

namespace {

// The temporary catalog's folder; it goes when the program ends.
std::unique_ptr<QTemporaryDir>& catalogFolder() {
    static std::unique_ptr<QTemporaryDir> folder;
    return folder;
}

QString& destinationFolder() {
    static QString folder;
    return folder;
}

} // namespace

int ProcessCommand::prepare(QStringList& arguments) {
    QStringList rest;
    QString workflow;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QLatin1String("--workflow") || argument == QLatin1String("--to")) {
            if (i + 1 == arguments.size())
                return Output::usage(QStringLiteral("%1 needs a %2").arg(argument,
                    argument == QLatin1String("--to") ? QStringLiteral("folder") : QStringLiteral("workflow file")));
            (argument == QLatin1String("--to") ? destinationFolder() : workflow) = arguments[++i];
        } else if (argument == QLatin1String("--")) {
            rest << arguments.mid(i + 1);
            break;
        } else if (argument.startsWith(QLatin1String("--"))) {
            return Output::usage(QStringLiteral("process takes --workflow FILE and --to DIR, not '%1'").arg(argument));
        } else {
            rest << argument;
        }
    }
    if (rest.isEmpty())
        return Output::usage(QStringLiteral("process needs the files or folders to process"));
    if (!workflow.isEmpty()) {
        VMKError error;
        const QVariant stored = PropertyList::readFromFile(workflow, &error);
        if (!Variant::isDictionary(stored)) {
            Output::error(QStringLiteral("%1 is not a workflow file%2")
                              .arg(workflow, error ? QStringLiteral(": ") + error.localizedDescription() : QString()));
            return Output::CannotOpen;
        }
        WorkflowController::setWorkflowFile(URL::fileURLWithPath(QFileInfo(workflow).absoluteFilePath()));
    }
    if (!destinationFolder().isEmpty()) {
        const QString path = QDir::cleanPath(QDir::current().absoluteFilePath(destinationFolder()));
        if (!QDir().mkpath(path)) {
            Output::error(QStringLiteral("the folder %1 can't be made").arg(path));
            return Output::CannotOpen;
        }
        destinationFolder() = path;
    }
    catalogFolder() = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/ondrel-process-XXXXXX"));
    if (!catalogFolder()->isValid()) {
        Output::error(QStringLiteral("a temporary catalog can't be made: %1").arg(catalogFolder()->errorString()));
        return Output::CannotOpen;
    }
    EntityController::setCatalogFile(URL::fileURLWithPath(catalogFolder()->filePath(QStringLiteral("Entities.db"))));
    arguments = rest;
    return -1;
}

int ProcessCommand::run(const QStringList& arguments) {
    if (!destinationFolder().isEmpty()) {
        // The run's save action takes the folder, and the results go there
        // rather than in place of the sources; the stored workflow is not written.
        const auto save = WorkflowController::sharedInstance()->saveAction();
        QVariantMap values;
        QString error;
        if (!save || !ActionParameters::read(*save,
                                             {QStringLiteral("destinationBookmark=") + destinationFolder(),
                                              QStringLiteral("replaceOriginal=false")},
                                             &values, &error)) {
            Output::error(error.isEmpty() ? QStringLiteral("the workflow has no save options") : error);
            return Output::CannotOpen;
        }
        ActionParameters::apply(*save, values);
    }
    const int added = AddCommand::run(arguments);
    if (added != Output::Done && added != Output::SomeItemFailed)
        return added;
    const auto entities = EntityController::sharedInstance()->allFileEntities();
    if (entities.empty()) {
        Output::line(QStringLiteral("nothing to run: no file could be added"));
        return Output::SomeItemFailed;
    }
    const int ran = RunCommand::runWorkflow(entities, false);
    return ran == Output::Done ? added : ran;
}

} // namespace ondrel
