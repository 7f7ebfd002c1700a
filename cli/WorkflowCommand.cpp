#include "cli/WorkflowCommand.h"

#include "cli/Output.h"
#include "core/files/Bookmark.h"
#include "actions/save/SaveAction.h"
#include "process/workflow/WorkflowController.h"

#include <QtCore/QVariantMap>

namespace ondrel {

namespace {

// The folder a destination bookmark names: null for "next to each source",
// and the bookmark's error text when it doesn't resolve.
QVariant destinationOf(const QByteArray& bookmark) {
    if (bookmark.isEmpty())
        return QVariant();
    VMKError error;
    const URL url = Bookmark::URLByResolvingBookmarkData(bookmark, nullptr, &error);
    return url.isEmpty() ? QVariant(error.localizedDescription()) : QVariant(url.path());
}

// Parameters as the command line takes them: a bookmark as the path it names.
QVariantMap displayedParameters(const QVariantMap& parameters) {
    QVariantMap shown;
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        const bool bookmark = it.key().endsWith(QLatin1String("Bookmark")) && Variant::isData(it.value());
        shown.insert(it.key(), bookmark ? destinationOf(it.value().toByteArray()) : it.value());
    }
    return shown;
}

QString yesNo(bool value) { return value ? QStringLiteral("yes") : QStringLiteral("no"); }

int show() {
    auto controller = WorkflowController::sharedInstance();
    const auto actions = controller->actions();
    const auto save = std::dynamic_pointer_cast<SaveAction>(controller->saveAction());
    Q_ASSERT(save);
    const QVariant destination = destinationOf(save->destinationBookmark());

    if (Output::isJson()) {
        QVariantList list;
        qsizetype index = 0;
        for (const auto& action : actions) {
            QVariantMap entry{{QStringLiteral("index"), ++index},
                              {QStringLiteral("className"), action->className()},
                              {QStringLiteral("identifier"), toVariant(action->identifier())},
                              {QStringLiteral("name"), toVariant(action->name())},
                              {QStringLiteral("enabled"), action->isEnabled()},
                              {QStringLiteral("disclosed"), action->isDisclosed()},
                              {QStringLiteral("parameters"), displayedParameters(action->parameterValues())}};
            list << entry;
        }
        QVariantMap options = displayedParameters(save->parameterValues());
        options.insert(QStringLiteral("destination"), destination);
        Output::printJson(QVariantMap{{QStringLiteral("actions"), list}, {QStringLiteral("saveOptions"), options}});
        return Output::Done;
    }

    if (actions.empty())
        Output::line(QStringLiteral("no actions"));
    qsizetype index = 0;
    for (const auto& action : actions) {
        Output::line(QStringLiteral("%1  %2  %3%4")
                         .arg(QString::number(++index).rightJustified(2), action->className(),
                              action->name() ? QStringLiteral("\"%1\"").arg(Output::oneLine(*action->name())) : QStringLiteral("-"),
                              action->isEnabled() ? QString() : QStringLiteral("  (disabled)")));
        const QVariantMap parameters = displayedParameters(action->parameterValues());
        for (auto it = parameters.cbegin(); it != parameters.cend(); ++it)
            Output::line(QStringLiteral("      %1  %2").arg(it.key(), Output::toText(it.value())));
    }
    Output::line(QStringLiteral("save options:"));
    Output::line(QStringLiteral("  destination         %1")
                     .arg(destination.isValid() ? destination.toString() : QStringLiteral("next to each source")));
    Output::line(QStringLiteral("  filenameComponents  %1").arg(Output::toText(QVariant(save->filenameComponents()))));
    Output::line(QStringLiteral("  replaceOriginal     %1").arg(yesNo(save->replaceOriginal())));
    Output::line(QStringLiteral("  addResults          %1").arg(yesNo(save->addResults())));
    Output::line(QStringLiteral("  preserveHierarchy   %1").arg(yesNo(save->preserveHierarchy())));
    return Output::Done;
}

} // namespace

int WorkflowCommand::run(const QStringList& arguments) {
    if (arguments.isEmpty())
        return Output::usage(QStringLiteral("workflow needs a subcommand: show"));
    const QString subcommand = arguments.first();
    if (subcommand == QLatin1String("show")) {
        if (arguments.size() > 1)
            return Output::usage(QStringLiteral("workflow show takes no arguments, not '%1'").arg(arguments[1]));
        return show();
    }
    return Output::usage(QStringLiteral("unknown workflow subcommand '%1'").arg(subcommand));
}

QString WorkflowCommand::help() {
    return QStringLiteral("  workflow show                       the current workflow: actions in order with their\n"
                          "                                      parameters, and the save options\n");
}

} // namespace ondrel
