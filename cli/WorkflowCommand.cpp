#include "cli/WorkflowCommand.h"

#include "cli/ActionParameters.h"
#include "cli/ActionsCommand.h"
#include "cli/Output.h"
#include "core/files/Bookmark.h"
#include "actions/save/SaveAction.h"
#include "process/workflow/Action.h"
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

// The action that N (counting from 1) names, or null with the usage
// message printed.
std::shared_ptr<Action> actionNumbered(const QString& text, qsizetype* index) {
    bool ok = false;
    const qsizetype number = text.toLongLong(&ok);
    const qsizetype count = WorkflowController::sharedInstance()->countOfActions();
    if (!ok || number < 1 || number > count) {
        Output::usage(count == 0 ? QStringLiteral("the workflow has no actions, so none is '%1'").arg(text)
                                 : QStringLiteral("'%1' is no action: the workflow has actions 1 to %2").arg(text).arg(count));
        return nullptr;
    }
    *index = number - 1;
    return WorkflowController::sharedInstance()->objectInActionsAtIndex(*index);
}

int setEnabled(const QStringList& arguments, bool enabled) {
    if (arguments.size() != 1)
        return Output::usage(QStringLiteral("usage: ondrel workflow %1 N").arg(enabled ? QStringLiteral("enable") : QStringLiteral("disable")));
    qsizetype index;
    const auto action = actionNumbered(arguments[0], &index);
    if (!action)
        return Output::WrongUsage;
    action->setEnabled(enabled);
    return Output::Done;
}

} // namespace

int WorkflowCommand::show(const QStringList& arguments) {
    if (!arguments.isEmpty())
        return Output::usage(QStringLiteral("workflow show takes no arguments, not '%1'").arg(arguments[0]));
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
        // In the action's own order, as its panel shows them.
        const QVariantMap parameters = displayedParameters(action->parameterValues());
        for (const QString& key : action->parameterKeys())
            if (const auto it = parameters.constFind(key); it != parameters.cend())
                Output::line(QStringLiteral("      %1  %2").arg(key, Output::toText(*it)));
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

int WorkflowCommand::enable(const QStringList& arguments) { return setEnabled(arguments, true); }

int WorkflowCommand::disable(const QStringList& arguments) { return setEnabled(arguments, false); }

int WorkflowCommand::remove(const QStringList& arguments) {
    if (arguments.size() != 1)
        return Output::usage(QStringLiteral("usage: ondrel workflow remove N"));
    qsizetype index;
    if (!actionNumbered(arguments[0], &index))
        return Output::WrongUsage;
    WorkflowController::sharedInstance()->removeObjectFromActionsAtIndex(index);
    return Output::Done;
}

int WorkflowCommand::move(const QStringList& arguments) {
    if (arguments.size() != 2)
        return Output::usage(QStringLiteral("usage: ondrel workflow move N M"));
    qsizetype from, to;
    const auto action = actionNumbered(arguments[0], &from);
    if (!action || !actionNumbered(arguments[1], &to))
        return Output::WrongUsage;
    auto controller = WorkflowController::sharedInstance();
    controller->removeObjectFromActionsAtIndex(from);
    controller->insertObjectInActionsAtIndex(action, to);
    return Output::Done;
}

int WorkflowCommand::clear(const QStringList& arguments) {
    if (!arguments.isEmpty())
        return Output::usage(QStringLiteral("workflow clear takes no arguments, not '%1'").arg(arguments[0]));
    auto controller = WorkflowController::sharedInstance();
    if (const qsizetype count = controller->countOfActions())
        controller->removeActionsAtIndexes(IndexSet::range(0, count));
    return Output::Done;
}

int WorkflowCommand::add(const QStringList& arguments) {
    static const QString usage =
        QStringLiteral("usage: ondrel workflow add CLASS|IDENTIFIER [KEY=VALUE...] [--at N] [--disabled] [--name TEXT]");
    if (arguments.isEmpty())
        return Output::usage(usage);
    const auto action = ActionsCommand::actionNamed(arguments[0]);
    if (!action)
        return Output::usage(QStringLiteral("'%1' is no action class or identifier (`ondrel actions` lists them)").arg(arguments[0]));
    auto controller = WorkflowController::sharedInstance();
    const qsizetype count = controller->countOfActions();
    qsizetype at = count;
    bool enabled = true;
    QString name = ActionsCommand::displayNameOfClass(action->className());
    QStringList assignments;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QLatin1String("--disabled")) {
            enabled = false;
        } else if (argument == QLatin1String("--at") || argument == QLatin1String("--name")) {
            if (i + 1 >= arguments.size())
                return Output::usage(QStringLiteral("%1 needs a value; %2").arg(argument, usage));
            const QString value = arguments[++i];
            if (argument == QLatin1String("--name")) {
                name = value;
                continue;
            }
            bool ok = false;
            const qsizetype number = value.toLongLong(&ok);
            if (!ok || number < 1 || number > count + 1)
                return Output::usage(QStringLiteral("--at takes a place from 1 to %1, not '%2'").arg(count + 1).arg(value));
            at = number - 1;
        } else if (argument.startsWith(QLatin1String("--"))) {
            return Output::usage(QStringLiteral("unknown option '%1'; %2").arg(argument, usage));
        } else {
            assignments << argument;
        }
    }
    QVariantMap values;
    QString error;
    if (!ActionParameters::read(*action, assignments, &values, &error))
        return Output::usage(error);
    ActionParameters::apply(*action, values);
    action->setName(name);
    action->setEnabled(enabled);
    controller->insertObjectInActionsAtIndex(action, at);
    return Output::Done;
}

int WorkflowCommand::set(const QStringList& arguments) {
    if (arguments.size() < 2)
        return Output::usage(QStringLiteral("usage: ondrel workflow set N KEY=VALUE..."));
    qsizetype index;
    const auto action = actionNumbered(arguments[0], &index);
    if (!action)
        return Output::WrongUsage;
    QVariantMap values;
    QString error;
    if (!ActionParameters::read(*action, arguments.mid(1), &values, &error))
        return Output::usage(error);
    ActionParameters::apply(*action, values);
    return Output::Done;
}

int WorkflowCommand::saveOptions(const QStringList& arguments) {
    if (arguments.isEmpty())
        return Output::usage(QStringLiteral("usage: ondrel workflow save-options KEY=VALUE... (destinationBookmark, "
                                            "filenameComponents, replaceOriginal, addResults, preserveHierarchy)"));
    const auto save = WorkflowController::sharedInstance()->saveAction();
    Q_ASSERT(save);
    QVariantMap values;
    QString error;
    if (!ActionParameters::read(*save, arguments, &values, &error))
        return Output::usage(error);
    ActionParameters::apply(*save, values);
    return Output::Done;
}

} // namespace ondrel
