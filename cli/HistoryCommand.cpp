#include "cli/HistoryCommand.h"

#include "cli/Output.h"
#include "core/values/Date.h"
#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessController.h"

#include <QtCore/QVariantMap>

namespace ondrel {

namespace {

QString stateOf(const FileProcess& process) {
    if (process.isProcessing())
        return QStringLiteral("running");
    // A row whose end was never written reads back as the reference date.
    const QDateTime end = process.endDate();
    if (!end.isValid() || end == Date::referenceDate())
        return QStringLiteral("failed");
    return QStringLiteral("completed");
}

QString dateText(const QDateTime& date) {
    return date.isValid() && date != Date::referenceDate() ? date.toUTC().toString(Qt::ISODate) : QStringLiteral("-");
}

} // namespace

int HistoryCommand::run(const QStringList& arguments) {
    if (!arguments.isEmpty())
        return Output::usage(QStringLiteral("history takes no arguments, not '%1'").arg(arguments.first()));
    auto controller = FileProcessController::sharedInstance();
    if (!controller->database()) {
        Output::error(QStringLiteral("the history of file processes could not be opened"));
        return Output::CannotOpen;
    }
    QVariantList rows;
    for (const auto& process : controller->fileProcesses()) {
        const QString state = stateOf(*process);
        if (Output::isJson()) {
            const QDateTime end = process->endDate();
            rows << QVariantMap{{QStringLiteral("ID"), process->ID()},
                                {QStringLiteral("class"), process->fileProcessClassName()},
                                {QStringLiteral("countOfItems"), process->countOfItems()},
                                {QStringLiteral("startDate"), process->startDate()},
                                {QStringLiteral("endDate"), state == QLatin1String("completed") ? QVariant(end) : QVariant()},
                                {QStringLiteral("state"), state}};
        } else {
            Output::line(QStringLiteral("%1  %2  %3  %4  %5")
                             .arg(process->fileProcessClassName().leftJustified(24),
                                  QStringLiteral("%1 items").arg(process->countOfItems()).rightJustified(11),
                                  dateText(process->startDate()).leftJustified(20), dateText(process->endDate()).leftJustified(20),
                                  state));
        }
    }
    if (Output::isJson())
        Output::printJson(rows);
    return Output::Done;
}

} // namespace ondrel
