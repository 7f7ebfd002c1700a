#include "cli/CompileCommand.h"

#include "cli/Output.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/interfaces/FileEntitySource.h"
#include "process/interfaces/ProcessInterfaces.h"
#include "process/workflow/WorkflowController.h"

namespace ondrel {

int CompileCommand::run(const QStringList& arguments) {
    bool selected = false;
    bool rehearse = false;
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--selected"))
            selected = true;
        else if (argument == QLatin1String("--rehearse"))
            rehearse = true;
        else
            return Output::usage(QStringLiteral("usage: ondrel compile [--selected] [--rehearse]; '%1' is neither").arg(argument));
    }
    const auto source = ProcessInterfaces::fileEntitySource();
    const auto entities = source ? source->fileEntitiesForKey(selected ? QStringLiteral("selectedFileEntities")
                                                                       : QStringLiteral("allFileEntities"))
                                 : std::vector<std::shared_ptr<FileEntity>>();
    const auto groups = WorkflowController::sharedInstance()->commandGroups(entities, rehearse);
    QString text;
    for (const auto& group : groups)
        text += group->scriptDescription();
    if (Output::isJson()) {
        Output::printJson(QVariantMap{{QStringLiteral("script"), text}});
        return Output::Done;
    }
    // The text ends with a line end; print it as it stands.
    Output::line(text.endsWith(QLatin1Char('\n')) ? text.chopped(1) : text);
    return Output::Done;
}

} // namespace ondrel
