#include "cli/AnalyzeCommand.h"

#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "cli/AddCommand.h"
#include "cli/AnalysisWaiter.h"
#include "cli/CatalogCommand.h"
#include "cli/Output.h"
#include "shell/formatters/FormatterController.h"

#include <atomic>
#include <set>

namespace ondrel {

namespace {

// The files the names stand for, each once, in the order named.
std::vector<std::shared_ptr<FileEntity>> filesNamed(const std::vector<EntityPtr>& entities) {
    std::vector<std::shared_ptr<FileEntity>> files;
    std::set<const FileEntity*> seen;
    auto take = [&](const std::shared_ptr<FileEntity>& file) {
        if (file && seen.insert(file.get()).second)
            files.push_back(file);
    };
    for (const EntityPtr& entity : entities) {
        if (auto group = std::dynamic_pointer_cast<GroupEntity>(entity)) {
            for (const auto& file : group->allFileEntities())
                take(file);
        } else {
            take(std::dynamic_pointer_cast<FileEntity>(entity));
        }
    }
    return files;
}

} // namespace

QString AnalyzeCommand::mainMeasures(const FileEntity& file) {
    if (file.countOfChannelDetails() == 0)
        return QStringLiteral("not analysed");
    const auto formatters = FormatterController::sharedInstance();
    QStringList measures{
        QStringLiteral("peak ") + formatters->stringForObjectValue(double(file.peak()), QStringLiteral("peak")),
        QStringLiteral("loudness ") +
            formatters->stringForObjectValue(double(file.programLoudness()), QStringLiteral("programLoudness")),
    };
    if (file.truePeak() != FileEntity::TruePeakNotMeasured)
        measures << QStringLiteral("true peak ") +
                        formatters->stringForObjectValue(double(file.truePeak()), QStringLiteral("truePeak"));
    return measures.join(QStringLiteral(", "));
}

int AnalyzeCommand::run(const QStringList& arguments) {
    if (arguments.isEmpty())
        return Output::usage(QStringLiteral("analyze needs the IDs or paths of what to measure"));
    for (const QString& argument : arguments)
        if (argument.startsWith(QLatin1String("--")))
            return Output::usage(QStringLiteral("analyze takes only IDs and paths, not '%1'").arg(argument));
    std::vector<EntityPtr> entities;
    if (!CatalogCommand::entitiesNamed(arguments, entities))
        return Output::WrongUsage;
    const auto files = filesNamed(entities);
    if (files.empty()) {
        Output::line(QStringLiteral("nothing to analyse: no file in what was named"));
        return Output::Done;
    }

    // A file whose analysis succeeds gets its channel details anew; one that
    // can't be read keeps what it had (and the log says why).
    auto measured = std::make_shared<std::vector<std::atomic<bool>>>(files.size());
    std::vector<ObservationHandle> observations;
    for (size_t i = 0; i < files.size(); ++i)
        observations.push_back(files[i]->observe(QStringLiteral("channelDetails"), 0,
                                                 [measured, i](const KeyValueChangeInfo&) { (*measured)[i] = true; }));
    EntityController::analyzeFileEntities(files);
    const bool finished = AnalysisWaiter::waitForAnalyses();
    observations.clear();

    QVariantList json;
    bool failed = false;
    for (size_t i = 0; i < files.size(); ++i) {
        const bool ok = (*measured)[i];
        failed = failed || (finished && !ok);
        const QString path = files[i]->firstURL().path();
        if (Output::isJson()) {
            QVariantMap entry = CatalogCommand::fieldsOf(*files[i]);
            entry.insert(QStringLiteral("measured"), ok);
            json << entry;
        } else if (ok) {
            Output::line(QStringLiteral("measured %1  %2").arg(Output::oneLine(path), mainMeasures(*files[i])));
        } else if (finished) {
            Output::line(QStringLiteral("failed   %1: can't be measured (see 'ondrel log --issues')").arg(Output::oneLine(path)));
        } else {
            Output::line(QStringLiteral("stopped  %1: not measured").arg(Output::oneLine(path)));
        }
    }
    if (Output::isJson())
        Output::printJson(json);
    if (!finished)
        return AddCommand::Stopped;
    return failed ? int(Output::SomeItemFailed) : int(Output::Done);
}

} // namespace ondrel
