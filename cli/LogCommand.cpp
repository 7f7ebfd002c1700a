#include "cli/LogCommand.h"

#include "cli/Output.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "logging/LogController.h"

#include <QtCore/QVariantMap>

namespace ondrel {

namespace {

QString levelName(int level) {
    switch (level) {
    case LogController::Error:
        return QStringLiteral("error");
    case LogController::Warning:
        return QStringLiteral("warning");
    case LogController::Notice:
        return QStringLiteral("notice");
    default:
        return QString::number(level);
    }
}

} // namespace

int LogCommand::run(const QStringList& arguments) {
    bool issues = false;
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--issues"))
            issues = true;
        else
            return Output::usage(QStringLiteral("log takes only --issues, not '%1'").arg(argument));
    }
    auto log = LogController::sharedInstance();
    log->write();  // what this process has logged so far
    log->clearLastErrorMessage();

    QVariantList rows;
    const QString sql = issues ? QStringLiteral("SELECT timestamp, level, message FROM Log WHERE level <= 4 ORDER BY logID")
                               : QStringLiteral("SELECT timestamp, level, message FROM Log ORDER BY logID");
    log->executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
        while (query.evaluateNextRow()) {
            const int level = query.intValueAtColumn(1);
            if (Output::isJson()) {
                rows << QVariantMap{{QStringLiteral("timestamp"), query.stringValueAtColumn(0)},
                                    {QStringLiteral("level"), levelName(level)},
                                    {QStringLiteral("message"), query.stringValueAtColumn(2)}};
            } else {
                Output::line(QStringLiteral("%1  %2  %3")
                                 .arg(query.stringValueAtColumn(0), levelName(level).leftJustified(7),
                                      Output::oneLine(query.stringValueAtColumn(2))));
            }
        }
    });
    // A log that can't be opened is no empty log.
    if (const QString problem = log->lastErrorMessage(); !problem.isEmpty()) {
        Output::error(QStringLiteral("the log could not be read: %1").arg(problem));
        return Output::CannotOpen;
    }
    if (Output::isJson())
        Output::printJson(rows);
    return Output::Done;
}

} // namespace ondrel
