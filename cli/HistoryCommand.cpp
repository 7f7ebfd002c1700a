#include "cli/HistoryCommand.h"

#include "cli/Output.h"
#include "core/files/URL.h"
#include "core/values/Date.h"
#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessController.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessController.h"
#include "render/controller/AudioProcessGroup.h"

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

QString stateOf(const AudioProcess& process) {
    if (process.isProcessing())
        return QStringLiteral("running");
    if (!process.endDate().isValid())
        return QStringLiteral("unfinished");
    return process.hasError() ? QStringLiteral("failed") : QStringLiteral("completed");
}

// A run is unfinished when a render of it never recorded its end. A run
// without renders rendered nothing: all its files were skipped, or it was
// killed before its renders were recorded; the history can't tell which.
QString stateOf(const AudioProcessGroup& group, qsizetype unfinished) {
    if (group.isProcessing())
        return QStringLiteral("running");
    if (group.countOfAudioProcesses() == 0)
        return QStringLiteral("nothing rendered");
    return unfinished > 0 ? QStringLiteral("unfinished") : QStringLiteral("completed");
}

// The runs, oldest first, as lines or JSON rows; an empty list, and no
// file made, when there is no run history yet.
QVariantList printAudioProcessGroups() {
    QVariantList rows;
    if (!URL::supportDirectory().URLByAppendingPathComponent(QStringLiteral("AudioProcess.db")).existsAsFile())
        return rows;
    for (const auto& group : AudioProcessController::sharedInstance()->audioProcessGroups()) {
        const auto processes = group->enumeratorOfAudioProcesses();
        qsizetype errors = 0, unfinished = 0;
        QVariantList processRows;
        for (const auto& process : processes) {
            const QString state = stateOf(*process);
            errors += process->hasError() ? 1 : 0;
            unfinished += state == QLatin1String("unfinished") ? 1 : 0;
            processRows << QVariantMap{{QStringLiteral("ID"), process->ID()},
                                       {QStringLiteral("startDate"), process->startDate()},
                                       {QStringLiteral("endDate"), process->endDate().isValid() ? QVariant(process->endDate()) : QVariant()},
                                       {QStringLiteral("state"), state}};
        }
        const QString state = stateOf(*group, unfinished);
        if (Output::isJson()) {
            rows << QVariantMap{{QStringLiteral("ID"), group->ID()},
                                {QStringLiteral("name"), group->name()},
                                {QStringLiteral("rehearse"), group->isRehearse()},
                                {QStringLiteral("startDate"), group->startDate()},
                                {QStringLiteral("endDate"), state == QLatin1String("completed") ? QVariant(group->endDate()) : QVariant()},
                                {QStringLiteral("countOfAudioProcesses"), qsizetype(processes.size())},
                                {QStringLiteral("countWithErrors"), errors},
                                {QStringLiteral("countUnfinished"), unfinished},
                                {QStringLiteral("state"), state},
                                {QStringLiteral("audioProcesses"), processRows}};
            continue;
        }
        QString details = state;
        if (unfinished > 0)
            details += QStringLiteral(" (%1 of %2 never ended)").arg(unfinished).arg(processes.size());
        if (errors > 0)
            details += QStringLiteral(", %1 failed").arg(errors);
        if (group->isRehearse())
            details += QStringLiteral(", rehearsal");
        const QDateTime end = state == QLatin1String("completed") ? group->endDate() : QDateTime();
        Output::line(QStringLiteral("%1  %2  %3  %4  %5")
                         .arg((QLatin1Char('"') + group->name() + QLatin1Char('"')).leftJustified(24),
                              (processes.size() == 1 ? QStringLiteral("1 render") : QStringLiteral("%1 renders").arg(processes.size()))
                                  .rightJustified(11),
                              dateText(group->startDate()).leftJustified(20), dateText(end).leftJustified(20), details));
    }
    return rows;
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
    const QVariantList groupRows = printAudioProcessGroups();
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
        Output::printJson(QVariantMap{{QStringLiteral("audioProcessGroups"), groupRows},
                                      {QStringLiteral("fileProcesses"), rows}});
    return Output::Done;
}

} // namespace ondrel
