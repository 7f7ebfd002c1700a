#include "cli/CompileCommand.h"

#include "cli/Output.h"
#include "cli/RunOptions.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/workflow/WorkflowController.h"

namespace ondrel {

int CompileCommand::run(const QStringList& arguments) {
    RunOptions options;
    if (!RunOptions::read(QStringLiteral("compile"), arguments, &options))
        return Output::WrongUsage;
    const auto groups = WorkflowController::sharedInstance()->commandGroups(options.entities(), options.rehearse);
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
